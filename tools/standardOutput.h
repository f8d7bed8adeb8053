/// The tool's standard output, kept free of everything but the answer.
#pragma once

#include <string_view>

/// Takes the process's standard output away from everybody else: what the library prints to descriptor 1 goes to
/// standard error from here on, in order with what is written there.
class StandardOutput {
public:
  /// Also puts the null device on any of descriptors 0 to 2 that came closed, so that no socket or port ends up there.
  StandardOutput();
  ~StandardOutput();
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;

  /// Writes all of it. Throws std::system_error if the system doesn't take it.
  void write(std::string_view bytes) const;
  /// Ends the output. Throws std::system_error if what was written didn't reach its place.
  void close();

private:
  int output_;  ///< the real standard output; -1 if there is none
};
