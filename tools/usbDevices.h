/// The USB devices of this machine, as they are seen without the library.
#pragma once

#include "deviceNode.h"
#include "resourceName.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Why the device that the name tells can't be used; nothing if no cause shows.
std::optional<Diagnosis> whyNoUsbDevice(const ResourceName& name);

/// An interface that the library can open.
struct UsbInterface {
  enum class Holder { Nobody, Driver, Program, Unknown };
  int number = 0;
  bool isUsbtmc = false;
  Holder holder = Holder::Unknown;
  bool wasOffered = false;  ///< to the drivers of the kernel, by this look
};

/// A device with such interfaces.
struct UsbDevice {
  uint16_t vendor = 0;
  uint16_t product = 0;
  std::string node;
  std::string serialNumber;               ///< empty if it has none or can't be opened
  std::optional<Diagnosis> whyNotLooked;  ///< why nobody knows who holds its interfaces
  std::vector<UsbInterface> interfaces{};
};

struct UsbView {
  std::string fault;  ///< why nothing can be seen; empty if something can
  size_t count = 0;   ///< of all devices, hubs included
  std::vector<UsbDevice> devices{};
};

/// Looks at the devices with a USBTMC interface and at those of the library's vendor. No instrument notices.
/// @param wanted    whose kind alone is looked into, while all are counted; null for all
/// @param giveBack  offers each interface that nobody holds to the drivers of the kernel
UsbView lookAtUsb(const ResourceName* wanted, bool giveBack);

/// "0x7C5A"
std::string hexadecimal(uint16_t number);
std::string libusbVersion();
/// The path of the rule that gives users access to instruments; empty if it isn't installed.
std::string udevRule();
/// Whether the kernel's driver for USBTMC interfaces is loaded.
bool hasUsbtmcDriver();
