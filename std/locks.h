/// Locks of resources: who may use an instrument among the sessions of this process that have opened it under one name.
#pragma once

#include "deadline.h"

#include <atomic>

namespace qvstd {

constexpr size_t kKeySize = 256;

/// A session's part in the locks of its resource. All but the check belongs to the lock table's mutex.
struct LockHolder {
  explicit LockHolder(const ViChar* resourceName) : resource(resourceName) {}

  const ViChar* resource;  ///< outlives the holder
  unsigned exclusive = 0;  ///< how often the session has taken the lock
  unsigned shared = 0;
  ViChar key[kKeySize] = "";  ///< of the shared lock
  bool isGone = false;        ///< the session is closed
  LockHolder* next = nullptr;
};

/// Contracts of the operations: viLock and viUnlock in QVvisa_std.h.
ViStatus lockExclusive(LockHolder& holder, const Deadline& deadline);
/// @param requestedKey  null for a new one
/// @param accessKey     kKeySize characters; may be null
ViStatus lockShared(LockHolder& holder, const Deadline& deadline, ViConstString requestedKey, ViChar* accessKey);
ViStatus unlock(LockHolder& holder);
/// Gives all locks of a session that is closed back.
void releaseLocks(LockHolder& holder);

/// Whether the session may use its instrument: VI_SUCCESS, or VI_ERROR_RSRC_LOCKED.
ViStatus checkAccess(const LockHolder& holder);
/// VI_NO_LOCK, VI_EXCLUSIVE_LOCK or VI_SHARED_LOCK, whoever has the lock.
ViAccessMode lockState(const LockHolder& holder);

}  // namespace qvstd
