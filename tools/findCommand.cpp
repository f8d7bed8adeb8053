/// find.
#include "commandLine.h"
#include "instrument.h"
#include "serialPorts.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <iostream>
#include <memory>
#include <vector>

namespace {

struct Arguments {
  std::string expression = "?*";
  bool table = false;
};

/// One row of the list of resources; a field that nobody knows is empty.
struct Found {
  std::string resource;
  std::string vendor;
  std::string product;
  std::string serialNumber;
  std::string className;
  std::string manufacturer;
  std::string model;
  std::string device;       ///< path of a serial port
  std::string description;  ///< of a serial port
};

/// Asks a USBTMC instrument for its names. One that can't be opened keeps what its resource name tells.
void askForNames(Found& found) {
  try {
    const Instrument instrument(found.resource, {});
    const auto ask = [&](const char* name) {
      AttributeValue value;
      instrument.get(*findAttribute(name), value);
      return std::string(value.bytes);
    };
    found.manufacturer = ask("VI_ATTR_MANF_NAME");
    found.model = ask("VI_ATTR_MODEL_NAME");
    found.className = ask("QV_ATTR_CLASS_NAME");
  } catch (const Failure& failure) {
    std::cerr << "qvvisa: " << failure.what() << '\n';
  }
}

Found lookAtUsb(const std::string& resource) {
  Found found;
  const std::vector<std::string> fields = fieldsOf(resource);
  found.resource = resource;
  found.vendor = fields.at(1);
  found.product = fields.at(2);
  found.serialNumber = fields.at(3);
  // Opening a raw interface would take it from its driver, a keyboard's for one.
  found.className = fields.back() == "INSTR" ? "USBTMC" : "raw USB interface";
  if (fields.back() == "INSTR") askForNames(found);
  return found;
}

/// A serial port isn't opened: that would raise its control lines.
Found lookAtPort(const std::string& resource, const std::vector<SerialPort>& ports) {
  Found found;
  found.resource = resource;
  found.className = "serial port";
  const auto port = std::find_if(ports.begin(), ports.end(),
                                 [&](const SerialPort& candidate) { return candidate.resource() == resource; });
  if (port == ports.end()) return found;
  found.device = port->path;
  found.description = port->description;
  return found;
}

std::string tableOf(const std::vector<Found>& list) {
  std::vector<std::array<std::string, 6>> rows{{"RESOURCE", "VENDOR", "PRODUCT", "SERIAL NUMBER", "CLASS", "DEVICE"}};
  const auto orDash = [](const std::string& text) { return text.empty() ? "-" : text; };
  const auto joined = [](const std::string& id, const std::string& name) {
    return id + (id.empty() || name.empty() ? "" : " ") + name;
  };
  for (const Found& found : list) {
    rows.push_back({found.resource, orDash(joined(found.vendor, found.manufacturer)),
                    orDash(joined(found.product, found.model) + found.description), orDash(found.serialNumber),
                    found.className, orDash(found.device)});
  }
  std::array<size_t, 6> widths{};
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
                   {"class", found.className},
                   {"device", orNull(found.device)},
                   {"description", orNull(found.description)}});
  }
  return textOf(all);
}

/// What nothing matched, and what would have.
std::string nothingMatches(const ResourceManager& manager, const std::string& expression) {
  std::string text = "nothing matches '" + expression + "': " + describe(VI_ERROR_RSRC_NFOUND);
  const auto corrected = correctedExpression(expression);
  if (!corrected) return text;
  const size_t count = manager.find(*corrected).size();
  if (count > 0) text += "\n  did you mean '" + *corrected + "'? It matches " + std::to_string(count);
  return text;
}

Answer find(const Arguments& arguments, bool json) {
  const ResourceManager manager;
  const std::vector<std::string> names = manager.find(arguments.expression);
  Answer answer;
  if (names.empty()) answer = {"", nothingMatches(manager, arguments.expression), kFailed};
  if (!json && !arguments.table) {
    for (const std::string& name : names) answer.output += name + '\n';
    return answer;
  }
  const std::vector<SerialPort> ports = serialPorts();
  std::vector<Found> list;
  list.reserve(names.size());
  for (const std::string& name : names) {
    list.push_back(name.starts_with("USB") ? lookAtUsb(name) : lookAtPort(name, ports));
  }
  if (json) {
    answer.output = jsonOf(list);
  } else if (!list.empty()) {
    answer.output = tableOf(list);
  }
  return answer;
}

}  // namespace

void addFindCommand(CommandLine& line) {
  const auto arguments = std::make_shared<Arguments>();
  CLI::App* command = line.add("find", "List the USB instruments and serial ports that match a search expression",
                               [&line, arguments] { return find(*arguments, line.options().json); });
  command->add_option("EXPR", arguments->expression,
                      "Search expression, such as 'USB?*INSTR{VI_ATTR_MANF_ID==0x7C5A}'; all if left out. ?* is any "
                      "text, case counts");
  command->add_flag("-l,--long", arguments->table,
                    "As a table with what is known of each; opens each USB instrument to ask it, as --json does");
  command->footer("Listed are the USB interfaces of vendor 0x7C5A, and of no other, and the serial ports, but no "
                  "TCP/IP instruments.\n"
                  "What isn't listed can be opened by its name.\n\n" +
                  command->get_footer());
}
