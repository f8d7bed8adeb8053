/// @file
/// What nearly every test uses.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

/// Base of what stands for one thing of the system.
struct NonCopyable {
  NonCopyable() = default;
  NonCopyable(const NonCopyable&) = delete;
  NonCopyable& operator=(const NonCopyable&) = delete;
};

/// All that a file holds.
inline std::string contentsOf(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Whether the condition came true within a limit that no healthy machine reaches.
template <typename Condition>
bool eventually(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

/// Expects that the work takes that long.
template <typename Work>
void expectNotShorter(int64_t time_ms, Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(time_ms));
}
