/// The names of the library's codes: statuses, attributes and the values of attributes.
#pragma once

#include "QVvisa.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

/// A number and the constant that it is known by.
struct NamedValue {
  int64_t value;
  const char* name;
};

/// The constant's name; null if no status has this code.
const char* statusName(ViStatus status);
/// The code of a status given by name (VI_ may be left out), as a hexadecimal or decimal number, signed or not.
std::optional<ViStatus> parseStatus(std::string_view text);

/// The modes of remote-enable control.
std::span<const NamedValue> renModes();
/// A number, or one of the names without regard to case (VI_ may be left out).
std::optional<int64_t> parseValue(std::string_view text, std::span<const NamedValue> names, int64_t lowest,
                                  int64_t highest);

enum class AttributeType { UInt8, UInt16, Int16, UInt32, Int32, Text };

struct Attribute {
  ViAttr code;
  const char* name;
  AttributeType type;
  bool hexadecimal;                      ///< a number that people know in hexadecimal
  std::span<const NamedValue> values{};  ///< names of the values that have one
};

/// Every attribute that some session answers or takes.
std::span<const Attribute> attributes();
/// The attribute of that name (VI_ATTR_ or QV_ATTR_ may be left out) or code; null if there is none.
const Attribute* findAttribute(std::string_view nameOrCode);
/// A value as the library delivered it, in words.
std::string formatValue(const Attribute& attribute, const void* value);
/// The value that a text stands for: a name, a number in the range of the attribute's type, or an escape such as \n for
/// a character. Nothing if it is none of these, or the attribute is a text.
std::optional<ViAttrState> parseAttributeValue(const Attribute& attribute, std::string_view text);
