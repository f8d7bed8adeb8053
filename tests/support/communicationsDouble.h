/// Serial ports of the test's making in the place of the platform's communications calls.
#pragma once

#include "communications.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

/// One port of the machine.
struct PortDouble {
  DCB settings = {};
  COMMTIMEOUTS timeouts = {};
  DWORD modemLines = 0;  ///< the input lines, as MS_ bits
  bool xoffHold = false;
  std::string incoming;  ///< bytes that wait to be read; a read never waits
  std::string sent;
  size_t roomToSend = std::string::npos;    ///< how many more bytes are taken
  std::vector<DWORD> escapes;               ///< functions of EscapeCommFunction, in their order
  std::function<bool(const DCB&)> accepts;  ///< which settings the line can do; all, if empty
  bool isOpen = false;
};

/// The machine's ports. A call with a handle that isn't open fails the test, and so does a port open at clear().
struct CommunicationsDouble {
  std::map<std::string, PortDouble> ports;  ///< by the name under which they are opened
  std::map<std::string, int> failures;      ///< error number with which the calls of that name fail; 0 for none

  PortDouble& addPort(int comPort);
  void clear();
};

extern CommunicationsDouble communications;
