/// The record of a TCP/IP session: its resource names, and on a double of the socket layer what a real one does rarely
/// or never.
#include "QVvisaTCPIP.h"
#include "sockets.h"
#include "support/testing.h"

#include <climits>

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
  EXPECT_EQ(flags, 0);
  net.transferLen = len;
  return len / 2;
}

}  // namespace

int winsock::WSAStartup(WORD version, WSADATA* /*data*/) {
  EXPECT_EQ(version, 2);
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
  EXPECT_EQ(*textLen, 46U);
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
  EXPECT_EQ(s, kSocket);
  EXPECT_EQ(addressLen, 16);
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
  EXPECT_EQ(*len, 4);
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
  EXPECT_STREQ(service, "2000");
  if (!net.resolves) return EAI_NONAME;
  ++net.listsGiven;
  *list = net.addresses;
  return 0;
}
void winsock::freeaddrinfo(addrinfo* list) {
  EXPECT_EQ(list, net.addresses);
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
    ASSERT_EQ(QVvisa_initTCPIPDevListElem(&dev_), VI_SUCCESS);
  }
  void TearDown() override {
    QVvisa_closeTCPIPDevListElem(&dev_);
    EXPECT_EQ(net.uses, 0);
    EXPECT_EQ(net.listsGiven, 0);
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
    EXPECT_EQ(parse(name), VI_SUCCESS);
    testing::internal::CaptureStdout();
    EXPECT_EQ(QVvisa_OpenHelperFindOpenDevTCPIP(dev_), expected);
    return testing::internal::GetCapturedStdout();
  }
  static std::string target() {
    EXPECT_EQ(net.target.sin_family, AF_INET);
    return inet_ntoa(net.target.sin_addr) + (":" + std::to_string(ntohs(net.target.sin_port)));
  }

  QVvisa_tcpip_device_t* dev_ = nullptr;
  std::vector<Address> list_;
};

TEST_F(TcpRecord, NamesAccepted) {
  EXPECT_EQ(dev_->clientSocket, -1);
  EXPECT_STREQ(dev_->hostName, "localhost");
  EXPECT_EQ(dev_->port, 2000);
  EXPECT_EQ(dev_->tcpip_Timo_ms, 2000U);

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
    EXPECT_EQ(parse(row.name), VI_SUCCESS);
    EXPECT_EQ(dev_->hostName, row.host);
    EXPECT_EQ(dev_->lanDeviceName, row.device);
    EXPECT_EQ(dev_->port, row.port);
  }
}

TEST_F(TcpRecord, NamesRefused) {
  const std::string tooLong(128, 'h');
  for (const std::string& name :
       std::vector<std::string>{"", "TCPIP0", "TCPIP0:host", "tcpip0::host", "host::TCPIP", "TCPIP0::" + tooLong,
                                "TCPIP0::host::" + tooLong, "TCPIP0::" + tooLong + "::5025::SOCKET"}) {
    EXPECT_EQ(parse(name), VI_ERROR_INV_RSRC_NAME) << name;
  }
  for (const std::string port :
       {"SOCKET", "", "port 5025", "65536", "4294972321", "18446744073709556641", "-1", "+-1"}) {
    EXPECT_EQ(parse("TCPIP0::host::" + port + "::SOCKET"), VI_ERROR_INV_RSRC_NAME) << port;
  }
}

TEST_F(TcpRecord, ClosesTwice) {
  for (int i = 0; i < 2; ++i) {
    QVvisa_closeTCPIPDevListElem(&dev_);
    EXPECT_EQ(dev_, nullptr);
  }
}

TEST_F(TcpRecord, WinsockDoesNotStart) {
  net.startupResult = 10091;
  auto* const untouched = dev_;
  testing::internal::CaptureStdout();
  EXPECT_EQ(QVvisa_initTCPIPDevListElem(&dev_), VI_ERROR_SYSTEM_ERROR);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "WSAStartup function failed with error: 10091\n");
  EXPECT_EQ(dev_, untouched);
  EXPECT_EQ(net.uses, 1);
}

TEST_F(TcpRecord, NoSocket) {
  net.socketResult = -1;
  EXPECT_EQ(open("TCPIP0::host", VI_ERROR_SYSTEM_ERROR), "Error at socket()\n");
  EXPECT_EQ(net.uses, 0);
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
    EXPECT_EQ(open(row.name, VI_SUCCESS), row.printed);
    EXPECT_EQ(target(), row.target);
    QVvisa_closeTCPIPDevListElem(&dev_);
    EXPECT_EQ(net.closed, std::vector<int>{kSocket});
  }
}

TEST_F(TcpRecord, FailedOpenClosesItsSocketOnce) {
  net.resolves = false;
  net.connectResult = -1;
  net.closeResult = -1;
  EXPECT_EQ(open("TCPIP0::192.0.2.9", VI_ERROR_SYSTEM_ERROR),
            "connect function failed with error: 10061\nclosesocket function failed with error: 10061\n");
  EXPECT_EQ(dev_->clientSocket, -1);
  EXPECT_EQ(net.uses, 0);
  QVvisa_closeTCPIPDevListElem(&dev_);
  EXPECT_EQ(net.closed, std::vector<int>{kSocket});
}

TEST_F(TcpRecord, TimeLimitOfACoarseClock) {
  net.optionValue = 3008;
  EXPECT_EQ(QVvisa_TCPIP_SetAttribute(dev_, VI_ATTR_TMO_VALUE, 3001), VI_SUCCESS);
  EXPECT_EQ(net.optionSet, 3001U);
  const auto expectLimit = [this](ViUInt32 answered, ViUInt32 kept) {
    ViUInt32 limit_ms = 77;
    EXPECT_EQ(QVvisa_TCPIP_GetAttribute(dev_, VI_ATTR_TMO_VALUE, &limit_ms), VI_SUCCESS);
    EXPECT_EQ(limit_ms, answered);
    EXPECT_EQ(dev_->tcpip_Timo_ms, kept);
  };
  expectLimit(3001, 3001);
  net.optionResult = -1;
  EXPECT_EQ(QVvisa_TCPIP_SetAttribute(dev_, VI_ATTR_TMO_VALUE, 5), -1);
  expectLimit(77, 3001);
  net.optionResult = 0;
  net.optionValue = 3016;
  expectLimit(3016, 3016);
}

TEST_F(TcpRecord, KeepAliveIsATruthValueAndNoDelayIsNot) {
  for (const ViUInt32 held : {8U, 0U}) {
    net.optionValue = held;
    ViBoolean value = 77;
    EXPECT_EQ(QVvisa_TCPIP_GetAttribute(dev_, VI_ATTR_TCPIP_KEEPALIVE, &value), VI_SUCCESS);
    EXPECT_EQ(value, held == 0 ? VI_FALSE : VI_TRUE);
    EXPECT_EQ(QVvisa_TCPIP_GetAttribute(dev_, VI_ATTR_TCPIP_NODELAY, &value), VI_SUCCESS);
    EXPECT_EQ(value, held);
  }
  net.optionResult = -1;
  ViBoolean value = 77;
  EXPECT_EQ(QVvisa_TCPIP_GetAttribute(dev_, VI_ATTR_TCPIP_KEEPALIVE, &value), VI_ERROR_IO);
  EXPECT_EQ(QVvisa_TCPIP_GetAttribute(dev_, VI_ATTR_TCPIP_NODELAY, &value), VI_ERROR_IO);
  EXPECT_EQ(value, 77);
}

TEST_F(TcpRecord, ShortTransfersEndTheCall) {
  ViByte buf[9] = "";
  ViUInt32 count = 0;
  EXPECT_EQ(QVvisa_TCPIP_Write(dev_, buf, sizeof buf, &count), VI_SUCCESS);
  EXPECT_EQ(count, 4U);
  EXPECT_EQ(QVvisa_TCPIP_Read(dev_, buf, sizeof buf, &count), VI_SUCCESS);
  EXPECT_EQ(count, 4U);
  // The double doesn't look at the bytes, so that the buffer needn't be as large as it is said to be.
  EXPECT_EQ(QVvisa_TCPIP_Write(dev_, buf, 0xFFFFFFFF, &count), VI_SUCCESS);
  EXPECT_EQ(net.transferLen, INT_MAX);
  EXPECT_EQ(count, static_cast<ViUInt32>(INT_MAX / 2));
  EXPECT_EQ(QVvisa_TCPIP_Read(dev_, nullptr, 0, &count), VI_SUCCESS);
  EXPECT_EQ(count, 0U);
  EXPECT_EQ(net.transferLen, INT_MAX) << "the socket isn't asked for no bytes";
}

}  // namespace
