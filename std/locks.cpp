#include "locks.h"

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace qvstd {
namespace {

/// An infinite wait is made of these, since the end of time doesn't fit into a clock's type.
constexpr std::chrono::hours kLongWait{24};

/// Guards all holders; the holders of any lock are in the list.
std::mutex mutex;
std::condition_variable released;
LockHolder* holders = nullptr;
/// Spares sessions the mutex while nobody holds a lock.
std::atomic<unsigned> holderCount = 0;

bool holdsAny(const LockHolder& holder) {
  return holder.exclusive + holder.shared > 0;
}

/// Whether another session has a lock on the resource that this test is true of.
template <typename Test>
bool isHeldByOther(const LockHolder& self, Test test) {
  for (const LockHolder* other = holders; other; other = other->next) {
    if (other != &self && strcmp(other->resource, self.resource) == 0 && test(*other)) return true;
  }
  return false;
}

bool hasExclusive(const LockHolder& holder) {
  return holder.exclusive > 0;
}

/// A shared lock keeps out those who don't share it.
bool canTakeExclusive(const LockHolder& self) {
  return !isHeldByOther(self, self.shared > 0 ? hasExclusive : holdsAny);
}

bool isSharedUnderOtherKey(const LockHolder& self, ViConstString key) {
  return isHeldByOther(
      self, [key](const LockHolder& other) { return other.shared > 0 && (!key || strcmp(other.key, key) != 0); });
}

void enter(LockHolder& holder) {
  if (holdsAny(holder)) return;
  holder.next = holders;
  holders = &holder;
  ++holderCount;
}

void leaveIfUnlocked(LockHolder& holder) {
  if (holdsAny(holder)) return;
  LockHolder** slot = &holders;
  while (*slot && *slot != &holder) slot = &(*slot)->next;
  if (!*slot) return;
  *slot = holder.next;
  --holderCount;
}

/// Waits until the session can have its lock.
template <typename Condition>
ViStatus waitFor(std::unique_lock<std::mutex>& lock, const LockHolder& holder, const Deadline& deadline,
                 Condition isFree) {
  while (!holder.isGone && !isFree()) {
    if (deadline.isOver()) return VI_ERROR_TMO;
    const Deadline::Clock::time_point longest = Deadline::Clock::now() + kLongWait;
    released.wait_until(lock, deadline.isInfinite() ? longest : std::min(deadline.end(), longest));
  }
  return holder.isGone ? VI_ERROR_INV_OBJECT : VI_SUCCESS;
}

void makeKey(ViChar (&key)[kKeySize]) {
  static unsigned last = 0;
  snprintf(key, sizeof key, "QVvisa-%u", ++last);
}

void putKey(const LockHolder& holder, ViChar* accessKey) {
  if (accessKey) memcpy(accessKey, holder.key, sizeof holder.key);
}

}  // namespace

ViStatus lockExclusive(LockHolder& holder, const Deadline& deadline) {
  std::unique_lock lock(mutex);
  const ViStatus status = waitFor(lock, holder, deadline, [&] { return canTakeExclusive(holder); });
  if (status != VI_SUCCESS) return status;
  enter(holder);
  return ++holder.exclusive > 1 ? VI_SUCCESS_NESTED_EXCLUSIVE : VI_SUCCESS;
}

ViStatus lockShared(LockHolder& holder, const Deadline& deadline, ViConstString requestedKey, ViChar* accessKey) {
  if (requestedKey && strlen(requestedKey) >= kKeySize) return VI_ERROR_INV_ACCESS_KEY;
  std::unique_lock lock(mutex);
  if (holder.shared > 0 && requestedKey && strcmp(holder.key, requestedKey) != 0) return VI_ERROR_INV_ACCESS_KEY;
  if (requestedKey && isSharedUnderOtherKey(holder, requestedKey)) return VI_ERROR_INV_ACCESS_KEY;
  const ViStatus status = waitFor(lock, holder, deadline, [&] {
    const bool isNested = holder.shared > 0;
    return !isHeldByOther(holder, hasExclusive) && (isNested || !isSharedUnderOtherKey(holder, requestedKey));
  });
  if (status != VI_SUCCESS) return status;
  enter(holder);
  if (holder.shared == 0 && !requestedKey) makeKey(holder.key);
  if (holder.shared == 0 && requestedKey) snprintf(holder.key, sizeof holder.key, "%s", requestedKey);
  putKey(holder, accessKey);
  return ++holder.shared > 1 ? VI_SUCCESS_NESTED_SHARED : VI_SUCCESS;
}

ViStatus unlock(LockHolder& holder) {
  const std::lock_guard lock(mutex);
  if (!holdsAny(holder)) return VI_ERROR_SESN_NLOCKED;
  --(holder.exclusive > 0 ? holder.exclusive : holder.shared);
  leaveIfUnlocked(holder);
  released.notify_all();
  if (holder.exclusive > 0) return VI_SUCCESS_NESTED_EXCLUSIVE;
  return holder.shared > 0 ? VI_SUCCESS_NESTED_SHARED : VI_SUCCESS;
}

void releaseLocks(LockHolder& holder) {
  const std::lock_guard lock(mutex);
  holder.isGone = true;
  holder.exclusive = 0;
  holder.shared = 0;
  leaveIfUnlocked(holder);
  released.notify_all();
}

ViStatus checkAccess(const LockHolder& holder) {
  if (holderCount.load(std::memory_order_acquire) == 0) return VI_SUCCESS;
  const std::lock_guard lock(mutex);
  const bool isKeptOut = isHeldByOther(holder, holder.shared > 0 || holder.exclusive > 0 ? hasExclusive : holdsAny);
  return isKeptOut ? VI_ERROR_RSRC_LOCKED : VI_SUCCESS;
}

ViAccessMode lockState(const LockHolder& holder) {
  const std::lock_guard lock(mutex);
  const auto hasShared = [](const LockHolder& other) { return other.shared > 0; };
  if (hasExclusive(holder) || isHeldByOther(holder, hasExclusive)) return VI_EXCLUSIVE_LOCK;
  return hasShared(holder) || isHeldByOther(holder, hasShared) ? VI_SHARED_LOCK : VI_NO_LOCK;
}

}  // namespace qvstd
