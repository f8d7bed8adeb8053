#include "osAbstraction.h"
#include "posixWait.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr uint32_t kSpinLockAttempts = 1024;

thread_local int lastError = 0;

void relaxProcessor() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield");
#endif
}

}  // namespace

void OS_initFastLock(os_fastlock_t* lock) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&lock->mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
  lock->spinCount = 0;
}

bool OS_initSpinLock(os_fastlock_t* lock) {
  OS_initFastLock(lock);
  lock->spinCount = kSpinLockAttempts;
  return true;
}

void OS_deleteFastLock(os_fastlock_t* lock) {
  pthread_mutex_destroy(&lock->mutex);
}

void OS_lockFast(os_fastlock_t* lock) {
  for (uint32_t attempt = 0; attempt < lock->spinCount; ++attempt) {
    if (OS_tryLockFast(lock)) return;
    relaxProcessor();
  }
  pthread_mutex_lock(&lock->mutex);
}

bool OS_tryLockFast(os_fastlock_t* lock) {
  return pthread_mutex_trylock(&lock->mutex) == 0;
}

void OS_unlockFast(os_fastlock_t* lock) {
  pthread_mutex_unlock(&lock->mutex);
}

int OS_getLastError() {
  return lastError;
}

void OS_setLastError(int error) {
  lastError = error;
}

void OS_delayMs(unsigned int delay_ms) {
  timespec end = posix::TimeLimit(delay_ms).end;
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
  }
}

bool OS_getEnvironmentVariable(const char* envVarName, char* buffer, uint32_t len) {
  const char* value = envVarName ? getenv(envVarName) : nullptr;
  if (!value) return false;
  const size_t length = strlen(value);
  if (buffer && length < len) memcpy(buffer, value, length + 1);
  return length != 0;
}

uint32_t OS_getCurrentThreadID() {
  return static_cast<uint32_t>(gettid());
}

bool OS_switchToThread() {
  rusage before{};
  rusage after{};
  getrusage(RUSAGE_THREAD, &before);
  sched_yield();
  getrusage(RUSAGE_THREAD, &after);
  return after.ru_nivcsw != before.ru_nivcsw || after.ru_nvcsw != before.ru_nvcsw;
}
