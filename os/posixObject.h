/// Mutexes, events and semaphores on POSIX: what a handle points to, and how the processes of one user share an object.
///
/// A named object is a file of its own in a directory that only the user can enter, and each process maps it once. A
/// file gets its name when it is complete. A mutex can be opened, and closed, without a wait: its file stays for good,
/// free or as its owner's end left it. An event or semaphore starts anew when nobody has it open: each process keeps a
/// shared file lock on it, which the system drops with the process, so an exclusive lock is to be had only when nobody
/// uses it. Who closes the last handle removes the file. These come and go one at a time, under a mutex.
#pragma once

#include "posixWait.h"

#include <climits>
#include <sys/types.h>

namespace posix {

enum class ObjectKind : uint32_t { mutex = 1, event, semaphore };

struct MutexState {
  pthread_mutex_t lock;      ///< robust and recursive
  uint32_t depth;            ///< of the owner's locks; the owner's to read and write
  std::atomic<pid_t> owner;  ///< thread, 0 when free; left standing by a thread that ended as the owner
};

struct ObjectState {
  std::atomic<uint32_t> complete;  ///< stored last
  ObjectKind kind;
  MutexState mutex;
  Word tokens;    ///< of a semaphore; an event has room for one
  uint32_t most;  ///< tokens
};

/// What a handle points to; all handles of a named object in a process point to the same.
struct Object {
  ObjectState* state;  ///< in the file, or `own`
  const char* place;   ///< of the file
  uint64_t id;         ///< of the file: the same in all processes
  int file;            ///< of a named event or semaphore, else -1
  uid_t user;          ///< that opened it
  pid_t process;       ///< that opened it; a forked child has a copy
  uint32_t handles;
  Object* next;
  char fileName[NAME_MAX + 1];  ///< empty without a name
  ObjectState own;

  bool shared() const { return state != &own; }
  WatchedWord tokens() { return {&state->tokens, shared()}; }
};

struct TokenCount {
  uint32_t atStart;
  uint32_t most;
};

/// Creates an object, or opens the one of that name.
/// @param handle receives the object, null on failure
/// @param name null or empty for a private one
/// @param count for a new event or semaphore
/// @return false with the reason in the last error
bool openObject(ObjectKind kind, void** handle, const char* name, TokenCount count);
/// Gives a handle back.
/// @param keepState leave the state where it is, for good, since the system still points to it
void closeObject(Object* object, bool keepState);
/// The object of a handle; null, and the last error set, for a null handle and for another kind.
Object* objectOf(void* handle, ObjectKind kind);

/// Takes a mutex: 0, ETIMEDOUT, EOWNERDEAD when its owner had ended and it is free now, or another error number.
int lockMutex(Object& object, const TimeLimit& limit);
/// 0, or EPERM if the calling thread isn't the owner.
int unlockMutex(Object& object);

}  // namespace posix
