/// A pseudo terminal that the library knows as port 7, and the peer at its other end.
#pragma once

#include "testing.h"

#include <fcntl.h>

class SerialPeer : NonCopyable {
public:
  SerialPeer() {
    EXPECT_TRUE(peer_ >= 0 && grantpt(peer_) == 0 && unlockpt(peer_) == 0);
    setenv("QVVISA_SERIAL_PORTS", ("7=" + path()).c_str(), 1);
  }
  ~SerialPeer() {
    hangUp();
    unsetenv("QVVISA_SERIAL_PORTS");
  }

  std::string path() const { return ptsname(peer_); }
  void hangUp() { close(std::exchange(peer_, -1)); }
  /// Sends from the peer; whether all of it went out.
  bool send(const std::string& bytes) const {
    for (size_t sent = 0; sent < bytes.size();) {
      const ssize_t part = TEMP_FAILURE_RETRY(write(peer_, bytes.data() + sent, bytes.size() - sent));
      if (part <= 0) return false;
      sent += static_cast<size_t>(part);
    }
    return true;
  }
  /// Waits until the peer has so many bytes; fewer if the library's end is closed before.
  std::string receive(size_t size) const {
    std::string bytes;
    char byte = 0;
    while (bytes.size() < size && TEMP_FAILURE_RETRY(read(peer_, &byte, 1)) == 1) bytes += byte;
    return bytes;
  }

private:
  int peer_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
};
