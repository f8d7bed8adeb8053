/// Sessions on virtual USB instruments, good and bad, through the public operations and the real libusb.
#include "QVvisa.h"
#include "support/childProcess.h"
#include "support/eventually.h"
#include "support/startLibrary.h"
#include "virtualUsb.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace {

using namespace std::chrono_literals;
namespace fault = qvsim::fault;
using qvsim::Bytes;
using qvsim::ControlAnswer;
using qvsim::RemoteState;
using qvsim::UsbDevice;
using qvsim::UsbEvent;

constexpr char kInstr[] = "USB0::0x7C5A::0x0042::A1234::INSTR", kOther[] = "USB0::0x7C5A::0x0042::B5678::INSTR";
constexpr char kRaw[] = "USB0::0x7C5A::0x0042::A1234::1::RAW";
const std::string kIdentity = "KESTRIX,SIM-1,A1234,1.0\n";
constexpr uint8_t kBulkIn = 0x81, kBulkOut = 0x02, kRawIn = 0x84;
constexpr ViStatus kStalled = QVVI_ERR_CTL_TRANSFER_STALLED;

/// A session for the length of a block; starts the library where the close of the last session took it down.
class Session {
public:
  explicit Session(std::string name) : status(QV_viOpen(start(), name.data(), VI_NO_LOCK, 0, &handle)) {
    if (handle != 0) setTimeout(60000);
  }
  ~Session() {
    if (handle != 0) {
      EXPECT_EQ(QV_viClose(handle), VI_SUCCESS);
    }
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  ViStatus write(std::string bytes, ViUInt32* count = nullptr) {
    return QV_viWrite(handle, reinterpret_cast<ViBuf>(bytes.data()), static_cast<ViUInt32>(bytes.size()), count);
  }
  std::string read(ViStatus expected = VI_SUCCESS, ViUInt32 size = 4096) {
    std::string bytes(size, '\0');
    ViUInt32 count = 0;
    EXPECT_EQ(QV_viRead(handle, reinterpret_cast<ViPBuf>(bytes.data()), size, &count), expected);
    bytes.resize(count);
    return bytes;
  }
  std::string query(const char* text) {
    EXPECT_EQ(write(text), VI_SUCCESS);
    return read();
  }
  Bytes control(ViInt16 type, ViInt16 request, ViUInt16 value, ViUInt16 index, ViUInt16 size,
                ViStatus expected = VI_SUCCESS) {
    Bytes bytes(size);
    ViUInt16 count = 0;
    EXPECT_EQ(QV_viUsbControlIn(handle, type, request, value, index, size, bytes.data(), &count), expected);
    bytes.resize(count);
    return bytes;
  }
  void clearHalt(uint8_t endpoint) {
    ViByte none = 0;
    EXPECT_EQ(QV_viUsbControlOut(handle, 0x02, 1, 0, endpoint, 0, &none), VI_SUCCESS);
  }
  void setTimeout(ViAttrState limit_ms) {
    EXPECT_EQ(QV_viSetAttribute(handle, VI_ATTR_TMO_VALUE, limit_ms), VI_SUCCESS);
  }

  ViSession handle = 0;
  const ViStatus status;
};

class UsbEndToEnd : public testing::Test {
protected:
  ~UsbEndToEnd() override { QV_viClose(rm); }

  /// The default instrument, held by the system's driver, as Linux does with every USBTMC interface.
  static qvsim::UsbDescription withDriver() {
    qvsim::UsbDescription description = qvsim::instrumentDescription();
    description.interfaces[0].kernelDriver = "usbtmc";
    return description;
  }
  /// The resources on USB, in order.
  std::vector<std::string> find() {
    ViFindList list = 0;
    char name[VI_FIND_BUFLEN];
    std::vector<std::string> names;
    for (ViStatus status = QV_viFindRsrc(rm, std::string("USB?*").data(), &list, nullptr, name); status == VI_SUCCESS;
         status = QV_viFindNext(list, name)) {
      names.emplace_back(name);
    }
    QV_viClose(list);
    start();
    return names;
  }
  /// Plugs in the instrument of `kOther`, which has no Interrupt-IN, and waits until the library sees it.
  void plugOther() {
    qvsim::UsbDescription description = qvsim::instrumentDescription();
    description.serial = "B5678";
    description.interfaces = {qvsim::usbtmcInterface(false)};
    usb.plug(description);
    ASSERT_TRUE(eventually([] { return Session(kOther).status == VI_SUCCESS; }));
  }

  qvsim::VirtualUsb usb;
  UsbDevice& device = usb.plug(withDriver());
  const ViSession rm = start();
};

TEST_F(UsbEndToEnd, FindsOpensAsksAndGivesBack) {
  ASSERT_EQ(find(), (std::vector<std::string>{kInstr, kRaw}));
  device.takeLog();
  {
    Session session(kInstr);
    ASSERT_EQ(session.status, VI_SUCCESS);
    EXPECT_EQ(device.driver(0), "usbfs");
    EXPECT_TRUE(device.remoteState().enabled);
    EXPECT_EQ(session.query("*IDN?"), kIdentity);
    EXPECT_TRUE(session.query("DATA:BLOCK? 3001") == "#43001" + qvsim::ScpiInstrument::blockPattern(3001) + '\n');
    EXPECT_EQ(Session(kInstr).status, VI_ERROR_RSRC_NFOUND) << "the interface is taken";
    EXPECT_EQ(Session(kRaw).status, VI_SUCCESS);
  }
  EXPECT_EQ(device.driver(0), "usbtmc");
  EXPECT_EQ(device.remoteState(), RemoteState{});
  using Kind = UsbEvent::Kind;
  std::vector<std::pair<Kind, int>> seen;
  for (const UsbEvent& event : device.takeLog()) {
    if (event.kind >= Kind::claim && event.kind <= Kind::attachDriver) seen.emplace_back(event.kind, event.target);
  }
  const decltype(seen) expected = {{Kind::detachDriver, 0}, {Kind::claim, 0},   {Kind::claim, 1},
                                   {Kind::release, 1},      {Kind::release, 0}, {Kind::attachDriver, 0}};
  EXPECT_EQ(seen, expected);
}

TEST_F(UsbEndToEnd, SurvivesFaultyResponses) {
  const std::tuple<qvsim::ResponseFilter, size_t, int> rows[] = {
      // What is delivered, and the transfers that it comes in.
      {fault::split(1), 24, 2},           {fault::split(20), 24, 2},        {fault::extraBytes(5), 24, 1},
      {fault::transferSize(23), 23, 1},   {fault::wrongTag(), 0, 1},        {fault::wrongTagInverse(), 0, 1},
      {fault::endOfMessageClear(), 0, 1}, {fault::headerByte(10, 1), 0, 1}, {fault::truncated(11), 0, 1}};
  Session session(kInstr);
  for (const auto& [filter, size, transfers] : rows) {
    SCOPED_TRACE(&filter - &std::get<0>(rows[0]));
    device.setResponseFilter(filter);
    session.write("*IDN?");
    device.takeLog();
    EXPECT_EQ(session.read(size ? VI_SUCCESS : VI_ERROR_IO), kIdentity.substr(0, size));
    EXPECT_EQ(std::ranges::count(device.takeLog(), UsbEvent::Kind::in, &UsbEvent::kind), transfers);
    device.setResponseFilter(nullptr);
    EXPECT_EQ(session.query("*IDN?"), kIdentity);
  }
}

TEST_F(UsbEndToEnd, ATimeOutLeavesTheNextQueryWorking) {
  Session session(kInstr);
  session.setTimeout(60);
  device.setResponseFilter(fault::silent());
  device.takeLog();
  EXPECT_EQ(session.write("*IDN?"), VI_SUCCESS);
  const auto start = std::chrono::steady_clock::now();
  session.read(VI_ERROR_TMO);
  EXPECT_GE(std::chrono::steady_clock::now() - start, 60ms);
  std::vector<int> requests;
  for (const UsbEvent& event : device.takeLog()) {
    if (event.kind == UsbEvent::Kind::control) requests.push_back(event.setup.request);
  }
  EXPECT_EQ(requests, (std::vector<int>{3, 4, 1}));
  device.setResponseFilter(nullptr);
  session.setTimeout(60000);
  EXPECT_EQ(session.query("*IDN?"), kIdentity);
}

TEST_F(UsbEndToEnd, StatusByteAndClear) {
  plugOther();
  Session notifying(kInstr), answering(kOther);
  ViUInt16 status = 0xFFFF;
  for (Session* session : {&notifying, &answering}) {
    EXPECT_EQ(session->write("*CLS;*ESE 32;FOO;*TST?"), VI_SUCCESS);
    EXPECT_EQ(QV_viReadSTB(session->handle, &status), VI_SUCCESS);
    EXPECT_EQ(std::exchange(status, 0xFFFF), 0x34);
    EXPECT_EQ(QV_viClear(session->handle), VI_SUCCESS);
    EXPECT_EQ(session->query("SYST:ERR?"), "-113,\"Undefined header\"\n");
  }
  EXPECT_EQ(answering.control(0xA1, 128, 127, 0, 3), (Bytes{1, 127, 0x20}));
  EXPECT_EQ(answering.control(0xA1, 128, 1, 0, 3), (Bytes{0x80, 1, 0})) << "tags are 2 to 127";
  EXPECT_EQ(notifying.query("*CLS;*SRE 16;*OPC?"), "1\n");
  EXPECT_EQ(notifying.control(0xA1, 128, 5, 0, 3), (Bytes{0x20, 5, 0})) << "the service request isn't read yet";
  EXPECT_EQ(QV_viReadSTB(notifying.handle, &status), VI_SUCCESS);
  EXPECT_EQ(status, 0x50) << "of the time of the request";
  device.answerControl({0xA1, 6}, ControlAnswer::reply({2, 0}), 1);
  EXPECT_EQ(QV_viClear(notifying.handle), QVVI_NEEDS_EQUIVALENT);
  EXPECT_EQ(QV_viClear(notifying.handle), VI_SUCCESS);
}

TEST_F(UsbEndToEnd, TwoInstrumentsTalkAtOnce) {
  plugOther();
  Session first(kInstr), second(kOther);
  const auto talk = [](Session& session, const std::string& answer) {
    for (int i = 0; i < 100; ++i) ASSERT_EQ(session.query("*IDN?"), answer);
  };
  std::thread other(talk, std::ref(second), "KESTRIX,SIM-1,B5678,1.0\n");
  talk(first, kIdentity);
  other.join();
}

TEST_F(UsbEndToEnd, RawBytesAndComposedRequests) {
  Session session(kRaw);
  EXPECT_FALSE(device.remoteState().enabled);
  EXPECT_EQ(session.query("hello"), "hello");
  EXPECT_EQ(session.control(0xC0, 9, 1, 2, 10, kStalled), Bytes());
  Bytes sent = {4, 5, 6};
  device.takeLog();
  EXPECT_EQ(QV_viUsbControlOut(session.handle, 0x40, 9, 1, 2, 3, sent.data()), VI_SUCCESS);
  EXPECT_EQ(device.takeLog().at(0).setup, (qvsim::UsbSetup{0x40, 9, 1, 2, 3}));
  EXPECT_EQ(session.control(0xC0, 9, 1, 2, 10), sent);
}

TEST_F(UsbEndToEnd, APulledInstrumentEndsTheRead) {
  Session session(kInstr);
  device.setResponseFilter(fault::silent());
  std::thread puller([this] {
    EXPECT_TRUE(device.waitForTransfers(kBulkIn, 1));
    usb.unplug(device);
  });
  EXPECT_EQ(session.write("*IDN?"), VI_SUCCESS);
  EXPECT_EQ(session.read(VI_SUCCESS_DEV_NPRESENT), "");
  puller.join();
  EXPECT_EQ(session.write("*IDN?"), VI_SUCCESS_DEV_NPRESENT);
  EXPECT_TRUE(eventually([this] { return find().empty(); }));
}

using VirtualUsb = UsbEndToEnd;

TEST_F(VirtualUsb, HasAlternateSettingsAndNoSerialNumber) {
  qvsim::UsbDescription description = qvsim::instrumentDescription();
  description.serial = std::nullopt;
  qvsim::UsbInterface alternate = qvsim::rawInterface();
  alternate.alternate = 1;
  alternate.usbClass = {0xFE, 3, 1};
  description.interfaces = {qvsim::rawInterface(), alternate, qvsim::usbtmcInterface()};
  usb.unplug(device);
  usb.plug(description);
  const std::string raw = "USB0::0x7C5A::0x0042::::0::RAW", instr = "USB0::0x7C5A::0x0042::::INSTR";
  EXPECT_TRUE(eventually([&] { return find() == std::vector{raw, instr}; }));
  EXPECT_EQ(Session(instr).query("*IDN?"), "KESTRIX,SIM-1,0,1.0\n");
}

TEST_F(VirtualUsb, AnswersClassRequests) {
  Session session(kInstr);
  EXPECT_EQ(session.control(0xA1, 7, 0, 0, 24),
            (Bytes{1, 0, 0, 1, 4, 1, 0, 0, 0, 0, 0, 0, 0, 1, 7, 15, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(session.control(0xA1, 64, 0, 0, 1), Bytes{1});
  EXPECT_EQ(session.control(0xA2, 1, 9, kBulkOut, 2), (Bytes{0x80, 9})) << "nothing to abort";
  EXPECT_EQ(session.control(0xA2, 3, 9, kBulkIn, 2), (Bytes{0x80, 9}));
  session.control(0xA1, 99, 0, 0, 1, kStalled);
  session.control(0xA1, 7, 0, 1, 1, kStalled);  // the raw interface knows no USBTMC
  const auto after = [&](ViUInt16 mode) {
    EXPECT_EQ(QV_viGpibControlREN(session.handle, mode), VI_SUCCESS);
    return device.remoteState();
  };
  EXPECT_EQ(after(VI_GPIB_REN_ASSERT), (RemoteState{true, false, false}));
  session.write("*CLS");
  EXPECT_EQ(after(VI_GPIB_REN_ASSERT_LLO), (RemoteState{true, true, true}));
  EXPECT_EQ(after(VI_GPIB_REN_ADDRESS_GTL), (RemoteState{true, false, true}));
  EXPECT_EQ(after(VI_GPIB_REN_DEASSERT), RemoteState{});
}

TEST_F(VirtualUsb, StallsUntilCleared) {
  Session session(kInstr);
  device.haltEndpoint(kBulkOut);
  EXPECT_EQ(session.write("*TST?"), kStalled);
  session.clearHalt(kBulkOut);
  EXPECT_EQ(session.write("*TST?"), VI_SUCCESS);
  device.haltEndpoint(kBulkIn);
  EXPECT_EQ(session.read(kStalled), "");
  session.clearHalt(kBulkIn);
  EXPECT_EQ(QV_viClear(session.handle), VI_SUCCESS);
  EXPECT_EQ(session.query("*IDN?"), kIdentity);
  device.answerControl({0x80, 6, 0x0302}, ControlAnswer::silence());
  session.setTimeout(20);
  session.control(0x80, 6, 0x0302, 0, 10, VI_ERROR_TMO);
}

TEST_F(VirtualUsb, TakesAPartAndAnswersLate) {
  Session session(kInstr);
  device.hold(kBulkOut, 15);
  session.setTimeout(20);
  ViUInt32 count = 0;
  EXPECT_EQ(session.write("*OPC;*TST?", &count), VI_ERROR_TMO);
  EXPECT_EQ(count, 3U) << "behind the header";
  device.letGo(kBulkOut);
  session.setTimeout(60000);
  device.delay(kBulkIn, 60ms);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(session.query("*IDN?"), kIdentity);
  EXPECT_GE(std::chrono::steady_clock::now() - start, 60ms);
}

TEST_F(VirtualUsb, PacketsEndOrOverrunTransfers) {
  Session raw(kRaw);
  raw.setTimeout(20);
  device.send(kRawIn, Bytes(512, 'a'), false);
  EXPECT_EQ(raw.read(VI_ERROR_TMO, 1024), std::string(512, 'a')) << "full packets leave it open";
  device.hold(kRawIn);
  device.send(kRawIn, Bytes(512, 'b'), false);
  EXPECT_EQ(raw.read(VI_ERROR_TMO), "");
  device.letGo(kRawIn);
  raw.setTimeout(60000);
  device.send(kRawIn, Bytes(2, 'c'));
  EXPECT_EQ(raw.read(VI_SUCCESS, 1024), std::string(512, 'b') + "cc");
  device.send(kRawIn, Bytes(30, 'd'));
  raw.read(VI_ERROR_QUEUE_OVERFLOW, 20);
}

TEST_F(VirtualUsb, TakesBackWhatADyingProcessHeld) {
  ChildProcess client([] {
    Session session(kInstr);
    _exit(session.query("*IDN?") == kIdentity ? 0 : 1);
  });
  EXPECT_EQ(client.exitCode(), 0);
  EXPECT_TRUE(eventually([] { return Session(kInstr).status == VI_SUCCESS; }));
}

}  // namespace
