#include "usbDevices.h"

#include <libusb.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <span>
#include <string>

namespace {

struct Release {
  void operator()(libusb_context* context) const { libusb_exit(context); }
  void operator()(libusb_device** list) const { libusb_free_device_list(list, 1); }
  void operator()(libusb_device_handle* handle) const { libusb_close(handle); }
  void operator()(libusb_config_descriptor* config) const { libusb_free_config_descriptor(config); }
};
template <typename Record>
using Owner = std::unique_ptr<Record, Release>;

std::string hexadecimal(uint16_t number) {
  std::array<char, 8> text{};
  snprintf(text.data(), text.size(), "0x%04X", number);
  return text.data();
}

std::string nodeOf(libusb_device* device) {
  std::array<char, 32> path{};
  snprintf(path.data(), path.size(), "/dev/bus/usb/%03u/%03u", libusb_get_bus_number(device),
           libusb_get_device_address(device));
  return path.data();
}

bool isUsbtmc(const libusb_interface_descriptor& interface) {
  return interface.bInterfaceClass == LIBUSB_CLASS_APPLICATION && interface.bInterfaceSubClass == 3;
}

/// The number of the device's USBTMC interface.
std::optional<int> usbtmcInterface(libusb_device* device) {
  libusb_config_descriptor* found = nullptr;
  if (libusb_get_active_config_descriptor(device, &found) != 0) return std::nullopt;
  const Owner<libusb_config_descriptor> config(found);
  for (const libusb_interface& interface : std::span(config->interface, config->bNumInterfaces)) {
    if (interface.num_altsetting > 0 && isUsbtmc(interface.altsetting[0])) {
      return interface.altsetting[0].bInterfaceNumber;
    }
  }
  return std::nullopt;
}

std::string serialNumberOf(libusb_device_handle* device, uint8_t index) {
  std::array<unsigned char, 128> text{};
  if (index == 0 || libusb_get_string_descriptor_ascii(device, index, text.data(), text.size()) < 0) return {};
  return reinterpret_cast<const char*>(text.data());
}

/// Looks at one device with the name's vendor and product.
std::optional<Diagnosis> whyNot(libusb_device* device, const libusb_device_descriptor& descriptor,
                                const ResourceName& name) {
  const std::string node = nodeOf(device);
  if (auto noAccess = whyNoAccess(node)) {
    if (noAccess->advice.empty()) {
      noAccess->advice = "a udev rule gives it to you: README, \"Access to USB instruments\"; then plug it in again";
    }
    return noAccess;
  }
  libusb_device_handle* opened = nullptr;
  if (const int error = libusb_open(device, &opened); error != 0) {
    return Diagnosis{node + " can't be opened: " + libusb_strerror(error)};
  }
  const Owner<libusb_device_handle> handle(opened);
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
  return Diagnosis{"the instrument is in use by " + holdersInWords(node), "end that program, or its session"};
}

}  // namespace

std::optional<Diagnosis> whyNoUsbDevice(const ResourceName& name) {
  libusb_context* started = nullptr;
  if (const int error = libusb_init(&started); error != 0) {
    return Diagnosis{std::string("no access to USB: ") + libusb_strerror(error)};
  }
  const Owner<libusb_context> context(started);
  libusb_device** found = nullptr;
  const ssize_t count = libusb_get_device_list(started, &found);
  if (count < 0) return Diagnosis{std::string("no access to USB: ") + libusb_strerror(static_cast<int>(count))};
  const std::unique_ptr<libusb_device*, Release> list(found);
  Diagnosis last{"no USB device with vendor " + hexadecimal(name.vendor) + " and product " + hexadecimal(name.product) +
                     " is attached",
                 "is it on and plugged in? qvvisa find lists the instruments, lsusb all devices"};
  for (libusb_device* device : std::span(found, static_cast<size_t>(count))) {
    libusb_device_descriptor descriptor = {};
    if (libusb_get_device_descriptor(device, &descriptor) != 0) continue;
    if (descriptor.idVendor != name.vendor || descriptor.idProduct != name.product) continue;
    const auto diagnosis = whyNot(device, descriptor, name);
    if (!diagnosis) return std::nullopt;
    last = *diagnosis;
  }
  return last;
}
