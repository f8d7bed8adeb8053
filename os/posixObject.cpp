#include "posixObject.h"

#include "descriptor.h"
#include "osAbstraction.h"
#include "writeSignalGuard.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string_view>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace posix {
namespace {

/// Marks a state that may be used; cleared in a file that has to be replaced.
constexpr uint32_t kCompleteState = 0x51560200;
constexpr mode_t kOthersMask = S_IRWXG | S_IRWXO;

/// Where the user's directory may lie, in order; `%u` is the user. In memory where the system has that, and the last
/// one is where no other user can be first. The place follows from system and user alone: an environment variable would
/// lead processes of one user to different places.
constexpr const char* kPlaces[] = {"/dev/shm/qvvisa-%u", "/tmp/qvvisa-%u", "/run/user/%u/qvvisa"};

/// The file of the mutex under which events and semaphores come and go. No object's own: see spell().
constexpr char kGateName[] = ".gate";
constexpr uint32_t kGateWaitMillis = 1000;
/// Others may be quicker to make or replace a file, each at most a few times.
constexpr int kMaxAttempts = 100;

/// Guards the list and the handle counts. Locked after a gate.
std::mutex listLock;
Object* namedObjects = nullptr;

/// Closes a descriptor at the end of its block.
class File {
public:
  explicit File(int descriptor) : descriptor_(awayFromStandardStreams(descriptor)) {}
  ~File() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  int get() const { return descriptor_; }
  int release() { return std::exchange(descriptor_, -1); }

private:
  int descriptor_;
};

bool lockFile(int file, int how) {
  int result = 0;
  do result = flock(file, how);
  while (result != 0 && errno == EINTR);
  return result == 0;
}

/// Opens a directory of the user's own. Makes it if it isn't there, and closes it to everybody else.
/// @return -1 with the reason in errno
int openOwnDirectory(int parent, const char* name) {
  mkdirat(parent, name, S_IRWXU);
  File directory(openat(parent, name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status = {};
  if (directory.get() < 0 || fstat(directory.get(), &status) != 0) return -1;
  if (status.st_uid != geteuid()) {
    errno = EACCES;
    return -1;
  }
  const bool isPrivate = (status.st_mode & ACCESSPERMS) == S_IRWXU;
  if (!isPrivate && fchmodat(parent, name, S_IRWXU, AT_SYMLINK_NOFOLLOW) != 0) return -1;
  return directory.release();
}

/// Opens the directory of the user's objects in one place. Mutexes know their owner by its thread number, so each
/// namespace of such numbers has objects of its own, as has each layout of the state: 32-bit processes have another
/// one. Without /proc the namespace is unknown and nothing can be shared.
/// @return -1 with the reason in errno
int openDirectory(const char* place) {
  struct stat numbers = {};
  if (stat("/proc/self/ns/pid", &numbers) != 0) return -1;
  char name[64];
  snprintf(name, sizeof name, place, geteuid());
  const File own(openOwnDirectory(AT_FDCWD, name));
  if (own.get() < 0) return -1;
  snprintf(name, sizeof name, "%llu-%zu", static_cast<unsigned long long>(numbers.st_ino), sizeof(ObjectState));
  return openOwnDirectory(own.get(), name);
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
  state->complete.store(kCompleteState, std::memory_order_release);
}

int openFile(int directory, const char* name, int flags) {
  return openat(directory, name, O_RDWR | O_NOFOLLOW | O_CLOEXEC | flags, S_IRUSR | S_IWUSR);
}

/// Gives a new file the memory of a state. Memory that the system can't find later would end the process, and so would
/// the signal of a file size limit.
int makeRoom(int file) {
  const WriteSignalGuard noSignal;
  return fchmod(file, S_IRUSR | S_IWUSR) == 0 ? posix_fallocate(file, 0, sizeof(ObjectState)) : errno;
}

/// Maps the state in a file.
/// @return 0 or an error number
int map(Object& object, int file) {
  struct stat status = {};
  if (fstat(file, &status) != 0) return errno;
  void* memory = mmap(nullptr, sizeof(ObjectState), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (memory == MAP_FAILED) return errno;
  object.state = static_cast<ObjectState*>(memory);
  object.id = status.st_ino;
  return 0;
}

void unmap(Object& object) {
  munmap(object.state, sizeof(ObjectState));
  object.state = nullptr;
}

/// Whether a state can be taken into use: 0, ESTALE when nobody does so and it is to be replaced, or an error number.
int examine(const ObjectState& state, int file, ObjectKind kind) {
  if (state.complete.load(std::memory_order_acquire) != kCompleteState) return ESTALE;
  if (state.kind == ObjectKind::mutex || kind == ObjectKind::mutex) return state.kind == kind ? 0 : EINVAL;
  if (lockFile(file, LOCK_EX | LOCK_NB)) return ESTALE;
  if (state.kind != kind) return EINVAL;
  return lockFile(file, LOCK_SH) ? 0 : errno;
}

/// The file of an event or semaphore stays open for the sake of its lock.
void keepFile(Object& object, File& file) {
  object.file = object.state->kind == ObjectKind::mutex ? -1 : file.release();
}

/// Makes an object in a file that has a name of this thread's own until it is complete: so nobody has to wait for it.
/// @param flags of the renaming: whether an existing file is replaced
/// @return 0 or an error number
int create(int directory, Object& object, ObjectKind kind, TokenCount count, unsigned flags) {
  char temporary[16];
  snprintf(temporary, sizeof temporary, ".%d", gettid());
  unlinkat(directory, temporary, 0);  // left by a process that was killed in here
  File file(openFile(directory, temporary, O_CREAT | O_EXCL));
  if (file.get() < 0) return errno;
  int error = makeRoom(file.get());
  if (error == 0) error = map(object, file.get());
  if (error == 0) {
    initState(object.state, kind, count, true);
    if (lockFile(file.get(), LOCK_SH) && renameat2(directory, temporary, directory, object.fileName, flags) == 0) {
      keepFile(object, file);
      return 0;
    }
    error = errno;
    unmap(object);
  }
  unlinkat(directory, temporary, 0);
  return error;
}

/// Whether others may have put the file here while the directory was open to them: their own, or a second name for
/// another file of the user's.
bool isForeign(const struct stat& status) {
  return !S_ISREG(status.st_mode) || status.st_uid != geteuid() || (status.st_mode & kOthersMask) != 0 ||
         status.st_nlink > 1;
}

/// Takes what lies in the object's place into use.
/// @return 0, EAGAIN when it is there no longer, ESTALE when it is to be replaced, or another error number
int join(Object& object, File& file, ObjectKind kind) {
  struct stat status = {};
  if (fstat(file.get(), &status) != 0) return errno;
  if (status.st_nlink == 0) return EAGAIN;
  if (isForeign(status) || status.st_size != sizeof(ObjectState)) return ESTALE;
  const int error = map(object, file.get());
  if (error != 0) return error;
  const int outcome = examine(*object.state, file.get(), kind);
  if (outcome == 0)
    keepFile(object, file);
  else
    unmap(object);
  return outcome;
}

/// Opens or creates an object by its file name.
/// @return 0, EAGAIN when others were quicker, or another error number
int tryAttach(int directory, Object& object, ObjectKind kind, TokenCount count) {
  File file(openFile(directory, object.fileName, 0));
  const int error = file.get() < 0 ? errno : join(object, file, kind);
  if (error == ESTALE || error == ELOOP || error == EACCES) return create(directory, object, kind, count, 0);
  if (error != ENOENT) return error;
  const int creation = create(directory, object, kind, count, RENAME_NOREPLACE);
  return creation == EEXIST ? EAGAIN : creation;
}

int attach(int directory, Object& object, ObjectKind kind, TokenCount count) {
  int error = EAGAIN;
  for (int attempt = 0; error == EAGAIN && attempt < kMaxAttempts; ++attempt)
    error = tryAttach(directory, object, kind, count);
  return error;
}

/// Keeps all others of the user from opening and closing events and semaphores.
class Gate {
public:
  explicit Gate(int directory) : object_{} {
    memcpy(object_.fileName, kGateName, sizeof kGateName);
    error_ = attach(directory, object_, ObjectKind::mutex, {});
    if (error_ != 0) return;
    const TimeLimit limit(kGateWaitMillis);
    error_ = lockMutex(object_, limit);
    // Whoever died in here left nothing half done.
    if (error_ == EOWNERDEAD) error_ = lockMutex(object_, limit);
  }
  ~Gate() {
    if (!object_.state) return;
    if (error_ == 0) unlockMutex(object_);
    unmap(object_);
  }
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;
  /// 0 or the error number that kept the gate closed.
  int error() const { return error_; }

private:
  Object object_;
  int error_;
};

/// The object of that name that this process, not a parent, has open as this user.
Object* findOpen(const Object& wanted) {
  const auto isSame = [&](const Object& object) {
    return object.process == wanted.process && object.user == wanted.user &&
           strcmp(object.fileName, wanted.fileName) == 0;
  };
  Object* object = namedObjects;
  while (object && !isSame(*object)) object = object->next;
  return object;
}

/// Opens an object of the list, or adds one to it.
/// @param fresh the record for an object that this process hasn't open; taken over then
/// @param make fills a fresh record, with an error number as its result
template <typename Make>
int openListed(std::unique_ptr<Object>& fresh, ObjectKind kind, Object*& result, Make make) {
  const std::lock_guard guard(listLock);
  if (Object* open = findOpen(*fresh)) {
    if (open->state->kind != kind) return EINVAL;
    ++open->handles;
    result = open;
    return 0;
  }
  const int error = make();
  if (error != 0) return error;
  fresh->next = namedObjects;
  result = namedObjects = fresh.release();
  return 0;
}

int openIn(const char* place, std::unique_ptr<Object>& fresh, ObjectKind kind, TokenCount count, Object*& result) {
  const File directory(openDirectory(place));
  if (directory.get() < 0) return errno;
  std::optional<Gate> gate;
  if (kind != ObjectKind::mutex) {
    gate.emplace(directory.get());
    if (gate->error() != 0) return gate->error();
  }
  fresh->place = place;
  return openListed(fresh, kind, result, [&] { return attach(directory.get(), *fresh, kind, count); });
}

void makePrivate(Object& object, ObjectKind kind, TokenCount count) {
  object.state = &object.own;
  initState(object.state, kind, count, false);
}

int openNamed(std::unique_ptr<Object>& fresh, ObjectKind kind, TokenCount count, Object*& result) {
  int error = 0;
  for (const char* place : kPlaces) {
    error = openIn(place, fresh, kind, count, result);
    // What is there, but of another kind or held up, isn't made a second time elsewhere.
    if (error == 0 || error == EINVAL || error == ETIMEDOUT) return error;
  }
  if (kind != ObjectKind::mutex) return error;
  return openListed(fresh, kind, result, [&] {
    makePrivate(*fresh, kind, count);
    return 0;
  });
}

/// Gives the file of an event or semaphore back, and removes it if no other process uses it.
void giveBackFile(const Object& object) {
  const File file(object.file);
  // A forked child shares its parent's file lock: it leaves lock and file alone.
  if (object.process != getpid()) return;
  if (const File directory(openDirectory(object.place)); directory.get() >= 0) {
    const Gate gate(directory.get());
    // The name may lead elsewhere: to another user's directory since the process became that user, for one.
    struct stat status = {};
    if (gate.error() == 0 && lockFile(object.file, LOCK_EX | LOCK_NB) &&
        fstatat(directory.get(), object.fileName, &status, AT_SYMLINK_NOFOLLOW) == 0 && status.st_ino == object.id)
      unlinkat(directory.get(), object.fileName, 0);
  }
  // By name: a child that was forked meanwhile has a copy of the descriptor, which would keep the lock.
  flock(object.file, LOCK_UN);
}

/// Takes the object off the list when its last handle goes.
bool isLastHandle(Object& object) {
  if (object.fileName[0] == '\0') return true;
  const std::lock_guard guard(listLock);
  if (--object.handles != 0) return false;
  Object** link = &namedObjects;
  while (*link != &object) link = &(*link)->next;
  *link = object.next;
  return true;
}

int openAny(ObjectKind kind, const char* name, TokenCount count, Object*& result) {
  std::unique_ptr<Object> fresh(new (std::nothrow) Object{});
  if (!fresh) return ENOMEM;
  fresh->process = getpid();
  fresh->user = geteuid();
  fresh->handles = 1;
  fresh->file = -1;
  if (!makeFileName(name ? name : "", fresh->fileName)) return ENAMETOOLONG;
  if (fresh->fileName[0] != '\0') return openNamed(fresh, kind, count, result);
  makePrivate(*fresh, kind, count);
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
  if (!isLastHandle(*object)) return;
  if (object->file >= 0) giveBackFile(*object);
  if (object->shared()) {
    if (!keepState) unmap(*object);
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
