#include "serialPorts.h"

#include "deviceNode.h"
#include "text.h"

#include <libudev.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <unistd.h>

namespace {

constexpr int kHighestNumber = 1000;
constexpr int kFirstOther = 500;

/// The port with index i of a family has the number base + i.
struct Family {
  std::string_view prefix;
  int base;
  int size;
};
constexpr Family kFamilies[] = {
    {"ttyS", 1, 99}, {"ttyUSB", 100, 100}, {"ttyACM", 200, 100}, {"ttyAMA", 300, 100}, {"rfcomm", 400, 100},
};

struct Release {
  void operator()(udev* context) const { udev_unref(context); }
  void operator()(udev_enumerate* list) const { udev_enumerate_unref(list); }
  void operator()(udev_device* device) const { udev_device_unref(device); }
};
template <typename Record>
using Owner = std::unique_ptr<Record, Release>;

struct MachinePort {
  std::string name;  ///< the kernel's, such as ttyUSB0
  SerialPort port;
};

std::string textOf(const char* text) {
  return text ? text : "";
}

int familyNumber(std::string_view name) {
  for (const Family& family : kFamilies) {
    if (!name.starts_with(family.prefix)) continue;
    if (const auto index = parseNumber(name.substr(family.prefix.size()), 0, family.size - 1)) {
      return family.base + static_cast<int>(*index);
    }
  }
  return 0;
}

std::string driverOf(udev_device* tty) {
  for (auto* above = udev_device_get_parent(tty); above; above = udev_device_get_parent(above)) {
    if (textOf(udev_device_get_subsystem(above)) == "serial-base") continue;
    if (const char* driver = udev_device_get_driver(above)) return driver;
  }
  return "tty";
}

/// Whether there is hardware behind the tty: not behind a console, and not behind a slot of the 8250 driver without a
/// chip.
bool isPort(udev_device* tty) {
  if (textOf(udev_device_get_sysname(tty)).starts_with("rfcomm")) return true;
  if (!udev_device_get_parent(tty)) return false;
  const std::string type = textOf(udev_device_get_sysattr_value(tty, "type"));
  return type.empty() ? driverOf(tty) != "serial8250" : type != "0";
}

std::string descriptionOf(udev_device* tty) {
  auto* adapter = udev_device_get_parent_with_subsystem_devtype(tty, "usb", "usb_device");
  const std::string product = adapter ? textOf(udev_device_get_sysattr_value(adapter, "product")) : "";
  if (product.empty()) return "serial port (" + driverOf(tty) + ")";
  const std::string maker = textOf(udev_device_get_sysattr_value(adapter, "manufacturer"));
  return maker.empty() ? product : maker + " " + product;
}

std::vector<MachinePort> machinePorts() {
  std::vector<MachinePort> ports;
  const Owner<udev> context(udev_new());
  const Owner<udev_enumerate> list(context ? udev_enumerate_new(context.get()) : nullptr);
  if (!list || udev_enumerate_add_match_subsystem(list.get(), "tty") < 0) return ports;
  // Not the 64 virtual consoles, which would take most of the time.
  for (const char* name : {"tty[!0-9]*", "tt[!y]*", "t[!t]*", "[!t]*"}) {
    udev_enumerate_add_match_sysname(list.get(), name);
  }
  udev_enumerate_scan_devices(list.get());
  for (auto* entry = udev_enumerate_get_list_entry(list.get()); entry; entry = udev_list_entry_get_next(entry)) {
    const Owner<udev_device> tty(udev_device_new_from_syspath(context.get(), udev_list_entry_get_name(entry)));
    if (!tty || !isPort(tty.get())) continue;
    MachinePort port{textOf(udev_device_get_sysname(tty.get())), {}};
    const char* node = udev_device_get_devnode(tty.get());
    port.port.path = node ? node : "/dev/" + port.name;
    port.port.description = descriptionOf(tty.get());
    ports.push_back(std::move(port));
  }
  std::sort(ports.begin(), ports.end(),
            [](const MachinePort& a, const MachinePort& b) { return strverscmp(a.name.c_str(), b.name.c_str()) < 0; });
  int nextOther = kFirstOther;
  for (auto& [name, port] : ports) {
    port.number = familyNumber(name);
    if (port.number == 0) port.number = nextOther++;
  }
  return ports;
}

PortEntry parseEntry(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  text = text.substr(0, text.find_last_not_of(' ') + 1);
  PortEntry entry;
  entry.text = text;
  const size_t sign = text.find('=');
  const auto number = parseNumber(text.substr(0, sign), 1, kHighestNumber);
  if (sign == std::string_view::npos || !number) {
    entry.fault = "it doesn't begin with a number from 1 to " + std::to_string(kHighestNumber) + " and =";
    return entry;
  }
  entry.number = static_cast<int>(*number);
  entry.path = text.substr(sign + 1);
  if (!entry.path.starts_with('/')) {
    entry.fault = "its path doesn't begin with /";
  } else if (access(entry.path.c_str(), F_OK) != 0) {
    entry.fault = entry.path + " isn't there";
  }
  return entry;
}

}  // namespace

std::vector<PortEntry> portEntries() {
  std::vector<PortEntry> entries;
  const std::string all = textOf(getenv("QVVISA_SERIAL_PORTS"));
  std::string_view list = all;
  while (!list.empty()) {
    const std::string_view text = list.substr(0, list.find(','));
    list.remove_prefix(std::min(text.size() + 1, list.size()));
    PortEntry entry = parseEntry(text);
    for (const PortEntry& other : entries) {
      if (!entry.fault.empty() || !other.fault.empty()) continue;
      if (other.number == entry.number) entry.fault = "its number is given to " + other.path + " already";
      if (isSameDevice(other.path, entry.path)) entry.fault = "its device is port " + std::to_string(other.number);
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}

std::vector<SerialPort> serialPorts() {
  std::vector<SerialPort> ports;
  std::vector<MachinePort> machine = machinePorts();
  for (const PortEntry& entry : portEntries()) {
    if (!entry.fault.empty()) continue;
    const auto known = std::find_if(machine.begin(), machine.end(),
                                    [&](const MachinePort& port) { return isSameDevice(port.port.path, entry.path); });
    const std::string description = known == machine.end() ? "named by QVVISA_SERIAL_PORTS" : known->port.description;
    if (known != machine.end()) machine.erase(known);
    ports.push_back({entry.number, entry.path, description});
  }
  const auto isTaken = [&](int number) {
    return std::any_of(ports.begin(), ports.end(), [=](const SerialPort& port) { return port.number == number; });
  };
  for (auto& [name, port] : machine) {
    if (!isTaken(port.number) && access(port.path.c_str(), F_OK) == 0) ports.push_back(std::move(port));
  }
  std::sort(ports.begin(), ports.end(), [](const auto& a, const auto& b) { return a.number < b.number; });
  return ports;
}

std::optional<SerialPort> serialPort(int number) {
  for (SerialPort& port : serialPorts()) {
    if (port.number == number) return std::move(port);
  }
  return std::nullopt;
}

std::optional<SerialPort> serialPortOf(const std::string& path) {
  for (SerialPort& port : serialPorts()) {
    if (isSameDevice(port.path, path)) return std::move(port);
  }
  return std::nullopt;
}
