/// Waiting on POSIX: the end of a wait, and sleeping on a word in memory until somebody changes it.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>
#include <pthread.h>
#include <span>

namespace posix {

/// When a wait that begins now has to end.
struct TimeLimit {
  /// @param waitMillis milliseconds; OS_timeoutNone and OS_timeoutInfinite as everywhere
  explicit TimeLimit(uint32_t waitMillis);
  bool none;      ///< no wait at all
  bool infinite;  ///< no end
  timespec end;   ///< on CLOCK_MONOTONIC, not to be looked at for an infinite one
};

/// A word to sleep on.
using Word = std::atomic<uint32_t>;

/// A word and whether other processes see it.
struct WatchedWord {
  Word* word;
  bool shared;
};

enum class Sleep { lookAgain = 0, timeOver = 1, failed = 2 };

/// Sleeps while the word is `value`. lookAgain may come early.
Sleep sleepWhile(WatchedWord word, uint32_t value, const TimeLimit& limit);
/// Sleeps while all of the words, 128 at most, are 0. lookAgain may come early; failed, with the reason in errno, for
/// several words on a kernel before 5.16.
Sleep sleepWhileZero(std::span<const WatchedWord> words, const TimeLimit& limit);
/// Wakes all who sleep on the word.
void wakeAll(WatchedWord word);

/// Takes a pthread mutex: 0, ETIMEDOUT when the limit is over, or pthread_mutex_lock's error.
int lockUntil(pthread_mutex_t& mutex, const TimeLimit& limit);
/// Joins a thread: 0, ETIMEDOUT when the limit is over, or pthread_join's error.
int joinUntil(pthread_t thread, void*& result, const TimeLimit& limit);

}  // namespace posix
