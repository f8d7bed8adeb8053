#include "standardOutput.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace {

constexpr int kFirstFreeDescriptor = 3;

[[noreturn]] void fail(int error) {
  throw std::system_error(error, std::generic_category(), "standard output");
}

}  // namespace

StandardOutput::StandardOutput() : output_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, kFirstFreeDescriptor)) {
  for (int descriptor = 0; descriptor < kFirstFreeDescriptor; ++descriptor) {
    // The lowest free descriptor is taken, which is this one.
    if (fcntl(descriptor, F_GETFD) < 0 && ::open("/dev/null", O_RDWR) < 0) fail(errno);
  }
  if (dup2(STDERR_FILENO, STDOUT_FILENO) < 0) fail(errno);
  setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
}

StandardOutput::~StandardOutput() {
  if (output_ >= 0) ::close(output_);
}

void StandardOutput::write(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t written = ::write(output_, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail(errno);
    bytes.remove_prefix(static_cast<size_t>(written));
  }
}

void StandardOutput::close() {
  const int output = output_;
  output_ = -1;
  if (output >= 0 && ::close(output) != 0 && errno != EINTR) fail(errno);
}
