/// attr.
#include "commandLine.h"
#include "operations.h"

#include <memory>
#include <vector>

void addAttributeCommand(CommandLine& line) {
  const auto requests = std::make_shared<std::vector<std::string>>();
  line.addOnResource("attr", "Print attributes, all of them if none is named, or set them for this call",
                     [&line, requests](const auto& resource) {
                       const std::vector<AttributeRequest> parsed = parseRequests(*requests);
                       Instrument instrument(resource, line.options());
                       return carryOut(instrument, line.options(), parsed);
                     })
      ->add_option("NAME[=VALUE]", *requests, "Attribute to print, or to set");
}
