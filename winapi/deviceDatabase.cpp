#include "deviceDatabase.h"

#include "DebugMalloc.h"
#include "osAbstraction.h"
#include "portsClass.h"
#include "privileges.h"

#include <libudev.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <span>
#include <string_view>
#include <tuple>

namespace {

using std::string_view;

/// One serial port. Its texts are cut to the sizes in which the serial port library reads them: there a text that is
/// too long would cost the port its place in the list.
struct Port {
  int comPort;
  bool ofUser;  ///< numbered by QVVISA_SERIAL_PORTS
  bool present;
  char name[64];  ///< the kernel's, such as ttyUSB0; empty if only the user knows the port
  char node[256];
  char description[256];
  char friendlyName[256];
  char service[64];
  char manufacturer[64];
  char driverKey[64];
  char hardwareId[72];  ///< the longest text leaves two zero bytes
  char instanceId[200];
};

struct PortSet {
  Port* ports;
  size_t count;
  size_t capacity;
};

std::span<Port> portsOf(const PortSet& set) {
  return {set.ports, set.count};
}

struct Release {
  void operator()(udev* context) const { udev_unref(context); }
  void operator()(udev_enumerate* list) const { udev_enumerate_unref(list); }
  void operator()(udev_device* device) const { udev_device_unref(device); }
  void operator()(PortSet* set) const {
    DEBUG_FREE(set->ports);
    DEBUG_FREE(set);
  }
};
template <typename Record>
using Owner = std::unique_ptr<Record, Release>;

bool fail(int error) {
  OS_setLastError(error);
  return false;
}

string_view viewOf(const char* text) {
  return text != nullptr ? text : "";
}

/// The beginning of a text that has at most `size` bytes, without a torn UTF-8 character.
string_view cutText(string_view text, size_t size) {
  if (text.size() <= size) return text;
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) size--;
  return text.substr(0, size);
}

/// Joins the parts in a field, cut at its end.
template <size_t Size>
void setText(char (&field)[Size], std::initializer_list<string_view> parts) {
  size_t used = 0;
  for (const string_view part : parts) {
    const string_view fitting = cutText(part, Size - 1 - used);
    memcpy(field + used, fitting.data(), fitting.size());
    used += fitting.size();
  }
  field[used] = '\0';
}

/// A new record at the end of the set, or null if there is no memory.
Port* addPort(PortSet& set) {
  if (set.count == set.capacity) {
    const size_t capacity = set.capacity == 0 ? 16 : set.capacity * 2;
    auto* ports = static_cast<Port*>(DEBUG_REALLOC(set.ports, capacity * sizeof(Port)));
    if (ports == nullptr) {
      OS_setLastError(ENOMEM);
      return nullptr;
    }
    set.ports = ports;
    set.capacity = capacity;
  }
  Port* port = &set.ports[set.count++];
  *port = {};
  return port;
}

// --- The machine's ports ---

/// The port with index i of a family has the number base + i. Above `size` an index would run into the next family.
struct Family {
  string_view prefix;
  int base;
  int size;
};
constexpr Family kFamilies[] = {
    {"ttyS", 1, 99}, {"ttyUSB", 100, 100}, {"ttyACM", 200, 100}, {"ttyAMA", 300, 100}, {"rfcomm", 400, 100},
};
constexpr int kFirstOtherComPort = 500;

/// The COM number that goes with a kernel name, or 0 if there is none.
int fixedComPort(string_view name) {
  for (const Family& family : kFamilies) {
    if (!name.starts_with(family.prefix)) continue;
    const string_view digits = name.substr(family.prefix.size());
    int index = 0;
    const auto [end, error] = std::from_chars(digits.begin(), digits.end(), index);
    if (error == std::errc{} && end == digits.end() && index >= 0 && index < family.size) return family.base + index;
  }
  return 0;
}

/// A radio link's tty stands alone until the link is up, and then hangs below an adapter that isn't the far device.
bool isRadioLink(udev_device* tty) {
  return viewOf(udev_device_get_sysname(tty)).starts_with("rfcomm");
}

/// The driver nearest above the tty. The layer that newer kernels put between a UART and its driver doesn't count.
string_view driverOf(udev_device* tty) {
  if (isRadioLink(tty)) return "rfcomm";
  for (auto* above = udev_device_get_parent(tty); above != nullptr; above = udev_device_get_parent(above)) {
    if (viewOf(udev_device_get_subsystem(above)) == "serial-base") continue;
    const string_view driver = viewOf(udev_device_get_driver(above));
    if (!driver.empty()) return driver;
  }
  return "tty";
}

/// Whether there is hardware behind the tty. Virtual terminals have no device above them; the 8250 driver also makes
/// ttys for slots without a chip, whose type is 0 (unknown).
bool isSerialPort(udev_device* tty) {
  if (isRadioLink(tty)) return true;
  if (udev_device_get_parent(tty) == nullptr) return false;
  const string_view type = viewOf(udev_device_get_sysattr_value(tty, "type"));
  return type.empty() ? driverOf(tty) != "serial8250" : type != "0";
}

unsigned hexNumber(string_view text) {
  unsigned number = 0;
  std::from_chars(text.begin(), text.end(), number, 16);
  return number;
}

void describeUsbAdapter(Port& port, udev_device* adapter) {
  const auto attribute = [adapter](const char* name) { return viewOf(udev_device_get_sysattr_value(adapter, name)); };
  if (!attribute("product").empty()) setText(port.description, {attribute("product")});
  if (!attribute("manufacturer").empty()) setText(port.manufacturer, {attribute("manufacturer")});
  const string_view serial = attribute("serial");
  snprintf(port.hardwareId, sizeof port.hardwareId, "USB\\VID_%04X&PID_%04X", hexNumber(attribute("idVendor")),
           hexNumber(attribute("idProduct")));
  setText(port.instanceId, {port.hardwareId, "\\", serial.empty() ? viewOf(udev_device_get_sysname(adapter)) : serial});
}

void describeMachinePort(Port& port, udev_device* tty) {
  const char* node = udev_device_get_devnode(tty);
  setText(port.name, {viewOf(udev_device_get_sysname(tty))});
  if (node != nullptr) {
    setText(port.node, {node});
  } else {
    setText(port.node, {"/dev/", port.name});
  }
  port.present = access(port.node, F_OK) == 0;
  setText(port.service, {driverOf(tty)});
  setText(port.manufacturer, {port.service});
  setText(port.description, {"Serial Port ", port.service});
  auto* adapter = isRadioLink(tty) ? nullptr : udev_device_get_parent_with_subsystem_devtype(tty, "usb", "usb_device");
  if (adapter != nullptr) {
    describeUsbAdapter(port, adapter);
  } else {
    setText(port.hardwareId, {"TTY\\", port.service});
    setText(port.instanceId, {"TTY\\", port.service, "\\", port.name});
  }
}

/// All ttys but the virtual consoles, tty0 to tty63: looking at those would take most of the time.
bool matchSerialPorts(udev_enumerate* list) {
  constexpr const char* names[] = {"tty[!0-9]*", "tt[!y]*", "t[!t]*", "[!t]*"};
  return udev_enumerate_add_match_subsystem(list, "tty") >= 0 &&
         std::all_of(std::begin(names), std::end(names),
                     [list](const char* name) { return udev_enumerate_add_match_sysname(list, name) >= 0; });
}

bool collectMachinePorts(PortSet& set) {
  const Owner<udev> context(udev_new());
  const Owner<udev_enumerate> list(context != nullptr ? udev_enumerate_new(context.get()) : nullptr);
  if (list == nullptr || !matchSerialPorts(list.get())) return fail(ENOMEM);
  if (const int error = udev_enumerate_scan_devices(list.get()); error < 0) return fail(-error);
  udev_list_entry* entry = nullptr;
  udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(list.get())) {
    const Owner<udev_device> tty(udev_device_new_from_syspath(context.get(), udev_list_entry_get_name(entry)));
    if (tty == nullptr || !isSerialPort(tty.get())) continue;
    Port* port = addPort(set);
    if (port == nullptr) return false;
    describeMachinePort(*port, tty.get());
  }
  return true;
}

void numberMachinePorts(PortSet& set) {
  const auto ports = portsOf(set);
  std::sort(ports.begin(), ports.end(), [](const Port& a, const Port& b) { return strverscmp(a.name, b.name) < 0; });
  int nextOther = kFirstOtherComPort;
  for (Port& port : ports) {
    port.comPort = fixedComPort(port.name);
    if (port.comPort == 0) port.comPort = nextOther++;
  }
}

// --- The user's ports ---

bool isSameDevice(const char* pathA, const char* pathB) {
  struct stat a = {};
  struct stat b = {};
  if (stat(pathA, &a) != 0 || stat(pathB, &b) != 0) return false;
  const bool isSameNode = a.st_dev == b.st_dev && a.st_ino == b.st_ino;
  const bool areDevices = S_ISCHR(a.st_mode) && S_ISCHR(b.st_mode) && a.st_rdev != 0;
  return isSameNode || (areDevices && a.st_rdev == b.st_rdev);
}

struct UserPort {
  int comPort;
  char path[sizeof(Port::node)];
};

/// Reads `<number>=<absolute path>`.
bool parseUserPort(string_view entry, UserPort& port) {
  entry.remove_prefix(std::min(entry.find_first_not_of(' '), entry.size()));
  entry = entry.substr(0, entry.find_last_not_of(' ') + 1);
  const auto [end, error] = std::from_chars(entry.begin(), entry.end(), port.comPort);
  if (error != std::errc{} || end == entry.end() || *end != '=') return false;
  if (port.comPort < 1 || port.comPort > kMaxComPort) return false;
  const string_view path(end + 1, entry.end());
  if (!path.starts_with('/') || path.size() >= sizeof port.path) return false;
  setText(port.path, {path});
  return true;
}

void describeUserPort(Port& port) {
  char number[16];
  snprintf(number, sizeof number, "%d", port.comPort);
  setText(port.service, {"tty"});
  setText(port.manufacturer, {"tty"});
  setText(port.description, {"Serial Port ", port.node});
  // Without the path, in which VID and PID could stand.
  setText(port.hardwareId, {"USER\\tty"});
  setText(port.instanceId, {"USER\\tty\\COM", number});
}

/// Adds the port, or renumbers the machine's port that it is. A number or device that is the user's already stays so.
bool applyUserPort(PortSet& set, const UserPort& wanted) {
  const auto ports = portsOf(set);
  const auto hasNumber = [&](const Port& port) { return port.ofUser && port.comPort == wanted.comPort; };
  if (std::any_of(ports.begin(), ports.end(), hasNumber)) return true;
  const auto isDevice = [&](const Port& port) { return isSameDevice(port.node, wanted.path); };
  const auto known = std::find_if(ports.begin(), ports.end(), isDevice);
  if (known != ports.end() && known->ofUser) return true;
  Port* port = known != ports.end() ? &*known : addPort(set);
  if (port == nullptr) return false;
  port->comPort = wanted.comPort;
  port->ofUser = true;
  port->present = true;
  setText(port->node, {wanted.path});
  if (port->name[0] == '\0') describeUserPort(*port);
  return true;
}

/// Applies QVVISA_SERIAL_PORTS, such as `7=/dev/pts/3,8=/dev/serial/by-id/usb-X`. With raised privileges it would let a
/// caller have any file opened, so it doesn't count then.
bool applyUserPorts(PortSet& set) {
  string_view list = viewOf(hasRaisedPrivileges() ? nullptr : getenv("QVVISA_SERIAL_PORTS"));
  while (!list.empty()) {
    const string_view entry = list.substr(0, list.find(','));
    list.remove_prefix(std::min(entry.size() + 1, list.size()));
    UserPort port = {};
    if (!parseUserPort(entry, port) || access(port.path, F_OK) != 0) continue;
    if (!applyUserPort(set, port)) return false;
  }
  return true;
}

// --- The set ---

void sortAndHide(PortSet& set) {
  const auto ports = portsOf(set);
  std::sort(ports.begin(), ports.end(), [](const Port& a, const Port& b) {
    return std::tuple(a.comPort, !a.ofUser) < std::tuple(b.comPort, !b.ofUser);
  });
  // The user's port stands before the machine's of the same number and hides it.
  const auto isSameNumber = [](const Port& a, const Port& b) { return a.comPort == b.comPort; };
  set.count = static_cast<size_t>(std::unique(ports.begin(), ports.end(), isSameNumber) - ports.begin());
}

void keepPresent(PortSet& set) {
  const auto ports = portsOf(set);
  const auto end = std::remove_if(ports.begin(), ports.end(), [](const Port& port) { return !port.present; });
  set.count = static_cast<size_t>(end - ports.begin());
}

void nameByNumber(Port& port) {
  // A product may call itself "(COM9)": the first number in brackets is the one that is read.
  while (char* at = strstr(port.description, "(COM")) *at = '[';
  char number[24];
  snprintf(number, sizeof number, " (COM%d)", port.comPort);
  setText(port.friendlyName, {cutText(port.description, sizeof port.friendlyName - 1 - strlen(number)), number});
  snprintf(port.driverKey, sizeof port.driverKey, "%s\\%04d", PORTS_CLASS_TEXT, port.comPort);
}

/// The ports of this moment in the order of their numbers, or null with the last error set.
Owner<PortSet> readPorts(bool onlyPresent) {
  Owner<PortSet> set(static_cast<PortSet*>(DEBUG_CALLOC(1, sizeof(PortSet))));
  if (set == nullptr) {
    OS_setLastError(ENOMEM);
    return nullptr;
  }
  if (!collectMachinePorts(*set)) return nullptr;
  numberMachinePorts(*set);
  if (!applyUserPorts(*set)) return nullptr;
  sortAndHide(*set);
  if (onlyPresent) keepPresent(*set);
  for (Port& port : portsOf(*set)) nameByNumber(port);
  return set;
}

Port* portOf(HDEVINFO set, const SP_DEVINFO_DATA* device) {
  const auto ports = portsOf(*static_cast<PortSet*>(set));
  return device->Reserved < ports.size() ? &ports[device->Reserved] : nullptr;
}

const char* propertyOf(const Port& port, DWORD property) {
  switch (property) {
  case SPDRP_HARDWAREID:
    return port.hardwareId;
  case SPDRP_SERVICE:
    return port.service;
  case SPDRP_DRIVER:
    return port.driverKey;
  case SPDRP_MFG:
    return port.manufacturer;
  case SPDRP_FRIENDLYNAME:
    return port.friendlyName;
  case SPDRP_PHYSICAL_DEVICE_OBJECT_NAME:
    return port.present ? port.node : nullptr;
  default:
    return nullptr;
  }
}

bool deliver(string_view value, void* buffer, DWORD size, DWORD* required) {
  if (required != nullptr) *required = static_cast<DWORD>(value.size());
  if (value.size() > size) return fail(ENOBUFS);
  memcpy(buffer, value.data(), value.size());
  return true;
}

}  // namespace

HDEVINFO SetupDiGetClassDevsA(const GUID* classGuid, const char* enumerator, HWND parent, DWORD flags) {
  const bool isPortsClass = classGuid != nullptr && memcmp(classGuid, &PORTS_CLASS, sizeof PORTS_CLASS) == 0;
  if (enumerator != nullptr || parent != nullptr) {
    OS_setLastError(EINVAL);
    return INVALID_HANDLE_VALUE;
  }
  auto set = readPorts((flags & DIGCF_PRESENT) != 0);
  if (set == nullptr) return INVALID_HANDLE_VALUE;
  if ((flags & DIGCF_ALLCLASSES) == 0 && !isPortsClass) set->count = 0;
  return set.release();
}

BOOL SetupDiEnumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* device) {
  if (device->cbSize != sizeof *device) return fail(EINVAL);
  device->Reserved = index;
  const Port* port = portOf(set, device);
  if (port == nullptr) return fail(ENOENT);
  device->ClassGuid = PORTS_CLASS;
  device->DevInst = static_cast<DWORD>(port->comPort);
  return TRUE;
}

BOOL SetupDiGetDeviceRegistryPropertyA(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD property, DWORD* type, BYTE* buffer,
                                       DWORD size, DWORD* required) {
  const Port* port = portOf(set, device);
  const char* value = port != nullptr ? propertyOf(*port, property) : nullptr;
  if (value == nullptr) return fail(ENOENT);
  // A list of strings ends with an empty one; the field behind the ID is zero.
  const bool isList = property == SPDRP_HARDWAREID;
  if (type != nullptr) *type = isList ? REG_MULTI_SZ : REG_SZ;
  return deliver({value, strlen(value) + (isList ? 2 : 1)}, buffer, size, required);
}

BOOL SetupDiGetDeviceInstanceIdA(HDEVINFO set, SP_DEVINFO_DATA* device, char* id, DWORD size, DWORD* required) {
  const Port* port = portOf(set, device);
  if (port == nullptr) return fail(ENOENT);
  return deliver({port->instanceId, strlen(port->instanceId) + 1}, id, size, required);
}

BOOL SetupDiDestroyDeviceInfoList(HDEVINFO set) {
  Owner<PortSet>(static_cast<PortSet*>(set)).reset();
  return TRUE;
}

bool findComPortPath(int comPort, char* path, size_t size) {
  const auto set = readPorts(true);
  if (set == nullptr) return false;
  const auto ports = portsOf(*set);
  const auto found =
      std::find_if(ports.begin(), ports.end(), [=](const Port& port) { return port.comPort == comPort; });
  if (found == ports.end()) return fail(ENOENT);
  const size_t needed = strlen(found->node) + 1;
  if (needed > size) return fail(ENOBUFS);
  memcpy(path, found->node, needed);
  return true;
}
