/// The thin layer between the library and the operating system: locks, events, semaphores, threads and a few system
/// queries. One set of units per platform implements it. Every operation may be called from any thread. Times are in
/// milliseconds on a clock that nobody sets. An operation that fails leaves the reason in OS_getLastError.
///
/// Named objects are common to all processes of one user and to no other user; on POSIX only as far as these see each
/// other's process numbers, so that each container has its own. An object lives while a handle of it is open anywhere,
/// though the name of a mutex remains one; mutexes, events and semaphores share one set of names. A name has at most
/// 255 bytes, in which '/', '%' and a leading '.' count three on POSIX. Objects without a name (null or empty) are
/// private to the process. A handle must not be closed while another thread waits on it, and it doesn't follow into a
/// forked child, which makes its own.
#pragma once

#include "export.h"
#include "winTypes.h"

#include <cstdint>

#if !defined(_WIN32)
#include <pthread.h>
#endif

/// Per-object platform data, for platforms that need it; here they hold nothing, are never read and may be null.
struct MutexData {};
struct EventData {};
struct SemaphoreData {};

extern "C" {

// --- Locks inside the process ---

/// A recursive lock inside the process.
#if defined(_WIN32)
using os_fastlock_t = CRITICAL_SECTION;
#define OS_FASTLOCK_INITIALIZER                                                                                        \
  {}
#else
struct os_fastlock_t {
  pthread_mutex_t mutex;
  uint32_t spinCount;  ///< attempts before a thread sleeps for the lock
};
/// Makes a lock of static storage ready at load; Windows has nothing like it and needs a FastLockAtLoad beside it.
#define OS_FASTLOCK_INITIALIZER                                                                                        \
  { PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP, 0 }
#endif

/// Makes a lock ready. The thread that has it may take it again; it is free after as many unlocks.
QVVISA_API void OS_initFastLock(os_fastlock_t* lock);
/// As OS_initFastLock, for a lock that is held for moments only: a thread tries 1024 times before it sleeps for it.
QVVISA_API bool OS_initSpinLock(os_fastlock_t* lock);
/// Gives back what the lock occupies. It must not be held.
QVVISA_API void OS_deleteFastLock(os_fastlock_t* lock);
/// Takes the lock, waiting without limit.
QVVISA_API void OS_lockFast(os_fastlock_t* lock);
/// Takes the lock if it is free or already the caller's, else false. Never blocks.
QVVISA_API bool OS_tryLockFast(os_fastlock_t* lock);
/// Undoes one OS_lockFast or successful OS_tryLockFast.
QVVISA_API void OS_unlockFast(os_fastlock_t* lock);

// --- Limits of waits ---

constexpr uint32_t OS_timeoutInfinite = INFINITE;
constexpr uint32_t OS_timeoutNone = 0;

// --- Mutexes ---

using MutexHandle = HANDLE;
enum MutexResult { MUTEX_TOOK = 0, MUTEX_TIMEOUT = 1, MUTEX_ERROR = 2 };

/// Creates a mutex, or opens the one of that name. The caller doesn't own it yet. Waits for nobody. Where the system
/// has no place for it that is safe from other users, or no room, it keeps the threads of this process apart and no
/// others.
/// @param data not read
/// @param handle receives the handle, null on failure; to be given back with OS_destructMutex
/// @return false if the name is too long or belongs to an object of another kind, or if memory is out
QVVISA_API bool OS_constructMutex(MutexData* data, MutexHandle* handle, const char* name);
/// Closes this handle; the mutex lives on while another handle is open. Ownership isn't given up by it.
QVVISA_API void OS_destructMutex(MutexHandle handle);
/// Waits for ownership. The owning thread may take the mutex again.
/// @return MUTEX_TOOK: the calling thread owns it; MUTEX_TIMEOUT: another thread owned it all the time; MUTEX_ERROR:
///         the wait failed, or the owner ended without giving the mutex up. That is told once, to the next taker,
///         which doesn't become the owner: what the mutex guards may be in disorder. After that the mutex is free.
QVVISA_API MutexResult OS_lockMutex(MutexHandle handle, uint32_t waitMillis);
/// Undoes one OS_lockMutex. False if the calling thread isn't the owner.
QVVISA_API bool OS_unlockMutex(MutexHandle handle);

// --- Events ---

using EventHandle = HANDLE;
enum EventResult { EVENT_SIGNALED = 0, EVENT_TIMEOUT = 1, EVENT_ERROR = 2 };

/// Creates an event, not signalled, or opens the one of that name as it is. A wait that it ends clears it.
/// @param handle receives the handle, null on failure; to be given back with OS_destructEvent
/// @return false as OS_constructMutex, or if there is no place for the name that is safe from other users, or no room
QVVISA_API bool OS_constructEvent(EventData* data, EventHandle* handle, const char* name);
/// Closes this handle; the event lives on while another handle is open.
QVVISA_API void OS_destructEvent(EventHandle handle);
/// Signals the event: it ends one wait, present or future. Signals don't add up.
QVVISA_API bool OS_signalEvent(EventHandle handle);
/// Takes a signal back that no wait has met yet.
QVVISA_API void OS_resetEvent(EventHandle handle);
/// Waits until the event is signalled, and clears it. EVENT_TIMEOUT when the limit is over, EVENT_ERROR for no event.
QVVISA_API EventResult OS_waitForEvent(EventHandle handle, uint32_t waitMillis);
/// Waits for one of several events, or for all of them together; until all are there none is cleared.
/// @param elements number of events, 1 to 64
/// @param handles the events; for all, each at most once
/// @param sig null, or receives on EVENT_SIGNALED the lowest index of a signalled event, which is now clear; 0 for all
/// @return EVENT_TIMEOUT when the limit is over, EVENT_ERROR for an argument that isn't as above
QVVISA_API EventResult OS_waitForMultipeEvents(uint32_t elements, EventHandle* handles, bool waitForAll,
                                               uint32_t waitMillis, uint32_t* sig);

// --- Semaphores ---

using SemaphoreHandle = HANDLE;
enum SemaphoreResult { SEMAPHORE_SIGNALED = 0, SEMAPHORE_TIMEOUT = 1, SEMAPHORE_ERROR = 2 };

/// Creates a semaphore, or opens the one of that name with the tokens and the maximum that it has.
/// @param handle receives the handle, null on failure; to be given back with OS_destructSemaphore
/// @param initCnt tokens at the start, at most semCnt
/// @param semCnt most tokens it can hold, 1 to 0x7FFFFFFF
/// @return false for counts outside these limits, and as OS_constructEvent
QVVISA_API bool OS_constructSemaphore(SemaphoreData* data, SemaphoreHandle* handle, const char* name, uint32_t initCnt,
                                      uint32_t semCnt);
/// Closes this handle; the semaphore lives on while another handle is open.
QVVISA_API void OS_destructSemaphore(EventHandle handle);
/// Waits for a token and takes it. SEMAPHORE_TIMEOUT when the limit is over, SEMAPHORE_ERROR for no semaphore.
QVVISA_API SemaphoreResult OS_seamphoreWaitForToken(SemaphoreHandle handle, uint32_t waitMillis);
/// Adds one token. False if the semaphore is full.
QVVISA_API bool OS_semaphoreSendToken(SemaphoreHandle handle);

// --- Threads ---

using ThreadHandle = HANDLE;
/// What a thread runs; the result is its exit code.
using threadFunc_t = uint32_t (*)(void*);

constexpr uint32_t OS_threadRunImmediate = 0;
constexpr uint32_t OS_threadStartSuspended = 1;
constexpr uint32_t OS_KILL_THREAD_DEFAULT_EXITCODE = 0xFFFFFFF1;
constexpr uint32_t OS_ThreadStillActive = STILL_ACTIVE;

/// Starts a thread.
/// @param threadData handed to threadFunc
/// @param mode OS_threadRunImmediate, or OS_threadStartSuspended: it runs after OS_resumeThread
/// @return its handle, to be given back with OS_closeThreadHandle; null on failure and for any other mode
QVVISA_API ThreadHandle OS_createThread(threadFunc_t threadFunc, void* threadData, uint32_t mode);
/// Closes the handle; the thread runs on, or stays suspended.
QVVISA_API bool OS_closeThreadHandle(ThreadHandle thread);
/// Takes one suspension back; the thread runs when none is left.
/// @return the suspensions before, 0 if it wasn't suspended; 0xFFFFFFFF on failure
QVVISA_API uint32_t OS_resumeThread(ThreadHandle thread);
/// Adds one suspension, 127 at most. A thread that suspends itself returns when it is resumed.
/// @return the suspensions before; 0xFFFFFFFF on failure. On POSIX nothing stops a running thread from outside without
///         the use of a signal, which belong to the host program, so there only a thread that is suspended already and
///         the calling thread can be suspended.
QVVISA_API uint32_t OS_suspendThread(ThreadHandle thread);
/// Ends a thread by force, with exitCode as its exit code. On POSIX only a thread that hasn't begun to run can be ended
/// from outside, any other gives false.
QVVISA_API bool OS_killThread(ThreadHandle thread, uint32_t exitCode);
/// @param pExitCode null, or receives the exit code, OS_ThreadStillActive while the thread lives
QVVISA_API bool OS_getExitCodeThread(ThreadHandle thread, uint32_t* pExitCode);
/// True while the thread lives, suspended or not.
QVVISA_API bool OS_isRunningThread(ThreadHandle handle);
/// The thread's number, as OS_getCurrentThreadID gives it there; 0 on failure.
QVVISA_API uint32_t OS_getThreadID(ThreadHandle thread);
/// Number of the calling thread.
QVVISA_API uint32_t OS_getCurrentThreadID();
/// Lets other threads run. True if one did.
QVVISA_API bool OS_switchToThread();
/// Waits for the thread's end. Note the result: false when it ended and on timeout alike, true only if the wait failed.
QVVISA_API bool OS_waitForThread(ThreadHandle handle, uint32_t waitMillis);

// --- The rest of the system ---

/// Starts a process without a window or terminal of its own and doesn't wait for it. It inherits no open file.
/// @param name path of the program; null: the first word of args, looked up along the search path
/// @param args the whole command line with the program's name as its first word; null for a program without arguments.
///        Blanks separate words, double quotes keep a word together, \" is a quote.
/// @return false if the program can't be started
QVVISA_API bool OS_constructProcess(const char* name, const char* args);
/// The calling thread's last system error: on Windows the system's, elsewhere an errno number or what the library set.
QVVISA_API int OS_getLastError();
/// Sets what OS_getLastError returns on this thread.
QVVISA_API void OS_setLastError(int error);
/// Sleeps, never shorter than delay_ms milliseconds.
QVVISA_API void OS_delayMs(unsigned int delay_ms);
/// Copies the value of an environment variable.
/// @param len size of buffer; a value that doesn't fit with its terminator isn't copied
/// @return false if the variable isn't set or is empty; true also for a value that doesn't fit.
QVVISA_API bool OS_getEnvironmentVariable(const char* envVarName, char* buffer, uint32_t len);

/// A calendar time.
using OS_SYSTEMTIME = SYSTEMTIME;
constexpr int OS_MAX_PATH = MAX_PATH;
}
