/// A forked child for tests between processes, and a pipe to keep it in step.
#pragma once

#include "testing.h"

#include <csignal>
#include <fstream>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>

/// Runs `work` in a child, which ends with exit code 0 after it. Nobody sees the outcome of expectations in there: the
/// child tells by its exit code. It doesn't outlive the object.
class ChildProcess : NonCopyable {
public:
  template <typename Work>
  explicit ChildProcess(Work work) : process_(fork()) {
    if (process_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    work();
    _exit(0);
  }
  ~ChildProcess() {
    kill();
    wait();
  }

  void kill() {
    if (process_ > 0) ::kill(process_, SIGKILL);
  }
  /// Stops it where it stands, until resume().
  void stop() {
    ::kill(process_, SIGSTOP);
    EXPECT_EQ(waitpid(process_, &status_, WUNTRACED), process_);
  }
  void resume() { ::kill(process_, SIGCONT); }
  /// Waits for the end; -1 if it wasn't by an exit.
  int exitCode() {
    wait();
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
  }
  /// Waits for the end; 0 if it wasn't by a signal.
  int signal() {
    wait();
    return WIFSIGNALED(status_) ? WTERMSIG(status_) : 0;
  }

private:
  void wait() {
    EXPECT_TRUE(process_ == 0 || waitpid(process_, &status_, 0) == process_);
    process_ = 0;
  }

  pid_t process_;  ///< 0 once it has been waited for
  int status_ = 0;
};

/// A name for a system object or a file that no other test or run uses.
inline std::string freshName(const char* what) {
  static int count;
  return std::string("test ") + what + ' ' + std::to_string(getpid()) + '.' + std::to_string(++count);
}

/// A thread that sleeps in the system by now, in the wait that `work` comes to.
template <typename Work>
std::jthread sleepingThread(Work work) {
  std::atomic<pid_t> number = 0;
  std::jthread thread([&number, work] {
    number = gettid();
    work();
  });
  for (std::string id, name, state; state != "S"; sched_yield()) {
    std::ifstream("/proc/self/task/" + std::to_string(number) + "/stat") >> id >> name >> state;
  }
  return thread;
}

/// Lets one process wait for another.
class Pipe : NonCopyable {
public:
  Pipe() { EXPECT_EQ(pipe(ends_), 0); }
  ~Pipe() {
    close(ends_[0]);
    close(ends_[1]);
  }

  void send() {
    const char byte = 0;
    if (write(ends_[1], &byte, 1) != 1) abort();
  }
  void receive() {
    char byte = 0;
    if (read(ends_[0], &byte, 1) != 1) abort();
  }

private:
  int ends_[2] = {-1, -1};
};
