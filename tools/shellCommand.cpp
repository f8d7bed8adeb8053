/// shell.
#include "commandLine.h"
#include "lineEditor.h"
#include "shell.h"

#include <chrono>
#include <iomanip>
#include <iostream>
#include <unistd.h>

namespace {

/// Tells on standard error how long something took, if that is wanted all the while.
class Stopwatch {
public:
  explicit Stopwatch(const Shell& shell) : shell_(shell), isWanted_(shell.tellsTimes()) {}
  ~Stopwatch() {
    if (!isWanted_ || !shell_.tellsTimes()) return;
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start_;
    std::cerr << std::fixed << std::setprecision(3) << time.count() << " ms\n";
  }
  Stopwatch(const Stopwatch&) = delete;
  Stopwatch& operator=(const Stopwatch&) = delete;

private:
  const Shell& shell_;
  bool isWanted_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/// With somebody to correct what goes wrong.
Answer talk(Shell& shell, const std::string& resource, StandardOutput& output) {
  LineEditor editor(resource + "> ", historyFileOf("qvvisa"), Shell::completions);
  while (!shell.isOver()) {
    const auto line = editor.next();
    if (!line) {
      std::cerr << '\n';
      break;
    }
    try {
      const Stopwatch stopwatch(shell);
      const Answer answer = shell.carryOut(*line);
      output.write(answer.output);
      if (!answer.flaw.empty()) std::cerr << answer.flaw << '\n';
    } catch (const UsageError& error) {
      std::cerr << error.what() << '\n';
    } catch (const Failure& failure) {
      std::cerr << failure.what() << '\n';
    }
  }
  return {};
}

/// The first line that fails is the last one.
Answer runScript(Shell& shell, StandardOutput& output) {
  int number = 0;
  const auto where = [&number] { return "line " + std::to_string(number) + ": "; };
  for (std::string line; !shell.isOver() && std::getline(std::cin, line);) {
    ++number;
    try {
      const Stopwatch stopwatch(shell);
      const Answer answer = shell.carryOut(line);
      output.write(answer.output);
      if (!answer.flaw.empty()) return {{}, where() + answer.flaw, answer.status};
    } catch (const UsageError& error) {
      throw UsageError(where() + error.what());
    } catch (const Failure& failure) {
      throw Failure(where() + failure.what());
    }
  }
  if (std::cin.bad()) throw Failure("reading standard input failed");
  return {};
}

Answer runShell(const std::string& resource, const CommandLine& line) {
  Instrument instrument(resource, line.options());
  const bool isTerminal = isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1;
  Shell shell(instrument, line.options(), isTerminal);
  return isTerminal ? talk(shell, resource, line.output()) : runScript(shell, line.output());
}

}  // namespace

void addShellCommand(CommandLine& line) {
  CLI::App* shell = line.addOnResource("shell", "Talk to an instrument line by line",
                                       [&line](const auto& resource) { return runShell(resource, line); });
  shell->footer("A line is sent, and the answer to a query is printed; .help lists what else there is. On a terminal "
                "lines can\n"
                "be edited, completed (Tab) and called back from the history. From a pipe or file, lines that begin "
                "with # are left\n"
                "out, and the first one that fails ends the shell with its exit status.\n\n" +
                shell->get_footer());
}
