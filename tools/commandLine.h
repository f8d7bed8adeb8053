/// The command line: the options that all subcommands share, and the subcommands.
#pragma once

#include "answer.h"
#include "options.h"
#include "standardOutput.h"
#include "text.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <iosfwd>
#include <limits>
#include <string>

class CommandLine {
public:
  using Command = std::function<Answer()>;
  using ResourceCommand = std::function<Answer(const std::string& resource)>;

  /// @param output  for a subcommand that prints while it runs; the answer of others is printed by the caller
  explicit CommandLine(StandardOutput& output);
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  /// Throws CLI::ParseError.
  void parse(int argc, char** argv);
  /// Runs the subcommand that was chosen. It throws UsageError, Failure, Interrupted or std::exception.
  Answer run() const;
  /// Writes the help that was asked for, or what is wrong; the exit status.
  int explain(const CLI::ParseError& error, std::ostream& out, std::ostream& err) const;

  /// All options and subcommands, for what is made from their list.
  const CLI::App& app() const { return app_; }
  const Options& options() const { return options_; }
  StandardOutput& output() const { return output_; }

  /// Adds a subcommand, to be given its own arguments by the caller.
  CLI::App* add(const char* name, const char* description, Command command);
  /// The same with a resource name as its first argument.
  CLI::App* addOnResource(const char* name, const char* description, ResourceCommand command);

private:
  void addOptions();
  void addFormats();
  std::string suggestion() const;

  StandardOutput& output_;
  CLI::App app_;
  Command command_;
  Options options_;
  std::string resource_;
};

/// An argument that help shows by its name alone.
template <typename T>
CLI::Option* addArgument(CLI::App* subcommand, const char* name, T& target, const char* description) {
  return subcommand->add_option(name, target, description)->type_name("");
}

/// A required number, decimal or hexadecimal, from 0 to the highest that T holds.
template <typename T>
void addNumber(CLI::App* subcommand, const char* name, T& target, const char* description) {
  constexpr int64_t highest = std::numeric_limits<T>::max();
  subcommand
      ->add_option_function<std::string>(
          name,
          [name, &target](const std::string& text) {
            const auto number = parseNumber(text, 0, highest);
            if (!number) throw CLI::ValidationError(name, "not a number from 0 to " + std::to_string(highest));
            target = static_cast<T>(*number);
          },
          description)
      ->type_name("")
      ->required();
}

// The subcommands by subject, in the order of the help. A new one is a function here and a row in commandLine.cpp.
void addMessageCommands(CommandLine& line);
void addAttributeCommand(CommandLine& line);
void addFindCommand(CommandLine& line);
void addStatusCommand(CommandLine& line);
void addDoctorCommand(CommandLine& line);
void addBenchCommand(CommandLine& line);
void addShellCommand(CommandLine& line);
/// Hidden: it writes what is made of the list of options.
void addReferenceCommand(CommandLine& line);
void addUsbCommands(CommandLine& line);
