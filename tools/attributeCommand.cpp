/// attr.
#include "commandLine.h"
#include "instrument.h"

#include <memory>
#include <vector>

namespace {

std::string listAttributes(const Instrument& instrument) {
  std::string list;
  for (const Attribute& attribute : attributes()) {
    if (const auto value = instrument.attribute(attribute)) list += std::string(attribute.name) + " = " + *value + '\n';
  }
  return list;
}

std::string readAttribute(const Instrument& instrument, const std::string& name) {
  const Attribute* attribute = findAttribute(name);
  if (!attribute) throw UsageError("no attribute is called '" + name + "'");
  const auto value = instrument.attribute(*attribute);
  if (value) return *value + '\n';
  ViChar unused[MAX_BUF_SIZE_ATTR];
  instrument.check(QV_viGetAttribute(instrument.handle(), attribute->code, unused),
                   "reading " + std::string(attribute->name) + " of");
  return {};
}

/// Each request is NAME or NAME=VALUE; without any, all attributes are listed.
Answer carryOut(const Instrument& instrument, const std::vector<std::string>& requests) {
  if (requests.empty()) return {listAttributes(instrument), {}};
  Answer answer;
  for (const std::string& request : requests) {
    if (request.find('=') != std::string::npos) {
      instrument.set(request);
    } else {
      answer.output += readAttribute(instrument, request);
    }
  }
  return answer;
}

}  // namespace

void addAttributeCommand(CommandLine& line) {
  const auto requests = std::make_shared<std::vector<std::string>>();
  line.addOnResource(
          "attr", "Print attributes, all of them if none is named, or set them",
          [&line, requests](const auto& resource) { return carryOut(Instrument(resource, line.options()), *requests); })
      ->add_option("NAME[=VALUE]", *requests, "Attribute to print, or to set");
}
