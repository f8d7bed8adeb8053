/// Ctrl-C while a USB instrument is being talked to.
#pragma once

#include "QVvisa.h"

#include <array>
#include <atomic>
#include <csignal>
#include <thread>

/// Thrown where the tool ends because of a signal.
struct Interrupted {
  int signal;
};

/// Holds SIGINT, SIGTERM and SIGHUP back, for as long as it lives, so that a USB transfer isn't left half done in the
/// instrument: the operation that runs ends first, with an answer or by its time limit, and only then the tool. A
/// second signal clears the instrument and ends the tool at once, and so does the first where there is no time limit.
class Interruption {
public:
  /// Before the library is started, whose threads are to hold the signals back as well.
  Interruption();
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  /// Starts to look out for signals. @param limit_ms  of the session's transfers; 0 is none
  void watch(ViSession session, ViUInt32 limit_ms);
  /// Throws Interrupted if a signal has come.
  void check() const;

private:
  void run(ViSession session, ViUInt32 limit_ms);
  void handle(int signal, ViSession session, ViUInt32 limit_ms);

  sigset_t signals_;
  sigset_t before_;
  std::array<int, 2> stop_{-1, -1};  ///< a pipe, closed to end the thread
  std::atomic<int> signal_ = 0;
  std::thread thread_;
};

/// Ends the process as the signal does that nobody caught.
[[noreturn]] void endBy(int signal);
