#include "operations.h"

#include "nearest.h"
#include "text.h"

#include <nlohmann/json.hpp>

#include <limits>
#include <utility>

namespace {

std::string jsonOf(const std::string& resource, const Response& response, const std::string& termination) {
  nlohmann::ordered_json json{{"resource", resource}};
  std::string text = response.bytes;
  if (text.ends_with(termination)) text.resize(text.size() - termination.size());
  text.resize(text.find_last_not_of("\r\n") + 1);
  if (response.isBinary || !isUtf8(text)) {
    json["hex"] = hexOfBytes(response.bytes);
  } else {
    json["answer"] = text;
  }
  json["bytes"] = response.bytes.size();
  json["complete"] = response.flaw.empty();
  return textOf(json);
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

}  // namespace

Answer answerOf(const std::string& resource, Response response, const Options& options) {
  Answer answer{{}, response.flaw};
  if (!response.flaw.empty()) answer.status = response.bytes.empty() ? kFailed : kIncomplete;
  if (response.bytes.empty()) return answer;
  if (options.json) {
    answer.output = jsonOf(resource, response, options.termination);
  } else if (options.hex) {
    answer.output = hexOfBytes(response.bytes) + '\n';
  } else {
    answer.output = std::move(response.presentable);
  }
  return answer;
}

std::vector<AttributeRequest> parseRequests(const std::vector<std::string>& texts) {
  std::vector<AttributeRequest> requests;
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

Answer carryOut(Instrument& instrument, const Options& options, const std::vector<AttributeRequest>& requests) {
  Values values;
  AttributeValue value;
  for (const AttributeRequest& request : requests) {
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
  if (options.json) return {values.json(instrument.resource()), {}};
  return {requests.empty() ? values.list() : values.plain(), {}};
}

Answer readStatusByte(const Instrument& instrument, const Options& options) {
  ViUInt16 statusByte = 0;
  instrument.check(QV_viReadSTB(instrument.handle(), &statusByte), "reading the status byte of");
  if (options.json) return {textOf({{"resource", instrument.resource()}, {"statusByte", statusByte}}), {}};
  const auto byte = static_cast<char>(statusByte);
  return {"0x" + hexOfBytes({&byte, 1}) + '\n', {}};
}

ViUInt16 parseRenMode(const std::string& text) {
  const auto mode = parseValue(text, renModes(), 0, std::numeric_limits<ViUInt16>::max());
  if (mode) return static_cast<ViUInt16>(*mode);
  std::vector<std::string> names;
  for (const NamedValue& row : renModes()) names.emplace_back(row.name);
  throw UsageError("not a mode of remote enable: '" + text + "'." + didYouMean(text, names));
}

void controlRemote(const Instrument& instrument, ViUInt16 mode) {
  instrument.check(QV_viGpibControlREN(instrument.handle(), mode), "controlling remote enable of");
}
