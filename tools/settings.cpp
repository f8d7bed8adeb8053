#include "settings.h"

#include "errors.h"
#include "nearest.h"

#include <vector>

const Attribute& attributeNamed(const std::string& nameOrCode) {
  if (const Attribute* attribute = findAttribute(nameOrCode)) return *attribute;
  std::vector<std::string> names;
  for (const Attribute& attribute : attributes()) names.emplace_back(attribute.name);
  throw UsageError("no attribute is called '" + nameOrCode + "'." + didYouMean(nameOrCode, names));
}

std::string valuesOf(const Attribute& attribute) {
  if (attribute.type == AttributeType::Text) return "no value: it's a text that the instrument gives";
  if (attribute.values.empty()) {
    const auto [lowest, highest] = rangeOf(attribute);
    return "a number from " + std::to_string(lowest) + " to " + std::to_string(highest);
  }
  std::string text;
  for (const NamedValue& value : attribute.values) text += (text.empty() ? "" : ", ") + std::string(value.name);
  return text;
}

Setting parseSetting(std::string_view text) {
  const size_t sign = text.find('=');
  const std::string name(text.substr(0, sign));
  const Attribute& attribute = attributeNamed(name);
  if (sign == std::string_view::npos) throw UsageError("no value for " + name + ": write " + name + "=VALUE");
  const std::string valueText(text.substr(sign + 1));
  if (const auto value = parseAttributeValue(attribute, valueText)) return {&attribute, *value};
  std::vector<std::string> names;
  for (const NamedValue& value : attribute.values) names.emplace_back(value.name);
  throw UsageError(std::string(attribute.name) + " can't be '" + valueText + "': it takes " + valuesOf(attribute) +
                   "." + didYouMean(valueText, names));
}
