#include "usbDescription.h"

#include <algorithm>
#include <initializer_list>

namespace qvsim {
namespace {

constexpr uint8_t typeDevice = 1, typeConfiguration = 2, typeString = 3, typeInterface = 4, typeEndpoint = 5;
constexpr uint8_t indexManufacturer = 1, indexProduct = 2, indexSerial = 3, indexFirstInterface = 4;

constexpr uint8_t low(size_t value) {
  return static_cast<uint8_t>(value & 0xFF);
}
constexpr uint8_t high(size_t value) {
  return static_cast<uint8_t>(value >> 8 & 0xFF);
}

uint8_t indexOf(const std::optional<std::string>& text, size_t index) {
  return text ? low(index) : uint8_t{0};
}

void append(Bytes& bytes, std::initializer_list<uint8_t> more) {
  bytes.insert(bytes.end(), more);
}

size_t interfaceCount(const std::vector<UsbInterface>& interfaces) {
  return static_cast<size_t>(std::count_if(interfaces.begin(), interfaces.end(),
                                           [](const UsbInterface& setting) { return setting.alternate == 0; }));
}

}  // namespace

UsbInterface usbtmcInterface(bool interruptIn) {
  UsbInterface interface;
  interface.usbClass = {0xFE, 3, 1};
  interface.role = UsbRole::usbtmc;
  interface.name = "USB488";
  interface.endpoints = {{.address = 0x81}, {.address = 0x02}};
  if (interruptIn) {
    interface.endpoints.push_back(
        {.address = 0x83, .attributes = UsbEndpoint::interrupt, .maximumPacket = 8, .interval = 4});
  }
  return interface;
}

UsbInterface rawInterface(UsbRole role) {
  UsbInterface interface;
  interface.usbClass = {0xFF, 0, 0};
  interface.role = role;
  interface.name = "Raw";
  interface.endpoints = {{.address = 0x84}, {.address = 0x05}};
  return interface;
}

UsbDescription instrumentDescription() {
  UsbDescription description;
  description.interfaces = {usbtmcInterface(), rawInterface()};
  return description;
}

std::vector<UsbInterface> numberedInterfaces(const UsbDescription& description) {
  std::vector<UsbInterface> interfaces = description.interfaces;
  int number = -1;
  for (UsbInterface& setting : interfaces) {
    const int following = setting.alternate == 0 ? number + 1 : number;
    number = setting.number.value_or(low(static_cast<size_t>(std::max(following, 0))));
    setting.number = low(static_cast<size_t>(number));
  }
  return interfaces;
}

Bytes deviceDescriptor(const UsbDescription& description) {
  constexpr uint8_t length = 18, maximumPacket = 64, configurations = 1;
  return {length,
          typeDevice,
          0x00,
          0x02,
          description.usbClass.code,
          description.usbClass.subclass,
          description.usbClass.protocol,
          maximumPacket,
          low(description.vendor),
          high(description.vendor),
          low(description.product),
          high(description.product),
          0x00,
          0x01,
          indexOf(description.manufacturer, indexManufacturer),
          indexOf(description.productName, indexProduct),
          indexOf(description.serial, indexSerial),
          configurations};
}

Bytes configurationDescriptor(const UsbDescription& description) {
  constexpr uint8_t value = 1, selfPowered = 0xC0;
  const std::vector<UsbInterface> interfaces = numberedInterfaces(description);
  Bytes bytes = {9, typeConfiguration, 0, 0, low(interfaceCount(interfaces)), value, 0, selfPowered, 0};
  for (size_t i = 0; i < interfaces.size(); ++i) {
    const UsbInterface& setting = interfaces[i];
    append(bytes,
           {9, typeInterface, *setting.number, setting.alternate, low(setting.endpoints.size()), setting.usbClass.code,
            setting.usbClass.subclass, setting.usbClass.protocol, indexOf(setting.name, indexFirstInterface + i)});
    for (const UsbEndpoint& endpoint : setting.endpoints) {
      append(bytes, {7, typeEndpoint, endpoint.address, endpoint.attributes, low(endpoint.maximumPacket),
                     high(endpoint.maximumPacket), endpoint.interval});
    }
  }
  bytes[2] = low(bytes.size());
  bytes[3] = high(bytes.size());
  return bytes;
}

std::optional<Bytes> stringDescriptor(const UsbDescription& description, uint8_t index) {
  constexpr uint8_t englishLow = 0x09, englishHigh = 0x04;
  if (index == 0) return Bytes{4, typeString, englishLow, englishHigh};
  std::optional<std::string> text;
  switch (index) {
  case indexManufacturer:
    text = description.manufacturer;
    break;
  case indexProduct:
    text = description.productName;
    break;
  case indexSerial:
    text = description.serial;
    break;
  default:
    if (const size_t interface = index - size_t{indexFirstInterface}; interface < description.interfaces.size()) {
      text = description.interfaces[interface].name;
    }
  }
  if (!text) return std::nullopt;
  // The length has one byte and each character two.
  text->resize(std::min<size_t>(text->size(), 126));
  Bytes bytes = {low(2 + 2 * text->size()), typeString};
  for (const char character : *text) append(bytes, {static_cast<uint8_t>(character), 0});
  return bytes;
}

}  // namespace qvsim
