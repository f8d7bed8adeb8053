/// The one lock of the session core.
#pragma once

#include "fastLock.h"

extern "C" {

/// Guards the table of sessions and find lists, the handle sequence and the USBTMC tag counters, and is held for the
/// whole of a search, of a device's opening and of a session's closing; never during transfers, attribute operations or
/// control requests. Recursive. Made at load and never deleted: an operation of another thread may be about to take it.
/// Order: the start mutex comes before it, the locks of the log, the time base and the allocator after it.
QVVISA_API extern os_fastlock_t flock_QVvisa;
}

/// Holds `flock_QVvisa` for the length of a block.
class CoreLock : public FastLockGuard {
public:
  CoreLock() : FastLockGuard(flock_QVvisa) {}
};
