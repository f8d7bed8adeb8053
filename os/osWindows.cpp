#include "osAbstraction.h"

#include <cstring>
#include <new>

namespace {

constexpr DWORD kSpinLockAttempts = 1024;

/// Result of a wait that an object coming free ends, as one of the three-valued enums.
template <typename Result>
Result toResult(DWORD waited) {
  if (waited == WAIT_OBJECT_0) return static_cast<Result>(0);
  return waited == WAIT_TIMEOUT ? static_cast<Result>(1) : static_cast<Result>(2);
}

/// The system takes a few bytes more; the limit is the same everywhere.
constexpr size_t kMaxNameLength = 255;

/// Makes a named object by `create`.
/// @return false, with the reason in the last error and null in the handle, if that can't be
template <typename Create>
bool construct(HANDLE* handle, const char* name, Create create) {
  if (!handle) return false;
  const bool fits = !name || strlen(name) <= kMaxNameLength;
  if (!fits) SetLastError(ERROR_FILENAME_EXCED_RANGE);
  *handle = fits ? create() : nullptr;
  return *handle != nullptr;
}

struct ThreadStart {
  threadFunc_t run;
  void* data;
};

// The system calls a thread's function by another convention than the one of plain functions.
DWORD WINAPI runThread(LPVOID argument) {
  auto* start = static_cast<ThreadStart*>(argument);
  const ThreadStart copy = *start;
  delete start;
  return copy.run(copy.data);
}

}  // namespace

void OS_initFastLock(os_fastlock_t* lock) {
  InitializeCriticalSection(lock);
}

bool OS_initSpinLock(os_fastlock_t* lock) {
  return InitializeCriticalSectionAndSpinCount(lock, kSpinLockAttempts) != FALSE;
}

void OS_deleteFastLock(os_fastlock_t* lock) {
  DeleteCriticalSection(lock);
}

void OS_lockFast(os_fastlock_t* lock) {
  EnterCriticalSection(lock);
}

bool OS_tryLockFast(os_fastlock_t* lock) {
  return TryEnterCriticalSection(lock) != FALSE;
}

void OS_unlockFast(os_fastlock_t* lock) {
  LeaveCriticalSection(lock);
}

bool OS_constructMutex(MutexData*, MutexHandle* handle, const char* name) {
  return construct(handle, name, [&] { return CreateMutexA(nullptr, FALSE, name); });
}

void OS_destructMutex(MutexHandle handle) {
  CloseHandle(handle);
}

MutexResult OS_lockMutex(MutexHandle handle, uint32_t waitMillis) {
  const DWORD waited = WaitForSingleObject(handle, waitMillis);
  // An abandoned mutex now belongs to a caller that is told of an error and won't give it back.
  if (waited == WAIT_ABANDONED) ReleaseMutex(handle);
  return toResult<MutexResult>(waited);
}

bool OS_unlockMutex(MutexHandle handle) {
  return ReleaseMutex(handle) != FALSE;
}

bool OS_constructEvent(EventData*, EventHandle* handle, const char* name) {
  return construct(handle, name, [&] { return CreateEventA(nullptr, FALSE, FALSE, name); });
}

void OS_destructEvent(EventHandle handle) {
  CloseHandle(handle);
}

bool OS_signalEvent(EventHandle handle) {
  return SetEvent(handle) != FALSE;
}

void OS_resetEvent(EventHandle handle) {
  ResetEvent(handle);
}

EventResult OS_waitForEvent(EventHandle handle, uint32_t waitMillis) {
  return toResult<EventResult>(WaitForSingleObject(handle, waitMillis));
}

EventResult OS_waitForMultipeEvents(uint32_t elements, EventHandle* handles, bool waitForAll, uint32_t waitMillis,
                                    uint32_t* sig) {
  const DWORD waited = WaitForMultipleObjects(elements, handles, waitForAll ? TRUE : FALSE, waitMillis);
  if (waited >= elements) return waited == WAIT_TIMEOUT ? EVENT_TIMEOUT : EVENT_ERROR;
  if (sig) *sig = waited;
  return EVENT_SIGNALED;
}

bool OS_constructSemaphore(SemaphoreData*, SemaphoreHandle* handle, const char* name, uint32_t initCnt,
                           uint32_t semCnt) {
  return construct(handle, name, [&] {
    return CreateSemaphoreA(nullptr, static_cast<LONG>(initCnt), static_cast<LONG>(semCnt), name);
  });
}

void OS_destructSemaphore(EventHandle handle) {
  CloseHandle(handle);
}

SemaphoreResult OS_seamphoreWaitForToken(SemaphoreHandle handle, uint32_t waitMillis) {
  return toResult<SemaphoreResult>(WaitForSingleObject(handle, waitMillis));
}

bool OS_semaphoreSendToken(SemaphoreHandle handle) {
  return ReleaseSemaphore(handle, 1, nullptr) != FALSE;
}

ThreadHandle OS_createThread(threadFunc_t threadFunc, void* threadData, uint32_t mode) {
  if (!threadFunc || (mode != OS_threadRunImmediate && mode != OS_threadStartSuspended)) return nullptr;
  auto* start = new (std::nothrow) ThreadStart{threadFunc, threadData};
  if (!start) return nullptr;
  const DWORD flags = mode == OS_threadStartSuspended ? CREATE_SUSPENDED : 0;
  ThreadHandle thread = CreateThread(nullptr, 0, runThread, start, flags, nullptr);
  if (!thread) delete start;
  return thread;
}

bool OS_closeThreadHandle(ThreadHandle thread) {
  return CloseHandle(thread) != FALSE;
}

uint32_t OS_resumeThread(ThreadHandle thread) {
  return ResumeThread(thread);
}

uint32_t OS_suspendThread(ThreadHandle thread) {
  return SuspendThread(thread);
}

bool OS_killThread(ThreadHandle thread, uint32_t exitCode) {
  return TerminateThread(thread, exitCode) != FALSE;
}

bool OS_getExitCodeThread(ThreadHandle thread, uint32_t* pExitCode) {
  DWORD exitCode = 0;
  if (!GetExitCodeThread(thread, &exitCode)) return false;
  if (pExitCode) *pExitCode = exitCode;
  return true;
}

bool OS_isRunningThread(ThreadHandle handle) {
  return WaitForSingleObject(handle, 0) == WAIT_TIMEOUT;
}

uint32_t OS_getThreadID(ThreadHandle thread) {
  return GetThreadId(thread);
}

uint32_t OS_getCurrentThreadID() {
  return GetCurrentThreadId();
}

bool OS_switchToThread() {
  return SwitchToThread() != FALSE;
}

bool OS_waitForThread(ThreadHandle handle, uint32_t waitMillis) {
  return WaitForSingleObject(handle, waitMillis) == WAIT_FAILED;
}

bool OS_constructProcess(const char* name, const char* args) {
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  // The parameter isn't const for the sake of the wide variant alone, which writes to it.
  char* const commandLine = const_cast<char*>(args);
  const BOOL started = CreateProcessA(name, commandLine, nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, nullptr,
                                      &startup, &process);
  if (!started) return false;
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return true;
}

int OS_getLastError() {
  return static_cast<int>(GetLastError());
}

void OS_setLastError(int error) {
  SetLastError(static_cast<DWORD>(error));
}

void OS_delayMs(unsigned int delay_ms) {
  Sleep(delay_ms);
}

bool OS_getEnvironmentVariable(const char* envVarName, char* buffer, uint32_t len) {
  return GetEnvironmentVariableA(envVarName, buffer, len) != 0;
}
