#include "osAbstraction.h"
#include "posixWait.h"

#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <new>

namespace {

constexpr uint32_t kMaxSuspensions = 127;
constexpr uint32_t kSuspendFailed = 0xFFFFFFFF;

/// What a handle points to. The handle keeps it, and so does the thread where it needs it.
struct Thread {
  std::atomic<uint32_t> uses;
  pthread_t system;

  std::mutex lock;  ///< guards what follows, up to the next lock
  std::condition_variable changed;
  threadFunc_t run;
  void* data;
  uint32_t number;  ///< 0 until the thread has come up
  pthread_t self;   ///< once it has; a number may be another thread's after the end
  uint32_t suspensions;
  bool begun;         ///< it has gone on to `run`
  bool killed;        ///< it will never do
  uint32_t exitCode;  ///< of a killed thread, then of a joined one

  pthread_mutex_t joining = PTHREAD_MUTEX_INITIALIZER;  ///< held by the one who waits for the end
  std::atomic<bool> joined;                             ///< the exit code stands
};

Thread* threadOf(ThreadHandle handle) {
  if (handle && handle != INVALID_HANDLE_VALUE) return static_cast<Thread*>(handle);
  OS_setLastError(EINVAL);
  return nullptr;
}

void release(Thread* thread) {
  if (thread->uses.fetch_sub(1) == 1) delete thread;
}

/// Keeps the calling thread while it is suspended.
void standStill(Thread& thread, std::unique_lock<std::mutex>& guard) {
  thread.changed.wait(guard, [&] { return thread.suspensions == 0 || thread.killed; });
}

/// Brings the new thread up. True when it may run.
bool comeUp(Thread& thread) {
  std::unique_lock guard(thread.lock);
  thread.number = OS_getCurrentThreadID();
  thread.self = pthread_self();
  thread.changed.notify_all();
  standStill(thread, guard);
  thread.begun = !thread.killed;
  return thread.begun;
}

void* runThread(void* argument) {
  auto* thread = static_cast<Thread*>(argument);
  const bool mayRun = comeUp(*thread);
  const threadFunc_t run = thread->run;
  void* const data = thread->data;
  uint32_t exitCode = thread->exitCode;
  release(thread);
  if (mayRun) exitCode = run(data);
  return reinterpret_cast<void*>(static_cast<uintptr_t>(exitCode));
}

/// Whether the thread is the caller. The lock is held.
bool isCaller(const Thread& thread) {
  return thread.number != 0 && pthread_equal(thread.self, pthread_self()) != 0;
}

/// Waits for the end of the thread, which the system tells only once. A thread that left by pthread_exit has ended too.
/// @return 0, ETIMEDOUT or another error number
int waitForEnd(Thread& thread, uint32_t waitMillis) {
  if (thread.joined) return 0;
  const posix::TimeLimit limit(waitMillis);
  if (std::unique_lock guard(thread.lock); isCaller(thread)) {
    if (limit.infinite) return EDEADLK;
    guard.unlock();
    OS_delayMs(waitMillis);
    return ETIMEDOUT;
  }
  int error = posix::lockUntil(thread.joining, limit);
  if (error != 0) return error;
  if (!thread.joined) {
    void* result = nullptr;
    error = posix::joinUntil(thread.system, result, limit);
    if (error == 0) {
      thread.exitCode = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(result));
      thread.joined = true;
    }
  }
  pthread_mutex_unlock(&thread.joining);
  return error;
}

}  // namespace

ThreadHandle OS_createThread(threadFunc_t threadFunc, void* threadData, uint32_t mode) {
  if (!threadFunc || (mode != OS_threadRunImmediate && mode != OS_threadStartSuspended)) {
    OS_setLastError(EINVAL);
    return nullptr;
  }
  auto* thread = new (std::nothrow) Thread{};
  if (!thread) {
    OS_setLastError(ENOMEM);
    return nullptr;
  }
  thread->uses = 2;
  thread->run = threadFunc;
  thread->data = threadData;
  thread->suspensions = mode == OS_threadStartSuspended ? 1 : 0;
  const int error = pthread_create(&thread->system, nullptr, runThread, thread);
  if (error == 0) return thread;
  delete thread;
  OS_setLastError(error);
  return nullptr;
}

bool OS_closeThreadHandle(ThreadHandle handle) {
  Thread* thread = threadOf(handle);
  if (!thread) return false;
  if (!thread->joined) pthread_detach(thread->system);
  release(thread);
  return true;
}

uint32_t OS_resumeThread(ThreadHandle handle) {
  Thread* thread = threadOf(handle);
  if (!thread) return kSuspendFailed;
  const std::lock_guard guard(thread->lock);
  if (thread->suspensions == 0) return 0;
  thread->changed.notify_all();
  return thread->suspensions--;
}

// What could stop a running thread is a signal, with a handler in the host program's process.
uint32_t OS_suspendThread(ThreadHandle handle) {
  Thread* thread = threadOf(handle);
  if (!thread) return kSuspendFailed;
  std::unique_lock guard(thread->lock);
  const bool self = isCaller(*thread);
  const bool standing = thread->suspensions != 0 || !thread->begun;
  if ((!self && !standing) || thread->killed || thread->suspensions >= kMaxSuspensions) {
    OS_setLastError(ENOTSUP);
    return kSuspendFailed;
  }
  const uint32_t before = thread->suspensions++;
  if (self) {
    thread->uses.fetch_add(1);
    standStill(*thread, guard);
    guard.unlock();
    release(thread);
  }
  return before;
}

// A running thread isn't cancelled: where it stands it may hold locks, and unwinding it through a function that doesn't
// throw would end the process.
bool OS_killThread(ThreadHandle handle, uint32_t exitCode) {
  Thread* thread = threadOf(handle);
  if (!thread) return false;
  const std::lock_guard guard(thread->lock);
  if (thread->begun || thread->killed) {
    OS_setLastError(ENOTSUP);
    return false;
  }
  thread->killed = true;
  thread->exitCode = exitCode;
  thread->changed.notify_all();
  return true;
}

bool OS_getExitCodeThread(ThreadHandle handle, uint32_t* pExitCode) {
  Thread* thread = threadOf(handle);
  if (!thread) return false;
  const bool ended = waitForEnd(*thread, OS_timeoutNone) == 0;
  if (pExitCode) *pExitCode = ended ? thread->exitCode : OS_ThreadStillActive;
  return true;
}

bool OS_isRunningThread(ThreadHandle handle) {
  Thread* thread = threadOf(handle);
  return thread && waitForEnd(*thread, OS_timeoutNone) == ETIMEDOUT;
}

uint32_t OS_getThreadID(ThreadHandle handle) {
  Thread* thread = threadOf(handle);
  if (!thread) return 0;
  std::unique_lock guard(thread->lock);
  thread->changed.wait(guard, [&] { return thread->number != 0; });
  return thread->number;
}

bool OS_waitForThread(ThreadHandle handle, uint32_t waitMillis) {
  Thread* thread = threadOf(handle);
  if (!thread) return true;
  const int error = waitForEnd(*thread, waitMillis);
  if (error == 0 || error == ETIMEDOUT) return false;
  OS_setLastError(error);
  return true;
}
