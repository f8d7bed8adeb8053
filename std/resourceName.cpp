#include "resourceName.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <string_view>

namespace qvstd {
namespace {

using std::string_view;

constexpr string_view kSeparator = "::";
/// USB0::vendor::product::serial::interface::INSTR has the most fields.
constexpr size_t kMaxFields = 6;
constexpr ViUInt32 kMaxUsbId = 0xFFFF;
constexpr ViUInt32 kMaxPort = 0xFFFF;

char upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isSame(string_view a, string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return upper(x) == upper(y); });
}

/// The fields between the separators, as they were given.
struct Fields {
  string_view field[kMaxFields];
  size_t count = 0;

  string_view last() const { return field[count - 1]; }
  /// Whether the last field is this class; then it is taken off.
  bool takeClass(string_view name) {
    if (count < 2 || !isSame(last(), name)) return false;
    --count;
    return true;
  }
};

bool split(string_view text, Fields& fields) {
  for (;;) {
    if (fields.count == kMaxFields) return false;
    const size_t end = text.find(kSeparator);
    fields.field[fields.count++] = text.substr(0, end);
    if (end == string_view::npos) return true;
    text.remove_prefix(end + kSeparator.size());
  }
}

/// A decimal number, or with @p hexadecimalToo one behind 0x, up to @p largest.
bool readNumber(string_view text, ViUInt32 largest, bool hexadecimalToo, ViUInt32& value) {
  const bool isHex = hexadecimalToo && text.size() > 2 && text[0] == '0' && upper(text[1]) == 'X';
  if (isHex) text.remove_prefix(2);
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, isHex ? 16 : 10);
  return error == std::errc{} && end == text.data() + text.size() && value <= largest;
}

/// The number behind a bus's word, 0 if there is none. False when the field begins with another word.
bool readBoard(string_view field, string_view word, ViUInt32& board, bool& isGiven) {
  if (field.size() < word.size() || !isSame(field.substr(0, word.size()), word)) return false;
  field.remove_prefix(word.size());
  board = 0;
  isGiven = !field.empty();
  return !isGiven || readNumber(field, VI_NO_SEC_ADDR, false, board);
}

template <typename... Arguments>
bool print(ViChar (&text)[VI_FIND_BUFLEN], const char* format, Arguments... arguments) {
  const int length = snprintf(text, sizeof text, format, arguments...);
  return length >= 0 && static_cast<size_t>(length) < sizeof text;
}

int sizeOf(string_view text) {
  return static_cast<int>(text.size());
}

/// Ends the parse of a name that the library opens as it stands.
ViStatus finish(ResourceName& name, bool isWhole) {
  return isWhole && print(name.opening, "%s", name.text) ? VI_SUCCESS : VI_ERROR_INV_RSRC_NAME;
}

ViStatus parseUsb(Fields& fields, ViUInt32 board, ResourceName& name) {
  if (board != 0) return VI_ERROR_INTF_NUM_NCONFIG;
  const bool isRaw = fields.takeClass("RAW");
  if (!isRaw) fields.takeClass("INSTR");
  ViUInt32 vendor = 0;
  ViUInt32 product = 0;
  ViUInt32 usbInterface = 0;
  if (fields.count < 4 || fields.count > 5 || !readNumber(fields.field[1], kMaxUsbId, true, vendor) ||
      !readNumber(fields.field[2], kMaxUsbId, true, product)) {
    return VI_ERROR_INV_RSRC_NAME;
  }
  const bool hasInterface = fields.count == 5;
  if (hasInterface && !readNumber(fields.field[4], UINT8_MAX, false, usbInterface)) return VI_ERROR_INV_RSRC_NAME;

  name.bus = isRaw ? Bus::UsbRaw : Bus::Usbtmc;
  name.interfaceType = VI_INTF_USB;
  name.resourceClass = isRaw ? "RAW" : "INSTR";
  ViChar interfaceText[8] = "";
  if (hasInterface) snprintf(interfaceText, sizeof interfaceText, "::%u", static_cast<unsigned>(usbInterface));
  const string_view serial = fields.field[3];
  return finish(name, print(name.text, "USB0::0x%04X::0x%04X::%.*s%s::%s", static_cast<unsigned>(vendor),
                            static_cast<unsigned>(product), sizeOf(serial), serial.data(), interfaceText,
                            name.resourceClass));
}

ViStatus parseSerial(Fields& fields, ViUInt32 port, ResourceName& name) {
  fields.takeClass("INSTR");
  if (fields.count != 1) return VI_ERROR_INV_RSRC_NAME;
  name.bus = Bus::Serial;
  name.interfaceType = VI_INTF_ASRL;
  name.interfaceNumber = static_cast<ViUInt16>(port);
  name.resourceClass = "INSTR";
  return finish(name, print(name.text, "ASRL%u::INSTR", static_cast<unsigned>(port)));
}

/// COMn and COMn::rate, the library's own names of serial ports.
ViStatus parseComPort(Fields& fields, ViUInt32 port, ResourceName& name) {
  fields.takeClass("INSTR");
  ViUInt32 rate = 0;
  const bool hasRate = fields.count == 2;
  if (hasRate && !readNumber(fields.field[1], INT32_MAX, false, rate)) return VI_ERROR_INV_RSRC_NAME;
  if (hasRate) fields.count = 1;
  const ViStatus status = parseSerial(fields, port, name);
  if (status != VI_SUCCESS || !hasRate) return status;
  print(name.opening, "COM%u::%u", static_cast<unsigned>(port), static_cast<unsigned>(rate));
  return VI_SUCCESS;
}

/// The library looks for the words of the other buses anywhere in a name, in upper case; hosts have no case.
void lowerCase(ViChar* text) {
  for (; *text; ++text) *text = lower(*text);
}

ViStatus parseSocket(const Fields& fields, ResourceName& name) {
  ViUInt32 port = 0;
  if (fields.count != 3 || !readNumber(fields.field[2], kMaxPort, false, port)) return VI_ERROR_INV_RSRC_NAME;
  name.resourceClass = "SOCKET";
  const bool isWhole = print(name.text, "TCPIP%u::%s::%u::SOCKET", static_cast<unsigned>(name.interfaceNumber),
                             name.host, static_cast<unsigned>(port)) &&
                       print(name.opening, "TCPIP0::%s::%u::SOCKET", name.host, static_cast<unsigned>(port));
  return isWhole ? VI_SUCCESS : VI_ERROR_INV_RSRC_NAME;
}

ViStatus parseTcp(Fields& fields, ViUInt32 board, ResourceName& name) {
  const bool isSocket = fields.takeClass("SOCKET");
  if (!isSocket) fields.takeClass("INSTR");
  if (fields.count < 2 || fields.count > 3 || fields.field[1].empty()) return VI_ERROR_INV_RSRC_NAME;
  name.bus = Bus::Tcp;
  name.interfaceType = VI_INTF_TCPIP;
  name.interfaceNumber = static_cast<ViUInt16>(board);
  if (!print(name.host, "%.*s", sizeOf(fields.field[1]), fields.field[1].data())) return VI_ERROR_INV_RSRC_NAME;
  lowerCase(name.host);
  if (isSocket) return parseSocket(fields, name);
  name.resourceClass = "INSTR";
  const string_view device = fields.count == 3 ? fields.field[2] : "inst0";
  const bool isWhole =
      print(name.device, "%.*s", sizeOf(device), device.data()) &&
      print(name.text, "TCPIP%u::%s::%s::INSTR", static_cast<unsigned>(board), name.host, name.device) &&
      print(name.opening, "TCPIP0::%s", name.host);
  return isWhole ? VI_SUCCESS : VI_ERROR_INV_RSRC_NAME;
}

struct BusWord {
  string_view word;
  bool needsNumber;
  ViStatus (*parse)(Fields&, ViUInt32 board, ResourceName&);
};

constexpr BusWord kBuses[] = {
    {"USB", false, parseUsb}, {"ASRL", true, parseSerial}, {"COM", true, parseComPort}, {"TCPIP", false, parseTcp}};

}  // namespace

ViStatus parseResourceName(ViConstRsrc given, ResourceName& name) {
  string_view text = given ? given : "";
  const auto isSpace = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);

  Fields fields;
  if (!split(text, fields)) return VI_ERROR_INV_RSRC_NAME;
  for (const BusWord& bus : kBuses) {
    ViUInt32 board = 0;
    bool isGiven = false;
    if (!readBoard(fields.field[0], bus.word, board, isGiven) || (bus.needsNumber && !isGiven)) continue;
    return bus.parse(fields, board, name);
  }
  return VI_ERROR_INV_RSRC_NAME;
}

}  // namespace qvstd
