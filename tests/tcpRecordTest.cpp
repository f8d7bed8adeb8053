/// The record of a TCP/IP session: its resource names, and on a double of the socket layer what a real one does rarely
/// or never.
#include "QVvisaTCPIP.h"
#include "sockets.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int kSocket = 7;

/// What the socket layer is to do and what was asked of it.
struct {
  int startupResult = 0;
  int socketResult = kSocket;
  bool resolves = true;
  addrinfo* addresses = nullptr;
  bool hasTextOfAddress = true;
  int connectResult = 0;
  int closeResult = 0;
  int optionResult = 0;
  ViUInt32 optionValue = 0;

  int uses = 0;
  std::vector<int> closed;
  int listsGiven = 0;
  sockaddr_in target{};
  int transferLen = 0;
  ViUInt32 optionSet = 0;
} net;

int transfer(int len, int flags) {
  EXPECT_EQ(0, flags);
  net.transferLen = len;
  return len / 2;
}

}  // namespace

int winsock::WSAStartup(WORD version, WSADATA* /*data*/) {
  EXPECT_EQ(2, version);
  if (net.startupResult == 0) ++net.uses;
  return net.startupResult;
}
int winsock::WSACleanup() {
  --net.uses;
  return 0;
}
int winsock::WSAGetLastError() {
  return 10061;
}
int winsock::WSAAddressToStringA(sockaddr* /*address*/, DWORD /*addressLen*/, const void* /*protocolInfo*/, char* text,
                                 DWORD* textLen) {
  EXPECT_EQ(46U, *textLen);
  if (!net.hasTextOfAddress) return -1;
  memcpy(text, "fe80::1", sizeof "fe80::1");
  return 0;
}
int winsock::socket(int family, int type, int protocol) {
  EXPECT_TRUE(family == AF_INET && type == SOCK_STREAM && protocol == IPPROTO_TCP);
  return net.socketResult;
}
int winsock::closesocket(int s) {
  if (s >= 0) net.closed.push_back(s);
  return net.closeResult;
}
int winsock::connect(int s, const sockaddr* address, int addressLen) {
  EXPECT_EQ(kSocket, s);
  EXPECT_EQ(16, addressLen);
  memcpy(&net.target, address, sizeof net.target);
  return net.connectResult;
}
int winsock::send(int /*s*/, const char* /*buf*/, int len, int flags) {
  return transfer(len, flags);
}
int winsock::recv(int /*s*/, char* /*buf*/, int len, int flags) {
  return transfer(len, flags);
}
int winsock::getsockopt(int /*s*/, int /*level*/, int /*name*/, char* value, int* len) {
  EXPECT_EQ(4, *len);
  if (net.optionResult == 0) memcpy(value, &net.optionValue, sizeof net.optionValue);
  return net.optionResult;
}
int winsock::setsockopt(int /*s*/, int level, int name, const char* value, int len) {
  EXPECT_TRUE(level == SOL_SOCKET && name == SO_RCVTIMEO && len == 4);
  memcpy(&net.optionSet, value, sizeof net.optionSet);
  return net.optionResult;
}
int winsock::getaddrinfo(const char* /*host*/, const char* service, const addrinfo* hints, addrinfo** list) {
  EXPECT_TRUE(hints->ai_family == AF_UNSPEC && hints->ai_flags == 0);
  EXPECT_TRUE(hints->ai_socktype == SOCK_STREAM && hints->ai_protocol == IPPROTO_TCP);
  EXPECT_STREQ("2000", service);
  if (!net.resolves) return EAI_NONAME;
  ++net.listsGiven;
  *list = net.addresses;
  return 0;
}
void winsock::freeaddrinfo(addrinfo* list) {
  EXPECT_EQ(net.addresses, list);
  --net.listsGiven;
}

namespace {

class TcpRecord : public testing::Test {
protected:
  /// One entry of a host's address list.
  struct Address {
    int family;
    const char* ipv4 = "0.0.0.0";
    sockaddr_in ip{};
    addrinfo info{};
  };

  void SetUp() override {
    net = {};
    ASSERT_EQ(VI_SUCCESS, QVvisa_initTCPIPDevListElem(&dev_));
  }
  void TearDown() override {
    QVvisa_closeTCPIPDevListElem(&dev_);
    EXPECT_EQ(0, net.uses);
    EXPECT_EQ(0, net.listsGiven);
  }
  /// @param list  empty for a host that can't be resolved
  void resolveTo(const std::vector<Address>& list) {
    list_ = list;
    net.resolves = !list.empty();
    for (auto entry = list_.rbegin(); entry != list_.rend(); ++entry) {
      entry->ip.sin_addr.s_addr = inet_addr(entry->ipv4);
      entry->info.ai_family = entry->family;
      entry->info.ai_addr = reinterpret_cast<sockaddr*>(&entry->ip);
      entry->info.ai_next = net.addresses;
      net.addresses = &entry->info;
    }
  }
  ViStatus parse(std::string name) { return QVvisa_OpenHelperParseNameTCPIP(name.data(), dev_); }
  std::string open(const std::string& name, ViStatus expected) {
    EXPECT_EQ(VI_SUCCESS, parse(name));
    testing::internal::CaptureStdout();
    EXPECT_EQ(expected, QVvisa_OpenHelperFindOpenDevTCPIP(dev_));
    return testing::internal::GetCapturedStdout();
  }
  static std::string target() {
    EXPECT_EQ(AF_INET, net.target.sin_family);
    return inet_ntoa(net.target.sin_addr) + (":" + std::to_string(ntohs(net.target.sin_port)));
  }

  QVvisa_tcpip_device_t* dev_ = nullptr;
  std::vector<Address> list_;
};

TEST_F(TcpRecord, NamesAccepted) {
  EXPECT_EQ(-1, dev_->clientSocket);
  EXPECT_STREQ("localhost", dev_->hostName);
  EXPECT_EQ(2000, dev_->port);
  EXPECT_EQ(2000U, dev_->tcpip_Timo_ms);

  const std::string longest(127, 'h');
  const struct {
    std::string name;
    std::string host;
    std::string device;
    int port;
  } rows[] = {
      {"TCPIP0::host", "host", "", 2000},
      {"TCPIP0::host::inst0::INSTR", "host", "inst0", 2000},
      {"TCPIP0::host::INSTR", "host", "INSTR", 2000},
      {"TCPIP0::", "", "", 2000},
      {"TCPIP0::::inst0", "", "inst0", 2000},
      {"what stands before TCPIP and behind it::host", "host", "", 2000},
      {"TCPIP0::a:b::c:d", "a:b", "c:d", 2000},
      {"TCPIP0::" + longest + "::" + longest, longest, longest, 2000},
      {"TCPIP0::host::inst0::" + longest + longest, "host", "inst0", 2000},
      {"TCPIP0::host::5025::SOCKET", "host", "", 5025},
      {"TCPIP0::host::5025xSOCKETy", "host", "", 5025},
      {"TCPIP0::host:: \t\n\v\f\r+0005025 x::SOCKET", "host", "", 5025},
      {"TCPIP0::host::0x10::SOCKET", "host", "", 0},
      {"TCPIP0::host::65535::SOCKET", "host", "", 65535},
      {"TCPIP0::SOCKET::inst0", "SOCKET", "inst0", 2000},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    *dev_->lanDeviceName = '\0';
    dev_->port = TCPIP_PORT;
    EXPECT_EQ(VI_SUCCESS, parse(row.name));
    EXPECT_EQ(row.host, dev_->hostName);
    EXPECT_EQ(row.device, dev_->lanDeviceName);
    EXPECT_EQ(row.port, dev_->port);
  }
}

TEST_F(TcpRecord, NamesRefused) {
  const std::string tooLong(128, 'h');
  for (const std::string& name :
       std::vector<std::string>{"", "TCPIP0", "TCPIP0:host", "tcpip0::host", "host::TCPIP", "TCPIP0::" + tooLong,
                                "TCPIP0::host::" + tooLong, "TCPIP0::" + tooLong + "::5025::SOCKET"}) {
    EXPECT_EQ(VI_ERROR_INV_RSRC_NAME, parse(name)) << name;
  }
  for (const std::string port :
       {"SOCKET", "", "port 5025", "65536", "4294972321", "18446744073709556641", "-1", "+-1"}) {
    EXPECT_EQ(VI_ERROR_INV_RSRC_NAME, parse("TCPIP0::host::" + port + "::SOCKET")) << port;
  }
}

TEST_F(TcpRecord, NullArguments) {
  char name[] = "TCPIP0::host";
  EXPECT_EQ(VI_ERROR_INV_PARAMETER, QVvisa_initTCPIPDevListElem(nullptr));
  EXPECT_EQ(VI_ERROR_INV_PARAMETER, QVvisa_OpenHelperParseNameTCPIP(nullptr, dev_));
  EXPECT_EQ(VI_ERROR_INV_PARAMETER, QVvisa_OpenHelperParseNameTCPIP(name, nullptr));
  EXPECT_EQ(VI_ERROR_INV_PARAMETER, QVvisa_OpenHelperParseNameTCPIP_Socket(nullptr, dev_));
  EXPECT_EQ(VI_ERROR_INV_PARAMETER, QVvisa_OpenHelperParseNameTCPIP_Socket("1", nullptr));
  EXPECT_EQ(VI_ERROR_INV_OBJECT, QVvisa_OpenHelperFindOpenDevTCPIP(nullptr));
  ViByte byte = 0;
  EXPECT_EQ(VI_ERROR_INV_OBJECT, QVvisa_TCPIP_Read(nullptr, &byte, 1, nullptr));
  EXPECT_EQ(VI_ERROR_INV_OBJECT, QVvisa_TCPIP_Write(nullptr, &byte, 1, nullptr));
  EXPECT_EQ(VI_ERROR_INV_OBJECT, QVvisa_TCPIP_GetAttribute(nullptr, VI_ATTR_TERMCHAR, &byte));
  EXPECT_EQ(VI_ERROR_INV_OBJECT, QVvisa_TCPIP_SetAttribute(nullptr, VI_ATTR_TERMCHAR, 0));
  QVvisa_closeTCPIPDevListElem(nullptr);
  QVvisa_closeTCPIPDevListElem(&dev_);
  EXPECT_EQ(nullptr, dev_);
  QVvisa_closeTCPIPDevListElem(&dev_);
}

TEST_F(TcpRecord, WinsockDoesNotStart) {
  net.startupResult = 10091;
  auto* const untouched = dev_;
  testing::internal::CaptureStdout();
  EXPECT_EQ(VI_ERROR_SYSTEM_ERROR, QVvisa_initTCPIPDevListElem(&dev_));
  EXPECT_EQ("WSAStartup function failed with error: 10091\n", testing::internal::GetCapturedStdout());
  EXPECT_EQ(untouched, dev_);
  EXPECT_EQ(1, net.uses);
}

TEST_F(TcpRecord, NoSocket) {
  net.socketResult = -1;
  EXPECT_EQ("Error at socket()\n", open("TCPIP0::host", VI_ERROR_SYSTEM_ERROR));
  EXPECT_EQ(0, net.uses);
  QVvisa_closeTCPIPDevListElem(&dev_);
  EXPECT_TRUE(net.closed.empty());
}

TEST_F(TcpRecord, ConnectsToTheLastAddressOfTheListOrToTheNameItself) {
  const std::string ipv4 = "AF_INET (IPv4)\n\tIPv4 address 192.0.2.1\n";
  const std::string noText = "AF_INET6 (IPv6)\nWSAAddressToString failed with 10061\n";
  const std::string ipv6 = "AF_INET6 (IPv6)\n\tIPv6 address fe80::1\n";
  const struct {
    std::string name;
    std::vector<Address> list;
    std::string printed;
    std::string target;
    bool hasTextOfAddress = true;
  } rows[] = {
      {"TCPIP0::some.host::5025::SOCKET",
       {{AF_UNSPEC}, {AF_INET, "192.0.2.255"}, {99}, {AF_INET6}, {AF_INET, "192.0.2.1"}},
       "Unspecified\nAF_INET (IPv4)\n\tIPv4 address 192.0.2.255\nOther 99\n" + ipv6 + ipv4,
       "192.0.2.1:5025"},
      {"TCPIP0::host", {{AF_INET, "192.0.2.1"}, {AF_INET6}}, ipv4 + ipv6, "255.255.255.255:2000"},
      {"TCPIP0::host", {{AF_INET, "192.0.2.1"}, {AF_INET6}}, ipv4 + noText, "192.0.2.1:2000", false},
      {"TCPIP0::192.0.2.9::inst0::INSTR", {}, "", "192.0.2.9:2000"},
      {"TCPIP0::", {}, "", "255.255.255.255:2000"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name + " " + row.printed);
    TearDown();
    SetUp();
    resolveTo(row.list);
    net.hasTextOfAddress = row.hasTextOfAddress;
    EXPECT_EQ(row.printed, open(row.name, VI_SUCCESS));
    EXPECT_EQ(row.target, target());
    QVvisa_closeTCPIPDevListElem(&dev_);
    EXPECT_EQ(std::vector<int>{kSocket}, net.closed);
  }
}

TEST_F(TcpRecord, FailedOpenClosesItsSocketOnce) {
  net.resolves = false;
  net.connectResult = -1;
  net.closeResult = -1;
  EXPECT_EQ("connect function failed with error: 10061\nclosesocket function failed with error: 10061\n",
            open("TCPIP0::192.0.2.9", VI_ERROR_SYSTEM_ERROR));
  EXPECT_EQ(-1, dev_->clientSocket);
  EXPECT_EQ(0, net.uses);
  QVvisa_closeTCPIPDevListElem(&dev_);
  EXPECT_EQ(std::vector<int>{kSocket}, net.closed);
}

TEST_F(TcpRecord, TimeLimitOfACoarseClock) {
  net.optionValue = 3008;
  EXPECT_EQ(VI_SUCCESS, QVvisa_TCPIP_SetAttribute(dev_, VI_ATTR_TMO_VALUE, 3001));
  EXPECT_EQ(3001U, net.optionSet);
  const auto expectLimit = [this](ViUInt32 answered, ViUInt32 kept) {
    ViUInt32 limit_ms = 77;
    EXPECT_EQ(VI_SUCCESS, QVvisa_TCPIP_GetAttribute(dev_, VI_ATTR_TMO_VALUE, &limit_ms));
    EXPECT_EQ(answered, limit_ms);
    EXPECT_EQ(kept, dev_->tcpip_Timo_ms);
  };
  expectLimit(3001, 3001);
  net.optionResult = -1;
  EXPECT_EQ(-1, QVvisa_TCPIP_SetAttribute(dev_, VI_ATTR_TMO_VALUE, 5));
  expectLimit(77, 3001);
  net.optionResult = 0;
  net.optionValue = 3016;
  expectLimit(3016, 3016);
}

TEST_F(TcpRecord, KeepAliveIsATruthValueAndNoDelayIsNot) {
  for (const ViUInt32 held : {8U, 0U}) {
    net.optionValue = held;
    ViBoolean value = 77;
    EXPECT_EQ(VI_SUCCESS, QVvisa_TCPIP_GetAttribute(dev_, VI_ATTR_TCPIP_KEEPALIVE, &value));
    EXPECT_EQ(held == 0 ? VI_FALSE : VI_TRUE, value);
    EXPECT_EQ(VI_SUCCESS, QVvisa_TCPIP_GetAttribute(dev_, VI_ATTR_TCPIP_NODELAY, &value));
    EXPECT_EQ(held, value);
  }
  net.optionResult = -1;
  ViBoolean value = 77;
  EXPECT_EQ(VI_ERROR_IO, QVvisa_TCPIP_GetAttribute(dev_, VI_ATTR_TCPIP_KEEPALIVE, &value));
  EXPECT_EQ(VI_ERROR_IO, QVvisa_TCPIP_GetAttribute(dev_, VI_ATTR_TCPIP_NODELAY, &value));
  EXPECT_EQ(77, value);
}

TEST_F(TcpRecord, ShortTransfersEndTheCall) {
  ViByte buf[9] = "";
  ViUInt32 count = 0;
  EXPECT_EQ(VI_SUCCESS, QVvisa_TCPIP_Write(dev_, buf, sizeof buf, &count));
  EXPECT_EQ(4U, count);
  EXPECT_EQ(VI_SUCCESS, QVvisa_TCPIP_Read(dev_, buf, sizeof buf, &count));
  EXPECT_EQ(4U, count);
  // The double doesn't look at the bytes, so that the buffer needn't be as large as it is said to be.
  EXPECT_EQ(VI_SUCCESS, QVvisa_TCPIP_Write(dev_, buf, 0xFFFFFFFF, &count));
  EXPECT_EQ(INT_MAX, net.transferLen);
  EXPECT_EQ(static_cast<ViUInt32>(INT_MAX / 2), count);
}

}  // namespace
