/// The C++ face on simulated instruments, in both forms of its calls.
#include "QVvisa.hpp"
#include "support/serialPeer.h"
#include "support/tcpPeer.h"
#include "support/testing.h"
#include "tcpServer.h"
#include "virtualUsb.h"

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using qvvisa::ResourceManager;
using qvvisa::Session;
namespace attribute = qvvisa::attribute;

/// The status that a throwing call ends with, VI_SUCCESS if it doesn't throw; its text has to name `part`.
template <typename Call>
ViStatus thrownBy(Call call, const std::string& part) {
  try {
    call();
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code().category(), qvvisa::category());
    EXPECT_PRED_FORMAT2(testing::IsSubstring, part, error.what());
    return error.code().value();
  }
  return VI_SUCCESS;
}

TEST(CppFace, ManagerOutlivesEveryLastClose) {
  qvsim::ScpiInstrument scpi;
  qvsim::TcpServer server(scpi);
  ResourceManager manager;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(manager.open(server.resourceName()).query("*IDN?"), "KESTRIX,SIM-1,A1234,1.0");
    EXPECT_EQ(manager.find("no such thing"), std::vector<std::string>());
    ResourceManager().find("no such thing");
  }
  // Two threads that take the library down for each other all the time.
  const auto openOften = [&] {
    ResourceManager own;
    for (int i = 0; i < 30; ++i) EXPECT_NO_THROW(own.open(server.resourceName()));
  };
  std::jthread other(openOften);
  openOften();
}

TEST(CppFace, ObjectsMove) {
  qvsim::ScpiInstrument scpi;
  qvsim::TcpServer server(scpi);
  ResourceManager first;
  ResourceManager manager = std::move(first);
  std::error_code error;
  EXPECT_FALSE(first.open(server.resourceName(), error));
  EXPECT_EQ(error.value(), VI_ERROR_INV_OBJECT);

  Session session = manager.open(server.resourceName());
  Session other = manager.open(server.resourceName());
  other = std::move(session);
  EXPECT_TRUE(eventually([&] { return server.connections() == 1; }));
  EXPECT_EQ(other.query("VOLT 2;VOLT?"), "2.000");
  EXPECT_FALSE(session);
  EXPECT_EQ(session.query("*IDN?", error), "");
  EXPECT_EQ(error, std::errc::bad_file_descriptor);
  other.close();
  EXPECT_EQ(thrownBy([&] { other.close(); }, "closing"), VI_ERROR_INV_OBJECT);
}

TEST(CppFace, ReadsWholeResponsesOnAStream) {
  const std::string kEnd = "instead of a piece: the end of the connection";
  const struct {
    std::vector<std::string> pieces;
    std::string response;
    ViStatus status = VI_SUCCESS;
    std::string termination = "\n";
  } rows[] = {
      {{"KES", "TRIX\n"}, "KESTRIX"},
      {{"a\r", "\n"}, "a", VI_SUCCESS, "\r\n"},
      {{"a\n", "b;"}, "a\nb", VI_SUCCESS, ";"},
      {{"#15a\0\n"s, "\nb\n"}, "#15a\0\n\nb"s},
      {{"#", "15ab;\n", "\n", "\n"}, "#15ab;\n\n"},
      {{"1;#21", "1\n", "456789;\n\n", "\n;2\n"}, "1;#211\n456789;\n\n\n;2"},
      {{"#H1F;#;#a\n"}, "#H1F;#;#a"},
      {{"no termination"}, "no termination", VI_SUCCESS, ""},
      {{"1.2345", kEnd}, "1.2345", VI_ERROR_CONN_LOST},
      {{"#15a\n"}, "#15a\n", VI_ERROR_TMO},
  };
  ResourceManager manager;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.response);
    TcpPeer peer;
    Session session = manager.open(peer.resource(), row.status == VI_ERROR_TMO ? 30ms : 60s);
    session.setTermination(row.termination);
    peer.accept();
    session.write("X?");
    EXPECT_EQ(peer.receive(2 + row.termination.size()), "X?" + row.termination);
    std::jthread sender([&] {
      for (const std::string& piece : row.pieces) piece == kEnd ? peer.halfClose() : peer.send(piece);
    });
    std::error_code error;
    EXPECT_EQ(session.read(error), row.response);
    EXPECT_EQ(error.value(), row.status) << error.message();
    EXPECT_EQ(error == std::errc::timed_out, row.status == VI_ERROR_TMO);
  }
}

TEST(CppFace, SerialPort) {
  SerialPeer port;
  ResourceManager manager;
  Session session = manager.open("ASRL7::INSTR");
  session.setTimeLimit(60s);
  session.set(attribute::asrlEndIn, VI_ASRL_END_NONE);
  port.send("text\n");
  EXPECT_EQ(session.read(), "text");
  session.set(attribute::asrlDiscardNull, VI_TRUE);
  session.writeBytes("a\0b\0"s);
  EXPECT_EQ(port.receive(2), "ab");
}

TEST(CppFace, Failures) {
  const TcpPeer deaf(TcpPeer::kDeaf);
  TcpPeer peer;
  ResourceManager manager;
  Session session = manager.open(peer.resource(), 20ms);
  const std::string& name = session.name();
  EXPECT_EQ(thrownBy([&] { manager.open("GPIB0::5::INSTR"); }, "opening GPIB0::5::INSTR"), VI_ERROR_INV_RSRC_NAME);
  EXPECT_EQ(thrownBy([&] { manager.open(deaf.resource()); }, "opening"), VI_ERROR_SYSTEM_ERROR);
  EXPECT_EQ(thrownBy([&] { session.query("*IDN?"); }, "querying " + name + ": Timeout"), VI_ERROR_TMO);
  EXPECT_EQ(thrownBy([&] { session.get(attribute::asrlBaud); }, "of " + name), VI_ERROR_NSUP_ATTR);
  EXPECT_EQ(thrownBy([&] { session.set(attribute::termchar, '\r'); }, "of " + name), VI_ERROR_ATTR_READONLY);
  EXPECT_EQ(thrownBy([&] { session.readStatusByte(); }, name), VI_ERROR_NSUP_OPER);
  EXPECT_EQ(thrownBy([&] { manager.find(std::string(256, '?')); }, "searching for ??"), VI_ERROR_INV_RSRC_NAME);
  session.setTimeLimit(60s);
  peer.accept();
  peer.reset();
  EXPECT_EQ(thrownBy([&] { session.read(); }, "TCP connection failed"), qvvisa::tcpFailure);
}

TEST(CppFace, UsbInstrumentUntilItIsPulled) {
  qvsim::VirtualUsb usb;
  qvsim::UsbDevice& device = usb.plug();
  ResourceManager manager;
  const auto names = manager.find("USB?*");
  ASSERT_EQ(names.size(), 2);
  Session session = manager.open(names[0], 60s);
  EXPECT_EQ(session.query("*IDN?"), "KESTRIX,SIM-1,A1234,1.0");
  EXPECT_EQ(session.query("DATA:BLOCK? 3001"), "#43001" + qvsim::ScpiInstrument::blockPattern(3001));
  EXPECT_EQ(session.get(attribute::modelName), "SIM-1");
  EXPECT_EQ(session.get(attribute::manfId), 0x7C5A);
  EXPECT_EQ(session.get(attribute::termchar), '\n');
  EXPECT_EQ(session.get(attribute::usbBulkInPipe), 0x81);
  EXPECT_EQ(session.get(attribute::qvClass), QV_CLASS_TMC_USB488);
  EXPECT_EQ(session.get(attribute::tmoValue), 60000);
  session.set(attribute::termchar, ';');
  EXPECT_EQ(session.get(attribute::termchar), ';');
  session.write("*IDN?");
  EXPECT_EQ(session.readStatusByte() & qvsim::stb::messageAvailable, qvsim::stb::messageAvailable);
  session.clear();
  EXPECT_EQ(thrownBy([&] { session.controlRemote(99); }, names[0]), VI_ERROR_INV_MODE);
  EXPECT_EQ(thrownBy([&] { session.write(std::string(4084, 'x')); }, names[0]), VI_ERROR_INV_LENGTH);

  usb.unplug(device);
  std::error_code error;
  EXPECT_TRUE(eventually([&] { return session.query("*IDN?", error).empty() && error == std::errc::no_such_device; }));
  EXPECT_EQ(error.value(), VI_SUCCESS_DEV_NPRESENT) << "positive, and a failure all the same";
}

}  // namespace
