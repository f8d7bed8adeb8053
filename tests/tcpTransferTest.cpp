/// Transfers, attributes and the opening of TCP/IP sessions against a real server on the loopback interface.
#include "QVvisaTCPIP.h"
#include "support/childProcess.h"
#include "support/signalStorm.h"
#include "support/tcpSession.h"
#include "support/testing.h"

#include <fcntl.h>
#include <netinet/tcp.h>

namespace {

constexpr ViStatus kFailed = -1;

class TcpTransfer : public TcpSession {
protected:
  static QVvisa_tcpip_device_t* record() { return gpQvvisa->device[0]->ttcpDev; }

  void setTimeLimit(ViUInt32 limit_ms) { EXPECT_EQ(QV_viSetAttribute(vi_, VI_ATTR_TMO_VALUE, limit_ms), VI_SUCCESS); }
  ViUInt32 timeLimit() {
    ViUInt32 limit_ms = 77;
    EXPECT_EQ(QV_viGetAttribute(vi_, VI_ATTR_TMO_VALUE, &limit_ms), VI_SUCCESS);
    return limit_ms;
  }
  static std::string textOf(ViSession vi, ViAttr name) {
    char text[MAX_BUF_SIZE_ATTR] = "";
    EXPECT_EQ(QV_viGetAttribute(vi, name, text), VI_SUCCESS);
    return text;
  }
  /// A read that nothing comes for, not even a change of the count.
  void readInVain(ViUInt32 limit_ms) {
    setTimeLimit(limit_ms);
    printed();
    std::string buffer(10, 'x');
    ViUInt32 count = 77;
    expectNotShorter(limit_ms, [&] { EXPECT_EQ(QV_viRead(vi_, bytesOf(buffer), 10, &count), kFailed); });
    EXPECT_EQ(printed(), "Reading response failed\n");
    EXPECT_EQ(buffer, std::string(10, '\0'));
    EXPECT_EQ(count, 77U);
  }
};

TEST_F(TcpTransfer, ReadDeliversWhatOneReceiveGivesAndWriteEveryByte) {
  peer_.send("0123456789");
  EXPECT_EQ(read(vi_), "0123456789");
  peer_.send("line\nrest!");
  EXPECT_EQ(read(vi_, 7), "line\nre");
  EXPECT_EQ(read(vi_, 7), "st!");

  const std::string message("binary \0 bytes \xFF\n", 16);
  write(vi_, message);
  EXPECT_EQ(peer_.receive(message.size()), message);
  write(vi_, "");
}

TEST_F(TcpTransfer, CountIsOptionalAndBuffersAreNot) {
  EXPECT_EQ(QV_viRead(vi_, nullptr, 0, nullptr), VI_SUCCESS) << "doesn't wait for data";
  ViByte byte = 'a';
  EXPECT_EQ(QV_viWrite(vi_, &byte, 1, nullptr), VI_SUCCESS);
  EXPECT_EQ(peer_.receive(1), "a");
  peer_.send("b");
  EXPECT_EQ(QV_viRead(vi_, &byte, 1, nullptr), VI_SUCCESS);
  EXPECT_EQ(byte, 'b');
  EXPECT_EQ(QV_viRead(vi_, nullptr, 1, nullptr), VI_ERROR_INV_OBJECT);
  EXPECT_EQ(QV_viWrite(vi_, nullptr, 1, nullptr), VI_ERROR_INV_OBJECT);
}

TEST_F(TcpTransfer, ClosedPeerReadsAsNothing) {
  peer_.send("last");
  peer_.halfClose();
  for (const char* text : {"last", "", ""}) EXPECT_EQ(read(vi_), text);
  write(vi_, "still listening");
  EXPECT_EQ(peer_.receive(15), "still listening");
}

TEST_F(TcpTransfer, BrokenConnectionFailsWithoutSignal) {
  peer_.reset();
  readInVain(0);
  ViByte byte = 0;
  ViUInt32 count = 77;
  EXPECT_EQ(QV_viWrite(vi_, &byte, 1, &count), kFailed);
  EXPECT_EQ(printed(), "Writing request failed\n");
  EXPECT_EQ(count, 77U);
}

TEST_F(TcpTransfer, TimeLimitEndsAReadAndTheSessionGoesOn) {
  for (const ViUInt32 limit_ms : {1U, 3U, 37U}) readInVain(limit_ms);
  peer_.send("late");
  EXPECT_EQ(read(vi_), "late");
}

TEST_F(TcpTransfer, ALineThatNobodyReadsIsNoSignal) {
  peer_.reset();
  ChildProcess printer([this] {
    int ends[2];
    if (pipe(ends) != 0 || close(ends[0]) != 0 || dup2(ends[1], STDOUT_FILENO) < 0) _exit(2);
    signal(SIGPIPE, SIG_DFL);
    ViByte byte = 0;
    for (int i = 0; i < 300; ++i) QV_viWrite(vi_, &byte, 1, nullptr);
    fflush(stdout);  // as at the end of an application
  });
  EXPECT_EQ(printer.exitCode(), 0);
}

TEST_F(TcpTransfer, StaysWholeWithThreadsOnOneSession) {
  constexpr size_t kBytes = 1 << 20;
  const std::string text(1000, 't');
  std::atomic<size_t> received{0};
  std::atomic<int> readers{2};
  const auto receive = [&] {
    ViByte buf[1000];
    ViUInt32 count = 1;
    while (count > 0 && QV_viRead(vi_, buf, sizeof buf, &count) == VI_SUCCESS) received += count;
    EXPECT_EQ(count, 0U);
    --readers;
  };
  const auto limit = [&](ViUInt32 limit_ms) {
    while (readers > 0) {
      setTimeLimit(limit_ms);
      timeLimit();
    }
  };
  {
    const std::jthread users[] = {
        std::jthread(receive),
        std::jthread(receive),
        std::jthread(limit, 600'000),
        std::jthread(limit, 700'000),
        std::jthread([&] {
          for (int i = 0; i < 500; ++i) write(vi_, text);
        }),
        std::jthread([&] { EXPECT_EQ(peer_.receive(500 * text.size()).size(), 500 * text.size()); })};
    peer_.send(std::string(kBytes, 'r'));
    peer_.halfClose();
  }
  EXPECT_EQ(received, kBytes);
  timeval held{};
  socklen_t size = sizeof held;
  ASSERT_EQ(getsockopt(record()->clientSocket, SOL_SOCKET, SO_RCVTIMEO, &held, &size), 0);
  EXPECT_EQ(static_cast<ViUInt32>(held.tv_sec), timeLimit() / 1000) << "said and done";
}

TEST_F(TcpTransfer, TimeLimitReadsBackAsSet) {
  EXPECT_EQ(timeLimit(), 0U);
  EXPECT_EQ(record()->tcpip_Timo_ms, 0U);
  for (const ViUInt32 limit_ms : {3000U, 1U, 17U, 1001U, 0x7FFFFFFFU, 0xFFFFFFFEU, 0U, 0xFFFFFFFFU}) {
    const ViUInt32 before = record()->tcpip_Timo_ms;
    setTimeLimit(limit_ms);
    EXPECT_EQ(record()->tcpip_Timo_ms, before);
    EXPECT_EQ(timeLimit(), limit_ms);
    EXPECT_EQ(record()->tcpip_Timo_ms, limit_ms);
  }
}

TEST_F(TcpTransfer, AttributesHaveTheirWidthsAndMostAreReadOnly) {
  const int on = 1;
  ASSERT_EQ(setsockopt(record()->clientSocket, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on), 0);
  ASSERT_EQ(setsockopt(record()->clientSocket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on), 0);
  EXPECT_EQ(QV_viSetAttribute(vi_, VI_ATTR_USER_DATA, 0x12345678), VI_SUCCESS);
  const struct {
    ViAttr name;
    ViUInt32 width;
    ViUInt32 value;
    ViStatus set = VI_ERROR_ATTR_READONLY;
  } rows[] = {
      {VI_ATTR_INTF_TYPE, 2, VI_INTF_TCPIP},
      {VI_ATTR_INTF_NUM, 2, 0},
      {VI_ATTR_TERMCHAR, 1, 0x0A},
      {VI_ATTR_TERMCHAR_EN, 2, VI_FALSE},
      {VI_ATTR_SEND_END_EN, 2, VI_TRUE},
      {VI_ATTR_SUPPRESS_END_EN, 2, VI_TRUE},
      {VI_ATTR_FILE_APPEND_EN, 2, VI_FALSE},
      {VI_ATTR_IO_PROT, 2, VI_PROT_NORMAL},
      {VI_ATTR_RD_BUF_OPER_MODE, 2, VI_FLUSH_DISABLE},
      {VI_ATTR_WR_BUF_OPER_MODE, 2, VI_FLUSH_WHEN_FULL},
      {VI_ATTR_TRIG_ID, 2, 0xFFFF},
      {VI_ATTR_TCPIP_PORT, 2, peer_.port()},
      {VI_ATTR_TCPIP_NODELAY, 2, VI_TRUE},
      {VI_ATTR_TCPIP_KEEPALIVE, 2, VI_TRUE},
      {VI_ATTR_RSRC_MANF_ID, 2, 0x7C5A},
      {VI_ATTR_RSRC_LOCK_STATE, 4, VI_EXCLUSIVE_LOCK},
      {VI_ATTR_RM_SESSION, 4, 0x64190511},
      {VI_ATTR_USER_DATA, 4, 0x12345678, VI_SUCCESS},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << std::hex << row.name);
    std::string value(8, '\xA5');
    std::string expected = value;
    memcpy(expected.data(), &row.value, row.width);
    EXPECT_EQ(QV_viGetAttribute(vi_, row.name, value.data()), VI_SUCCESS);
    EXPECT_EQ(value, expected);
    EXPECT_EQ(QV_viSetAttribute(vi_, row.name, row.value), row.set);
  }
  ViUInt32 value = 77;
  EXPECT_EQ(QV_viGetAttribute(open(), VI_ATTR_USER_DATA, &value), VI_SUCCESS);
  EXPECT_EQ(value, 0U) << "user data belong to one session";

  const std::pair<ViAttr, std::string> texts[] = {{VI_ATTR_RSRC_CLASS, "SOCKET"},
                                                  {VI_ATTR_TCPIP_ADDR, "127.0.0.1"},
                                                  {VI_ATTR_TCPIP_HOSTNAME, "127.0.0.1"},
                                                  {VI_ATTR_RSRC_MANF_NAME, "KESTRIX"},
                                                  {QV_ATTR_BUILD_DATE_TIME, QVvisaBuild}};
  for (const auto& [name, text] : texts) {
    EXPECT_EQ(textOf(vi_, name), text);
    EXPECT_EQ(QV_viSetAttribute(vi_, name, 0), VI_ERROR_ATTR_READONLY);
  }
  EXPECT_EQ(std::string(QVvisaBuild).size(), 20U);
  EXPECT_STRNE("JAN-01-2000 00:00:00", QVvisaBuild);

  for (const ViAttr name :
       {VI_ATTR_MAX_QUEUE_LENGTH, VI_ATTR_INTF_INST_NAME, VI_ATTR_RSRC_IMPL_VERSION, VI_ATTR_RSRC_SPEC_VERSION}) {
    EXPECT_EQ(QV_viGetAttribute(vi_, name, &value), VI_ERROR_NSUP_ATTR);
    EXPECT_EQ(QV_viSetAttribute(vi_, name, 1), VI_ERROR_ATTR_READONLY);
  }
  for (const ViAttr name : {VI_ATTR_TCPIP_DEVICE_NAME, VI_ATTR_USER_DATA_64, VI_ATTR_ASRL_BAUD, VI_ATTR_USB_CLASS}) {
    EXPECT_EQ(QV_viGetAttribute(vi_, name, &value), VI_ERROR_NSUP_ATTR);
    EXPECT_EQ(QV_viSetAttribute(vi_, name, 1), VI_ERROR_NSUP_ATTR);
  }
  EXPECT_EQ(value, 0U);
}

TEST_F(TcpTransfer, HostsOpenByNameAndNumber) {
  const std::string connects = "AF_INET (IPv4)\n\tIPv4 address 127.0.0.1\n";
  EXPECT_EQ(printed(), connects);
  EXPECT_NE(fcntl(record()->clientSocket, F_GETFD) & FD_CLOEXEC, 0);
  for (const std::string host : {"0x7f.1", "localhost"}) {
    ViSession vi = 0;
    EXPECT_EQ(tryOpen(peer_.resource(host), &vi), VI_SUCCESS);
    // Whether localhost has an IPv6 address too is the machine's matter; its last address is an IPv4 one.
    EXPECT_PRED_FORMAT2(testing::IsSubstring, connects, printed());
    EXPECT_EQ(textOf(vi, VI_ATTR_TCPIP_HOSTNAME), "127.0.0.1");
  }
  const TcpPeer refuses(TcpPeer::kDeaf);
  const std::string failed = "connect function failed with error: ";
  const std::pair<std::string, std::string> failures[] = {
      {"127.0.0.1", connects + failed},
      // Too long for a label of a host name, so that no name server is asked.
      {std::string(100, 'h'), failed},
      {"0:0:0:0:0:0:0:1", "AF_INET6 (IPv6)\n\tIPv6 address ::1\n" + failed},
  };
  for (const auto& [host, start] : failures) {
    ViSession vi = 0;
    EXPECT_EQ(tryOpen(refuses.resource(host), &vi), VI_ERROR_SYSTEM_ERROR);
    EXPECT_EQ(printed().substr(0, start.size()), start);
  }
}

TEST_F(TcpTransfer, SignalsNeitherEndNorShortenARead) {
  const SignalStorm storm;
  for (const ViUInt32 limit_ms : {0U, 600000U, VI_TMO_INFINITE}) {
    setTimeLimit(limit_ms);
    std::thread sender([this] {
      SignalStorm::rage();
      peer_.send("through the storm");
    });
    EXPECT_EQ(read(vi_), "through the storm");
    sender.join();
  }
  const int before = SignalStorm::delivered;
  readInVain(80);
  EXPECT_GT(SignalStorm::delivered, before);
}

TEST_F(TcpTransfer, SignalsDoNotShortenAWrite) {
  const std::string big(16 << 20, 'b');
  const SignalStorm storm;
  std::string received;
  std::thread reader([&] {
    SignalStorm::rage();
    received = peer_.receive(big.size());
  });
  write(vi_, big);
  if (HasFailure()) QV_viClose(vi_);
  reader.join();
  EXPECT_TRUE(received == big);
}

TEST_F(TcpTransfer, SignalsDoNotEndAConnect) {
  // A listener whose queue is full leaves the next connect waiting until one is accepted.
  TcpPeer peer(0);
  ViSession vi = 0;
  EXPECT_EQ(tryOpen(peer.resource(), &vi), VI_SUCCESS);
  const SignalStorm storm;
  std::thread acceptor([&] {
    SignalStorm::rage();
    peer.accept();
    peer.accept();
    peer.send("connected");
  });
  EXPECT_EQ(tryOpen(peer.resource(), &vi), VI_SUCCESS);
  EXPECT_EQ(read(vi), "connected");
  acceptor.join();
}

}  // namespace
