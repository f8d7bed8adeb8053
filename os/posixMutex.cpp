#include "osAbstraction.h"
#include "posixObject.h"

#include <cerrno>
#include <sys/syscall.h>
#include <unistd.h>

using posix::MutexState;
using posix::Object;
using posix::ObjectKind;

namespace {

/// A thread of this process owns the mutex: the system's list of that thread's locks leads to it.
bool ownedHere(const Object& object) {
  const pid_t owner = object.state->mutex.owner.load(std::memory_order_relaxed);
  return owner != 0 && syscall(SYS_tgkill, getpid(), owner, 0) == 0;
}

void noteOwner(MutexState& mutex) {
  if (mutex.depth++ == 0) mutex.owner.store(gettid(), std::memory_order_relaxed);
}

/// Frees a mutex that the calling thread took over from an owner that had ended.
void recover(MutexState& mutex) {
  mutex.depth = 0;
  mutex.owner.store(0, std::memory_order_relaxed);
  pthread_mutex_consistent(&mutex.lock);
  pthread_mutex_unlock(&mutex.lock);
}

}  // namespace

bool OS_constructMutex(MutexData*, MutexHandle* handle, const char* name) {
  return posix::openObject(ObjectKind::mutex, handle, name, {});
}

void OS_destructMutex(MutexHandle handle) {
  Object* object = posix::objectOf(handle, ObjectKind::mutex);
  if (object) posix::closeObject(object, ownedHere(*object));
}

MutexResult OS_lockMutex(MutexHandle handle, uint32_t waitMillis) {
  Object* object = posix::objectOf(handle, ObjectKind::mutex);
  if (!object) return MUTEX_ERROR;
  const int error = posix::lockUntil(object->state->mutex.lock, posix::TimeLimit(waitMillis));
  if (error == 0) {
    noteOwner(object->state->mutex);
    return MUTEX_TOOK;
  }
  if (error == ETIMEDOUT) return MUTEX_TIMEOUT;
  if (error == EOWNERDEAD) recover(object->state->mutex);
  OS_setLastError(error);
  return MUTEX_ERROR;
}

bool OS_unlockMutex(MutexHandle handle) {
  Object* object = posix::objectOf(handle, ObjectKind::mutex);
  if (!object) return false;
  MutexState& mutex = object->state->mutex;
  if (mutex.owner.load(std::memory_order_relaxed) != gettid()) {
    OS_setLastError(EPERM);
    return false;
  }
  if (--mutex.depth == 0) mutex.owner.store(0, std::memory_order_relaxed);
  return pthread_mutex_unlock(&mutex.lock) == 0;
}
