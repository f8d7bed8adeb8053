#include "QVvisaUSBName.h"

#include "QVvisaNumber.h"

#include <optional>
#include <string_view>

namespace {

constexpr std::string_view kHexPrefix = "0x";

/// Moves `rest` behind the next `mark`; false if there is none.
bool skipPast(std::string_view& rest, std::string_view mark) {
  const size_t at = rest.find(mark);
  if (at == std::string_view::npos) return false;
  rest.remove_prefix(at + mark.size());
  return true;
}

/// A vendor or product ID: the field up to the next separator, cut to its low 16 bits.
std::optional<uint16_t> id(std::string_view rest) {
  const std::string_view field = rest.substr(0, rest.find(QVVISA_OPEN_PATTERN_SEP));
  if (std::string_view digits = field; skipPast(digits, kHexPrefix)) {
    const auto value = QVvisa_leadingNumber<uint32_t>(digits, 16);
    return value ? std::optional(static_cast<uint16_t>(*value)) : std::nullopt;
  }
  const auto value = QVvisa_leadingInteger(field);
  return value ? std::optional(static_cast<uint16_t>(*value)) : std::nullopt;
}

bool readIds(std::string_view& rest, QVvisa_usb_device_t& device) {
  for (uint16_t* target : {&device.vid, &device.pid}) {
    if (!skipPast(rest, QVVISA_OPEN_PATTERN_SEP)) return false;
    const auto value = id(rest);
    if (!value) return false;
    *target = *value;
  }
  return skipPast(rest, QVVISA_OPEN_PATTERN_SEP);
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
bool readInterfaceAndClass(std::string_view rest, QVvisa_usb_device_t& device) {
  if (readClass(rest, device)) {
    if (!device.isTMC) device.usedIntf = -1;
    return true;
  }
  const auto interface = QVvisa_leadingInteger(rest);
  if (!interface) return false;
  device.usedIntf = *interface;
  return skipPast(rest, QVVISA_OPEN_PATTERN_SEP) && readClass(rest, device);
}

bool parse(std::string_view rest, QVvisa_usb_device_t& device) {
  if (!skipPast(rest, QVVISA_OPEN_PATTERN_USB) || !readIds(rest, device)) return false;
  const std::string_view serial = rest.substr(0, rest.find(QVVISA_OPEN_PATTERN_SEP));
  if (!readSerial(serial, device)) return false;
  if (skipPast(rest, QVVISA_OPEN_PATTERN_SEP)) return readInterfaceAndClass(rest, device);
  device.isTMC = 1;
  return true;
}

}  // namespace

ViStatus QVvisa_OpenHelperParseNameUsb(char* name, QVvisa_usb_device_t* pUsbDev) {
  if (!name) return VI_ERROR_INV_PARAMETER;
  if (!pUsbDev) return VI_ERROR_INV_OBJECT;
  return parse(name, *pUsbDev) ? VI_SUCCESS : VI_ERROR_INV_RSRC_NAME;
}
