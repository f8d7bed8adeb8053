/// The simulated instrument behind TCP and behind a serial line, as plain sockets and terminals see it.
#include "ptyPort.h"
#include "support/testing.h"
#include "tcpServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <termios.h>

namespace {

using qvsim::Descriptor;

void send(const Descriptor& stream, std::string_view text) {
  ASSERT_EQ(write(stream.number(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

/// What comes, until there are `size` bytes or the stream ends.
std::string receive(const Descriptor& stream, size_t size) {
  std::string text(size, '\0');
  size_t count = 0;
  for (ssize_t got = 1; count < size && got > 0; count += static_cast<size_t>(std::max<ssize_t>(got, 0))) {
    got = read(stream.number(), text.data() + count, size - count);
  }
  return text.substr(0, count);
}

class TcpServer : public testing::Test {
protected:
  Descriptor connect() {
    Descriptor stream(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in address = {AF_INET, htons(server.port()), {htonl(INADDR_LOOPBACK)}, {}};
    EXPECT_EQ(::connect(stream.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return stream;
  }

  qvsim::ScpiInstrument instrument;
  qvsim::TcpServer server{instrument};
};

TEST_F(TcpServer, ServesManyConnections) {
  std::vector<Descriptor> streams;
  for (int i = 0; i < 50; ++i) streams.push_back(connect());
  for (const Descriptor& stream : streams) send(stream, "*OPC?;VO");
  for (const Descriptor& stream : streams) send(stream, "LT?\n*TST?\n");
  for (const Descriptor& stream : streams) EXPECT_EQ(receive(stream, 10), "1;0.000\n0\n");
  streams.clear();
  EXPECT_TRUE(eventually([this] { return server.connections() == 0; }));
  EXPECT_THROW(qvsim::TcpServer(instrument, server.port()), std::system_error) << "the port is taken";
}

TEST_F(TcpServer, ADeafClientHoldsNobodyUpAndAFinishedOneIsAnswered) {
  const Descriptor deaf = connect(), finished = connect();
  for (int i = 0; i < 20; ++i) send(deaf, "DATA:BLOCK? 1000000\n");
  send(finished, "DATA:BLOCK? 1000000\n");
  shutdown(finished.number(), SHUT_WR);
  EXPECT_EQ(receive(finished, 2000000).size(), 1000010U);
}

TEST(PtyPort, ClientsComeAndGo) {
  qvsim::ScpiInstrument instrument;
  const std::string link = testing::TempDir() + "ptyPort." + std::to_string(getpid());
  {
    const qvsim::PtyPort port(instrument, link);
    EXPECT_EQ(port.path(), link);
    for (const std::string& path : {link, port.device(), link}) {
      const Descriptor line(open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
      termios settings{};
      ASSERT_EQ(tcgetattr(line.number(), &settings), 0);
      EXPECT_FALSE(settings.c_lflag & (ICANON | ECHO | ISIG));
      EXPECT_FALSE(settings.c_oflag & OPOST);
      send(line, "*IDN?\r\n");
      EXPECT_EQ(receive(line, 24), "KESTRIX,SIM-1,A1234,1.0\n");
    }
    EXPECT_THROW(qvsim::PtyPort(instrument, link), std::system_error);
  }
  EXPECT_NE(access(link.c_str(), F_OK), 0);
}

}  // namespace
