/// Instruments that answer for as long as the test runs: each line that they get with "42\n".
#pragma once

#include "testing.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <termios.h>

/// On serial port 7, a pseudo terminal, and on any number of connections to a port of 127.0.0.1.
class Responder : NonCopyable {
public:
  Responder() {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    termios line = {};
    bool isGood = bind(listener_, any, size) == 0 && listen(listener_, 200) == 0;
    isGood = isGood && getsockname(listener_, any, &size) == 0 && pipe2(stop_, O_CLOEXEC) == 0;
    // Raw from the start: an echo of its answers would be answered in turn.
    isGood = isGood && grantpt(terminal_) == 0 && unlockpt(terminal_) == 0 && tcgetattr(terminal_, &line) == 0;
    cfmakeraw(&line);
    EXPECT_TRUE(isGood && tcsetattr(terminal_, TCSANOW, &line) == 0);
    chmod(ptsname(terminal_), 0666);
    setenv("QVVISA_SERIAL_PORTS", (std::string("7=") + ptsname(terminal_)).c_str(), 1);
    tcp = "TCPIP0::127.0.0.1::" + std::to_string(ntohs(address.sin_port)) + "::SOCKET";
    thread_ = std::thread([this] { serve(); });
  }
  ~Responder() {
    ::close(stop_[1]);
    thread_.join();
    for (const int descriptor : {listener_, terminal_, stop_[0]}) ::close(descriptor);
    unsetenv("QVVISA_SERIAL_PORTS");
  }

  std::string tcp, serial = "ASRL7::INSTR";
  /// Lines that are taken but not answered.
  std::atomic<bool> isMute = false;
  /// Connections whose other end isn't known to be closed.
  std::atomic<int> connections = 0;

private:
  void serve() {
    lines_ = {{stop_[0], POLLIN, 0}, {listener_, POLLIN, 0}, {terminal_, POLLIN, 0}};
    for (;;) {
      poll(lines_.data(), lines_.size(), -1);
      if (lines_[0].revents != 0) break;
      if ((lines_[1].revents & POLLIN) != 0) {
        ++connections;
        lines_.push_back({accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC), POLLIN, 0});
      }
      for (size_t i = 2; i < lines_.size(); ++i) {
        const bool isOpen = lines_[i].revents == 0 || answer(lines_[i].fd);
        // A terminal that nobody has open is always ready.
        if (!isOpen && i == 2) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (!isOpen && i > 2) {
          ::close(lines_[i].fd);
          --connections;
          lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(i--));
        }
      }
    }
    for (size_t i = 3; i < lines_.size(); ++i) ::close(lines_[i].fd);
  }
  /// False once the other end is closed.
  bool answer(int line) const {
    char bytes[256];
    const ssize_t size = read(line, bytes, sizeof bytes);
    std::string answers;
    for (auto end = std::count(bytes, bytes + std::max<ssize_t>(size, 0), '\n'); end > 0; --end) answers += "42\n";
    const bool isSocket = line != terminal_;
    if (!isMute && isSocket) (void)!send(line, answers.data(), answers.size(), MSG_NOSIGNAL);
    if (!isMute && !isSocket) (void)!write(line, answers.data(), answers.size());
    return size > 0;
  }

  int listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int terminal_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  int stop_[2] = {-1, -1};
  /// Not the thread's own: in a forked process it would count as a leak.
  std::vector<pollfd> lines_;
  std::thread thread_;
};
