/// Numbers of the library's file descriptors. In a process that has closed its standard streams a new descriptor gets
/// the number of one of them, and what the process prints ends in an instrument.
#pragma once

#if defined(_WIN32)

class StandardStreamsTaken {
public:
  StandardStreamsTaken() {}  // a stream that is closed there has no number to give away
};

#else

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

/// Moves a descriptor away from the numbers of the standard streams. Programs that the process starts don't inherit it.
/// @param descriptor  owned; may be -1
/// @return the descriptor to use, or -1 with the reason in errno
inline int awayFromStandardStreams(int descriptor) {
  if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
  const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int reason = errno;
  close(descriptor);
  errno = reason;
  return moved;
}

/// Keeps the numbers of closed standard streams taken for the length of a block, for descriptors that another library
/// opens and keeps.
class StandardStreamsTaken {
public:
  StandardStreamsTaken() {
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
      isTaken_[number] = fcntl(number, F_GETFD) < 0 && take(number);
    }
  }
  ~StandardStreamsTaken() {
    const int error = errno;
    struct stat now = {};
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
      // Another thread may have given the number a stream meanwhile.
      if (!isTaken_[number] || fstat(number, &now) != 0) continue;
      if (now.st_dev == file_.st_dev && now.st_ino == file_.st_ino) close(number);
    }
    errno = error;
  }
  StandardStreamsTaken(const StandardStreamsTaken&) = delete;
  StandardStreamsTaken& operator=(const StandardStreamsTaken&) = delete;

private:
  bool take(int number) {
    const int descriptor = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (descriptor == number && fstat(descriptor, &file_) == 0) return true;
    if (descriptor >= 0) close(descriptor);
    return false;
  }

  bool isTaken_[STDERR_FILENO + 1];
  struct stat file_ = {};
};

#endif
