/// A fast lock held for the length of a block.
#pragma once

#include "osAbstraction.h"

class FastLockGuard {
public:
  explicit FastLockGuard(os_fastlock_t& lock) : lock_(lock) { OS_lockFast(&lock_); }
  ~FastLockGuard() { OS_unlockFast(&lock_); }
  FastLockGuard(const FastLockGuard&) = delete;
  FastLockGuard& operator=(const FastLockGuard&) = delete;

private:
  os_fastlock_t& lock_;
};
