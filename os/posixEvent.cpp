#include "osAbstraction.h"
#include "posixObject.h"

#include <algorithm>
#include <array>
#include <cerrno>

using posix::Object;
using posix::ObjectKind;
using posix::Sleep;
using posix::TimeLimit;
using posix::WatchedWord;

namespace {

constexpr uint32_t kMaxTokens = 0x7FFFFFFF;
/// As many as Windows waits for in one call.
constexpr uint32_t kMaxEvents = 64;

using EventList = std::array<Object*, kMaxEvents>;
using Events = std::span<Object* const>;

bool takeToken(Object& object) {
  posix::Word& tokens = object.state->tokens;
  uint32_t count = tokens.load();
  while (count != 0) {
    if (tokens.compare_exchange_weak(count, count - 1)) return true;
  }
  return false;
}

/// False if there is no room for one more.
bool addToken(Object& object) {
  // Whoever takes the token may close the object at once: from then on only the address of the word is used.
  const WatchedWord tokens = object.tokens();
  const uint32_t most = object.state->most;
  uint32_t count = tokens.word->load();
  do {
    if (count >= most) return false;
  } while (!tokens.word->compare_exchange_weak(count, count + 1));
  posix::wakeAll(tokens);
  return true;
}

/// Runs `take` until it succeeds, sleeping by `sleep` in between. Anything but lookAgain ends the wait, but what
/// arrived up to the limit counts.
/// @return lookAgain when `take` succeeded
template <typename Take, typename SleepOnce>
Sleep waitUntil(Take take, SleepOnce sleep) {
  Sleep slept = Sleep::lookAgain;
  while (!take()) {
    if (slept != Sleep::lookAgain) return slept;
    slept = sleep();
  }
  return Sleep::lookAgain;
}

Sleep waitForToken(Object& object, uint32_t waitMillis) {
  const TimeLimit limit(waitMillis);
  return waitUntil([&] { return takeToken(object); }, [&] { return posix::sleepWhile(object.tokens(), 0, limit); });
}

Sleep waitForAny(Events events, const TimeLimit& limit, uint32_t& taken) {
  std::array<WatchedWord, kMaxEvents> words;
  std::ranges::transform(events, words.begin(), [](Object* event) { return event->tokens(); });
  return waitUntil(
      [&] {
        const auto found = std::ranges::find_if(events, [](Object* event) { return takeToken(*event); });
        taken = static_cast<uint32_t>(found - events.begin());
        return found != events.end();
      },
      [&] { return posix::sleepWhileZero(std::span(words).first(events.size()), limit); });
}

/// Takes all events, or none and gives the first one that is missing.
Object* takeAll(Events events) {
  const auto isClear = [](Object* event) { return event->state->tokens.load() == 0; };
  const auto clear = std::ranges::find_if(events, isClear);
  if (clear != events.end()) return *clear;
  // Somebody may be faster for one of them.
  const auto missing = std::ranges::find_if_not(events, [](Object* event) { return takeToken(*event); });
  std::for_each(events.begin(), missing, [&](Object* event) {
    if (missing != events.end()) addToken(*event);
  });
  return missing == events.end() ? nullptr : *missing;
}

/// @param events in an order common to all who wait, so that two of them can't keep taking from each other
Sleep waitForAll(Events events, const TimeLimit& limit) {
  Object* missing = nullptr;
  return waitUntil(
      [&] {
        missing = takeAll(events);
        return missing == nullptr;
      },
      [&] { return posix::sleepWhile(missing->tokens(), 0, limit); });
}

/// Sorts by object, and tells whether each is there once.
bool sortDistinct(std::span<Object*> events) {
  // Objects without a name have no number of their own and exist in this process only.
  const auto number = [](const Object* event) {
    return std::pair(event->shared(), event->shared() ? event->id : reinterpret_cast<uintptr_t>(event));
  };
  std::ranges::sort(events, {}, number);
  return std::ranges::adjacent_find(events, {}, number) == events.end();
}

/// The three outcomes, which the result enums number alike.
template <typename Result>
Result toResult(Sleep outcome) {
  if (outcome == Sleep::failed) OS_setLastError(errno);
  return static_cast<Result>(outcome);
}

void destruct(ObjectKind kind, HANDLE handle) {
  Object* object = posix::objectOf(handle, kind);
  if (object) posix::closeObject(object, false);
}

}  // namespace

bool OS_constructEvent(EventData*, EventHandle* handle, const char* name) {
  return posix::openObject(ObjectKind::event, handle, name, {0, 1});
}

void OS_destructEvent(EventHandle handle) {
  destruct(ObjectKind::event, handle);
}

bool OS_signalEvent(EventHandle handle) {
  Object* event = posix::objectOf(handle, ObjectKind::event);
  if (!event) return false;
  addToken(*event);
  return true;
}

void OS_resetEvent(EventHandle handle) {
  Object* event = posix::objectOf(handle, ObjectKind::event);
  if (event) takeToken(*event);
}

EventResult OS_waitForEvent(EventHandle handle, uint32_t waitMillis) {
  Object* event = posix::objectOf(handle, ObjectKind::event);
  return event ? toResult<EventResult>(waitForToken(*event, waitMillis)) : EVENT_ERROR;
}

EventResult OS_waitForMultipeEvents(uint32_t elements, EventHandle* handles, bool waitForAll, uint32_t waitMillis,
                                    uint32_t* sig) {
  EventList list;
  if (elements == 0 || elements > kMaxEvents || !handles) {
    OS_setLastError(EINVAL);
    return EVENT_ERROR;
  }
  for (uint32_t i = 0; i < elements; ++i) {
    list[i] = posix::objectOf(handles[i], ObjectKind::event);
    if (!list[i]) return EVENT_ERROR;
  }
  const std::span events = std::span(list).first(elements);
  if (waitForAll && !sortDistinct(events)) {
    OS_setLastError(EINVAL);
    return EVENT_ERROR;
  }
  const TimeLimit limit(waitMillis);
  uint32_t taken = 0;
  const Sleep outcome = waitForAll ? ::waitForAll(events, limit) : waitForAny(events, limit, taken);
  if (outcome == Sleep::lookAgain && sig) *sig = taken;
  return toResult<EventResult>(outcome);
}

bool OS_constructSemaphore(SemaphoreData*, SemaphoreHandle* handle, const char* name, uint32_t initCnt,
                           uint32_t semCnt) {
  if (semCnt >= 1 && semCnt <= kMaxTokens && initCnt <= semCnt)
    return posix::openObject(ObjectKind::semaphore, handle, name, {initCnt, semCnt});
  if (handle) *handle = nullptr;
  OS_setLastError(EINVAL);
  return false;
}

void OS_destructSemaphore(EventHandle handle) {
  destruct(ObjectKind::semaphore, handle);
}

SemaphoreResult OS_seamphoreWaitForToken(SemaphoreHandle handle, uint32_t waitMillis) {
  Object* semaphore = posix::objectOf(handle, ObjectKind::semaphore);
  return semaphore ? toResult<SemaphoreResult>(waitForToken(*semaphore, waitMillis)) : SEMAPHORE_ERROR;
}

bool OS_semaphoreSendToken(SemaphoreHandle handle) {
  Object* semaphore = posix::objectOf(handle, ObjectKind::semaphore);
  if (!semaphore) return false;
  if (addToken(*semaphore)) return true;
  OS_setLastError(EOVERFLOW);
  return false;
}
