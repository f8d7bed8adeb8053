/// Keeps a thread from being cancelled in the middle of an operation.
#pragma once

#if defined(_WIN32)

class CancellationGuard {
public:
  CancellationGuard() {}  // Windows cancels no thread
};

#else

#include <pthread.h>

/// While it lives, a cancellation of this thread waits: in the middle of an operation it would leave locks held and
/// records in use for ever.
class CancellationGuard {
public:
  CancellationGuard() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
  ~CancellationGuard() { pthread_setcancelstate(before_, nullptr); }
  CancellationGuard(const CancellationGuard&) = delete;
  CancellationGuard& operator=(const CancellationGuard&) = delete;

private:
  int before_ = PTHREAD_CANCEL_ENABLE;
};

#endif
