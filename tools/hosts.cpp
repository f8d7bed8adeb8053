#include "hosts.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr std::chrono::milliseconds kProbeLimit{2000};

std::string numericOf(const addrinfo& entry) {
  std::array<char, NI_MAXHOST> text{};
  getnameinfo(entry.ai_addr, entry.ai_addrlen, text.data(), text.size(), nullptr, 0, NI_NUMERICHOST);
  return text.data();
}

int awaitConnection(int connection, std::chrono::milliseconds limit) {
  pollfd watched = {connection, POLLOUT, 0};
  const int ready = poll(&watched, 1, static_cast<int>(limit.count()));
  if (ready <= 0) return ready == 0 ? ETIMEDOUT : errno;
  int error = 0;
  socklen_t size = sizeof error;
  return getsockopt(connection, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

Diagnosis explain(int error, const std::string& host, uint16_t port) {
  const std::string where = "port " + std::to_string(port) + " of " + host;
  switch (error) {
  case ECONNREFUSED:
    return {"connection refused: nothing listens on " + where,
            "is the port right, and is remote control over TCP (\"raw socket\") switched on in the instrument?"};
  case ETIMEDOUT:
    return {"no answer from " + where, "is the instrument on, and does no firewall stand between?"};
  default:
    return {where + " can't be reached: " + strerror(error), "is the address right, and the network up?"};
  }
}

}  // namespace

HostAddresses addressesOf(const std::string& host) {
  HostAddresses addresses;
  addrinfo hints = {};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  const int error = getaddrinfo(host.c_str(), nullptr, &hints, &list);
  if (error != 0) {
    addresses.fault = error == EAI_SYSTEM ? strerror(errno) : gai_strerror(error);
    return addresses;
  }
  for (const addrinfo* entry = list; entry; entry = entry->ai_next) {
    (entry->ai_family == AF_INET ? addresses.ipv4 : addresses.ipv6).push_back(numericOf(*entry));
  }
  freeaddrinfo(list);
  return addresses;
}

int tryConnection(const std::string& ipv4, uint16_t port, std::chrono::milliseconds limit) {
  const int connection = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (connection < 0) return errno;
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  inet_pton(AF_INET, ipv4.c_str(), &address.sin_addr);
  int error = connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? 0 : errno;
  if (error == EINPROGRESS) error = awaitConnection(connection, limit);
  close(connection);
  return error;
}

std::optional<Diagnosis> whyNoConnection(const std::string& host, uint16_t port) {
  const HostAddresses addresses = addressesOf(host);
  if (!addresses.fault.empty()) {
    return Diagnosis{"unknown host '" + host + "': " + addresses.fault,
                     "is the name right? The instrument's address, such as 192.0.2.7, works without a name server"};
  }
  if (addresses.ipv4.empty()) return Diagnosis{"'" + host + "' has no IPv4 address, and the library speaks IPv4 alone"};
  const int error = tryConnection(addresses.ipv4.front(), port, kProbeLimit);
  if (error != 0) return explain(error, host, port);
  if (addresses.ipv6.empty() && addresses.ipv4.size() == 1) return std::nullopt;
  return Diagnosis{"'" + host + "' has several addresses, of which the library took the last one",
                   "use the address that answers: TCPIP0::" + addresses.ipv4.front() + "::" + std::to_string(port) +
                       "::SOCKET"};
}
