/// attr.
#include "commandLine.h"
#include "instrument.h"

#include <nlohmann/json.hpp>

#include <memory>
#include <vector>

namespace {

/// An attribute to print or, with a value, to set.
struct Request {
  const Attribute* attribute;
  std::optional<ViAttrState> value;
};

std::vector<Request> parseRequests(const std::vector<std::string>& texts) {
  std::vector<Request> requests;
  for (const std::string& text : texts) {
    if (text.find('=') == std::string::npos) {
      requests.push_back({&attributeNamed(text), {}});
    } else {
      const Setting setting = parseSetting(text);
      requests.push_back({setting.attribute, setting.value});
    }
  }
  return requests;
}

/// Values that were read, in the order of reading.
class Values {
public:
  void add(const Attribute& attribute, const AttributeValue& value) {
    const std::string text = formatValue(attribute, value.bytes);
    plain_ += text + '\n';
    list_ += std::string(attribute.name) + " = " + text + '\n';
    json_[attribute.name] = jsonValue(attribute, value.bytes);
  }
  const std::string& plain() const { return plain_; }
  const std::string& list() const { return list_; }
  std::string json(const std::string& resource) const {
    return textOf({{"resource", resource}, {"attributes", json_}});
  }

private:
  std::string plain_;
  std::string list_;
  nlohmann::ordered_json json_ = nlohmann::ordered_json::object();
};

Answer carryOut(const std::string& resource, const Options& options, const std::vector<Request>& requests) {
  const Instrument instrument(resource, options);
  Values values;
  AttributeValue value;
  for (const Request& request : requests) {
    if (request.value) {
      instrument.set({request.attribute, *request.value});
    } else {
      instrument.check(instrument.get(*request.attribute, value),
                       "reading " + std::string(request.attribute->name) + " of");
      values.add(*request.attribute, value);
    }
  }
  for (const Attribute& attribute : attributes()) {
    if (requests.empty() && instrument.get(attribute, value) == VI_SUCCESS) values.add(attribute, value);
  }
  if (options.json) return {values.json(resource), {}};
  return {requests.empty() ? values.list() : values.plain(), {}};
}

}  // namespace

void addAttributeCommand(CommandLine& line) {
  const auto requests = std::make_shared<std::vector<std::string>>();
  line.addOnResource("attr", "Print attributes, all of them if none is named, or set them for this call",
                     [&line, requests](const auto& resource) {
                       return carryOut(resource, line.options(), parseRequests(*requests));
                     })
      ->add_option("NAME[=VALUE]", *requests, "Attribute to print, or to set");
}
