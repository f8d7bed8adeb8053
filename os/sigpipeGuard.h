/// Keeps SIGPIPE from the application while the library writes to a descriptor that may be a pipe.
#pragma once

#if defined(_WIN32)

class SigpipeGuard {
public:
  SigpipeGuard() {}  // Windows has no such signal
};

#else

#include <csignal>

/// While it lives, a write of this thread to a pipe without a reader fails with EPIPE and nothing else.
class SigpipeGuard {
public:
  SigpipeGuard() {
    sigset_t pending;
    sigpending(&pending);
    wasPending_ = sigismember(&pending, SIGPIPE) == 1;
    sigemptyset(&sigpipe_);
    sigaddset(&sigpipe_, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &sigpipe_, &before_);
  }

  ~SigpipeGuard() {
    const timespec atOnce = {};
    if (!wasPending_) sigtimedwait(&sigpipe_, nullptr, &atOnce);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

  SigpipeGuard(const SigpipeGuard&) = delete;
  SigpipeGuard& operator=(const SigpipeGuard&) = delete;

private:
  sigset_t sigpipe_;
  sigset_t before_;
  bool wasPending_;
};

#endif
