#include "progress.h"

#include <array>
#include <cstdio>
#include <iostream>
#include <string>
#include <unistd.h>

namespace {

constexpr std::chrono::milliseconds kPatience{500};
constexpr std::chrono::milliseconds kPause{100};
constexpr const char* kEraseLine = "\r\033[K";

/// "12.3 MB"
std::string amount(double bytes) {
  static constexpr std::array<const char*, 4> units = {"B", "kB", "MB", "GB"};
  size_t unit = 0;
  for (; bytes >= 1000 && unit + 1 < units.size(); ++unit) bytes /= 1000;
  std::array<char, 32> text{};
  snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units.at(unit));
  return text.data();
}

}  // namespace

Progress::Progress(bool wanted) : wanted_(wanted && isatty(STDERR_FILENO) == 1), next_(start_ + kPatience) {}

Progress::~Progress() {
  if (isShown_) std::cerr << kEraseLine << std::flush;
}

void Progress::show(size_t bytes) {
  const Clock::time_point now = Clock::now();
  if (!wanted_ || now < next_) return;
  const auto amountSoFar = static_cast<double>(bytes);
  const double seconds = std::chrono::duration<double>(now - start_).count();
  std::cerr << kEraseLine + amount(amountSoFar) + ", " + amount(amountSoFar / seconds) + "/s" << std::flush;
  isShown_ = true;
  next_ = now + kPause;
}
