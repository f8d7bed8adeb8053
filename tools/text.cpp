#include "text.h"

#include "errors.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <utility>

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

std::string parseTermination(std::string_view text) {
  static constexpr std::pair<std::string_view, std::string_view> words[] = {
      {"none", ""}, {"LF", "\n"}, {"CR", "\r"}, {"CRLF", "\r\n"}};
  const auto* word = std::find_if(std::begin(words), std::end(words),
                                  [text](const auto& row) { return equalIgnoringCase(row.first, text); });
  return word == std::end(words) ? unescape(text) : std::string(word->second);
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

std::string_view withoutPrefix(std::string_view name) {
  static constexpr std::array<std::string_view, 5> prefixes = {"VI_ATTR_", "QV_ATTR_", "QVVI_", "VI_", "QV_"};
  for (const std::string_view prefix : prefixes) {
    if (equalIgnoringCase(name.substr(0, prefix.size()), prefix)) return name.substr(prefix.size());
  }
  return name;
}

bool isNameOf(std::string_view full, std::string_view name) {
  if (equalIgnoringCase(full, name)) return true;
  static constexpr std::array<std::string_view, 4> prefixes = {"VI_ATTR_", "QV_ATTR_", "VI_", "QV_"};
  return std::any_of(prefixes.begin(), prefixes.end(), [&](std::string_view prefix) {
    return full.starts_with(prefix) && equalIgnoringCase(full.substr(prefix.size()), name);
  });
}
