/// The slice of Winsock that the TCP/IP backend calls, in namespace `winsock`. On Windows the names are the system's
/// own; elsewhere they are functions of the same shape over the system's sockets.
#pragma once

#include "winTypes.h"

#if defined(_WIN32)

#include <ws2tcpip.h>

namespace winsock {
using ::closesocket;
using ::connect;
using ::freeaddrinfo;
using ::getaddrinfo;
using ::getsockopt;
using ::recv;
using ::send;
using ::setsockopt;
using ::socket;
using ::WSAAddressToStringA;
using ::WSACleanup;
using ::WSAGetLastError;
using ::WSAStartup;
}  // namespace winsock

#else

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

/// What WSAStartup tells of the socket layer.
struct WSADATA {
  WORD wVersion;
  WORD wHighVersion;
};

/// Any thread may call any of these. None raises SIGPIPE, and a call that a signal interrupts goes on: it neither fails
/// for the signal nor ends before its time.
namespace winsock {

/// Begins a use of the sockets; every system here has them, so it always succeeds. @return 0
int WSAStartup(WORD version, WSADATA* data);
/// Ends a use of the sockets. @return 0
int WSACleanup();
/// @return The error of the calling thread's last failed call, as the system's errno number.
int WSAGetLastError();

/// Writes the numeric text of an IPv4 or IPv6 address.
/// @param addressLen    size of `address` in bytes
/// @param protocolInfo  not read
/// @param textLen       in: room of `text` in bytes, 46 take any address; out, on success: bytes written with the NUL
/// @return 0, or -1 for another family or too little room
int WSAAddressToStringA(sockaddr* address, DWORD addressLen, const void* protocolInfo, char* text, DWORD* textLen);

/// Makes a blocking socket that programs started by this process don't inherit, never under the number of a
/// standard stream. @return The socket, or -1
int socket(int family, int type, int protocol);
/// Closes a socket. @return 0, or -1 if `s` is no open socket
int closesocket(int s);
/// Connects, waiting as long as the system does. @return 0, or -1
int connect(int s, const sockaddr* address, int addressLen);

/// Sends all `len` bytes, waiting for room. @return Bytes sent, fewer only where the connection broke midway, or -1
int send(int s, const char* buf, int len, int flags);
/// Receives what is there, waiting for the first byte for up to the socket's SO_RCVTIMEO, and never less than that.
/// @return Bytes received, 0 once the peer has closed, or -1
int recv(int s, char* buf, int len, int flags);

/// Reads or sets a socket option of 4 bytes. SO_RCVTIMEO is a 32-bit number of milliseconds, 0 for no limit; the system
/// may round it up to its clock tick, and the rounded value is what is read.
/// @return 0, or -1
int getsockopt(int s, int level, int name, char* value, int* len);
int setsockopt(int s, int level, int name, const char* value, int len);

/// As the system's. A list that was handed out is given back with freeaddrinfo.
int getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** list);
void freeaddrinfo(addrinfo* list);

}  // namespace winsock

#endif
