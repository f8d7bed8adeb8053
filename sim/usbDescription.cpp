#include "usbDescription.h"

#include <algorithm>
#include <initializer_list>

#include "scpiInstrument.h"

namespace qvsim {
namespace {

constexpr uint8_t typeDevice = 1, typeConfiguration = 2, typeString = 3, typeInterface = 4, typeEndpoint = 5;
constexpr uint8_t indexMaker = 1, indexModel = 2, indexSerial = 3, indexInstrument = 4, indexRaw = 5;
constexpr uint8_t bulk = 2, interrupt = 3;

constexpr uint8_t low(size_t value) {
  return static_cast<uint8_t>(value & 0xFF);
}
constexpr uint8_t high(size_t value) {
  return static_cast<uint8_t>(value >> 8 & 0xFF);
}

void append(Bytes& bytes, std::initializer_list<uint8_t> more) {
  // Optimised, GCC 12 sees an insertion of the whole range write too far.
  for (const uint8_t byte : more) bytes.push_back(byte);
}

void appendEndpoint(Bytes& bytes, uint8_t address, uint8_t attributes, size_t packet, uint8_t interval) {
  append(bytes, {7, typeEndpoint, address, attributes, low(packet), high(packet), interval});
}

}  // namespace

Bytes deviceDescriptor(const UsbDescription& description) {
  constexpr uint8_t length = 18, packetOfControl = 64, configurations = 1;
  const uint8_t serial = description.serial.empty() ? uint8_t{0} : indexSerial;
  Bytes bytes = {length, typeDevice, 0x00, 0x02, 0, 0, 0, packetOfControl};
  append(bytes, {low(description.vendor), high(description.vendor), low(description.product), high(description.product),
                 0x00, 0x01});
  append(bytes, {indexMaker, indexModel, serial, configurations});
  return bytes;
}

Bytes configurationDescriptor(const UsbDescription& description) {
  constexpr uint8_t interfaces = 2, value = 1, selfPowered = 0xC0;
  Bytes bytes = {9, typeConfiguration, 0, 0, interfaces, value, 0, selfPowered, 0};
  append(bytes, {9, typeInterface, 0, 0, low(2U + description.interruptIn), 0xFE, 3, 1, indexInstrument});
  appendEndpoint(bytes, endpoint::bulkIn, bulk, maximumPacket, 0);
  appendEndpoint(bytes, endpoint::bulkOut, bulk, maximumPacket, 0);
  if (description.interruptIn) appendEndpoint(bytes, endpoint::interruptIn, interrupt, 8, 4);
  append(bytes, {9, typeInterface, 1, 0, 2, 0xFF, 0, 0, indexRaw});
  appendEndpoint(bytes, endpoint::rawIn, bulk, maximumPacket, 0);
  appendEndpoint(bytes, endpoint::rawOut, bulk, maximumPacket, 0);
  bytes[2] = low(bytes.size());
  bytes[3] = high(bytes.size());
  return bytes;
}

std::optional<Bytes> stringDescriptor(const UsbDescription& description, uint8_t index) {
  constexpr uint8_t englishLow = 0x09, englishHigh = 0x04;
  if (index == 0) return Bytes{4, typeString, englishLow, englishHigh};
  const Identity identity;
  const std::string texts[] = {identity.maker, identity.model, description.serial, "USB488", "Raw"};
  if (index > std::size(texts) || texts[index - 1].empty()) return std::nullopt;
  // The length has one byte and each character two.
  const std::string text = texts[index - 1].substr(0, 126);
  Bytes bytes = {low(2 + 2 * text.size()), typeString};
  for (const char character : text) append(bytes, {static_cast<uint8_t>(character), 0});
  return bytes;
}

}  // namespace qvsim
