/// Fast locks in static storage, and held for the length of a block.
#pragma once

#include "osAbstraction.h"

/// Makes a lock of static storage ready at load, beside it in the same unit.
class FastLockAtLoad {
public:
  explicit FastLockAtLoad([[maybe_unused]] os_fastlock_t& lock) {
#if defined(_WIN32)
    OS_initFastLock(&lock);  // elsewhere OS_FASTLOCK_INITIALIZER is enough
#endif
  }
};

/// A fast lock held for the length of a block.
class FastLockGuard {
public:
  explicit FastLockGuard(os_fastlock_t& lock) : lock_(lock) { OS_lockFast(&lock_); }
  ~FastLockGuard() { OS_unlockFast(&lock_); }
  FastLockGuard(const FastLockGuard&) = delete;
  FastLockGuard& operator=(const FastLockGuard&) = delete;

private:
  os_fastlock_t& lock_;
};
