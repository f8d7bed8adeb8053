/// The record of one TCP/IP session, and what its units share.
#pragma once

#include "QVvisa.h"
#include "export.h"
#include "osAbstraction.h"

#include <cstdint>

constexpr uint16_t TCPIP_PORT = 2000;
constexpr uint32_t TCPIP_TIMEOUT = 2000;

/// A failed call of the socket as the status of a transfer or a setting: the plain number, not one of the VI_ERROR
/// codes.
constexpr ViStatus QVVISA_SOCKET_FAILURE = -1;

extern "C" {

/// The TCP/IP part of a session.
struct QVvisa_tcpip_device_t {
  int clientSocket;         ///< the socket; -1 while there is none
  char hostName[128];       ///< the name's host field, after the open the text of the address that was used
  char lanDeviceName[128];  ///< the name's device field; only stored
  uint16_t port;
  uint32_t tcpip_Timo_ms;  ///< receive time limit in ms, as last read from the socket

  bool usesWinsock;             ///< a WSAStartup of this record waits for its WSACleanup
  os_fastlock_t timeLimitLock;  ///< keeps the next fields and `tcpip_Timo_ms` in step with the socket
  bool timeLimitWasSet;         ///< the next two fields are valid
  uint32_t timeLimitSet;        ///< receive time limit in ms, as last set
  uint32_t timeLimitHeld;       ///< what the socket made of it: some round it to their clock tick
};
}

/// Prints to standard output. Nothing stays in its buffer, which the application would write later, when a pipe without
/// a reader is a signal again.
[[gnu::format(printf, 1, 2)]] void QVvisa_tcpipPrint(const char* format, ...);
