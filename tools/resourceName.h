/// What a resource name tells, read the way the library reads it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

enum class Bus { None, Usb, Serial, Tcp };

struct ResourceName {
  Bus bus = Bus::None;  ///< None: no bus knows the name
  uint16_t vendor = 0;  ///< USB
  uint16_t product = 0;
  std::string serialNumber;
  bool isRaw = false;
  int comPort = 0;         ///< serial
  std::string host;        ///< TCP
  std::string deviceName;  ///< that a name without SOCKET has behind the host
  uint16_t tcpPort = 0;
};

ResourceName parseResourceName(std::string_view name);
/// The name, its fields separated by "::".
std::vector<std::string> fieldsOf(std::string_view name);
/// The resource name that a user may have meant by something that is none: other case, no board number, no class, the
/// path of a serial port, a host. Nothing if that can't be told.
std::optional<std::string> correctedName(std::string_view name);
/// The same for the regular part of a search expression.
std::optional<std::string> correctedExpression(std::string_view expression);
