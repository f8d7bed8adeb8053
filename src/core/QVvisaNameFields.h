/// Resource names: the words that they are made of, and the walk over their fields.
#pragma once

#include <string_view>

constexpr const char* QVVISA_OPEN_PATTERN_SEP = "::";
constexpr const char* QVVISA_OPEN_PATTERN_INSTR = "INSTR";

constexpr const char* QVVISA_OPEN_PATTERN_USB = "USB0";
constexpr const char* QVVISA_OPEN_PATTERN_RAW = "RAW";

constexpr const char* QVVISA_OPEN_PATTERN_COM = "COM";
constexpr const char* QVVISA_OPEN_PATTERN_ASRL = "ASRL";

constexpr const char* QVVISA_OPEN_PATTERN_TCPIP = "TCPIP";
constexpr const char* QVVISA_OPEN_PATTERN_SOCKET = "SOCKET";

/// Walks a name from left to right.
class NameFields {
public:
  explicit NameFields(std::string_view name) : rest_(name) {}

  /// What hasn't been walked over. It ends where the name does.
  std::string_view rest() const { return rest_; }
  /// Whether a separator stood behind the last field.
  bool hasMore() const { return hasMore_; }

  /// Goes behind the next `mark`; stays in place if there is none.
  bool skipPast(std::string_view mark) {
    const size_t at = rest_.find(mark);
    if (at == std::string_view::npos) return false;
    rest_.remove_prefix(at + mark.size());
    return true;
  }

  /// Takes the field up to the next separator or the end of the name, and goes behind the separator.
  std::string_view next() {
    const std::string_view field = rest_.substr(0, rest_.find(QVVISA_OPEN_PATTERN_SEP));
    rest_.remove_prefix(field.size());
    hasMore_ = skipPast(QVVISA_OPEN_PATTERN_SEP);
    return field;
  }

private:
  std::string_view rest_;
  bool hasMore_ = true;
};
