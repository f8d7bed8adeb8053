/// Numbers of the library's file descriptors.
#pragma once

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

/// Moves a descriptor, which programs that the process starts don't inherit, away from the numbers of the standard
/// streams. A process that has closed those would otherwise print into an instrument.
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
