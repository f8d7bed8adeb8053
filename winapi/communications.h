/// The communications functions of the Windows interface, as far as the serial port library calls them. On Windows the
/// system's own; elsewhere a stand-in over the kernel's terminal devices.
///
/// A call that answers FALSE (CreateFileA: INVALID_HANDLE_VALUE) leaves the reason in the thread's last error
/// (OS_getLastError): an errno number, or ERROR_INVALID_PARAMETER for a setting that the line refused. Any
/// thread may call any of these on a handle, up to CloseHandle: bytes reach whichever thread asks first, and no wait
/// holds up another thread's call.
#pragma once

#include "systemErrors.h"
#include "winTypes.h"

#if !defined(_WIN32)

struct SECURITY_ATTRIBUTES;
struct OVERLAPPED;

constexpr DWORD GENERIC_READ = 0x80000000;
constexpr DWORD GENERIC_WRITE = 0x40000000;
constexpr DWORD OPEN_EXISTING = 3;
constexpr DWORD MAXDWORD = 0xFFFFFFFF;

/// The settings of a line.
struct DCB {
  DWORD DCBlength;
  DWORD BaudRate;
  DWORD fBinary : 1;
  DWORD fParity : 1;
  DWORD fOutxCtsFlow : 1;
  DWORD fOutxDsrFlow : 1;
  DWORD fDtrControl : 2;
  DWORD fDsrSensitivity : 1;
  DWORD fTXContinueOnXoff : 1;
  DWORD fOutX : 1;
  DWORD fInX : 1;
  DWORD fErrorChar : 1;
  DWORD fNull : 1;
  DWORD fRtsControl : 2;
  DWORD fAbortOnError : 1;
  DWORD fDummy2 : 17;
  WORD wReserved;
  WORD XonLim;
  WORD XoffLim;
  BYTE ByteSize;
  BYTE Parity;
  BYTE StopBits;
  char XonChar;
  char XoffChar;
  char ErrorChar;
  char EofChar;
  char EvtChar;
  WORD wReserved1;
};

// DCB::Parity
constexpr BYTE NOPARITY = 0;
constexpr BYTE ODDPARITY = 1;
constexpr BYTE EVENPARITY = 2;
constexpr BYTE MARKPARITY = 3;
constexpr BYTE SPACEPARITY = 4;
// DCB::StopBits
constexpr BYTE ONESTOPBIT = 0;
constexpr BYTE ONE5STOPBITS = 1;
constexpr BYTE TWOSTOPBITS = 2;
// DCB::fDtrControl
constexpr DWORD DTR_CONTROL_DISABLE = 0;
constexpr DWORD DTR_CONTROL_ENABLE = 1;
constexpr DWORD DTR_CONTROL_HANDSHAKE = 2;
// DCB::fRtsControl
constexpr DWORD RTS_CONTROL_DISABLE = 0;
constexpr DWORD RTS_CONTROL_ENABLE = 1;
constexpr DWORD RTS_CONTROL_HANDSHAKE = 2;
constexpr DWORD RTS_CONTROL_TOGGLE = 3;

/// Time limits in ms. A total limit is multiplier * requested bytes + constant, both 0: no limit. The interval limit
/// runs from byte to byte after the first, 0: none.
struct COMMTIMEOUTS {
  DWORD ReadIntervalTimeout;
  DWORD ReadTotalTimeoutMultiplier;
  DWORD ReadTotalTimeoutConstant;
  DWORD WriteTotalTimeoutMultiplier;
  DWORD WriteTotalTimeoutConstant;
};

/// What a line can do.
struct COMMPROP {
  WORD wPacketLength;
  WORD wPacketVersion;
  DWORD dwServiceMask;
  DWORD dwReserved1;
  DWORD dwMaxTxQueue;
  DWORD dwMaxRxQueue;
  DWORD dwMaxBaud;
  DWORD dwProvSubType;
  DWORD dwProvCapabilities;
  DWORD dwSettableParams;
  DWORD dwSettableBaud;
  WORD wSettableData;
  WORD wSettableStopParity;
  DWORD dwCurrentTxQueue;
  DWORD dwCurrentRxQueue;
  DWORD dwProvSpec1;
  DWORD dwProvSpec2;
  WCHAR wcProvChar[1];
};

/// The state of a line's queues.
struct COMSTAT {
  DWORD fCtsHold : 1;
  DWORD fDsrHold : 1;
  DWORD fRlsdHold : 1;
  DWORD fXoffHold : 1;
  DWORD fXoffSent : 1;
  DWORD fEof : 1;
  DWORD fTxim : 1;
  DWORD fReserved : 25;
  DWORD cbInQue;
  DWORD cbOutQue;
};

// GetCommModemStatus
constexpr DWORD MS_CTS_ON = 0x10;
constexpr DWORD MS_DSR_ON = 0x20;
constexpr DWORD MS_RING_ON = 0x40;
constexpr DWORD MS_RLSD_ON = 0x80;

// EscapeCommFunction
constexpr DWORD SETXOFF = 1;
constexpr DWORD SETXON = 2;
constexpr DWORD SETRTS = 3;
constexpr DWORD CLRRTS = 4;
constexpr DWORD SETDTR = 5;
constexpr DWORD CLRDTR = 6;
constexpr DWORD SETBREAK = 8;
constexpr DWORD CLRBREAK = 9;

/// Opens a serial port for this caller alone: no other handle gets it until CloseHandle, and no other process, except
/// for a pty, which is kept from users of this library only. The line keeps its settings but for the raw mode: bytes
/// arrive as they were sent.
/// @param name          `\\.\COM<n>`, looked up in the device database at every call
/// @param access        GENERIC_READ | GENERIC_WRITE; the further arguments 0, null, OPEN_EXISTING, 0, null. Anything
///                      else is refused
/// @return a handle for CloseHandle, or INVALID_HANDLE_VALUE: no such port (ENOENT), held by another (EBUSY), no right
///         to it (EACCES), not a terminal (ENOTTY), no memory (ENOMEM)
HANDLE CreateFileA(const char* name, DWORD access, DWORD shareMode, SECURITY_ATTRIBUTES* security, DWORD disposition,
                   DWORD flags, HANDLE templateFile);

/// Gives the port back and frees the handle, the last call on it. Output still on its way gets 1.5 s to leave; what a
/// line that stands still or crawls hasn't sent by then is dropped, and its handshake switched off, so that the close
/// takes 2 s at most; bytes that an adapter's driver can't drop leave first, at the line's rate. Always TRUE.
BOOL CloseHandle(HANDLE port);

/// Fills `*dcb` with the line's present settings. fDtrControl and fRtsControl are the settings, not the level of the
/// lines; a line without modem lines has both off.
BOOL GetCommState(HANDLE port, DCB* dcb);

/// Applies all settings or none: what the line refuses is ERROR_INVALID_PARAMETER and changes nothing. DTR and RTS are
/// switched only when their control differs from the present one. The DSR handshake is always refused, the CTS
/// handshake is taken together with RTS_CONTROL_HANDSHAKE only.
BOOL SetCommState(HANDLE port, DCB* dcb);

BOOL GetCommProperties(HANDLE port, COMMPROP* properties);
BOOL GetCommTimeouts(HANDLE port, COMMTIMEOUTS* timeouts);
BOOL SetCommTimeouts(HANDLE port, COMMTIMEOUTS* timeouts);

/// Delivers the input lines as MS_ bits. FALSE (ENOTTY) on a line without modem lines.
BOOL GetCommModemStatus(HANDLE port, DWORD* status);

/// Delivers the queues' state. Line errors aren't counted.
/// @param errors  set to 0; may be null
/// @param status  may be null
BOOL ClearCommError(HANDLE port, DWORD* errors, COMSTAT* status);

/// Does one of SETXOFF to CLRBREAK at once. RTS under handshake and an unknown function are ERROR_INVALID_PARAMETER.
BOOL EscapeCommFunction(HANDLE port, DWORD function);

/// Receives up to `size` bytes, for as long as the read time limits allow.
/// @param received    the count; below `size`, 0 included, a time limit ran out
/// @param overlapped  must be null
/// @return FALSE if the line failed (EIO, ENXIO...: the device is gone) before any byte came
BOOL ReadFile(HANDLE port, void* buffer, DWORD size, DWORD* received, OVERLAPPED* overlapped);

/// Takes bytes that ReadFile has already fetched from the kernel beyond what it was asked for, without a system call,
/// as long as `isWanted` holds for them. What Windows has no call for: there it takes nothing.
/// @param isWanted  by byte value
/// @return the number of bytes put into `buffer`, at most `size`
DWORD TakeReceived(HANDLE port, void* buffer, DWORD size, const bool (&isWanted)[256]);

/// Sends `size` bytes, for as long as the write time limit allows: a smaller count with TRUE means that it ran out.
/// @param sent        the count of bytes that the system took over, also when the line failed
/// @param overlapped  must be null
BOOL WriteFile(HANDLE port, const void* buffer, DWORD size, DWORD* sent, OVERLAPPED* overlapped);

#else

inline DWORD TakeReceived(HANDLE, void*, DWORD, const bool (&)[256]) {
  return 0;
}

#endif
