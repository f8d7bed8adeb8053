#include "QVvisaTCPIP.h"

#include "DebugMalloc.h"
#include "sockets.h"

#include <cstdio>
#include <cstring>

namespace {

/// The service asked for when a host is resolved; the port that comes of it isn't used.
constexpr const char* kAnyService = "2000";
/// Room for the text of any IPv6 address.
constexpr DWORD kIpv6TextLen = 46;

void endUseOfWinsock(QVvisa_tcpip_device_t* dev) {
  if (dev->usesWinsock) winsock::WSACleanup();
  dev->usesWinsock = false;
}

void takeIpv4Address(const addrinfo& address, QVvisa_tcpip_device_t* dev) {
  QVvisa_tcpipPrint("AF_INET (IPv4)\n");
  const in_addr ip = reinterpret_cast<const sockaddr_in*>(address.ai_addr)->sin_addr;
  snprintf(dev->hostName, sizeof dev->hostName, "%s", inet_ntoa(ip));
  QVvisa_tcpipPrint("\tIPv4 address %s\n", dev->hostName);
}

void takeIpv6Address(const addrinfo& address, QVvisa_tcpip_device_t* dev) {
  QVvisa_tcpipPrint("AF_INET6 (IPv6)\n");
  DWORD textLen = kIpv6TextLen;
  if (winsock::WSAAddressToStringA(address.ai_addr, static_cast<DWORD>(address.ai_addrlen), nullptr, dev->hostName,
                                   &textLen) != 0) {
    QVvisa_tcpipPrint("WSAAddressToString failed with %u\n", static_cast<unsigned>(winsock::WSAGetLastError()));
    return;
  }
  QVvisa_tcpipPrint("\tIPv6 address %s\n", dev->hostName);
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
      QVvisa_tcpipPrint("Unspecified\n");
      break;
    case AF_INET:
      takeIpv4Address(*address, dev);
      break;
    case AF_INET6:
      takeIpv6Address(*address, dev);
      break;
    default:
      QVvisa_tcpipPrint("Other %d\n", address->ai_family);
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

}  // namespace

ViStatus QVvisa_initTCPIPDevListElem(QVvisa_tcpip_device_t** ppqvlsDev) {
  if (!ppqvlsDev) return VI_ERROR_INV_PARAMETER;
  auto* dev = static_cast<QVvisa_tcpip_device_t*>(DEBUG_CALLOC(1, sizeof(QVvisa_tcpip_device_t)));
  if (!dev) return VI_ERROR_ALLOC;

  constexpr WORD version = 2;
  WSADATA winsockData;
  const int error = winsock::WSAStartup(version, &winsockData);
  if (error != 0) {
    QVvisa_tcpipPrint("WSAStartup function failed with error: %d\n", error);
    DEBUG_FREE(dev);
    return VI_ERROR_SYSTEM_ERROR;
  }
  OS_initFastLock(&dev->timeLimitLock);
  dev->usesWinsock = true;
  dev->clientSocket = -1;
  dev->port = TCPIP_PORT;
  dev->tcpip_Timo_ms = TCPIP_TIMEOUT;
  strcpy(dev->hostName, "localhost");
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

ViStatus QVvisa_OpenHelperFindOpenDevTCPIP(QVvisa_tcpip_device_t* pqvlsDev) {
  if (!pqvlsDev) return VI_ERROR_INV_OBJECT;
  pqvlsDev->clientSocket = static_cast<int>(winsock::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
  if (pqvlsDev->clientSocket == -1) {
    QVvisa_tcpipPrint("Error at socket()\n");
    endUseOfWinsock(pqvlsDev);
    return VI_ERROR_SYSTEM_ERROR;
  }
  resolveHost(pqvlsDev);
  if (connectToHost(pqvlsDev)) return VI_SUCCESS;

  QVvisa_tcpipPrint("connect function failed with error: %d\n", winsock::WSAGetLastError());
  if (winsock::closesocket(pqvlsDev->clientSocket) != 0) {
    QVvisa_tcpipPrint("closesocket function failed with error: %d\n", winsock::WSAGetLastError());
  }
  // The number may soon be another thread's socket; the record's own close must not meet it again.
  pqvlsDev->clientSocket = -1;
  endUseOfWinsock(pqvlsDev);
  return VI_ERROR_SYSTEM_ERROR;
}
