#include "sockets.h"

#include "descriptor.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <limits>
#include <poll.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

bool isReceiveTimeLimit(int level, int name) {
  return level == SOL_SOCKET && name == SO_RCVTIMEO;
}

/// Delivers the socket's receive time limit; 0 ms for none.
bool receiveTimeLimit(int s, milliseconds& limit) {
  timeval held{};
  socklen_t size = sizeof held;
  if (::getsockopt(s, SOL_SOCKET, SO_RCVTIMEO, &held, &size) != 0) return false;
  limit = std::chrono::duration_cast<milliseconds>(seconds(held.tv_sec) + std::chrono::microseconds(held.tv_usec));
  return true;
}

/// Waits until the socket may have something to receive or a signal comes in. False once a limit that began to run at
/// `start` is over, or on an error of the socket.
bool waitWithinLimit(int s, Clock::time_point start) {
  milliseconds limit{};
  if (!receiveTimeLimit(s, limit)) return false;
  const nanoseconds left = start + limit - Clock::now();
  if (limit.count() != 0 && left.count() <= 0) {
    errno = EAGAIN;
    return false;
  }
  const timespec timeout{static_cast<time_t>(left / seconds(1)), static_cast<long>((left % seconds(1)).count())};
  pollfd readable{s, POLLIN, 0};
  return ::ppoll(&readable, 1, limit.count() == 0 ? nullptr : &timeout, nullptr) >= 0 || errno == EINTR;
}

}  // namespace

int winsock::WSAStartup(WORD version, WSADATA* data) {
  *data = {version, version};
  return 0;
}

int winsock::WSACleanup() {
  return 0;
}

int winsock::WSAGetLastError() {
  return errno;
}

int winsock::WSAAddressToStringA(sockaddr* address, DWORD addressLen, const void* /*protocolInfo*/, char* text,
                                 DWORD* textLen) {
  const char* written = nullptr;
  errno = EAFNOSUPPORT;
  if (address->sa_family == AF_INET && addressLen >= sizeof(sockaddr_in)) {
    written = inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text, *textLen);
  } else if (address->sa_family == AF_INET6 && addressLen >= sizeof(sockaddr_in6)) {
    written = inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr, text, *textLen);
  }
  if (!written) return -1;
  *textLen = static_cast<DWORD>(strlen(text) + 1);
  return 0;
}

int winsock::socket(int family, int type, int protocol) {
  return awayFromStandardStreams(::socket(family, type | SOCK_CLOEXEC, protocol));
}

int winsock::closesocket(int s) {
  // The descriptor is gone even when a signal interrupted its close; a second try could hit another thread's.
  return ::close(s) == 0 || errno == EINTR ? 0 : -1;
}

int winsock::connect(int s, const sockaddr* address, int addressLen) {
  if (::connect(s, address, static_cast<socklen_t>(addressLen)) == 0) return 0;
  if (errno != EINTR) return -1;

  // The connection goes on being made in the background, and a second connect would fail.
  pollfd made{s, POLLOUT, 0};
  while (::poll(&made, 1, -1) < 0) {
    if (errno != EINTR) return -1;
  }
  int error = 0;
  socklen_t size = sizeof error;
  if (::getsockopt(s, SOL_SOCKET, SO_ERROR, &error, &size) != 0) return -1;
  errno = error;
  return error == 0 ? 0 : -1;
}

int winsock::send(int s, const char* buf, int len, int flags) {
  int sent = 0;
  do {
    const ssize_t count = ::send(s, buf + sent, static_cast<size_t>(len - sent), flags | MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return count < 0 && sent == 0 ? -1 : sent;
    sent += static_cast<int>(count);
  } while (sent < len);
  return sent;
}

int winsock::recv(int s, char* buf, int len, int flags) {
  const Clock::time_point start = Clock::now();
  ssize_t received = ::recv(s, buf, static_cast<size_t>(len), flags);
  // Interrupted, or possibly ended a clock tick early: what is left of the time is waited for from here.
  while (received < 0 && (errno == EINTR || errno == EAGAIN) && waitWithinLimit(s, start)) {
    received = ::recv(s, buf, static_cast<size_t>(len), flags | MSG_DONTWAIT);
  }
  return static_cast<int>(received);
}

int winsock::getsockopt(int s, int level, int name, char* value, int* len) {
  if (isReceiveTimeLimit(level, name)) {
    milliseconds limit{};
    if (!receiveTimeLimit(s, limit)) return -1;
    const auto longest = static_cast<milliseconds::rep>(std::numeric_limits<DWORD>::max());
    const auto limit_ms = static_cast<DWORD>(std::min(limit.count(), longest));
    memcpy(value, &limit_ms, sizeof limit_ms);
    *len = sizeof limit_ms;
    return 0;
  }
  auto size = static_cast<socklen_t>(*len);
  if (::getsockopt(s, level, name, value, &size) != 0) return -1;
  *len = static_cast<int>(size);
  return 0;
}

int winsock::setsockopt(int s, int level, int name, const char* value, int len) {
  if (!isReceiveTimeLimit(level, name)) return ::setsockopt(s, level, name, value, static_cast<socklen_t>(len));
  DWORD limit_ms = 0;
  memcpy(&limit_ms, value, sizeof limit_ms);
  const timeval limit{static_cast<time_t>(limit_ms / 1000), static_cast<suseconds_t>(limit_ms % 1000) * 1000};
  return ::setsockopt(s, level, name, &limit, sizeof limit);
}

int winsock::getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** list) {
  int result = 0;
  do {
    result = ::getaddrinfo(host, service, hints, list);
  } while (result == EAI_SYSTEM && errno == EINTR);
  return result;
}

void winsock::freeaddrinfo(addrinfo* list) {
  ::freeaddrinfo(list);
}
