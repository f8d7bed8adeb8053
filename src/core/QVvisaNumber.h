/// The numbers in resource names, read as "%d" of sscanf reads them but with every outcome defined.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

/// The number that `text` begins with; what follows it is ignored.
/// @return nothing without a digit, or for a number that doesn't fit
template <typename Number>
std::optional<Number> QVvisa_leadingNumber(std::string_view text, int base) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc{}) return std::nullopt;
  return value;
}

inline std::string_view QVvisa_behindBlanks(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  return text;
}

/// As QVvisa_leadingNumber, a decimal number without a minus behind white space.
template <typename Number>
std::optional<Number> QVvisa_leadingUnsigned(std::string_view text) {
  text = QVvisa_behindBlanks(text);
  if (text.starts_with('+')) text.remove_prefix(1);
  return QVvisa_leadingNumber<Number>(text, 10);
}

/// As QVvisa_leadingNumber, a signed decimal number behind white space.
inline std::optional<int32_t> QVvisa_leadingInteger(std::string_view text) {
  text = QVvisa_behindBlanks(text);
  // from_chars takes a minus, but no plus.
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  return QVvisa_leadingNumber<int32_t>(text, 10);
}

/// Whether "%d" would find a number at all, fitting or not.
inline bool QVvisa_beginsWithInteger(std::string_view text) {
  text = QVvisa_behindBlanks(text);
  if (text.starts_with('+') || text.starts_with('-')) text.remove_prefix(1);
  return !text.empty() && text.front() >= '0' && text.front() <= '9';
}
