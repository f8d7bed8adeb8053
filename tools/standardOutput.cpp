#include "standardOutput.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace {

constexpr int kFirstFreeDescriptor = 3;

}  // namespace

StandardOutput::StandardOutput() : output_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, kFirstFreeDescriptor)) {
  for (int descriptor = 0; descriptor < kFirstFreeDescriptor; ++descriptor) {
    // The lowest free descriptor is taken, which is this one.
    if (fcntl(descriptor, F_GETFD) < 0 && ::open("/dev/null", O_RDWR) < 0) fail(errno);
  }
  if (dup2(STDERR_FILENO, STDOUT_FILENO) < 0) fail(errno);
  setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
}

void StandardOutput::fail(int error) const {
  throw std::system_error(error, std::generic_category(), name_);
}

void StandardOutput::redirect(const std::string& file) {
  name_ = file;
  const int opened = ::open(file.c_str(), O_WRONLY | O_CREAT | O_NOCTTY | O_CLOEXEC, 0666);
  if (opened < 0) fail(errno);
  if (output_ >= 0) ::close(output_);
  output_ = opened;
  hasOldContents_ = true;
}

void StandardOutput::silenceLibrary() {
  const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere < 0 || dup2(nowhere, STDOUT_FILENO) < 0)
    throw std::system_error(errno, std::generic_category(), "/dev/null");
  ::close(nowhere);
}

StandardOutput::~StandardOutput() {
  if (output_ >= 0) ::close(output_);
}

void StandardOutput::write(std::string_view bytes) {
  // A device or a pipe has nothing to be cut.
  if (std::exchange(hasOldContents_, false) && ftruncate(output_, 0) != 0 && errno != EINVAL) fail(errno);
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
