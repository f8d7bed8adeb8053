/// @file
/// Waiting for something that another thread or process brings about.
#pragma once

#include <chrono>
#include <thread>

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
