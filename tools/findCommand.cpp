/// find.
#include "commandLine.h"
#include "instrument.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <iostream>
#include <iterator>
#include <memory>
#include <vector>

namespace {

struct Arguments {
  std::string expression = "?*";
  bool table = false;
  bool json = false;
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
  return textOf(all);
}

Answer find(const Arguments& arguments) {
  const ResourceManager manager;
  const std::vector<std::string> names = manager.find(arguments.expression);
  Answer answer;
  if (names.empty()) {
    answer.flaw = "nothing matches '" + arguments.expression + "': " + describe(VI_ERROR_RSRC_NFOUND);
    answer.status = kFailed;
  }
  if (!arguments.json && !arguments.table) {
    for (const std::string& name : names) answer.output += name + '\n';
    return answer;
  }
  std::vector<Found> list;
  std::transform(names.begin(), names.end(), std::back_inserter(list), look);
  if (arguments.json) {
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
                               [arguments] { return find(*arguments); });
  command->add_option("EXPR", arguments->expression,
                      "Search expression, such as 'USB?*INSTR{VI_ATTR_MANF_ID==0x7C5A}'; all if left out");
  command->add_flag("-l,--long", arguments->table,
                    "As a table with vendor, product, serial number and class; opens each USB instrument to ask it");
  command->add_flag("--json", arguments->json, "The same as JSON");
  command->footer("Listed are the USB interfaces of vendor 0x7C5A, and of no other, and the serial ports, but no "
                  "TCP/IP instruments.\n"
                  "What isn't listed can be opened by its name.\n\n" +
                  command->get_footer());
}
