/// query, write and read.
#include "commandLine.h"
#include "operations.h"
#include "progress.h"

#include <iostream>
#include <iterator>
#include <memory>
#include <utility>

namespace {

struct Arguments {
  std::string text;
  Reading reading;
};

/// The program message: an argument with escapes, or standard input as it is.
std::string messageOf(const std::string& text) {
  if (text != "-") return unescape(text);
  std::string input{std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
  if (std::cin.bad()) throw Failure("reading standard input failed");
  return input;
}

/// Runs `read` with the user's arguments and a progress line where it helps.
template <typename Read>
Answer answerOf(const std::string& resource, const Options& options, const Reading& chosen, Read read) {
  Progress progress(!options.outputFile.empty());
  Reading reading = chosen;
  reading.progress = [&progress](size_t bytes) { progress.show(bytes); };
  Instrument instrument(resource, options);
  return answerOf(resource, read(instrument, reading), options);
}

void addText(CLI::App* subcommand, std::string& text) {
  addArgument(subcommand, "TEXT", text, "The message, or - for standard input")->required();
}

void addReading(CLI::App* subcommand, Reading& reading) {
  subcommand->add_option("-n,--count", reading.count, "Read this many bytes, whatever they are, and add nothing")
      ->type_name("N")
      ->take_last()
      ->check(CLI::PositiveNumber);
  subcommand->add_flag("--until-timeout", reading.untilTimeout,
                       "Read until nothing more comes within the time limit, over any end of an answer");
}

}  // namespace

void addMessageCommands(CommandLine& line) {
  const auto arguments = std::make_shared<Arguments>();
  const Options& options = line.options();
  CLI::App* query =
      line.addOnResource("query", "Send a message and print the answer", [&options, arguments](const auto& resource) {
        const std::string message = messageOf(arguments->text);
        return answerOf(resource, options, arguments->reading, [&message](Instrument& instrument, const Reading& how) {
          return instrument.query(message, how);
        });
      });
  addText(query, arguments->text);
  addReading(query, arguments->reading);

  CLI::App* write = line.addOnResource("write", "Send a message", [&options, arguments](const auto& resource) {
    const std::string message = messageOf(arguments->text);
    Instrument(resource, options).write(message);
    return Answer{};
  });
  addText(write, arguments->text);

  CLI::App* read =
      line.addOnResource("read", "Print what the instrument sends", [&options, arguments](const auto& resource) {
        return answerOf(resource, options, arguments->reading,
                        [](Instrument& instrument, const Reading& how) { return instrument.read(how); });
      });
  addReading(read, arguments->reading);
}
