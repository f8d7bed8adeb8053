/// The names of the library's codes: statuses, attributes and the values of attributes.
#pragma once

#include "QVvisa.h"

#include <nlohmann/json_fwd.hpp>

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// A number and the constant that it is known by.
struct NamedValue {
  int64_t value;
  const char* name;
};

/// The constant's name; null if no status has this code.
const char* statusName(ViStatus status);
/// The names of all statuses.
std::vector<std::string> statusNames();
/// The code of a status given by name (VI_ may be left out), as a hexadecimal or decimal number, signed or not.
std::optional<ViStatus> parseStatus(std::string_view text);

/// The modes of remote-enable control.
std::span<const NamedValue> renModes();
/// A number, or one of the names without regard to case (VI_ may be left out).
std::optional<int64_t> parseValue(std::string_view text, std::span<const NamedValue> names, int64_t lowest,
                                  int64_t highest);

/// Both ends belong to it; lowest and highest 0 stand for no range.
struct Range {
  int64_t lowest = 0;
  int64_t highest = 0;
};

enum class AttributeType { UInt8, UInt16, Int16, UInt32, Int32, Text };

struct Attribute {
  ViAttr code;
  const char* name;
  AttributeType type;
  bool hexadecimal;                      ///< a number that people know in hexadecimal
  std::span<const NamedValue> values{};  ///< names of the values that have one
  Range range{};                         ///< what it takes, if that is less than its type holds
};

/// Every attribute that some session answers or takes.
std::span<const Attribute> attributes();
/// The attribute of that name (VI_ATTR_ or QV_ATTR_ may be left out) or code; null if there is none.
const Attribute* findAttribute(std::string_view nameOrCode);
/// The numbers that the attribute's type holds, or the part of them that it takes.
Range rangeOf(const Attribute& attribute);
/// A value as the library delivered it, in words.
std::string formatValue(const Attribute& attribute, const void* value);
/// The same as JSON: a number if it's neither named nor known in hexadecimal.
nlohmann::ordered_json jsonValue(const Attribute& attribute, const void* value);
/// The value that a text stands for: a name, a number in the range of the attribute's type, or an escape such as \n for
/// a character. Nothing if it is none of these, or the attribute is a text.
std::optional<ViAttrState> parseAttributeValue(const Attribute& attribute, std::string_view text);
