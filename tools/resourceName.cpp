#include "resourceName.h"

#include "serialPorts.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <limits>

namespace {

/// Where a name without SOCKET connects to.
constexpr uint16_t kPlainTcpPort = 2000;
constexpr std::string_view kSeparator = "::";

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

bool isDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c); });
}

/// The digits at the beginning of a text.
std::optional<int> leadingNumber(std::string_view text) {
  const auto end = std::find_if_not(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c); });
  const auto number = parseNumber({text.begin(), end}, 0, std::numeric_limits<int>::max());
  if (!number) return std::nullopt;
  return static_cast<int>(*number);
}

std::string joined(const std::vector<std::string>& fields) {
  std::string name;
  for (const std::string& field : fields) name += (name.empty() ? "" : "::") + field;
  return name;
}

bool parseUsb(std::string_view name, ResourceName& result) {
  const size_t keyword = name.find("USB0");
  if (keyword == std::string_view::npos) return false;
  const std::vector<std::string> fields = fieldsOf(name.substr(keyword));
  if (fields.size() < 4) return false;
  const auto vendor = parseNumber(fields[1], 0, std::numeric_limits<uint16_t>::max());
  const auto product = parseNumber(fields[2], 0, std::numeric_limits<uint16_t>::max());
  const bool endsWell = fields.size() == 4 || fields.back() == "INSTR" || fields.back() == "RAW";
  if (!vendor || !product || !endsWell || fields.size() > 6) return false;
  result.bus = Bus::Usb;
  result.vendor = static_cast<uint16_t>(*vendor);
  result.product = static_cast<uint16_t>(*product);
  result.serialNumber = fields[3];
  result.isRaw = fields.size() > 4 && fields.back() == "RAW";
  return true;
}

bool parseSerial(std::string_view name, ResourceName& result) {
  const size_t com = name.find("COM");
  const size_t asrl = name.find("ASRL");
  const bool isCom = com != std::string_view::npos;
  if (!isCom && (asrl == std::string_view::npos || !name.ends_with("INSTR"))) return false;
  const auto number = leadingNumber(name.substr(isCom ? com + 3 : asrl + 4));
  if (!number || (!isCom && name.find(kSeparator, asrl) == std::string_view::npos)) return false;
  result.bus = Bus::Serial;
  result.comPort = *number;
  return true;
}

bool parseTcp(std::string_view name, ResourceName& result) {
  const size_t keyword = name.find("TCPIP");
  if (keyword == std::string_view::npos) return false;
  const std::vector<std::string> fields = fieldsOf(name.substr(keyword));
  if (fields.size() < 2) return false;
  result.host = fields[1];
  result.tcpPort = kPlainTcpPort;
  const bool isSocket = fields.size() > 2 && name.find("SOCKET", name.find(fields[1])) != std::string_view::npos;
  if (isSocket) {
    const auto port = leadingNumber(fields[2]);
    if (!port || *port > std::numeric_limits<uint16_t>::max()) return false;
    result.tcpPort = static_cast<uint16_t>(*port);
  } else if (fields.size() > 2) {
    result.deviceName = fields[2];
  }
  result.bus = Bus::Tcp;
  return true;
}

/// A vendor or product number that lacks its 0x, or has it in capitals.
std::string usbNumber(const std::string& field) {
  std::string digits = upper(field);
  const bool marked = digits.starts_with("0X");
  if (marked) digits.erase(0, 2);
  if (!parseNumber("0x" + digits, 0, std::numeric_limits<uint16_t>::max())) return field;
  return marked || !isDigits(digits) ? "0x" + digits : field;
}

void correctUsb(std::vector<std::string>& fields) {
  fields[0] = "USB0";
  for (size_t i = 1; i < std::min<size_t>(fields.size(), 3); ++i) fields[i] = usbNumber(fields[i]);
}

void correctSerial(std::vector<std::string>& fields) {
  if (fields[0].starts_with("ASRL") && fields.back() != "INSTR") fields.emplace_back("INSTR");
}

void correctTcp(std::vector<std::string>& fields) {
  if (fields[0] == "TCPIP") fields[0] = "TCPIP0";
  if (fields.size() == 3 && fields.back() == "SOCKET") fields.insert(fields.begin() + 2, "5025");
}

/// A host, perhaps with a port behind a colon.
std::optional<std::string> nameOfHost(std::string_view text) {
  const size_t colon = text.find(':');
  const std::string_view host = text.substr(0, colon);
  const std::string_view port = colon == std::string_view::npos ? "5025" : text.substr(colon + 1);
  const bool isHost = host.find('.') != std::string_view::npos || colon != std::string_view::npos;
  const bool isClean = std::all_of(host.begin(), host.end(),
                                   [](unsigned char c) { return std::isalnum(c) || c == '.' || c == '-' || c == '_'; });
  if (host.empty() || !isHost || !isClean || !isDigits(port)) return std::nullopt;
  return "TCPIP0::" + std::string(host) + "::" + std::string(port) + "::SOCKET";
}

}  // namespace

std::vector<std::string> fieldsOf(std::string_view name) {
  std::vector<std::string> fields;
  for (size_t end = 0; end != std::string_view::npos;) {
    end = name.find(kSeparator);
    fields.emplace_back(name.substr(0, end));
    name.remove_prefix(std::min(name.size(), end == std::string_view::npos ? end : end + kSeparator.size()));
  }
  return fields;
}

ResourceName parseResourceName(std::string_view name) {
  ResourceName result;
  if (!parseUsb(name, result) && !parseSerial(name, result)) parseTcp(name, result);
  return result;
}

std::optional<std::string> correctedName(std::string_view name) {
  if (name.starts_with('/')) {
    const auto port = serialPortOf(std::string(name));
    if (!port) return std::nullopt;
    return port->resource();
  }
  std::vector<std::string> fields = fieldsOf(name);
  if (fields.size() == 1 && parseResourceName(upper(fields[0]) + "::INSTR").bus != Bus::Serial) {
    return nameOfHost(name);
  }
  fields.front() = upper(fields.front());
  static constexpr std::array<std::string_view, 3> classes = {"INSTR", "RAW", "SOCKET"};
  const std::string last = upper(fields.back());
  if (std::find(classes.begin(), classes.end(), last) != classes.end()) fields.back() = last;
  if (fields.front().starts_with("USB")) correctUsb(fields);
  if (fields.front().starts_with("ASRL")) correctSerial(fields);
  if (fields.front().starts_with("TCPIP")) correctTcp(fields);
  std::string corrected = joined(fields);
  if (corrected == name || parseResourceName(corrected).bus == Bus::None) return std::nullopt;
  return corrected;
}

std::optional<std::string> correctedExpression(std::string_view expression) {
  const size_t brace = std::min(expression.find('{'), expression.size());
  std::string corrected = upper(std::string(expression.substr(0, brace)));
  // Numbers stand as 0x7C5A in names.
  for (size_t at = 0; (at = corrected.find("0X", at)) != std::string::npos;) corrected[at + 1] = 'x';
  if (corrected.starts_with("USB::")) corrected.insert(3, "0");
  // A shell's * for any text: in a search expression it repeats what stands before it.
  for (size_t at = 0; (at = corrected.find('*', at)) != std::string::npos; ++at) {
    if (at == 0 || corrected[at - 1] != '?') corrected.insert(at++, "?");
  }
  corrected += expression.substr(brace);
  if (corrected == expression) return std::nullopt;
  return corrected;
}
