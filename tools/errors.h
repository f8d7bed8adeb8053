/// How a call of the tool ends other than well.
#pragma once

#include <stdexcept>

/// The tool's exit statuses, which scripts rely on.
enum ExitStatus {
  kDone = 0,
  kFailed = 1,      ///< the operation failed, or nothing was found
  kMisused = 2,     ///< the command line is wrong
  kIncomplete = 4,  ///< part of an answer came, and is on standard output
};

/// A command line that can't be carried out as it stands.
class UsageError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

/// An operation that failed, in words for the user.
class Failure : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};
