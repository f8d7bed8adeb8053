#include "QVvisaTCPIP.h"

#include "DebugMalloc.h"
#include "QVvisaAttributeValue.h"
#include "fastLock.h"
#include "sockets.h"
#include "writeSignalGuard.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

constexpr std::string_view kSeparator = "::";
/// A failed call of the socket as the status of a transfer or a setting: the plain number, not one of the VI_ERROR
/// codes.
constexpr ViStatus kSocketFailure = -1;
/// The service asked for when a host is resolved; the port that comes of it isn't used.
constexpr const char* kAnyService = "2000";
/// Room for the text of any IPv6 address.
constexpr DWORD kIpv6TextLen = 46;

/// Prints to standard output. Nothing stays in its buffer, which the application would write later, when a pipe without
/// a reader is a signal again.
[[gnu::format(printf, 1, 2)]] void print(const char* format, ...) {
  const WriteSignalGuard noSignal;
  va_list arguments;
  va_start(arguments, format);
  vprintf(format, arguments);
  va_end(arguments);
  fflush(stdout);
}

/// Up to the next separator or the end. The separator found is cut off `text`; a missing one leaves a null `text`.
std::string_view takeField(std::string_view& text) {
  const size_t end = text.find(kSeparator);
  const std::string_view field = text.substr(0, end);
  text = end == std::string_view::npos ? std::string_view() : text.substr(end + kSeparator.size());
  return field;
}

template <size_t size>
bool copyField(std::string_view field, char (&target)[size]) {
  if (field.size() >= size) return false;
  field.copy(target, field.size());
  target[field.size()] = '\0';
  return true;
}

void endUseOfWinsock(QVvisa_tcpip_device_t* dev) {
  if (dev->usesWinsock) winsock::WSACleanup();
  dev->usesWinsock = false;
}

void takeIpv4Address(const addrinfo& address, QVvisa_tcpip_device_t* dev) {
  print("AF_INET (IPv4)\n");
  const in_addr ip = reinterpret_cast<const sockaddr_in*>(address.ai_addr)->sin_addr;
  copyField(inet_ntoa(ip), dev->hostName);
  print("\tIPv4 address %s\n", dev->hostName);
}

void takeIpv6Address(const addrinfo& address, QVvisa_tcpip_device_t* dev) {
  print("AF_INET6 (IPv6)\n");
  DWORD textLen = kIpv6TextLen;
  if (winsock::WSAAddressToStringA(address.ai_addr, static_cast<DWORD>(address.ai_addrlen), nullptr, dev->hostName,
                                   &textLen) != 0) {
    print("WSAAddressToString failed with %u\n", static_cast<unsigned>(winsock::WSAGetLastError()));
    return;
  }
  print("\tIPv6 address %s\n", dev->hostName);
}

/// Puts the text of the host's last address into `hostName`; a host that can't be resolved stays as it is.
void resolveHost(QVvisa_tcpip_device_t* dev) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_protocol = IPPROTO_TCP;
  addrinfo* list = nullptr;
  if (winsock::getaddrinfo(dev->hostName, kAnyService, &hints, &list) != 0) return;

  for (const addrinfo* address = list; address; address = address->ai_next) {
    switch (address->ai_family) {
    case AF_UNSPEC:
      print("Unspecified\n");
      break;
    case AF_INET:
      takeIpv4Address(*address, dev);
      break;
    case AF_INET6:
      takeIpv6Address(*address, dev);
      break;
    default:
      print("Other %d\n", address->ai_family);
    }
  }
  winsock::freeaddrinfo(list);
}

bool connectToHost(const QVvisa_tcpip_device_t* dev) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = inet_addr(dev->hostName);
  address.sin_port = htons(dev->port);
  return winsock::connect(dev->clientSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

/// One socket call moves at most as much as its int can count.
int transferLength(ViUInt32 cnt) {
  return static_cast<int>(std::min<ViUInt32>(cnt, INT_MAX));
}

ViStatus reportTransfer(int moved, const char* failure, ViPUInt32 retCnt) {
  if (moved < 0) {
    print("%s\n", failure);
    return kSocketFailure;
  }
  if (retCnt) *retCnt = static_cast<ViUInt32>(moved);
  return VI_SUCCESS;
}

enum class Answer { Byte, Half, ClassName, HostName, Port, TimeLimit, NoDelay, KeepAlive, None };

struct AttributeRow {
  ViAttr name;
  Answer answer;
  ViUInt16 value;  ///< of a Byte or a Half
};

/// The attributes known here. Answer::None leaves the reading to the attributes that all buses share.
constexpr AttributeRow kAttributes[] = {
    {VI_ATTR_RSRC_CLASS, Answer::ClassName, 0},
    {VI_ATTR_INTF_TYPE, Answer::Half, VI_INTF_TCPIP},
    {VI_ATTR_INTF_NUM, Answer::Half, 0},
    {VI_ATTR_TMO_VALUE, Answer::TimeLimit, 0},
    {VI_ATTR_TERMCHAR, Answer::Byte, 0x0A},
    {VI_ATTR_TERMCHAR_EN, Answer::Half, VI_FALSE},
    {VI_ATTR_SEND_END_EN, Answer::Half, VI_TRUE},
    {VI_ATTR_SUPPRESS_END_EN, Answer::Half, VI_TRUE},
    {VI_ATTR_FILE_APPEND_EN, Answer::Half, VI_FALSE},
    {VI_ATTR_IO_PROT, Answer::Half, VI_PROT_NORMAL},
    {VI_ATTR_RD_BUF_OPER_MODE, Answer::Half, VI_FLUSH_DISABLE},
    {VI_ATTR_WR_BUF_OPER_MODE, Answer::Half, VI_FLUSH_WHEN_FULL},
    {VI_ATTR_TRIG_ID, Answer::Half, static_cast<ViUInt16>(VI_TRIG_SW)},
    {VI_ATTR_TCPIP_PORT, Answer::Port, 0},
    {VI_ATTR_TCPIP_ADDR, Answer::HostName, 0},
    {VI_ATTR_TCPIP_HOSTNAME, Answer::HostName, 0},
    {VI_ATTR_TCPIP_NODELAY, Answer::NoDelay, 0},
    {VI_ATTR_TCPIP_KEEPALIVE, Answer::KeepAlive, 0},
    {VI_ATTR_MAX_QUEUE_LENGTH, Answer::None, 0},
    {VI_ATTR_INTF_INST_NAME, Answer::None, 0},
    {VI_ATTR_RSRC_IMPL_VERSION, Answer::None, 0},
    {VI_ATTR_RSRC_SPEC_VERSION, Answer::None, 0},
    {VI_ATTR_RSRC_MANF_ID, Answer::None, 0},
    {VI_ATTR_RSRC_MANF_NAME, Answer::None, 0},
};

const AttributeRow* findAttribute(ViAttr name) {
  const auto* row = std::find_if(std::begin(kAttributes), std::end(kAttributes),
                                 [name](const AttributeRow& candidate) { return candidate.name == name; });
  return row == std::end(kAttributes) ? nullptr : row;
}

bool readOption(const QVvisa_tcpip_device_t* dev, int level, int name, ViUInt32& value) {
  int size = sizeof value;
  return winsock::getsockopt(dev->clientSocket, level, name, reinterpret_cast<char*>(&value), &size) == 0;
}

ViStatus deliverTimeLimit(QVvisa_tcpip_device_t* dev, void* attrValue) {
  const FastLockGuard guard(dev->timeLimitLock);
  ViUInt32 limit_ms = 0;
  if (!readOption(dev, SOL_SOCKET, SO_RCVTIMEO, limit_ms)) return VI_SUCCESS;
  if (dev->timeLimitWasSet && limit_ms == dev->timeLimitHeld) limit_ms = dev->timeLimitSet;
  dev->tcpip_Timo_ms = limit_ms;
  return QVvisa_deliver(attrValue, limit_ms);
}

ViStatus deliverNoDelay(const QVvisa_tcpip_device_t* dev, void* attrValue) {
  ViUInt32 noDelay = 0;
  if (!readOption(dev, IPPROTO_TCP, TCP_NODELAY, noDelay)) return VI_ERROR_IO;
  return QVvisa_deliver(attrValue, static_cast<ViBoolean>(noDelay));
}

ViStatus deliverKeepAlive(const QVvisa_tcpip_device_t* dev, void* attrValue) {
  ViUInt32 keepAlive = 0;
  if (!readOption(dev, SOL_SOCKET, SO_KEEPALIVE, keepAlive)) return VI_ERROR_IO;
  return QVvisa_deliver<ViBoolean>(attrValue, keepAlive != 0 ? VI_TRUE : VI_FALSE);
}

ViStatus setTimeLimit(QVvisa_tcpip_device_t* dev, ViUInt32 limit_ms) {
  const FastLockGuard guard(dev->timeLimitLock);
  if (winsock::setsockopt(dev->clientSocket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&limit_ms),
                          sizeof limit_ms) != 0) {
    return kSocketFailure;
  }
  dev->timeLimitSet = limit_ms;
  dev->timeLimitWasSet = readOption(dev, SOL_SOCKET, SO_RCVTIMEO, dev->timeLimitHeld);
  return VI_SUCCESS;
}

}  // namespace

ViStatus QVvisa_initTCPIPDevListElem(QVvisa_tcpip_device_t** ppqvlsDev) {
  if (!ppqvlsDev) return VI_ERROR_INV_PARAMETER;
  auto* dev = static_cast<QVvisa_tcpip_device_t*>(DEBUG_CALLOC(1, sizeof(QVvisa_tcpip_device_t)));
  if (!dev) return VI_ERROR_ALLOC;

  constexpr WORD version = 2;
  WSADATA winsockData;
  const int error = winsock::WSAStartup(version, &winsockData);
  if (error != 0) {
    print("WSAStartup function failed with error: %d\n", error);
    DEBUG_FREE(dev);
    return VI_ERROR_SYSTEM_ERROR;
  }
  OS_initFastLock(&dev->timeLimitLock);
  dev->usesWinsock = true;
  dev->clientSocket = -1;
  dev->port = TCPIP_PORT;
  dev->tcpip_Timo_ms = TCPIP_TIMEOUT;
  copyField("localhost", dev->hostName);
  *ppqvlsDev = dev;
  return VI_SUCCESS;
}

void QVvisa_closeTCPIPDevListElem(QVvisa_tcpip_device_t** ppqvlsDev) {
  if (!ppqvlsDev || !*ppqvlsDev) return;
  winsock::closesocket((*ppqvlsDev)->clientSocket);
  endUseOfWinsock(*ppqvlsDev);
  OS_deleteFastLock(&(*ppqvlsDev)->timeLimitLock);
  DEBUG_FREE(*ppqvlsDev);
  *ppqvlsDev = nullptr;
}

ViStatus QVvisa_OpenHelperParseNameTCPIP(char* name, QVvisa_tcpip_device_t* deviceObj) {
  if (!name || !deviceObj) return VI_ERROR_INV_PARAMETER;
  std::string_view rest = name;
  const size_t word = rest.find(QVVISA_OPEN_PATTERN_TCPIP);
  if (word == std::string_view::npos) return VI_ERROR_INV_RSRC_NAME;
  rest.remove_prefix(word);
  takeField(rest);
  if (!rest.data()) return VI_ERROR_INV_RSRC_NAME;

  if (!copyField(takeField(rest), deviceObj->hostName)) return VI_ERROR_INV_RSRC_NAME;
  if (!rest.data()) return VI_SUCCESS;
  if (rest.find(QVVISA_OPEN_PATTERN_SOCKET) != std::string_view::npos) {
    return QVvisa_OpenHelperParseNameTCPIP_Socket(rest.data(), deviceObj);
  }
  return copyField(takeField(rest), deviceObj->lanDeviceName) ? VI_SUCCESS : VI_ERROR_INV_RSRC_NAME;
}

ViStatus QVvisa_OpenHelperParseNameTCPIP_Socket(const char* cp, QVvisa_tcpip_device_t* deviceObj) {
  if (!cp || !deviceObj) return VI_ERROR_INV_PARAMETER;
  cp += strspn(cp, " \t\n\v\f\r");
  if (*cp == '+') ++cp;
  const size_t digits = strspn(cp, "0123456789");
  if (digits == 0) return VI_ERROR_INV_RSRC_NAME;

  ViUInt32 port = 0;
  for (const char digit : std::string_view(cp, digits)) {
    port = port * 10 + static_cast<ViUInt32>(digit - '0');
    if (port > UINT16_MAX) return VI_ERROR_INV_RSRC_NAME;
  }
  deviceObj->port = static_cast<uint16_t>(port);
  return VI_SUCCESS;
}

ViStatus QVvisa_OpenHelperFindOpenDevTCPIP(QVvisa_tcpip_device_t* pqvlsDev) {
  if (!pqvlsDev) return VI_ERROR_INV_OBJECT;
  pqvlsDev->clientSocket = static_cast<int>(winsock::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
  if (pqvlsDev->clientSocket == -1) {
    print("Error at socket()\n");
    endUseOfWinsock(pqvlsDev);
    return VI_ERROR_SYSTEM_ERROR;
  }
  resolveHost(pqvlsDev);
  if (connectToHost(pqvlsDev)) return VI_SUCCESS;

  print("connect function failed with error: %d\n", winsock::WSAGetLastError());
  if (winsock::closesocket(pqvlsDev->clientSocket) != 0) {
    print("closesocket function failed with error: %d\n", winsock::WSAGetLastError());
  }
  // The number may soon be another thread's socket; the record's own close must not meet it again.
  pqvlsDev->clientSocket = -1;
  endUseOfWinsock(pqvlsDev);
  return VI_ERROR_SYSTEM_ERROR;
}

ViStatus QVvisa_TCPIP_Read(QVvisa_tcpip_device_t* pqvlsDev, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  if (!pqvlsDev || (!buf && cnt > 0)) return VI_ERROR_INV_OBJECT;
  // Left to the socket, a receive of no bytes would wait for data on some systems.
  if (cnt == 0) return reportTransfer(0, nullptr, retCnt);
  memset(buf, 0, cnt);
  const int received = winsock::recv(pqvlsDev->clientSocket, reinterpret_cast<char*>(buf), transferLength(cnt), 0);
  return reportTransfer(received, "Reading response failed", retCnt);
}

ViStatus QVvisa_TCPIP_Write(QVvisa_tcpip_device_t* pqvlsDev, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  if (!pqvlsDev || (!buf && cnt > 0)) return VI_ERROR_INV_OBJECT;
  const int sent = winsock::send(pqvlsDev->clientSocket, reinterpret_cast<const char*>(buf), transferLength(cnt), 0);
  return reportTransfer(sent, "Writing request failed", retCnt);
}

ViStatus QVvisa_TCPIP_GetAttribute(QVvisa_tcpip_device_t* pqvlsDev, ViAttr attrName, void* attrValue) {
  if (!pqvlsDev) return VI_ERROR_INV_OBJECT;
  const AttributeRow* row = findAttribute(attrName);
  if (!row) return VI_ERROR_NSUP_ATTR;
  switch (row->answer) {
  case Answer::Byte:
    return QVvisa_deliver(attrValue, static_cast<ViUInt8>(row->value));
  case Answer::Half:
    return QVvisa_deliver(attrValue, row->value);
  case Answer::ClassName:
    return QVvisa_deliverText(attrValue, "SOCKET");
  case Answer::HostName:
    return QVvisa_deliverText(attrValue, pqvlsDev->hostName);
  case Answer::Port:
    return QVvisa_deliver<ViUInt16>(attrValue, pqvlsDev->port);
  case Answer::TimeLimit:
    return deliverTimeLimit(pqvlsDev, attrValue);
  case Answer::NoDelay:
    return deliverNoDelay(pqvlsDev, attrValue);
  case Answer::KeepAlive:
    return deliverKeepAlive(pqvlsDev, attrValue);
  case Answer::None:
    break;
  }
  return VI_ERROR_NSUP_ATTR;
}

ViStatus QVvisa_TCPIP_SetAttribute(QVvisa_tcpip_device_t* pqvlsDev, ViAttr attrName, ViAttrState attrValue) {
  if (!pqvlsDev) return VI_ERROR_INV_OBJECT;
  const AttributeRow* row = findAttribute(attrName);
  if (!row) return VI_ERROR_NSUP_ATTR;
  return row->answer == Answer::TimeLimit ? setTimeLimit(pqvlsDev, attrValue) : VI_ERROR_ATTR_READONLY;
}
