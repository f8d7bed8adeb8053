/// query, write and read.
#include "commandLine.h"
#include "instrument.h"

#include <iostream>
#include <iterator>
#include <memory>
#include <optional>

namespace {

struct Arguments {
  std::string text;
  std::optional<size_t> count;
};

/// The program message: an argument with escapes, or standard input as it is.
std::string messageOf(const std::string& text) {
  if (text != "-") return unescape(text);
  std::string input{std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
  if (std::cin.bad()) throw Failure("reading standard input failed");
  return input;
}

Answer answerOf(Response response, const Arguments& arguments, const Options& options) {
  Answer answer{std::move(response.bytes), std::move(response.flaw)};
  if (!answer.flaw.empty()) answer.status = kFailed;
  if (!arguments.count && !answer.output.empty()) {
    answer.output = presentable(std::move(answer.output), options.termination);
  }
  return answer;
}

void addText(CLI::App* subcommand, std::string& text) {
  addArgument(subcommand, "TEXT", text, "The message, or - for standard input")->required();
}

void addReading(CLI::App* subcommand, Arguments& arguments) {
  subcommand->add_option("-n,--count", arguments.count, "Read this many bytes, whatever they are, and add nothing")
      ->type_name("N")
      ->take_last()
      ->check(CLI::PositiveNumber);
}

}  // namespace

void addMessageCommands(CommandLine& line) {
  const auto arguments = std::make_shared<Arguments>();
  const Options& options = line.options();
  CLI::App* query =
      line.addOnResource("query", "Send a message and print the answer", [&options, arguments](const auto& resource) {
        const std::string message = messageOf(arguments->text);
        const Instrument instrument(resource, options);
        instrument.write(message);
        return answerOf(instrument.read(arguments->count), *arguments, options);
      });
  addText(query, arguments->text);
  addReading(query, *arguments);

  CLI::App* write = line.addOnResource("write", "Send a message", [&options, arguments](const auto& resource) {
    const std::string message = messageOf(arguments->text);
    Instrument(resource, options).write(message);
    return Answer{};
  });
  addText(write, arguments->text);

  CLI::App* read =
      line.addOnResource("read", "Print what the instrument sends", [&options, arguments](const auto& resource) {
        return answerOf(Instrument(resource, options).read(arguments->count), *arguments, options);
      });
  addReading(read, *arguments);
}
