#include "usbDevices.h"

#include <libusb.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <unistd.h>
#include <utility>

namespace {

struct Release {
  void operator()(libusb_context* context) const { libusb_exit(context); }
  void operator()(libusb_device** list) const { libusb_free_device_list(list, 1); }
  void operator()(libusb_device_handle* handle) const { libusb_close(handle); }
  void operator()(libusb_config_descriptor* config) const { libusb_free_config_descriptor(config); }
};
template <typename Record>
using Owner = std::unique_ptr<Record, Release>;

/// Whose interfaces of any class the library opens and lists.
constexpr uint16_t kVendor = 0x7C5A;

std::string nodeOf(libusb_device* device) {
  std::array<char, 32> path{};
  snprintf(path.data(), path.size(), "/dev/bus/usb/%03u/%03u", libusb_get_bus_number(device),
           libusb_get_device_address(device));
  return path.data();
}

bool isUsbtmc(const libusb_interface_descriptor& interface) {
  return interface.bInterfaceClass == LIBUSB_CLASS_APPLICATION && interface.bInterfaceSubClass == 3;
}

/// The device's interfaces that the library can open: USBTMC ones and all of its vendor's.
std::vector<UsbInterface> interfacesOf(libusb_device* device, uint16_t vendor) {
  std::vector<UsbInterface> interfaces;
  libusb_config_descriptor* found = nullptr;
  if (libusb_get_active_config_descriptor(device, &found) != 0) return interfaces;
  const Owner<libusb_config_descriptor> config(found);
  for (const libusb_interface& interface : std::span(config->interface, config->bNumInterfaces)) {
    if (interface.num_altsetting == 0) continue;
    const libusb_interface_descriptor& descriptor = interface.altsetting[0];
    if (!isUsbtmc(descriptor) && vendor != kVendor) continue;
    interfaces.push_back({descriptor.bInterfaceNumber, isUsbtmc(descriptor)});
  }
  return interfaces;
}

/// The number of the device's USBTMC interface.
std::optional<int> usbtmcInterface(libusb_device* device) {
  for (const UsbInterface& interface : interfacesOf(device, 0)) return interface.number;
  return std::nullopt;
}

std::string serialNumberOf(libusb_device_handle* device, uint8_t index) {
  std::array<unsigned char, 128> text{};
  if (index == 0 || libusb_get_string_descriptor_ascii(device, index, text.data(), text.size()) < 0) return {};
  return reinterpret_cast<const char*>(text.data());
}

std::string adviceOnAccess() {
  const std::string rule = udevRule();
  return rule.empty() ? "no udev rule for instruments is installed: sudo cp 60-qvvisa.rules /etc/udev/rules.d/, and "
                        "plug the instrument in again"
                      : rule + " gives it to who sits at this machine and to the group plugdev; when that has changed, "
                               "log in and plug the instrument in again";
}

/// Opens a device for this user. Without a handle there is a cause.
std::optional<Diagnosis> open(libusb_device* device, Owner<libusb_device_handle>& handle) {
  const std::string node = nodeOf(device);
  if (auto noAccess = whyNoAccess(node)) {
    if (noAccess->advice.empty()) noAccess->advice = adviceOnAccess();
    return noAccess;
  }
  libusb_device_handle* opened = nullptr;
  if (const int error = libusb_open(device, &opened); error != 0) {
    return Diagnosis{node + " can't be opened: " + libusb_strerror(error)};
  }
  handle.reset(opened);
  return std::nullopt;
}

/// Looks at one device with the name's vendor and product.
std::optional<Diagnosis> whyNot(libusb_device* device, const libusb_device_descriptor& descriptor,
                                const ResourceName& name) {
  Owner<libusb_device_handle> handle;
  if (auto fault = open(device, handle)) return fault;
  libusb_device_handle* const opened = handle.get();
  const std::string serial = serialNumberOf(opened, descriptor.iSerialNumber);
  if (!serial.empty() && serial != name.serialNumber) {
    return Diagnosis{"the device that is attached has another serial number, " + serial};
  }
  if (name.isRaw) return std::nullopt;
  const auto interface = usbtmcInterface(device);
  if (!interface) {
    return Diagnosis{"the device has no USBTMC interface, which a name with INSTR stands for",
                     "a raw interface is named by its number: ...::0::RAW"};
  }
  libusb_set_auto_detach_kernel_driver(opened, 1);
  const int error = libusb_claim_interface(opened, *interface);
  if (error == 0) libusb_release_interface(opened, *interface);
  if (error != LIBUSB_ERROR_BUSY) return std::nullopt;
  return Diagnosis{"the instrument is in use by " + holdersInWords(nodeOf(device)), "end that program, or its session"};
}

UsbInterface::Holder holderOf(libusb_device_handle* device, int interface) {
  using enum UsbInterface::Holder;
  const int isDriver = libusb_kernel_driver_active(device, interface);
  if (isDriver == 1) return Driver;
  if (isDriver < 0) return Unknown;
  const int error = libusb_claim_interface(device, interface);
  if (error == 0) libusb_release_interface(device, interface);
  return error == 0 ? Nobody : error == LIBUSB_ERROR_BUSY ? Program : Unknown;
}

void lookInto(libusb_device* device, uint8_t serialIndex, bool giveBack, UsbDevice& result) {
  Owner<libusb_device_handle> handle;
  result.whyNotLooked = open(device, handle);
  if (result.whyNotLooked) return;
  result.serialNumber = serialNumberOf(handle.get(), serialIndex);
  for (UsbInterface& interface : result.interfaces) {
    interface.holder = holderOf(handle.get(), interface.number);
    if (!giveBack || interface.holder != UsbInterface::Holder::Nobody) continue;
    interface.wasOffered = true;
    const int error = libusb_attach_kernel_driver(handle.get(), interface.number);
    if (error == 0) interface.holder = UsbInterface::Holder::Driver;
  }
}

/// All devices that are attached, for the life of the object.
class DeviceList {
public:
  DeviceList() {
    libusb_context* started = nullptr;
    ssize_t result = libusb_init(&started);
    context_.reset(started);
    libusb_device** found = nullptr;
    if (result == 0) result = libusb_get_device_list(started, &found);
    list_.reset(found);
    if (result < 0) {
      fault_ = std::string("no access to USB: ") + libusb_strerror(static_cast<int>(result));
    } else {
      count_ = static_cast<size_t>(result);
    }
  }
  const std::string& fault() const { return fault_; }
  std::span<libusb_device*> devices() const { return {list_.get(), count_}; }

private:
  Owner<libusb_context> context_;
  std::unique_ptr<libusb_device*, Release> list_;
  size_t count_ = 0;
  std::string fault_;
};

}  // namespace

std::string hexadecimal(uint16_t number) {
  std::array<char, 8> text{};
  snprintf(text.data(), text.size(), "0x%04X", number);
  return text.data();
}

std::string libusbVersion() {
  const libusb_version* version = libusb_get_version();
  return std::to_string(version->major) + '.' + std::to_string(version->minor) + '.' + std::to_string(version->micro);
}

std::string udevRule() {
  for (const std::string folder : {"/etc", "/run", "/usr/local/lib", "/usr/lib", "/lib"}) {
    std::string path = folder + "/udev/rules.d/60-qvvisa.rules";
    if (access(path.c_str(), F_OK) == 0) return path;
  }
  return {};
}

bool hasUsbtmcDriver() {
  return access("/sys/bus/usb/drivers/usbtmc", F_OK) == 0;
}

UsbView lookAtUsb(const ResourceName* wanted, bool giveBack) {
  const DeviceList list;
  UsbView view{list.fault(), list.devices().size()};
  for (libusb_device* device : list.devices()) {
    libusb_device_descriptor descriptor = {};
    if (libusb_get_device_descriptor(device, &descriptor) != 0) continue;
    UsbDevice result{descriptor.idVendor, descriptor.idProduct, nodeOf(device), {}, {}};
    result.interfaces = interfacesOf(device, descriptor.idVendor);
    if (result.interfaces.empty()) continue;
    const bool isWanted = !wanted || (wanted->vendor == result.vendor && wanted->product == result.product);
    if (isWanted) lookInto(device, descriptor.iSerialNumber, giveBack, result);
    view.devices.push_back(std::move(result));
  }
  return view;
}

std::optional<Diagnosis> whyNoUsbDevice(const ResourceName& name) {
  const DeviceList list;
  if (!list.fault().empty()) return Diagnosis{list.fault()};
  Diagnosis last{"no USB device with vendor " + hexadecimal(name.vendor) + " and product " + hexadecimal(name.product) +
                     " is attached",
                 "is it on and plugged in? qvvisa find lists the instruments, lsusb all devices"};
  for (libusb_device* device : list.devices()) {
    libusb_device_descriptor descriptor = {};
    if (libusb_get_device_descriptor(device, &descriptor) != 0) continue;
    if (descriptor.idVendor != name.vendor || descriptor.idProduct != name.product) continue;
    const auto diagnosis = whyNot(device, descriptor, name);
    if (!diagnosis) return std::nullopt;
    last = *diagnosis;
  }
  return last;
}
