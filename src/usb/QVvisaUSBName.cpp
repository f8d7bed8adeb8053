#include "QVvisaUSBName.h"

#include "QVvisaNumber.h"

#include <optional>
#include <string_view>

namespace {

constexpr std::string_view kHexPrefix = "0x";

/// A vendor or product ID, cut to its low 16 bits.
std::optional<uint16_t> id(std::string_view field) {
  if (NameFields digits(field); digits.skipPast(kHexPrefix)) {
    const auto value = QVvisa_leadingNumber<uint32_t>(digits.rest(), 16);
    return value ? std::optional(static_cast<uint16_t>(*value)) : std::nullopt;
  }
  const auto value = QVvisa_leadingInteger(field);
  return value ? std::optional(static_cast<uint16_t>(*value)) : std::nullopt;
}

bool readIds(NameFields& name, QVvisa_usb_device_t& device) {
  for (uint16_t* target : {&device.vid, &device.pid}) {
    const auto value = id(name.next());
    if (!value || !name.hasMore()) return false;
    *target = *value;
  }
  return true;
}

bool readSerial(std::string_view serial, QVvisa_usb_device_t& device) {
  if (serial.size() >= sizeof device.sn) return false;
  device.sn[serial.copy(device.sn, serial.size())] = '\0';
  return true;
}

bool readClass(std::string_view rest, QVvisa_usb_device_t& device) {
  device.isTMC = rest == QVVISA_OPEN_PATTERN_INSTR;
  return device.isTMC || rest == QVVISA_OPEN_PATTERN_RAW;
}

/// What follows the serial number: a class, or an interface and a class.
bool readInterfaceAndClass(NameFields& name, QVvisa_usb_device_t& device) {
  if (readClass(name.rest(), device)) {
    if (!device.isTMC) device.usedIntf = -1;
    return true;
  }
  const auto interface = QVvisa_leadingInteger(name.rest());
  if (!interface) return false;
  device.usedIntf = *interface;
  return name.skipPast(QVVISA_OPEN_PATTERN_SEP) && readClass(name.rest(), device);
}

bool parse(NameFields name, QVvisa_usb_device_t& device) {
  if (!name.skipPast(QVVISA_OPEN_PATTERN_USB) || !name.skipPast(QVVISA_OPEN_PATTERN_SEP)) return false;
  if (!readIds(name, device) || !readSerial(name.next(), device)) return false;
  if (name.hasMore()) return readInterfaceAndClass(name, device);
  device.isTMC = 1;
  return true;
}

}  // namespace

ViStatus QVvisa_OpenHelperParseNameUsb(char* name, QVvisa_usb_device_t* pUsbDev) {
  if (!name) return VI_ERROR_INV_PARAMETER;
  if (!pUsbDev) return VI_ERROR_INV_OBJECT;
  return parse(NameFields(name), *pUsbDev) ? VI_SUCCESS : VI_ERROR_INV_RSRC_NAME;
}
