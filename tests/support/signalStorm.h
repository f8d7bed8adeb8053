/// Signals that may neither end nor shorten a call.
#pragma once

#include "testing.h"

#include <csignal>
#include <ctime>

/// Signals the calling thread again and again, with a handler that doesn't ask for interrupted calls to be restarted.
class SignalStorm : NonCopyable {
public:
  SignalStorm() {
    struct sigaction action {};
    action.sa_handler = [](int) { ++delivered; };
    EXPECT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    sigevent event{};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = SIGUSR1;
    event._sigev_un._tid = gettid();
    EXPECT_EQ(timer_create(CLOCK_MONOTONIC, &event, &timer_), 0);
    const itimerspec period{{0, 200'000}, {0, 200'000}};
    EXPECT_EQ(timer_settime(timer_, 0, &period, nullptr), 0);
  }
  ~SignalStorm() { timer_delete(timer_); }

  /// Lets the thread be interrupted some times more.
  static void rage() {
    for (const int until = delivered + 20; delivered < until;) std::this_thread::yield();
  }

  static inline std::atomic<int> delivered = 0;

private:
  timer_t timer_{};
};
