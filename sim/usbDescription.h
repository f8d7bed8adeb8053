/// @file
/// What a virtual USB device is made of, and the descriptors that say so to the host.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qvsim {

using Bytes = std::vector<uint8_t>;

/// Class, subclass and protocol, of a device or an interface.
struct UsbClass {
  uint8_t code = 0;
  uint8_t subclass = 0;
  uint8_t protocol = 0;
};

struct UsbEndpoint {
  uint8_t address = 0;           ///< bit 7 set: to the host
  uint8_t attributes = bulk;     ///< the descriptor's bmAttributes
  uint16_t maximumPacket = 512;  ///< bytes
  uint8_t interval = 0;

  static constexpr uint8_t bulk = 2, interrupt = 3, typeMask = 3;
  bool toHost() const { return address & 0x80; }
};

/// What lives behind an interface's endpoints.
enum class UsbRole {
  none,    ///< nobody: what is sent is taken and forgotten, nothing is ever answered
  usbtmc,  ///< the SCPI instrument behind USBTMC and USB488
  echo,    ///< each transfer comes back
};

/// One alternate setting of one interface. Alternate settings of an interface stand next to each other.
struct UsbInterface {
  UsbClass usbClass;
  UsbRole role = UsbRole::none;
  std::vector<UsbEndpoint> endpoints;
  std::optional<std::string> name;  ///< none: the descriptor's string index is 0
  std::optional<uint8_t> number;    ///< none: one above the interface before, from 0
  uint8_t alternate = 0;
  std::string kernelDriver;  ///< name of the host's driver that holds the interface at first, empty for none
};

struct UsbDescription {
  uint16_t vendor = 0x7C5A;
  uint16_t product = 0x0042;
  UsbClass usbClass;
  std::optional<std::string> manufacturer = "KESTRIX";  ///< none: the descriptor's string index is 0
  std::optional<std::string> productName = "SIM-1";
  std::optional<std::string> serial = "A1234";
  std::vector<UsbInterface> interfaces;
};

/// Class FE, subclass 3, protocol 1, with Bulk-IN 0x81, Bulk-OUT 0x02 and, if wanted, Interrupt-IN 0x83.
UsbInterface usbtmcInterface(bool interruptIn = true);

/// Vendor class, with Bulk-IN 0x84 and Bulk-OUT 0x05.
UsbInterface rawInterface(UsbRole role = UsbRole::echo);

/// The default instrument: a USBTMC interface and a raw one that echoes.
UsbDescription instrumentDescription();

/// The interfaces with every number filled in.
std::vector<UsbInterface> numberedInterfaces(const UsbDescription& description);

Bytes deviceDescriptor(const UsbDescription& description);
/// The configuration descriptor with all interface and endpoint descriptors behind it.
Bytes configurationDescriptor(const UsbDescription& description);
/// The string descriptor of an index, 0 for the list of languages; none if the device has no such string.
std::optional<Bytes> stringDescriptor(const UsbDescription& description, uint8_t index);

}  // namespace qvsim
