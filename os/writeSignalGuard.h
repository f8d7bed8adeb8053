/// Keeps the signals of a failing write from the application.
#pragma once

#if defined(_WIN32)

class WriteSignalGuard {
public:
  WriteSignalGuard() {}  // Windows has no such signals
};

#else

#include <csignal>
#include <initializer_list>

/// While it lives, a write of this thread to a pipe without a reader, or beyond the file size limit, fails with EPIPE
/// or EFBIG and nothing else.
class WriteSignalGuard {
public:
  WriteSignalGuard() {
    sigset_t pending;
    sigset_t guarded;
    sigpending(&pending);
    sigemptyset(&guarded);
    sigemptyset(&fresh_);
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
      sigaddset(&guarded, signal);
      if (sigismember(&pending, signal) == 0) sigaddset(&fresh_, signal);
    }
    pthread_sigmask(SIG_BLOCK, &guarded, &before_);
  }

  ~WriteSignalGuard() {
    const timespec atOnce = {};
    while (sigtimedwait(&fresh_, nullptr, &atOnce) > 0) {
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

  WriteSignalGuard(const WriteSignalGuard&) = delete;
  WriteSignalGuard& operator=(const WriteSignalGuard&) = delete;

private:
  sigset_t fresh_;  ///< those that weren't pending before
  sigset_t before_;
};

#endif
