/// status.
#include "commandLine.h"
#include "library.h"
#include "names.h"
#include "nearest.h"

#include <nlohmann/json.hpp>

#include <memory>

namespace {

Answer explain(const std::string& text, bool json) {
  const auto code = parseStatus(text);
  if (!code) {
    throw UsageError("neither a status code nor the name of one: '" + text + "'." + didYouMean(text, statusNames()));
  }
  if (!json) return {describeStatus(*code) + '\n', {}};
  const char* name = statusName(*code);
  return {textOf({{"code", hexOfStatus(*code)},
                  {"name", name ? nlohmann::ordered_json(name) : nlohmann::ordered_json()},
                  {"text", textOfStatus(*code)}}),
          {}};
}

}  // namespace

void addStatusCommand(CommandLine& line) {
  const auto code = std::make_shared<std::string>();
  CLI::App* status =
      line.add("status", "Explain a status code", [&line, code] { return explain(*code, line.options().json); });
  addArgument(status, "CODE", *code, "Hexadecimal, decimal, or a name such as VI_ERROR_TMO")->required();
}
