/// How far a long answer has come.
#pragma once

#include <chrono>
#include <cstddef>

/// A line on the terminal with the bytes so far and their rate. It comes when an answer takes long, and goes with the
/// object.
class Progress {
public:
  /// @param wanted  whether there is to be a line, if standard error is a terminal
  explicit Progress(bool wanted);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(size_t bytes);

private:
  using Clock = std::chrono::steady_clock;

  bool wanted_;
  bool isShown_ = false;
  Clock::time_point start_ = Clock::now();
  Clock::time_point next_;
};
