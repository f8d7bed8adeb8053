/// What stands in the way of a TCP connection.
#pragma once

#include "deviceNode.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The numeric addresses of a host, IPv4 and IPv6, in the system's order.
struct HostAddresses {
  std::vector<std::string> ipv4;
  std::vector<std::string> ipv6;
  std::string fault;  ///< why there is none; empty if there are some
};
HostAddresses addressesOf(const std::string& host);

/// Connects to an IPv4 address and closes again. @return 0 or the errno; ETIMEDOUT if nobody answered within the limit.
int tryConnection(const std::string& ipv4, uint16_t port, std::chrono::milliseconds limit);

/// Why no connection comes about; nothing if one does.
std::optional<Diagnosis> whyNoConnection(const std::string& host, uint16_t port);
