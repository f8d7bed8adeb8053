/// @file
/// The instrument behind a plain TCP socket on the loopback interface, one message a line.
#pragma once

#include <cstdint>
#include <string>

#include "streamService.h"

namespace qvsim {

class TcpServer : public StreamService {
public:
  /// Listens on 127.0.0.1. @param port  0 takes a free one. Throws std::system_error if that can't be had.
  explicit TcpServer(ScpiInstrument& instrument, uint16_t port = 0);
  ~TcpServer();

  uint16_t port() const { return port_; }
  /// "TCPIP0::127.0.0.1::PORT::SOCKET"
  std::string resourceName() const;

private:
  uint16_t port_ = 0;
};

}  // namespace qvsim
