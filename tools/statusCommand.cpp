/// status.
#include "commandLine.h"
#include "library.h"
#include "names.h"

#include <memory>

void addStatusCommand(CommandLine& line) {
  const auto code = std::make_shared<std::string>();
  CLI::App* status = line.add("status", "Explain a status code", [code] {
    const auto number = parseStatus(*code);
    if (!number) throw UsageError("neither a status code nor the name of one: '" + *code + "'");
    return Answer{describeStatus(*number) + '\n', {}};
  });
  addArgument(status, "CODE", *code, "Hexadecimal, decimal, or a name such as VI_ERROR_TMO")->required();
}
