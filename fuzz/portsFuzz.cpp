/// Fuzzes what the machine's serial ports are made of: the list of the environment, and the ttys and USB adapters that
/// udev tells of.
#include "QVlibserial.h"
#include "deviceDatabase.h"
#include "fuzz.h"

#include <cerrno>
#include <functional>
#include <libudev.h>
#include <map>
#include <optional>
#include <set>
#include <sys/stat.h>
#include <vector>

using OptionalText = std::optional<std::string>;

struct udev_device {
  std::string name, subsystem;
  OptionalText node, driver;
  std::map<std::string, std::string> attributes;
  udev_device* parent = nullptr;
};

struct udev_list_entry {
  std::string path;
  udev_list_entry* next = nullptr;
};

struct udev {};
struct udev_enumerate {};

namespace {

/// One tty with what stands above it.
struct Tty {
  udev_device tty, layer, adapter;
};

struct {
  std::vector<Tty> ttys;
  std::vector<udev_list_entry> entries;
  OptionalText list;  ///< the environment's
  int failure = 0;    ///< of the scan
} machine;

/// Outside an execution the fuzzer makes the calls that are wrapped here.
bool isRunning = false;

const char* pointer(const OptionalText& text) {
  return text ? text->c_str() : nullptr;
}

OptionalText optionalText(FuzzedDataProvider& input) {
  if (!input.ConsumeBool()) return std::nullopt;
  return input.ConsumeRandomLengthString(300).c_str();  // ends where a C string does
}

void addTty(FuzzedDataProvider& input) {
  static const char* const names[] = {"ttyS", "ttyUSB", "ttyACM", "ttyAMA", "rfcomm", "ttyX"};
  Tty& made = machine.ttys.emplace_back();
  made.tty.name = input.PickValueInArray(names) + input.ConsumeRandomLengthString(20);
  made.tty.name = made.tty.name.c_str();
  made.tty.node = optionalText(input);
  if (const auto type = optionalText(input)) made.tty.attributes["type"] = *type;
  made.layer.driver = optionalText(input);
  made.layer.subsystem = input.ConsumeBool() ? "serial-base" : "usb-serial";
  made.adapter.name = "1-1.4";
  made.adapter.subsystem = "usb";
  for (const char* attribute : {"product", "manufacturer", "serial", "idVendor", "idProduct"})
    if (const auto text = optionalText(input)) made.adapter.attributes[attribute] = *text;
}

void setMachine(FuzzedDataProvider& input) {
  machine = {};
  machine.failure = input.ConsumeIntegralInRange(0, 15) == 1 ? -EIO : 0;
  for (int i = input.ConsumeIntegralInRange(0, 4); i > 0; --i) addTty(input);
  for (Tty& made : machine.ttys) {
    if (input.ConsumeBool()) made.tty.parent = &made.layer;
    if (input.ConsumeBool()) made.layer.parent = &made.adapter;
    machine.entries.push_back({std::to_string(machine.entries.size())});
  }
  for (std::size_t i = 1; i < machine.entries.size(); ++i) machine.entries[i - 1].next = &machine.entries[i];
  machine.list = input.ConsumeRemainingBytesAsString().c_str();
}

/// The texts of a port, and that its number leads to its node.
void lookAt(HDEVINFO set, SP_DEVINFO_DATA& device) {
  for (const DWORD property : {SPDRP_HARDWAREID, SPDRP_SERVICE, SPDRP_DRIVER, SPDRP_MFG, SPDRP_FRIENDLYNAME,
                               SPDRP_PHYSICAL_DEVICE_OBJECT_NAME}) {
    DWORD type = 0, needed = 0;
    BYTE text[256];
    if (!SetupDiGetDeviceRegistryPropertyA(set, &device, property, &type, text, sizeof text, &needed)) continue;
    require(needed > 0 && needed <= sizeof text && text[needed - 1] == 0, "property");
    require(!SetupDiGetDeviceRegistryPropertyA(set, &device, property, nullptr, text, needed - 1, nullptr), "no room");
  }
  char id[200] = "";
  require(SetupDiGetDeviceInstanceIdA(set, &device, id, sizeof id, nullptr) && ends(id), "instance ID");
  char path[256] = "";
  require(device.DevInst >= 1, "port number");
  findComPortPath(static_cast<int>(device.DevInst), path, sizeof path);
  require(ends(path), "path");
}

void readSet() {
  HDEVINFO set = SetupDiGetClassDevsA(nullptr, nullptr, nullptr, DIGCF_ALLCLASSES);
  require((set == INVALID_HANDLE_VALUE) == (machine.failure != 0), "set of ports");
  if (set == INVALID_HANDLE_VALUE) return;
  SP_DEVINFO_DATA device = {};
  device.cbSize = sizeof device;
  DWORD last = 0;
  for (DWORD i = 0; SetupDiEnumDeviceInfo(set, i, &device); ++i) {
    require(i == 0 || device.DevInst > last, "ports in the order of their numbers");
    last = device.DevInst;
    lookAt(set, device);
  }
  SetupDiDestroyDeviceInfoList(set);
}

void discover() {
  qvlsTblPortSrchCrit_t all = {nullptr, 0, QVLS_ALL_DEVICES};
  qvlsPortList_t* list = nullptr;
  const qv_status status = qvls_GetListOfSerialPorts(&list, &all);
  require((status == QVLS_SUCCESS) == (machine.failure == 0), "discovery");
  int count = 0;
  qvls_GetNumFoundPorts(list, &count);
  for (int i = 0; i < count; ++i) {
    qvlsPort_t* node = nullptr;
    int number = 0, present = 0;
    require(qvls_GetPort(list, i, &node) == QVLS_SUCCESS &&
                qvls_GetPortComPort(node, &number, &present) == QVLS_SUCCESS && number >= 1,
            "port of the list");
  }
  qvls_DisposeListOfSerialPorts(&list);
}

std::size_t hash(const char* path) {
  return std::hash<std::string_view>{}(path);
}

}  // namespace

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the linker sends the library's calls here
char* __real_getenv(const char* name);
int __real_access(const char* path, int mode);
int __real_stat(const char* path, struct stat* node);

char* __wrap_getenv(const char* name) {
  if (!isRunning) return __real_getenv(name);
  require(std::string_view(name) == "QVVISA_SERIAL_PORTS", "variable");
  return machine.list ? machine.list->data() : nullptr;
}
int __wrap_access(const char* path, int mode) {
  if (!isRunning) return __real_access(path, mode);
  return hash(path) % 8 == 0 ? -1 : 0;
}
/// A few nodes under many names.
int __wrap_stat(const char* path, struct stat* node) {
  if (!isRunning) return __real_stat(path, node);
  *node = {};
  node->st_mode = S_IFCHR;
  node->st_ino = hash(path) % 16;
  node->st_rdev = hash(path) / 16 % 16;
  return hash(path) % 9 == 0 ? -1 : 0;
}
// NOLINTEND

udev* udev_new() {
  static udev context;
  return &context;
}
udev* udev_unref(udev*) {
  return nullptr;
}
udev_enumerate* udev_enumerate_new(udev*) {
  static udev_enumerate list;
  return &list;
}
udev_enumerate* udev_enumerate_unref(udev_enumerate*) {
  return nullptr;
}
int udev_enumerate_add_match_subsystem(udev_enumerate*, const char*) {
  return 0;
}
int udev_enumerate_add_match_sysname(udev_enumerate*, const char*) {
  return 0;
}
int udev_enumerate_scan_devices(udev_enumerate*) {
  return machine.failure;
}
udev_list_entry* udev_enumerate_get_list_entry(udev_enumerate*) {
  return machine.entries.empty() ? nullptr : machine.entries.data();
}
udev_list_entry* udev_list_entry_get_next(udev_list_entry* entry) {
  return entry->next;
}
const char* udev_list_entry_get_name(udev_list_entry* entry) {
  return entry->path.c_str();
}
udev_device* udev_device_new_from_syspath(udev*, const char* path) {
  return &machine.ttys.at(std::stoul(path)).tty;
}
udev_device* udev_device_unref(udev_device*) {
  return nullptr;
}
const char* udev_device_get_sysname(udev_device* device) {
  return device->name.c_str();
}
udev_device* udev_device_get_parent(udev_device* device) {
  return device->parent;
}
const char* udev_device_get_subsystem(udev_device* device) {
  return device->subsystem.c_str();
}
const char* udev_device_get_driver(udev_device* device) {
  return pointer(device->driver);
}
const char* udev_device_get_devnode(udev_device* device) {
  return pointer(device->node);
}
const char* udev_device_get_sysattr_value(udev_device* device, const char* name) {
  const auto found = device->attributes.find(name);
  return found == device->attributes.end() ? nullptr : found->second.c_str();
}
udev_device* udev_device_get_parent_with_subsystem_devtype(udev_device* device, const char* subsystem, const char*) {
  while (device && device->subsystem != subsystem) device = device->parent;
  return device;
}
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  setMachine(input);
  isRunning = true;
  readSet();
  discover();
  isRunning = false;
  return 0;
}
