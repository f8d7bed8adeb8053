/// The tool's standard output, kept free of everything but the answer.
#pragma once

#include <string>
#include <string_view>

/// Takes the process's standard output away from everybody else: what the library prints to descriptor 1 goes to
/// standard error from here on, in order with what is written there, or nowhere.
class StandardOutput {
public:
  /// Also puts the null device on any of descriptors 0 to 2 that came closed, so that no socket or port ends up there.
  StandardOutput();
  ~StandardOutput();
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;

  /// The answer goes to this file instead, whose old contents it replaces with the first write. Throws
  /// std::system_error if the file can't be opened.
  void redirect(const std::string& file);
  /// What the library prints goes nowhere from here on.
  static void silenceLibrary();

  /// Writes all of it. Throws std::system_error if the system doesn't take it.
  void write(std::string_view bytes);
  /// Ends the output. Throws std::system_error if what was written didn't reach its place.
  void close();

private:
  [[noreturn]] void fail(int error) const;

  int output_;  ///< the real standard output or the file; -1 if there is none
  std::string name_ = "standard output";
  bool hasOldContents_ = false;
};
