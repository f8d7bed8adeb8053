#include "posixWait.h"

#include "osAbstraction.h"

#include <cerrno>
#include <climits>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace posix {
namespace {

static_assert(Word::is_always_lock_free && sizeof(Word) == sizeof(uint32_t), "the kernel reads the word as it is");

constexpr size_t kMaxWords = FUTEX_WAITV_MAX;

const timespec* endOf(const TimeLimit& limit) {
  return limit.infinite ? nullptr : &limit.end;
}

Sleep outcome(long result) {
  if (result >= 0 || errno == EAGAIN || errno == EINTR) return Sleep::lookAgain;
  return errno == ETIMEDOUT ? Sleep::timeOver : Sleep::failed;
}

}  // namespace

TimeLimit::TimeLimit(uint32_t waitMillis)
    : none(waitMillis == OS_timeoutNone), infinite(waitMillis == OS_timeoutInfinite), end{} {
  clock_gettime(CLOCK_MONOTONIC, &end);
  end.tv_sec += waitMillis / 1000;
  end.tv_nsec += static_cast<long>(waitMillis % 1000) * 1'000'000;
  if (end.tv_nsec >= 1'000'000'000) {
    end.tv_nsec -= 1'000'000'000;
    ++end.tv_sec;
  }
}

Sleep sleepWhile(WatchedWord word, uint32_t value, const TimeLimit& limit) {
  if (limit.none) return Sleep::timeOver;
  // Of the plain waits only the one with a bit set takes an absolute end.
  const int operation = FUTEX_WAIT_BITSET | (word.shared ? 0 : FUTEX_PRIVATE_FLAG);
  return outcome(syscall(SYS_futex, word.word, operation, value, endOf(limit), nullptr, FUTEX_BITSET_MATCH_ANY));
}

Sleep sleepWhileZero(std::span<const WatchedWord> words, const TimeLimit& limit) {
  if (limit.none) return Sleep::timeOver;
  if (words.size() == 1) return sleepWhile(words[0], 0, limit);
  futex_waitv waiters[kMaxWords] = {};
  for (size_t i = 0; i < words.size(); ++i) {
    waiters[i].uaddr = reinterpret_cast<uintptr_t>(words[i].word);
    waiters[i].flags = FUTEX_32 | (words[i].shared ? 0U : static_cast<uint32_t>(FUTEX_PRIVATE_FLAG));
  }
  return outcome(syscall(SYS_futex_waitv, waiters, words.size(), 0, endOf(limit), CLOCK_MONOTONIC));
}

// All: a thread woken alone may end, or find what it wanted in another word, and the wake-up would be lost.
void wakeAll(WatchedWord word) {
  syscall(SYS_futex, word.word, FUTEX_WAKE | (word.shared ? 0 : FUTEX_PRIVATE_FLAG), INT_MAX, nullptr, nullptr, 0);
}

int lockUntil(pthread_mutex_t& mutex, const TimeLimit& limit) {
  if (limit.infinite) return pthread_mutex_lock(&mutex);
  if (!limit.none) return pthread_mutex_clocklock(&mutex, CLOCK_MONOTONIC, &limit.end);
  const int result = pthread_mutex_trylock(&mutex);
  return result == EBUSY ? ETIMEDOUT : result;
}

int joinUntil(pthread_t thread, void*& result, const TimeLimit& limit) {
  if (limit.infinite) return pthread_join(thread, &result);
  if (!limit.none) return pthread_clockjoin_np(thread, &result, CLOCK_MONOTONIC, &limit.end);
  const int error = pthread_tryjoin_np(thread, &result);
  return error == EBUSY ? ETIMEDOUT : error;
}

}  // namespace posix
