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

/// The owner's thread has ended.
bool ownerIsGone(const Object& object) {
  const pid_t owner = object.state->mutex.owner.load(std::memory_order_relaxed);
  return owner != 0 && syscall(SYS_tkill, owner, 0) != 0 && errno == ESRCH;
}

/// Takes the mutex: 0, ETIMEDOUT, EOWNERDEAD or another error number.
int take(Object& object, const posix::TimeLimit& limit) {
  pthread_mutex_t& lock = object.state->mutex.lock;
  int error = posix::lockUntil(lock, limit);
  if (error != ETIMEDOUT || !ownerIsGone(object)) return error;
  // The system has told by now that an owner ended, unless the power failed or it ran out of memory. Nobody can free
  // such a mutex any more: who opens it next makes a new one.
  error = posix::lockUntil(lock, posix::TimeLimit(OS_timeoutNone));
  if (error != ETIMEDOUT || !ownerIsGone(object)) return error;
  object.state->complete.store(0, std::memory_order_relaxed);
  return ESRCH;
}

/// Frees a mutex that the calling thread took over from an owner that had ended.
void recover(MutexState& mutex) {
  mutex.depth = 0;
  mutex.owner.store(0, std::memory_order_relaxed);
  pthread_mutex_consistent(&mutex.lock);
  pthread_mutex_unlock(&mutex.lock);
}

}  // namespace

int posix::lockMutex(Object& object, const TimeLimit& limit) {
  const int error = take(object, limit);
  if (error == 0) noteOwner(object.state->mutex);
  if (error == EOWNERDEAD) recover(object.state->mutex);
  return error;
}

int posix::unlockMutex(Object& object) {
  MutexState& mutex = object.state->mutex;
  if (mutex.owner.load(std::memory_order_relaxed) != gettid()) return EPERM;
  if (--mutex.depth == 0) mutex.owner.store(0, std::memory_order_relaxed);
  return pthread_mutex_unlock(&mutex.lock);
}

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
  const int error = posix::lockMutex(*object, posix::TimeLimit(waitMillis));
  if (error == 0) return MUTEX_TOOK;
  if (error == ETIMEDOUT) return MUTEX_TIMEOUT;
  OS_setLastError(error);
  return MUTEX_ERROR;
}

bool OS_unlockMutex(MutexHandle handle) {
  Object* object = posix::objectOf(handle, ObjectKind::mutex);
  if (!object) return false;
  const int error = posix::unlockMutex(*object);
  if (error != 0) OS_setLastError(error);
  return error == 0;
}
