#include "communicationsDouble.h"

#include "osAbstraction.h"
#include "testing.h"

CommunicationsDouble communications;

namespace {

BOOL failWith(int error) {
  OS_setLastError(error);
  return FALSE;
}

/// Whether the call may do its work.
bool enter(const char* call) {
  const int error = communications.failures[call];
  return error == 0 || failWith(error);
}

/// The open port of a handle, or null with a failure of the test.
PortDouble* openPort(HANDLE handle) {
  for (auto& [name, port] : communications.ports) {
    if (&port == handle && port.isOpen) return &port;
  }
  ADD_FAILURE() << "call with a handle that isn't open";
  return nullptr;
}

/// Does a call's work on the open port of a handle, unless it is to fail.
template <typename Work>
BOOL onPort(const char* call, HANDLE handle, Work work) {
  PortDouble* const port = openPort(handle);
  if (!port || !enter(call)) return FALSE;
  work(*port);
  return TRUE;
}

}  // namespace

PortDouble& CommunicationsDouble::addPort(int comPort) {
  PortDouble& port = ports["\\\\.\\COM" + std::to_string(comPort)];
  port.settings.DCBlength = sizeof(DCB);
  port.settings.BaudRate = 9600;
  port.settings.ByteSize = 8;
  return port;
}

void CommunicationsDouble::clear() {
  for (const auto& [name, port] : ports) EXPECT_FALSE(port.isOpen) << name << " left open";
  *this = {};
}

HANDLE CreateFileA(const char* name, DWORD access, DWORD shareMode, SECURITY_ATTRIBUTES*, DWORD disposition, DWORD,
                   HANDLE) {
  EXPECT_TRUE(access == (GENERIC_READ | GENERIC_WRITE) && shareMode == 0 && disposition == OPEN_EXISTING);
  const auto found = communications.ports.find(name);
  const bool taken = found == communications.ports.end() || found->second.isOpen;
  if (!enter("CreateFileA") || (taken && !failWith(EBUSY))) return INVALID_HANDLE_VALUE;
  found->second.isOpen = true;
  return &found->second;
}

// The handle is gone even if the call fails.
BOOL CloseHandle(HANDLE handle) {
  PortDouble* const port = openPort(handle);
  if (port) port->isOpen = false;
  return port && enter("CloseHandle");
}

BOOL GetCommState(HANDLE handle, DCB* dcb) {
  EXPECT_EQ(dcb->DCBlength, sizeof(DCB));
  return onPort("GetCommState", handle, [&](const PortDouble& port) { *dcb = port.settings; });
}

BOOL SetCommState(HANDLE handle, DCB* dcb) {
  bool isTaken = true;
  const BOOL isDone = onPort("SetCommState", handle, [&](PortDouble& port) {
    isTaken = !port.accepts || port.accepts(*dcb);
    if (isTaken) port.settings = *dcb;
  });
  return isDone && (isTaken || failWith(ERROR_INVALID_PARAMETER));
}

BOOL GetCommProperties(HANDLE handle, COMMPROP* properties) {
  return onPort("GetCommProperties", handle, [&](const PortDouble&) { *properties = {}; });
}

BOOL GetCommTimeouts(HANDLE handle, COMMTIMEOUTS* timeouts) {
  return onPort("GetCommTimeouts", handle, [&](const PortDouble& port) { *timeouts = port.timeouts; });
}

BOOL SetCommTimeouts(HANDLE handle, COMMTIMEOUTS* timeouts) {
  return onPort("SetCommTimeouts", handle, [&](PortDouble& port) { port.timeouts = *timeouts; });
}

BOOL GetCommModemStatus(HANDLE handle, DWORD* status) {
  return onPort("GetCommModemStatus", handle, [&](const PortDouble& port) { *status = port.modemLines; });
}

BOOL ClearCommError(HANDLE handle, DWORD*, COMSTAT* status) {
  return onPort("ClearCommError", handle, [&](const PortDouble& port) {
    *status = {};
    status->fXoffHold = port.xoffHold;
    status->cbInQue = static_cast<DWORD>(port.incoming.size());
  });
}

BOOL EscapeCommFunction(HANDLE handle, DWORD function) {
  return onPort("EscapeCommFunction", handle, [&](PortDouble& port) { port.escapes.push_back(function); });
}

BOOL ReadFile(HANDLE handle, void* buffer, DWORD size, DWORD* received, OVERLAPPED*) {
  return onPort("ReadFile", handle, [&](PortDouble& port) {
    *received = static_cast<DWORD>(port.incoming.copy(static_cast<char*>(buffer), size));
    port.incoming.erase(0, *received);
  });
}

// Its reads bring in no more than they are asked for.
DWORD TakeReceived(HANDLE, void*, DWORD, const bool (&)[256]) {
  return 0;
}

// A failing write has taken its bytes all the same, as when a line breaks on its way.
BOOL WriteFile(HANDLE handle, const void* buffer, DWORD size, DWORD* sent, OVERLAPPED*) {
  PortDouble* const port = openPort(handle);
  if (!port) return FALSE;
  *sent = static_cast<DWORD>(std::min<size_t>(size, port->roomToSend));
  port->roomToSend -= *sent;
  port->sent.append(static_cast<const char*>(buffer), *sent);
  return enter("WriteFile");
}
