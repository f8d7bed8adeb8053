/// The other end of a TCP session: a server on a free port of 127.0.0.1 whose every step the test decides.
#pragma once

#include "testing.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <stdexcept>

/// The kernel completes a client's connection up to the listener's backlog, so a test may open first and accept later,
/// on one thread.
class TcpPeer : NonCopyable {
public:
  static constexpr int kDeaf = -1;  ///< a backlog: the port is taken, but refuses connections

  explicit TcpPeer(int backlog = 200) : listener_(check(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    check(bind(listener_, reinterpret_cast<sockaddr*>(&address), size));
    // Holds for the accepted connections too: nothing is waited for in vain for ever.
    const timeval limit{60, 0};
    check(setsockopt(listener_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit));
    if (backlog != kDeaf) check(listen(listener_, backlog));
    check(getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size));
    port_ = ntohs(address.sin_port);
  }
  ~TcpPeer() {
    close();
    ::close(listener_);
  }

  uint16_t port() const { return port_; }
  std::string resource(const std::string& host = "127.0.0.1") const {
    return "TCPIP0::" + host + "::" + std::to_string(port_) + "::SOCKET";
  }

  /// Takes the next connection, waiting for it.
  void accept() {
    close();
    connection_ = check(::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC));
  }
  void send(std::string_view bytes) {
    EXPECT_EQ(check(::send(connection_, bytes.data(), bytes.size(), MSG_NOSIGNAL)), static_cast<ssize_t>(bytes.size()));
  }
  /// The next bytes, at most `size`; fewer when the client has closed.
  std::string receive(size_t size) {
    std::string bytes(size, '\0');
    if (size == 0) return bytes;
    bytes.resize(static_cast<size_t>(check(recv(connection_, bytes.data(), size, MSG_WAITALL))));
    return bytes;
  }
  /// No more data for the client, while it can go on sending.
  void halfClose() { check(shutdown(connection_, SHUT_WR)); }
  /// Closes so that the client's system reports a broken connection.
  void reset() {
    const linger immediately{1, 0};
    check(setsockopt(connection_, SOL_SOCKET, SO_LINGER, &immediately, sizeof immediately));
    close();
  }
  /// Whether the client closes its end before it sends another byte.
  bool clientClosed() { return receive(1).empty(); }

private:
  template <typename T>
  static T check(T result) {
    if (result < 0) throw std::runtime_error("test peer failed");
    return result;
  }
  void close() {
    if (connection_ >= 0) ::close(connection_);
    connection_ = -1;
  }

  int listener_;
  int connection_ = -1;
  uint16_t port_ = 0;
};
