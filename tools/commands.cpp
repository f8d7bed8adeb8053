#include "commands.h"

#include "message.h"
#include "names.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <iostream>
#include <iterator>
#include <limits>

namespace {

std::string messageOf(const std::string& text) {
  if (text != "-") return unescape(text);
  std::string input{std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
  if (std::cin.bad()) throw Failure("reading standard input failed");
  return input;
}

Result resultOf(Response response, const Options& options) {
  if (options.count || response.bytes.empty()) return {std::move(response.bytes), std::move(response.flaw)};
  return {presentable(std::move(response.bytes), options.termination), std::move(response.flaw)};
}

/// One row of the list of resources; a field that nobody knows is empty.
struct Found {
  std::string resource;
  std::string vendor;
  std::string product;
  std::string serialNumber;
  std::string className;
  std::string manufacturer;
  std::string model;
};

std::vector<std::string> fieldsOf(std::string_view resource) {
  std::vector<std::string> fields;
  for (size_t end = 0; end != std::string_view::npos;) {
    end = resource.find("::");
    fields.emplace_back(resource.substr(0, end));
    resource.remove_prefix(std::min(resource.size(), end == std::string_view::npos ? end : end + 2));
  }
  return fields;
}

/// Asks a USBTMC instrument for its names. One that can't be opened keeps what its resource name tells.
void askForNames(Found& found) {
  try {
    const Instrument instrument(found.resource, {});
    const auto ask = [&](const char* name) { return instrument.attribute(*findAttribute(name)).value_or(""); };
    found.manufacturer = ask("VI_ATTR_MANF_NAME");
    found.model = ask("VI_ATTR_MODEL_NAME");
    found.className = ask("QV_ATTR_CLASS_NAME");
  } catch (const Failure& failure) {
    std::cerr << "qvvisa: " << failure.what() << '\n';
  }
}

/// Only USBTMC instruments are opened: opening a raw interface would take it from its driver, a keyboard's for one, and
/// opening a serial port raises its control lines.
Found look(const std::string& resource) {
  Found found;
  found.resource = resource;
  found.className = "serial port";
  const std::vector<std::string> fields = fieldsOf(resource);
  if (!resource.starts_with("USB") || fields.size() < 4) return found;
  found.vendor = fields[1];
  found.product = fields[2];
  found.serialNumber = fields[3];
  found.className = fields.back() == "INSTR" ? "USBTMC" : "raw USB interface";
  if (fields.back() == "INSTR") askForNames(found);
  return found;
}

std::string tableOf(const std::vector<Found>& list) {
  std::vector<std::array<std::string, 5>> rows{{"RESOURCE", "VENDOR", "PRODUCT", "SERIAL NUMBER", "CLASS"}};
  const auto idAndName = [](const std::string& id, const std::string& name) {
    return id.empty() ? "-" : name.empty() ? id : id + " " + name;
  };
  for (const Found& found : list) {
    rows.push_back({found.resource, idAndName(found.vendor, found.manufacturer), idAndName(found.product, found.model),
                    found.serialNumber.empty() ? "-" : found.serialNumber, found.className});
  }
  std::array<size_t, 5> widths{};
  for (const auto& row : rows) {
    for (size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], row[column].size());
    }
  }
  std::string text;
  for (auto& row : rows) {
    for (size_t column = 0; column + 1 < row.size(); ++column) {
      row[column].resize(widths[column] + 2, ' ');
      text += row[column];
    }
    text += row.back() + '\n';
  }
  return text;
}

std::string jsonOf(const std::vector<Found>& list) {
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  const auto orNull = [](const std::string& text) {
    return text.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(text);
  };
  for (const Found& found : list) {
    all.push_back({{"resource", found.resource},
                   {"vendorId", orNull(found.vendor)},
                   {"productId", orNull(found.product)},
                   {"serialNumber", orNull(found.serialNumber)},
                   {"manufacturer", orNull(found.manufacturer)},
                   {"model", orNull(found.model)},
                   {"class", found.className}});
  }
  // A device's strings may be in any encoding.
  return all.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

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

}  // namespace

Result queryCommand(const std::string& resource, const Options& options, const std::string& text) {
  const std::string message = messageOf(text);
  const Instrument instrument(resource, options);
  instrument.write(message);
  return resultOf(instrument.read(), options);
}

Result writeCommand(const std::string& resource, const Options& options, const std::string& text) {
  const std::string message = messageOf(text);
  Instrument(resource, options).write(message);
  return {};
}

Result readCommand(const std::string& resource, const Options& options) {
  return resultOf(Instrument(resource, options).read(), options);
}

Result attributeCommand(const std::string& resource, const Options& options, const std::vector<std::string>& requests) {
  const Instrument instrument(resource, options);
  if (requests.empty()) return {listAttributes(instrument), {}};
  Result result;
  for (const std::string& request : requests) {
    if (request.find('=') != std::string::npos) {
      instrument.set(request);
    } else {
      result.output += readAttribute(instrument, request);
    }
  }
  return result;
}

Result findCommand(const std::string& expression, FindFormat format) {
  const ResourceManager manager;
  const std::vector<std::string> names = manager.find(expression);
  Result result;
  if (names.empty()) result.flaw = "nothing matches '" + expression + "': " + describe(VI_ERROR_RSRC_NFOUND);
  if (format == FindFormat::Names) {
    for (const std::string& name : names) result.output += name + '\n';
    return result;
  }
  std::vector<Found> list;
  std::transform(names.begin(), names.end(), std::back_inserter(list), look);
  if (format == FindFormat::Json) {
    result.output = jsonOf(list);
  } else if (!list.empty()) {
    result.output = tableOf(list);
  }
  return result;
}

Result statusCommand(const std::string& code) {
  const auto status = parseStatus(code);
  if (!status) throw UsageError("neither a status code nor the name of one: '" + code + "'");
  return {describeStatus(*status) + '\n', {}};
}

Result statusByteCommand(const std::string& resource, const Options& options) {
  const Instrument instrument(resource, options);
  ViUInt16 statusByte = 0;
  instrument.check(QV_viReadSTB(instrument.handle(), &statusByte), "reading the status byte of");
  const auto byte = static_cast<char>(statusByte);
  return {"0x" + hexOfBytes({&byte, 1}) + '\n', {}};
}

Result clearCommand(const std::string& resource, const Options& options) {
  const Instrument instrument(resource, options);
  instrument.check(QV_viClear(instrument.handle()), "clearing");
  return {};
}

Result remoteCommand(const std::string& resource, const Options& options, const std::string& mode) {
  const auto value = parseValue(mode, renModes(), 0, std::numeric_limits<ViUInt16>::max());
  if (!value) throw UsageError("not a mode of remote enable: '" + mode + "'");
  const Instrument instrument(resource, options);
  instrument.check(QV_viGpibControlREN(instrument.handle(), static_cast<ViUInt16>(*value)),
                   "controlling remote enable of");
  return {};
}

Result controlInCommand(const std::string& resource, const Options& options, const ControlRequest& request,
                        ViUInt16 length, bool raw) {
  const Instrument instrument(resource, options);
  std::string data(length, '\0');
  ViUInt16 count = 0;
  instrument.check(QV_viUsbControlIn(instrument.handle(), request.type, request.request, request.value, request.index,
                                     length, reinterpret_cast<ViPBuf>(data.data()), &count),
                   "control request to");
  data.resize(count);
  return {raw ? data : hexOfBytes(data) + '\n', {}};
}

Result controlOutCommand(const std::string& resource, const Options& options, const ControlRequest& request,
                         const std::string& hexData) {
  std::string data = bytesOfHex(hexData);
  if (data.size() > std::numeric_limits<ViUInt16>::max()) throw UsageError("too much data for a control request");
  const Instrument instrument(resource, options);
  instrument.check(QV_viUsbControlOut(instrument.handle(), request.type, request.request, request.value, request.index,
                                      static_cast<ViUInt16>(data.size()), reinterpret_cast<ViBuf>(data.data())),
                   "control request to");
  return {};
}
