/// The language of the shell.
#pragma once

#include "operations.h"

#include <string>
#include <string_view>
#include <vector>

/// Carries out what the user types about one instrument: a program message, whose answer is read if it holds a query,
/// or an operation such as `.read`.
class Shell {
public:
  /// @param isTerminal  the answers are for somebody's eyes
  Shell(Instrument& instrument, const Options& options, bool isTerminal)
      : instrument_(instrument), options_(options), isTerminal_(isTerminal) {}

  /// Throws UsageError or Failure, after which the next line may follow.
  Answer carryOut(const std::string& line);
  /// Whether a line was to be the last one.
  bool isOver() const { return isOver_; }
  /// Whether the user wants to know how long each line takes.
  bool tellsTimes() const { return tellsTimes_; }

  /// What the last word of the text may become.
  static std::vector<std::string> completions(std::string_view text);

private:
  struct Operation;
  static const Operation kOperations[];

  Answer show(Response response) const;
  Answer query(const std::string& text);
  Answer write(const std::string& text);
  Answer read(const std::string& text);
  Answer attributes(const std::string& text);
  Answer statusByte(const std::string& text);
  Answer clear(const std::string& text);
  Answer remote(const std::string& text);
  Answer time(const std::string& text);
  Answer help(const std::string& text);
  Answer quit(const std::string& text);

  Instrument& instrument_;
  const Options& options_;
  bool isTerminal_;
  bool isOver_ = false;
  bool tellsTimes_ = false;
};
