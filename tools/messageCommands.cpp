/// query, write and read.
#include "commandLine.h"
#include "instrument.h"
#include "progress.h"

#include <nlohmann/json.hpp>

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
