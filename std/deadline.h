/// Time limits of the standard: milliseconds, VI_TMO_IMMEDIATE and VI_TMO_INFINITE.
#pragma once

#include "QVvisa_std.h"

#include <chrono>

namespace qvstd {

/// The end of an operation's time limit, which begins to run with its construction.
class Deadline {
public:
  using Clock = std::chrono::steady_clock;

  explicit Deadline(ViUInt32 limit_ms) : limit_ms_(limit_ms), start_(Clock::now()) {}

  bool isInfinite() const { return limit_ms_ == VI_TMO_INFINITE; }
  Clock::time_point end() const { return start_ + std::chrono::milliseconds(limit_ms_); }
  bool isOver() const { return !isInfinite() && Clock::now() >= end(); }
  /// What is left, in milliseconds, rounded up.
  ViUInt32 left() const {
    if (isInfinite()) return VI_TMO_INFINITE;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end() - Clock::now()).count();
    return left > 0 ? static_cast<ViUInt32>(left) : 0;
  }

private:
  ViUInt32 limit_ms_;
  Clock::time_point start_;
};

}  // namespace qvstd
