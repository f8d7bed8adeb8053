// One whole use of the library after another, each with one more place at which something fails: an allocation, a call
// of libusb, a call of the platform. Whatever fails, the operations answer what they are documented to, nothing is left
// behind, and the next use succeeds.

#include "QVvisaLock.h"
#include "QVvisaPrivate.h"
#include "support/failingAlloc.h"
#include "support/libusbDouble.h"
#include "support/ownUser.h"
#include "support/responder.h"
#include "support/scenario.h"

#include <cstdarg>
#include <libudev.h>
#include <netdb.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace {

/// The platform's calls with the reasons for which they can fail.
const std::map<std::string_view, std::vector<int>> kFailures = {
    {"open", {EACCES, EINTR, EMFILE, ENOENT, ENODEV, EIO}},
    {"openat", {EACCES, EMFILE, ENOENT, EROFS, ENOSPC, ELOOP}},
    {"mkdirat", {EACCES, ENOSPC, EROFS}},
    {"renameat2", {EACCES, ENOSPC, ENOSYS, EEXIST}},
    {"unlinkat", {EACCES, EROFS}},
    {"fchmod", {EPERM, EROFS}},
    {"fcntl", {EMFILE}},
    {"fstat", {ENOMEM, EOVERFLOW}},
    {"stat", {ENOENT, EACCES}},
    {"flock", {EINTR, ENOLCK, EWOULDBLOCK}},
    {"mmap", {ENOMEM, EAGAIN, ENODEV}},
    {"posix_fallocate", {ENOSPC, EINTR, EFBIG, EOPNOTSUPP}},
    {"ioctl", {EINTR, EIO, ENOTTY, EINVAL}},
    {"read", {EINTR, EIO, EAGAIN}},
    {"write", {EINTR, EIO, EAGAIN}},
    {"ppoll", {EINTR, ENOMEM}},
    {"close", {EINTR, EIO}},
    {"socket", {EMFILE, ENOBUFS, EAFNOSUPPORT, EACCES}},
    {"connect", {EINTR, ECONNREFUSED, ETIMEDOUT, ENETUNREACH, EAGAIN}},
    {"send", {EINTR, EPIPE, ECONNRESET, EAGAIN}},
    {"recv", {EINTR, ECONNRESET, EAGAIN, ENOMEM}},
    {"getsockopt", {ENOBUFS, EINVAL}},
    {"setsockopt", {ENOBUFS, EINVAL}},
    {"getaddrinfo", {EAI_AGAIN, EAI_FAIL, EAI_NONAME, EAI_MEMORY}},
    {"udev_new", {ENOMEM}},
    {"udev_enumerate_new", {ENOMEM}},
    {"udev_enumerate_add_match_subsystem", {ENOMEM}},
    {"udev_enumerate_add_match_sysname", {ENOMEM}},
    {"udev_enumerate_scan_devices", {ENOMEM, EACCES}},
    {"udev_device_new_from_syspath", {ENOMEM, ENODEV}},
};

/// Which call of the test's thread fails, and why.
struct Injection {
  bool isOn = false;  ///< whether calls are counted
  long place = 0;     ///< calls still to be made before the one that fails
  size_t reason = 0;  ///< the place of its errno in the table
  std::string_view failed;
  int error = 0;
};
thread_local Injection injection;

/// The error with which the call is to fail now; 0 if it isn't.
int errorNow(std::string_view call) {
  if (!injection.isOn || injection.place-- != 0) return 0;
  const std::vector<int>& errors = kFailures.at(call);
  injection.failed = call;
  if (injection.reason < errors.size()) injection.error = errors[injection.reason];
  return injection.error;
}

/// Lets a call do its work or fail as the C library's calls do.
template <typename Result, typename... Parameters, typename... Arguments>
Result pass(const char* call, Result (*real)(Parameters...), Arguments... arguments) {
  const int error = errorNow(call);
  if (error == 0) return real(arguments...);
  errno = error;
  if constexpr (std::is_pointer_v<Result>)
    return nullptr;
  else
    return -1;
}

/// The same for calls that have an effect though they fail.
template <typename Real, typename... Arguments>
int passFirst(const char* call, Real real, bool (*hasEffect)(int), Arguments... arguments) {
  const int error = errorNow(call);
  const int result = error == 0 || hasEffect(error) ? real(arguments...) : 0;
  if (error == 0) return result;
  errno = error;
  return -1;
}

/// The same for calls that return their error number.
template <typename... Parameters, typename... Arguments>
int passNumber(const char* call, int sign, int (*real)(Parameters...), Arguments... arguments) {
  const int error = errorNow(call);
  return error == 0 ? real(arguments...) : sign * error;
}

}  // namespace

extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_openat(int directory, const char* path, int flags, ...);
int __real_fcntl(int fd, int command, ...);
int __real_ioctl(int fd, unsigned long request, ...);
decltype(mkdirat) __real_mkdirat;
decltype(renameat2) __real_renameat2;
decltype(unlinkat) __real_unlinkat;
decltype(fchmod) __real_fchmod;
decltype(fstat) __real_fstat;
decltype(stat) __real_stat;
decltype(flock) __real_flock;
void* __real_mmap(void* address, size_t size, int protection, int flags, int fd, off_t offset);
decltype(posix_fallocate) __real_posix_fallocate;
ssize_t __real_read(int fd, void* buffer, size_t size);
ssize_t __real_write(int fd, const void* buffer, size_t size);
int __real_ppoll(pollfd* lines, nfds_t count, const timespec* limit, const sigset_t* mask);
int __real_close(int fd);
decltype(socket) __real_socket;
decltype(connect) __real_connect;
decltype(send) __real_send;
ssize_t __real_recv(int fd, void* buffer, size_t size, int flags);
decltype(getsockopt) __real_getsockopt;
decltype(setsockopt) __real_setsockopt;
decltype(getaddrinfo) __real_getaddrinfo;
decltype(udev_new) __real_udev_new;
decltype(udev_enumerate_new) __real_udev_enumerate_new;
decltype(udev_enumerate_add_match_subsystem) __real_udev_enumerate_add_match_subsystem;
decltype(udev_enumerate_add_match_sysname) __real_udev_enumerate_add_match_sysname;
decltype(udev_enumerate_scan_devices) __real_udev_enumerate_scan_devices;
decltype(udev_device_new_from_syspath) __real_udev_device_new_from_syspath;

// The calls with a variable argument take it as the word that it is.
int __wrap_open(const char* path, int flags, long mode) {
  const int error = errorNow("open");
  errno = error;
  return error == 0 ? __real_open(path, flags, mode) : -1;
}
int __wrap_openat(int directory, const char* path, int flags, long mode) {
  const int error = errorNow("openat");
  errno = error;
  return error == 0 ? __real_openat(directory, path, flags, mode) : -1;
}
int __wrap_fcntl(int fd, int command, long argument) {
  const int error = errorNow("fcntl");
  errno = error;
  return error == 0 ? __real_fcntl(fd, command, argument) : -1;
}
int __wrap_ioctl(int fd, unsigned long request, long argument) {
  const int error = errorNow("ioctl");
  errno = error;
  return error == 0 ? __real_ioctl(fd, request, argument) : -1;
}
int __wrap_mkdirat(int directory, const char* path, mode_t mode) {
  return pass("mkdirat", __real_mkdirat, directory, path, mode);
}
int __wrap_renameat2(int from, const char* path, int to, const char* name, unsigned flags) {
  return pass("renameat2", __real_renameat2, from, path, to, name, flags);
}
int __wrap_unlinkat(int directory, const char* path, int flags) {
  return pass("unlinkat", __real_unlinkat, directory, path, flags);
}
int __wrap_fchmod(int fd, mode_t mode) {
  return pass("fchmod", __real_fchmod, fd, mode);
}
int __wrap_fstat(int fd, struct stat* status) {
  return pass("fstat", __real_fstat, fd, status);
}
int __wrap_stat(const char* path, struct stat* status) {
  return pass("stat", __real_stat, path, status);
}
int __wrap_flock(int fd, int operation) {
  return pass("flock", __real_flock, fd, operation);
}
void* __wrap_mmap(void* address, size_t size, int protection, int flags, int fd, off_t offset) {
  void* const memory = pass("mmap", __real_mmap, address, size, protection, flags, fd, offset);
  return memory ? memory : MAP_FAILED;
}
int __wrap_posix_fallocate(int fd, off_t offset, off_t size) {
  return passNumber("posix_fallocate", 1, __real_posix_fallocate, fd, offset, size);
}
ssize_t __wrap_read(int fd, void* buffer, size_t size) {
  return pass("read", __real_read, fd, buffer, size);
}
ssize_t __wrap_write(int fd, const void* buffer, size_t size) {
  return pass("write", __real_write, fd, buffer, size);
}
int __wrap_ppoll(pollfd* lines, nfds_t count, const timespec* limit, const sigset_t* mask) {
  return pass("ppoll", __real_ppoll, lines, count, limit, mask);
}
int __wrap_close(int fd) {
  return passFirst(
      "close", __real_close, [](int) { return true; }, fd);
}
int __wrap_socket(int family, int type, int protocol) {
  return pass("socket", __real_socket, family, type, protocol);
}
int __wrap_connect(int fd, const sockaddr* address, socklen_t size) {
  return passFirst(
      "connect", __real_connect, [](int error) { return error == EINTR; }, fd, address, size);
}
ssize_t __wrap_send(int fd, const void* buffer, size_t size, int flags) {
  return pass("send", __real_send, fd, buffer, size, flags);
}
ssize_t __wrap_recv(int fd, void* buffer, size_t size, int flags) {
  return pass("recv", __real_recv, fd, buffer, size, flags);
}
int __wrap_getsockopt(int fd, int level, int name, void* value, socklen_t* size) {
  return pass("getsockopt", __real_getsockopt, fd, level, name, value, size);
}
int __wrap_setsockopt(int fd, int level, int name, const void* value, socklen_t size) {
  return pass("setsockopt", __real_setsockopt, fd, level, name, value, size);
}
int __wrap_getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** list) {
  return passNumber("getaddrinfo", 1, __real_getaddrinfo, host, service, hints, list);
}
udev* __wrap_udev_new() {
  return pass("udev_new", __real_udev_new);
}
udev_enumerate* __wrap_udev_enumerate_new(udev* context) {
  return pass("udev_enumerate_new", __real_udev_enumerate_new, context);
}
int __wrap_udev_enumerate_add_match_subsystem(udev_enumerate* list, const char* name) {
  return passNumber("udev_enumerate_add_match_subsystem", -1, __real_udev_enumerate_add_match_subsystem, list, name);
}
int __wrap_udev_enumerate_add_match_sysname(udev_enumerate* list, const char* name) {
  return passNumber("udev_enumerate_add_match_sysname", -1, __real_udev_enumerate_add_match_sysname, list, name);
}
int __wrap_udev_enumerate_scan_devices(udev_enumerate* list) {
  return passNumber("udev_enumerate_scan_devices", -1, __real_udev_enumerate_scan_devices, list);
}
udev_device* __wrap_udev_device_new_from_syspath(udev* context, const char* path) {
  return pass("udev_device_new_from_syspath", __real_udev_device_new_from_syspath, context, path);
}
}

namespace {

class FaultSweep : public UsbTest {
protected:
  static constexpr ViUInt32 kPatient = 60000, kImpatient = 20;

  FaultSweep() {
    testing::internal::CaptureStdout();
    bus.add(instrument());
    bus.add(instrument("SN2"));
    // What libraries and the system set up once is there from now on.
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(allSucceeded(use(kPatient)));
    EXPECT_TRUE(eventually([&] { return responder_.connections == 0; }));
    descriptors_ = descriptors();
  }

  ~FaultSweep() override {
    const std::string printed = testing::internal::GetCapturedStdout();
    if (HasFailure()) std::cerr << printed;
  }

  /// As on a machine where nothing of the library's is yet.
  Outcomes use(ViUInt32 limit_ms) {
    ownUser_.removeFiles();
    return Scenario::run(names_, limit_ms);
  }

  /// Expects of a use in which something failed that it did no harm.
  /// @return false after a failure, which others would follow
  bool expectWhole(const Outcomes& outcomes, const std::string& what) {
    SCOPED_TRACE(what);
    if (const Outcome* odd = undocumented(outcomes)) ADD_FAILURE() << odd->operation << " answers " << odd->status;
    EXPECT_EQ(gpQvvisa, nullptr) << "still up";
    // A failed start is final; the next use is as in a new process.
    QVvisaInitialized = 0;
    EXPECT_TRUE(OS_tryLockFast(&flock_QVvisa));
    OS_unlockFast(&flock_QVvisa);
    // The responder closes its ends a little later.
    EXPECT_TRUE(eventually([&] { return descriptors() == descriptors_; })) << descriptors() - descriptors_;
    EXPECT_FALSE(hasTemporaryFile());
    bus.fail(SIZE_MAX, 0);
    bus.transfers.clear();
    for (const Outcome& outcome : use(kPatient)) EXPECT_EQ(outcome.status, VI_SUCCESS) << outcome.operation;
    return !HasFailure();
  }

  OwnUser ownUser_;
  Responder responder_;
  std::vector<std::string> names_ = {kInstr, responder_.serial, responder_.tcp};

private:
  static long descriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
  }
  /// Whether a mutex was left half made.
  static bool hasTemporaryFile() {
    for (const char* place : {"/dev/shm/qvvisa-", "/tmp/qvvisa-"}) {
      std::error_code ignored;
      for (const auto& file :
           std::filesystem::recursive_directory_iterator(place + std::to_string(geteuid()), ignored)) {
        const std::string name = file.path().filename();
        if (name[0] == '.' && isdigit(name[1])) return true;
      }
    }
    return false;
  }

  long descriptors_ = 0;
};

TEST_F(FaultSweep, EveryAllocation) {
  for (long place = 0;; ++place) {
    Outcomes outcomes;
    bool hasFailed = false;
    {
      const FailingAlloc alloc(place);
      outcomes = use(kImpatient);
      hasFailed = alloc.hasFailed();
    }
    if (!hasFailed) break;
    ASSERT_TRUE(expectWhole(outcomes, "allocation " + std::to_string(place)));
    EXPECT_LT(place, 1000);
  }
}

TEST_F(FaultSweep, EveryCallOfLibusbWithEveryError) {
  names_ = {kInstr};
  bus.calls.clear();
  use(kPatient);
  const size_t calls = bus.calls.size();
  EXPECT_GT(calls, 30U);
  for (size_t place = 0; place < calls; ++place) {
    for (int error = LIBUSB_ERROR_NOT_SUPPORTED; error < 0; ++error) {
      bus.fail(place, error);
      const Outcomes outcomes = use(kImpatient);
      ASSERT_TRUE(expectWhole(outcomes, "call " + std::to_string(place) + ", error " + std::to_string(error)));
    }
  }
}

TEST_F(FaultSweep, EveryCallOfThePlatformWithEveryError) {
  std::set<std::string_view> failed;
  bool isReached = true;
  for (long place = 0; isReached; ++place) {
    size_t reasons = 1;
    for (size_t reason = 0; reason < reasons; ++reason) {
      ownUser_.removeFiles();
      injection = {true, place, reason, {}, 0};
      const Outcomes outcomes = Scenario::run(names_, kImpatient);
      const Injection done = std::exchange(injection, Injection());
      isReached = !done.failed.empty();
      if (!isReached) break;
      failed.insert(done.failed);
      reasons = kFailures.at(done.failed).size();
      std::string what(done.failed);
      what += ", call " + std::to_string(place) + ", " + strerror(done.error);
      ASSERT_TRUE(expectWhole(outcomes, what));
      EXPECT_TRUE(done.error != EINTR || allSucceeded(outcomes)) << what;
    }
  }
  const bool isRoot = geteuid() != getuid();  // otherwise the mutex was there before
  for (const auto& [call, errors] : kFailures) EXPECT_TRUE(failed.contains(call) || !isRoot) << call << " isn't made";
}

}  // namespace
