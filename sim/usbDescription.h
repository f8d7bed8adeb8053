/// @file
/// What a virtual USB device is, and the descriptors that say so to the host.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qvsim {

using Bytes = std::vector<uint8_t>;

/// Endpoint addresses; those to the host have bit 7 set.
namespace endpoint {
constexpr uint8_t bulkIn = 0x81, bulkOut = 0x02, interruptIn = 0x83, rawIn = 0x84, rawOut = 0x05;
}
constexpr size_t maximumPacket = 512;  ///< bytes, of the bulk endpoints

/// Interface 0 is an SCPI instrument behind USBTMC with the USB488 subclass; interface 1, of the vendor's class, echoes
/// each transfer.
struct UsbDescription {
  uint16_t vendor = 0x7C5A;
  uint16_t product = 0x0042;
  std::string serial = "A1234";   ///< empty: the device has no such string
  bool interruptIn = true;        ///< whether interface 0 has that endpoint, which is optional
  std::string kernelDriver = {};  ///< name of the host's driver that holds interface 0 at first, empty for none
};

/// The device descriptor.
Bytes deviceDescriptor(const UsbDescription& description);
/// The configuration descriptor with all interface and endpoint descriptors behind it.
Bytes configurationDescriptor(const UsbDescription& description);
/// The string descriptor of an index, 0 for the list of languages; none if the device has no such string.
std::optional<Bytes> stringDescriptor(const UsbDescription& description, uint8_t index);

}  // namespace qvsim
