#include "interruption.h"

#include "library.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <iostream>
#include <poll.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace {

/// The signals that are to be held back: a program started under nohup goes on ignoring what it was told to.
sigset_t heldSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler != SIG_IGN) sigaddset(&signals, signal);
  }
  return signals;
}

}  // namespace

void endBy(int signal) {
  std::signal(signal, SIG_DFL);
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, signal);
  raise(signal);
  pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
  abort();
}

Interruption::Interruption() : signals_(heldSignals()) {
  pthread_sigmask(SIG_BLOCK, &signals_, &before_);
}

Interruption::~Interruption() {
  if (thread_.joinable()) {
    ::close(stop_[1]);
    thread_.join();
    ::close(stop_[0]);
  }
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

void Interruption::watch(ViSession session, ViUInt32 limit_ms) {
  if (pipe2(stop_.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  thread_ = std::thread([this, session, limit_ms] { run(session, limit_ms); });
}

void Interruption::check() const {
  if (const int signal = signal_) throw Interrupted{signal};
}

void Interruption::run(ViSession session, ViUInt32 limit_ms) {
  const int signalled = signalfd(-1, &signals_, SFD_CLOEXEC);
  pollfd watched[] = {{signalled, POLLIN, 0}, {stop_[0], POLLIN, 0}};
  while (watched[1].revents == 0) {
    if (poll(watched, std::size(watched), -1) < 0 && errno != EINTR) break;
    signalfd_siginfo info = {};
    if ((watched[0].revents & POLLIN) == 0 || ::read(signalled, &info, sizeof info) != sizeof info) continue;
    handle(static_cast<int>(info.ssi_signo), session, limit_ms);
  }
  ::close(signalled);
}

void Interruption::handle(int signal, ViSession session, ViUInt32 limit_ms) {
  const bool isFirst = signal_.exchange(signal) == 0;
  if (isFirst && limit_ms != 0) {
    std::cerr << "qvvisa: ending when the transfer does, in " << limit_ms
              << " ms at most, so that the instrument stays usable; once more clears the instrument and ends at once\n";
    return;
  }
  clearInstrument(session);
  endBy(signal);
}
