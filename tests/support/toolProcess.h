/// A program run as a child process, with what it was given and what it printed.
#pragma once

#include "childProcess.h"
#include "testing.h"

#include <iterator>
#include <sys/mman.h>

class ToolProcess : NonCopyable {
public:
  /// @param script     a shell's
  /// @param arguments  $1, $2... of the script
  /// @param input      what standard input holds
  explicit ToolProcess(const std::string& script, const std::vector<std::string>& arguments = {},
                       const std::string& input = "")
      : child_([&] { run(script, arguments, input); }) {}
  ~ToolProcess() {
    close(output_);
    close(error_);
  }

  /// Waits for the end. @return The exit status, or the number of the signal that ended it, negated.
  int wait() {
    const int signal = child_.signal();
    return signal != 0 ? -signal : child_.exitCode();
  }
  std::string output() const { return contentsOf("/proc/self/fd/" + std::to_string(output_)); }
  std::string error() const { return contentsOf("/proc/self/fd/" + std::to_string(error_)); }

private:
  static int makeFile() { return memfd_create("toolProcess", MFD_CLOEXEC); }
  void run(const std::string& script, const std::vector<std::string>& arguments, const std::string& input) const {
    const int file = makeFile();
    if (pwrite(file, input.data(), input.size(), 0) < 0) abort();
    dup2(file, STDIN_FILENO);
    dup2(output_, STDOUT_FILENO);
    dup2(error_, STDERR_FILENO);
    ::signal(SIGPIPE, SIG_DFL);
    std::vector<const char*> argv{"/bin/sh", "-c", script.c_str(), "sh"};
    for (const std::string& argument : arguments) argv.push_back(argument.c_str());
    argv.push_back(nullptr);
    execv(argv[0], const_cast<char**>(argv.data()));
    abort();
  }

  int output_ = makeFile();
  int error_ = makeFile();
  ChildProcess child_;
};
