#include "posixObject.h"

#include "osAbstraction.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <new>
#include <string_view>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace posix {
namespace {

/// Tells a state of this build's layout: a version, and the size, which 32-bit and 64-bit processes differ in.
constexpr uint32_t completeLayout = 0x51560100 + sizeof(ObjectState);
constexpr mode_t othersMask = S_IRWXG | S_IRWXO;

/// Guards the list and the handle counts. Locked before the directory.
std::mutex listLock;
Object* namedObjects = nullptr;

/// Closes a descriptor at the end of its block, and gives up its file lock by name: a child that was forked meanwhile
/// has a copy of the descriptor, which would keep the lock.
class LockedFile {
public:
  explicit LockedFile(int descriptor) : descriptor_(descriptor) {}
  ~LockedFile() {
    if (descriptor_ < 0) return;
    flock(descriptor_, LOCK_UN);
    close(descriptor_);
  }
  LockedFile(const LockedFile&) = delete;
  LockedFile& operator=(const LockedFile&) = delete;
  int get() const { return descriptor_; }
  int release() {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    return descriptor;
  }

private:
  int descriptor_;
};

bool lockFile(int file, int how) {
  int result = 0;
  do result = flock(file, how);
  while (result != 0 && errno == EINTR);
  return result == 0;
}

/// The file is the user's own and closed to everybody else.
bool belongsToUser(const struct stat& status, mode_t type) {
  return (status.st_mode & S_IFMT) == type && status.st_uid == geteuid() && (status.st_mode & othersMask) == 0;
}

/// Makes the user's directory, if it isn't there, in memory or, on a system without that, in /tmp. Its place follows
/// from system and user alone: an environment variable would lead processes of one user to different places.
/// @return false with the reason in errno
bool makeDirectory(char (&path)[32]) {
  for (const char* parent : {"/dev/shm", "/tmp"}) {
    snprintf(path, sizeof path, "%s/qvvisa-%u", parent, geteuid());
    if (mkdir(path, S_IRWXU) == 0 || errno == EEXIST) return true;
  }
  return false;
}

/// Opens the user's directory and locks it, so that one object at a time is created or removed.
/// @return -1 with the reason in errno
int openDirectory() {
  char path[32];
  if (!makeDirectory(path)) return -1;
  const int directory = open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (directory < 0) return -1;
  struct stat status = {};
  if (fstat(directory, &status) == 0 && belongsToUser(status, S_IFDIR)) {
    if (lockFile(directory, LOCK_EX)) return directory;
  } else {
    errno = EACCES;
  }
  const int reason = errno;
  close(directory);
  errno = reason;
  return -1;
}

std::string_view spell(const char& c, bool first) {
  if (c == '/') return "%2F";
  if (c == '%') return "%25";
  if (c == '.' && first) return "%2E";
  return {&c, 1};
}

/// Spells an object's name as a file name.
bool makeFileName(const char* name, char (&fileName)[NAME_MAX + 1]) {
  size_t length = 0;
  for (const char* c = name; *c; ++c) {
    const std::string_view spelling = spell(*c, c == name);
    if (length + spelling.size() > NAME_MAX) return false;
    length += spelling.copy(fileName + length, spelling.size());
  }
  fileName[length] = '\0';
  return true;
}

void initMutex(pthread_mutex_t& mutex, bool shared) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  pthread_mutexattr_setpshared(&attributes, shared ? PTHREAD_PROCESS_SHARED : PTHREAD_PROCESS_PRIVATE);
  pthread_mutex_init(&mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

void initState(ObjectState* memory, ObjectKind kind, TokenCount count, bool shared) {
  auto* state = new (memory) ObjectState{};
  state->kind = kind;
  state->most = count.most;
  state->tokens.store(count.atStart, std::memory_order_relaxed);
  if (kind == ObjectKind::mutex) initMutex(state->mutex.lock, shared);
  state->layout.store(completeLayout, std::memory_order_release);
}

/// Gives a file that nobody else uses the memory of a state, all 0. Memory that the system can't find later would end
/// the process.
int makeRoom(int file) {
  if (ftruncate(file, 0) != 0) return errno;
  return posix_fallocate(file, 0, sizeof(ObjectState));
}

/// Maps the state in an object's file, and makes it first if nobody else uses the file.
/// @return 0 or an error number
int mapState(Object& object, int file, off_t size, bool alone, ObjectKind kind, TokenCount count) {
  const bool sized = size == sizeof(ObjectState);
  if (!sized) {
    const int error = alone ? makeRoom(file) : EINVAL;
    if (error != 0) return error;
  }
  void* memory = mmap(nullptr, sizeof(ObjectState), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (memory == MAP_FAILED) return errno;
  object.state = static_cast<ObjectState*>(memory);
  const bool fits =
      sized && object.state->layout.load(std::memory_order_acquire) == completeLayout && object.state->kind == kind;
  if (alone && !(fits && kind == ObjectKind::mutex)) {
    initState(object.state, kind, count, true);
  } else if (!fits) {
    munmap(memory, sizeof(ObjectState));
    return EINVAL;
  }
  return 0;
}

/// Takes a file into use that this process hasn't open yet.
/// @return 0 or an error number
int attach(Object& object, int directory, int file, off_t size, ObjectKind kind, TokenCount count) {
  const bool alone = lockFile(file, LOCK_EX | LOCK_NB);
  if (!alone && errno != EWOULDBLOCK) return errno;
  const int error = mapState(object, file, size, alone, kind, count);
  if (error != 0) {
    if (alone) unlinkat(directory, object.fileName, 0);
    return error;
  }
  if (lockFile(file, LOCK_SH)) return 0;
  const int reason = errno;
  munmap(object.state, sizeof(ObjectState));
  return reason;
}

/// The object that this process, not a parent, has open on a file.
Object* findOpen(uint64_t id) {
  Object* object = namedObjects;
  while (object && (object->id != id || object->process != getpid())) object = object->next;
  return object;
}

/// Opens or creates an object by its file name in the locked directory.
/// @param fresh the record for an object that this process hasn't open; taken over then
/// @return 0 or an error number
int openIn(int directory, std::unique_ptr<Object>& fresh, ObjectKind kind, TokenCount count, Object*& result) {
  LockedFile file(openat(directory, fresh->fileName, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
  struct stat status = {};
  if (file.get() < 0 || fstat(file.get(), &status) != 0) return errno;
  if (!belongsToUser(status, S_IFREG)) return EACCES;
  Object* open = findOpen(status.st_ino);
  if (open) {
    if (open->state->kind != kind) return EINVAL;
    ++open->handles;
    result = open;
    return 0;
  }
  const int error = attach(*fresh, directory, file.get(), status.st_size, kind, count);
  if (error != 0) return error;
  fresh->id = status.st_ino;
  fresh->file = file.release();
  fresh->next = namedObjects;
  result = namedObjects = fresh.release();
  return 0;
}

int openNamed(std::unique_ptr<Object>& fresh, const char* name, ObjectKind kind, TokenCount count, Object*& result) {
  if (!makeFileName(name, fresh->fileName)) return ENAMETOOLONG;
  const std::lock_guard guard(listLock);
  const LockedFile directory(openDirectory());
  return directory.get() < 0 ? errno : openIn(directory.get(), fresh, kind, count, result);
}

/// Removes the object's file if no other process uses it.
void removeUnused(const Object& object) {
  const LockedFile directory(openDirectory());
  if (directory.get() < 0 || !lockFile(object.file, LOCK_EX | LOCK_NB)) return;
  // The name may lead elsewhere: to another user's directory since the process became that user, for one.
  struct stat status = {};
  if (fstatat(directory.get(), object.fileName, &status, AT_SYMLINK_NOFOLLOW) == 0 && status.st_ino == object.id)
    unlinkat(directory.get(), object.fileName, 0);
}

/// Takes the object off the list and gives its file back.
void detach(const Object& object) {
  Object** link = &namedObjects;
  while (*link != &object) link = &(*link)->next;
  *link = object.next;
  // A forked child shares its parent's file lock: it leaves lock and file alone.
  if (object.process == getpid()) {
    removeUnused(object);
    flock(object.file, LOCK_UN);
  }
  close(object.file);
}

int openAny(ObjectKind kind, const char* name, TokenCount count, Object*& result) {
  std::unique_ptr<Object> fresh(new (std::nothrow) Object{});
  if (!fresh) return ENOMEM;
  fresh->process = getpid();
  fresh->handles = 1;
  if (name && *name) return openNamed(fresh, name, kind, count, result);
  fresh->file = -1;
  fresh->state = &fresh->own;
  initState(fresh->state, kind, count, false);
  result = fresh.release();
  return 0;
}

}  // namespace

bool openObject(ObjectKind kind, void** handle, const char* name, TokenCount count) {
  Object* object = nullptr;
  const int error = handle ? openAny(kind, name, count, object) : EINVAL;
  if (handle) *handle = object;
  if (error != 0) OS_setLastError(error);
  return error == 0;
}

void closeObject(Object* object, bool keepState) {
  if (object->shared()) {
    const std::lock_guard guard(listLock);
    if (--object->handles != 0) return;
    detach(*object);
    if (!keepState) munmap(object->state, sizeof(ObjectState));
  } else if (keepState) {
    return;
  } else if (object->state->kind == ObjectKind::mutex) {
    pthread_mutex_destroy(&object->state->mutex.lock);
  }
  delete object;
}

Object* objectOf(void* handle, ObjectKind kind) {
  auto* object = handle == INVALID_HANDLE_VALUE ? nullptr : static_cast<Object*>(handle);
  if (object && object->state->kind == kind) return object;
  OS_setLastError(EINVAL);
  return nullptr;
}

}  // namespace posix
