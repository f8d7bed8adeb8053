#include "ptyPort.h"

#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace qvsim {
namespace {

void check(bool good, const std::string& what) {
  if (!good) throw std::system_error(errno, std::generic_category(), what);
}

void setRaw(int terminal) {
  termios settings{};
  check(::tcgetattr(terminal, &settings) == 0, "settings of the pty");
  ::cfmakeraw(&settings);
  check(::tcsetattr(terminal, TCSANOW, &settings) == 0, "settings of the pty");
}

}  // namespace

PtyPort::PtyPort(ScpiInstrument& instrument, std::string link) : StreamService(instrument) {
  Descriptor controller = Descriptor::checked(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC), "pty");
  std::array<char, 128> name{};
  check(::grantpt(controller.number()) == 0 && ::unlockpt(controller.number()) == 0, "pty");
  check(::ptsname_r(controller.number(), name.data(), name.size()) == 0, "name of the pty");
  device_ = name.data();
  keeper_ = Descriptor::checked(::open(device_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC), device_.c_str());
  setRaw(keeper_.number());
  if (!link.empty()) {
    check(::symlink(device_.c_str(), link.c_str()) == 0, link);
    link_ = std::move(link);
  }
  add(std::move(controller), Lifetime::permanent);
  start(Descriptor());
}

PtyPort::~PtyPort() {
  stop();
  if (!link_.empty()) ::unlink(link_.c_str());
}

}  // namespace qvsim
