#include "tcpServer.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <system_error>

namespace qvsim {
namespace {

Descriptor listenOnLoopback(uint16_t port) {
  Descriptor listener = Descriptor::checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0), "socket");
  const int on = 1;
  ::setsockopt(listener.number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  if (::bind(listener.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listener.number(), SOMAXCONN) != 0) {
    throw std::system_error(errno, std::generic_category(), "TCP port " + std::to_string(port));
  }
  return listener;
}

uint16_t localPort(const Descriptor& socket) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  ::getsockname(socket.number(), reinterpret_cast<sockaddr*>(&address), &size);
  return ntohs(address.sin_port);
}

}  // namespace

TcpServer::TcpServer(ScpiInstrument& instrument, uint16_t port) : StreamService(instrument) {
  Descriptor listener = listenOnLoopback(port);
  port_ = localPort(listener);
  start(std::move(listener));
}

TcpServer::~TcpServer() {
  stop();
}

std::string TcpServer::resourceName() const {
  return "TCPIP0::127.0.0.1::" + std::to_string(port_) + "::SOCKET";
}

}  // namespace qvsim
