/// Attributes and values as the user writes them, checked before anything is opened.
#pragma once

#include "names.h"

#include <string>
#include <string_view>

struct Setting {
  const Attribute* attribute;
  ViAttrState value;
};

/// The attribute of that name or code. Throws a UsageError that tells the nearest names.
const Attribute& attributeNamed(const std::string& nameOrCode);
/// Reads `NAME=VALUE`. Throws a UsageError that tells what the attribute takes.
Setting parseSetting(std::string_view text);
/// "a number from 5 to 8", or the names of the values.
std::string valuesOf(const Attribute& attribute);
