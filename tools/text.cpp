#include "text.h"

#include "errors.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdlib>

namespace {

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

std::optional<unsigned> hexDigit(char c) {
  static constexpr std::string_view digits = "0123456789abcdef";
  const size_t value = digits.find(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
  if (value == std::string_view::npos) return std::nullopt;
  return static_cast<unsigned>(value);
}

/// The byte that the first two characters stand for.
std::optional<char> hexPair(std::string_view text) {
  if (text.size() < 2) return std::nullopt;
  const auto high = hexDigit(text[0]);
  const auto low = hexDigit(text[1]);
  if (!high || !low) return std::nullopt;
  return static_cast<char>(*high * 16 + *low);
}

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](unsigned char x, unsigned char y) { return std::toupper(x) == std::toupper(y); });
}

bool endsBlock(std::string_view rest, std::string_view termination) {
  return rest.empty() || rest == termination || rest == "\n" || rest == "\r\n";
}

}  // namespace

std::string unescape(std::string_view text) {
  std::string bytes;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      bytes += text[i];
      continue;
    }
    const char escape = ++i < text.size() ? text[i] : '\0';
    if (escape == 'n') {
      bytes += '\n';
    } else if (escape == 'r') {
      bytes += '\r';
    } else if (escape == 't') {
      bytes += '\t';
    } else if (escape == '\\') {
      bytes += '\\';
    } else if (const auto byte = hexPair(text.substr(std::min(i + 1, text.size()))); escape == 'x' && byte) {
      bytes += *byte;
      i += 2;
    } else {
      throw UsageError("not an escape in '" + std::string(text) + "': use \\n, \\r, \\t, \\\\ or \\xHH");
    }
  }
  return bytes;
}

std::string bytesOfHex(std::string_view text) {
  std::string bytes;
  while (!text.empty()) {
    if (text.front() == ' ' || text.front() == ':' || text.front() == ',') {
      text.remove_prefix(1);
      continue;
    }
    const auto byte = hexPair(text);
    if (!byte) throw UsageError("not pairs of hexadecimal digits: '" + std::string(text) + "'");
    bytes += *byte;
    text.remove_prefix(2);
  }
  return bytes;
}

std::string hexOfBytes(std::string_view bytes) {
  static constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (!text.empty()) text += ' ';
    text += {digits[byte / 16], digits[byte % 16]};
  }
  return text;
}

std::optional<int64_t> parseNumber(std::string_view text, int64_t lowest, int64_t highest) {
  std::string digits(text);
  const bool negative = digits.starts_with('-');
  if (negative) digits.erase(0, 1);
  const bool hexadecimal = digits.starts_with("0x") || digits.starts_with("0X");
  if (hexadecimal) digits.erase(0, 2);
  const auto isDigitHere = [hexadecimal](char c) { return hexadecimal ? hexDigit(c).has_value() : isDigit(c); };
  if (digits.empty() || !std::all_of(digits.begin(), digits.end(), isDigitHere)) return std::nullopt;

  errno = 0;
  int64_t value = std::strtoll(digits.c_str(), nullptr, hexadecimal ? 16 : 10);
  if (errno == ERANGE) return std::nullopt;
  if (negative) value = -value;
  if (value < lowest || value > highest) return std::nullopt;
  return value;
}

bool isNameOf(std::string_view full, std::string_view name) {
  if (equalIgnoringCase(full, name)) return true;
  static constexpr std::array<std::string_view, 4> prefixes = {"VI_ATTR_", "QV_ATTR_", "VI_", "QV_"};
  return std::any_of(prefixes.begin(), prefixes.end(), [&](std::string_view prefix) {
    return full.starts_with(prefix) && equalIgnoringCase(full.substr(prefix.size()), name);
  });
}

bool isBlock(std::string_view response) {
  return response.size() >= 2 && response[0] == '#' && isDigit(response[1]);
}

std::optional<size_t> endOfBlock(std::string_view response) {
  if (!isBlock(response) || response[1] == '0') return std::nullopt;
  const auto lengthDigits = static_cast<size_t>(response[1] - '0');
  const std::string_view length = response.substr(2, lengthDigits);
  if (!std::all_of(length.begin(), length.end(), isDigit)) return std::nullopt;
  if (length.size() < lengthDigits) return std::string_view::npos;
  return 2 + lengthDigits + std::stoul(std::string(length));
}

bool isComplete(std::string_view response, std::string_view termination) {
  const auto end = endOfBlock(response);
  if (end && *end >= response.size()) return *end == response.size();
  if (end) response.remove_prefix(*end);
  return !termination.empty() && response.ends_with(termination);
}

bool isCutBlock(std::string_view response) {
  const auto end = endOfBlock(response);
  return end && *end > response.size();
}

std::string presentable(std::string response, std::string_view termination) {
  const auto end = endOfBlock(response);
  if (end && *end < response.size() && endsBlock(std::string_view(response).substr(*end), termination)) {
    response.resize(*end);
  }
  if (!isBlock(response) && !response.ends_with('\n')) response += '\n';
  return response;
}
