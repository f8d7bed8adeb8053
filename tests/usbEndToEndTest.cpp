/// Sessions on virtual USB instruments, good and bad, through the public operations and the real libusb.
#include "QVvisa.h"
#include "support/childProcess.h"
#include "support/startLibrary.h"
#include "support/testing.h"
#include "support/toolProcess.h"
#include "virtualUsb.h"

#include <filesystem>
#include <future>

namespace {

namespace endpoint = qvsim::endpoint;
using qvsim::Bytes;
using qvsim::UsbFate;
using qvsim::UsbTransfer;

constexpr char kInstr[] = "USB0::0x7C5A::0x0042::A1234::INSTR", kOther[] = "USB0::0x7C5A::0x0042::B5678::INSTR";
constexpr char kRaw[] = "USB0::0x7C5A::0x0042::A1234::1::RAW";
const std::string kIdentity = "KESTRIX,SIM-1,A1234,1.0\n";
constexpr int kRemote = 160, kGoToLocal = 161;  // requests of USB488
constexpr ViStatus kStalled = QVVI_ERR_CTL_TRANSFER_STALLED;

/// A session for the length of a block; starts the library where the close of the last session took it down.
class Session : NonCopyable {
public:
  explicit Session(std::string name) : status(QV_viOpen(start(), name.data(), VI_NO_LOCK, 0, &handle)) {
    if (handle != 0) setTimeout(60000);
  }
  ~Session() {
    if (handle != 0) {
      EXPECT_EQ(QV_viClose(handle), VI_SUCCESS);
    }
  }

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

/// The tool on the virtual devices. Programs with AddressSanitizer want its library in front of a preloaded one.
ToolProcess tool(const std::string& command, const std::string& resource = "", const std::string& wrapper = "") {
  return ToolProcess("LD_PRELOAD=libumockdev-preload.so.0 ASAN_OPTIONS=verify_asan_link_order=0 exec " + wrapper +
                         " " QVVISA_TOOL " " + command,
                     {resource});
}

class UsbEndToEnd : public testing::Test {
protected:
  ~UsbEndToEnd() override { QV_viClose(rm); }

  /// A hook for one transfer on an endpoint; serves all others.
  static qvsim::UsbDevice::Hook once(uint8_t address, UsbFate fate) {
    return [address, fate, done = false](const UsbTransfer& transfer) mutable {
      return transfer.endpoint == address && !std::exchange(done, true) ? fate : UsbFate::served;
    };
  }
  /// Has the device keep the control requests that aren't for descriptors, and whatever else a hook does.
  void watch(const qvsim::UsbDevice::Hook& hook = nullptr) {
    device.setHook([this, hook](const UsbTransfer& transfer) {
      constexpr int getDescriptor = 6;
      if (!transfer.endpoint && transfer.setup.request != getDescriptor) requests.push_back(transfer.setup);
      return hook ? hook(transfer) : UsbFate::served;
    });
  }
  /// Request and value of each; the device is on its own again.
  std::vector<std::pair<int, int>> takeRequests() {
    device.setHook(nullptr);
    std::vector<std::pair<int, int>> taken;
    for (const qvsim::UsbSetup& setup : std::exchange(requests, {})) taken.emplace_back(setup.request, setup.value);
    return taken;
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
    usb.plug({.serial = "B5678", .interruptIn = false});
    ASSERT_TRUE(eventually([] { return Session(kOther).status == VI_SUCCESS; }));
  }

  qvsim::VirtualUsb usb;
  // Held by the system's driver, as Linux does with every USBTMC interface.
  qvsim::UsbDevice& device = usb.plug({.kernelDriver = "usbtmc"});
  std::vector<qvsim::UsbSetup> requests;
  const ViSession rm = start();
};

TEST_F(UsbEndToEnd, FindsOpensAsksAndGivesBack) {
  ASSERT_EQ(find(), (std::vector<std::string>{kInstr, kRaw}));
  EXPECT_EQ(device.driver(0), "usbtmc");
  watch();
  {
    Session session(kInstr);
    ASSERT_EQ(session.status, VI_SUCCESS);
    EXPECT_EQ(device.driver(0), "usbfs");
    EXPECT_EQ(takeRequests(), (std::vector<std::pair<int, int>>{{kRemote, 1}}));
    device.setHook(once(endpoint::bulkIn, UsbFate::split));
    EXPECT_EQ(session.query("*IDN?"), kIdentity);
    EXPECT_TRUE(session.query("DATA:BLOCK? 3001") == "#43001" + qvsim::ScpiInstrument::blockPattern(3001) + '\n');
    EXPECT_EQ(Session(kInstr).status, VI_ERROR_RSRC_NFOUND) << "the interface is taken";
    EXPECT_EQ(device.driver(1), "");
    Session raw(kRaw);
    EXPECT_EQ(device.driver(1), "usbfs");
    EXPECT_EQ(session.query("*IDN?"), kIdentity);
    watch();
  }
  EXPECT_EQ(takeRequests(), (std::vector<std::pair<int, int>>{{kGoToLocal, 0}, {kRemote, 0}}));
  EXPECT_EQ(device.driver(0), "usbtmc");
  EXPECT_EQ(device.driver(1), "");
}

TEST_F(UsbEndToEnd, AResponseArrivesWholeOrNotAtAll) {
  Session session(kInstr);
  const auto ask = [&session](size_t length, ViStatus expected) {
    const std::string frame = "#4xxxx\n";
    EXPECT_EQ(session.write("DATA:BLOCK? " + std::to_string(length - frame.size())), VI_SUCCESS);
    EXPECT_EQ(session.read(expected).size(), expected == VI_SUCCESS ? length : 0) << length;
  };
  ask(2036, VI_SUCCESS);
  for (const size_t padded : {2037, 2039, 3059}) ask(padded, VI_ERROR_IO);
  for (const size_t unpadded : {2040, 3060}) ask(unpadded, VI_SUCCESS);
  ask(3064, VI_ERROR_IO);
  for (int i = 0; i < 3; ++i) ask(2000, VI_ERROR_IO);  // what stays behind is met by the next read, and so on
  EXPECT_EQ(QV_viClear(session.handle), VI_SUCCESS);
  ask(2000, VI_SUCCESS);
}

TEST_F(UsbEndToEnd, ATimeOutLeavesTheNextQueryWorking) {
  Session session(kInstr);
  session.setTimeout(60);
  EXPECT_EQ(session.write("*IDN?"), VI_SUCCESS);
  watch(once(endpoint::bulkIn, UsbFate::silent));
  expectNotShorter(60, [&] { session.read(VI_ERROR_TMO); });
  constexpr int initiateAbort = 3, checkAbort = 4, clearFeature = 1;
  const auto sent = takeRequests();
  ASSERT_EQ(sent.size(), 3U);
  EXPECT_EQ(sent[0].first, initiateAbort);
  EXPECT_EQ(sent[1].first, checkAbort);
  EXPECT_EQ(sent[2].first, clearFeature);
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
  EXPECT_EQ(QV_viClear(notifying.handle), VI_SUCCESS);
}

TEST_F(UsbEndToEnd, TheToolsClearEndsTheHaltOfTheEndpoint) {
  device.setHook(once(endpoint::bulkOut, UsbFate::stalled));
  EXPECT_EQ(Session(kInstr).write("*TST?"), kStalled);
  EXPECT_EQ(Session(kInstr).write("*TST?"), kStalled);
  ToolProcess clear = tool("clear $1", kInstr);
  EXPECT_EQ(clear.wait(), 0) << clear.error();
  EXPECT_EQ(Session(kInstr).query("*IDN?"), kIdentity);
}

TEST_F(UsbEndToEnd, TheDoctorFindsWhatStopsAndGivesTheDriverBack) {
  // Root may use any node, but for its capabilities.
  const std::string asOneself = geteuid() == 0 ? "setpriv --bounding-set=-all" : "";
  const std::string name = "USB 0x7C5A::0x0042", node = usb.directory() + "/dev/bus/usb/001/002";
  const std::string interface = name + "::A1234 interface 0 (USBTMC): ";
  const auto expectDiagnosis = [](const std::string& command, const std::string& wrapper, int exitStatus,
                                  const std::string& words) {
    ToolProcess doctor = tool("doctor " + command, kInstr, wrapper);
    EXPECT_EQ(doctor.wait(), exitStatus) << doctor.error();
    EXPECT_PRED_FORMAT2(testing::IsSubstring, words, doctor.output());
  };
  std::filesystem::create_directories(usb.directory() + "/sys/bus/usb/drivers/usbtmc");
  expectDiagnosis("", "", 0, "ok    " + interface + "held by the kernel's driver");
  expectDiagnosis("$1", "", 0, "ok    *IDN?: " + kIdentity);
  {
    const Session session(kInstr);
    expectDiagnosis("$1", "", 1, "MEND  " + interface + "in use by usbEndToEndTest (process ");
  }
  std::filesystem::permissions(node, std::filesystem::perms::none);
  expectDiagnosis("", asOneself, 1, "MEND  " + name + ": no permission for /dev/bus/usb/001/002");
  std::filesystem::permissions(node, std::filesystem::perms::all);
  ChildProcess victim([] {
    const Session session(kInstr);
    raise(SIGKILL);
  });
  EXPECT_EQ(victim.signal(), SIGKILL);
  ASSERT_TRUE(eventually([this] { return device.driver(0).empty(); }));
  expectDiagnosis("", "", 1, "MEND  " + interface + "left without the kernel's driver");
  expectDiagnosis("--repair", "", 0, "ok    " + interface + "given back to the kernel's driver");
  EXPECT_EQ(device.driver(0), "usbtmc");
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

TEST_F(UsbEndToEnd, ASessionStaysWholeWithThreadsOnIt) {
  auto session = std::make_unique<Session>(kInstr);
  const ViSession vi = session->handle;
  std::atomic<bool> isDone{false};
  const auto setAndAsk = [&](ViAttrState value) {
    ViUInt16 status = 0;
    char text[MAX_BUF_SIZE_ATTR];
    while (!isDone) {
      session->setTimeout(60000 + value);
      EXPECT_EQ(QV_viSetAttribute(vi, VI_ATTR_USB_BULK_IN_PIPE, endpoint::bulkIn), VI_SUCCESS);
      EXPECT_EQ(QV_viGetAttribute(vi, VI_ATTR_TMO_VALUE, text), VI_SUCCESS);
      EXPECT_EQ(QV_viGpibControlREN(vi, VI_GPIB_REN_ASSERT), VI_SUCCESS);
      // Two threads might take each other's notification.
      EXPECT_EQ(value == 1 ? QV_viReadSTB(vi, &status) : VI_SUCCESS, VI_SUCCESS);
    }
  };
  {
    const std::jthread setters[] = {std::jthread(setAndAsk, 1), std::jthread(setAndAsk, 2)};
    for (int i = 0; i < 30; ++i) EXPECT_EQ(session->query("*IDN?"), kIdentity);
    isDone = true;
  }
  // Bytes of a message may reach another thread; nothing else may come of it.
  std::atomic<int> talks{0};
  const auto talk = [&] {
    std::string bytes(100, 0);
    for (ViStatus status = 0; status != VI_ERROR_INV_OBJECT && status != VI_ERROR_SYSTEM_ERROR;) {
      status = QV_viWrite(vi, reinterpret_cast<ViBuf>(std::string("*IDN?").data()), 5, nullptr);
      QV_viRead(vi, reinterpret_cast<ViPBuf>(bytes.data()), 100, nullptr);
      ++talks;
    }
  };
  session->setTimeout(20);
  const std::jthread talkers[] = {std::jthread(talk), std::jthread(talk)};
  EXPECT_TRUE(eventually([&] { return talks >= 10; }));
  session.reset();
}

TEST_F(UsbEndToEnd, RawBytesAndComposedRequests) {
  watch();
  Session session(kRaw);
  EXPECT_EQ(session.query("hello"), "hello");
  EXPECT_EQ(session.control(0xC0, 9, 1, 2, 10, kStalled), Bytes());
  Bytes sent = {4, 5, 6};
  EXPECT_EQ(QV_viUsbControlOut(session.handle, 0x40, 9, 1, 2, 3, sent.data()), VI_SUCCESS);
  EXPECT_EQ(session.control(0xC0, 9, 1, 2, 10), sent);
  device.setHook(nullptr);
  EXPECT_EQ(requests, (std::vector<qvsim::UsbSetup>{{0xC0, 9, 1, 2, 10}, {0x40, 9, 1, 2, 3}, {0xC0, 9, 1, 2, 10}}));
}

TEST_F(UsbEndToEnd, APulledInstrumentEndsTheRead) {
  Session session(kInstr);
  std::promise<void> reading;
  device.setHook([&](const UsbTransfer& transfer) {
    if (transfer.endpoint != endpoint::bulkIn) return UsbFate::served;
    reading.set_value();
    return UsbFate::silent;
  });
  std::thread puller([&] {
    reading.get_future().wait();
    usb.unplug(device);
  });
  EXPECT_EQ(session.write("*IDN?"), VI_SUCCESS);
  EXPECT_EQ(session.read(VI_SUCCESS_DEV_NPRESENT), "");
  puller.join();
  EXPECT_EQ(session.write("*IDN?"), VI_SUCCESS_DEV_NPRESENT);
  EXPECT_TRUE(eventually([this] { return find().empty(); }));
}

TEST_F(UsbEndToEnd, AnInstrumentThatGoesDuringAWriteEndsIt) {
  Session session(kInstr);
  device.setHook(once(endpoint::bulkOut, UsbFate::gone));
  EXPECT_EQ(session.write("*IDN?"), VI_SUCCESS_DEV_NPRESENT);
  EXPECT_EQ(session.read(VI_SUCCESS_DEV_NPRESENT), "");
}

using VirtualUsb = UsbEndToEnd;

TEST_F(VirtualUsb, StallsUntilCleared) {
  Session session(kInstr);
  device.setHook(once(endpoint::bulkOut, UsbFate::stalled));
  EXPECT_EQ(session.write("*TST?"), kStalled);
  EXPECT_EQ(session.write("*TST?"), kStalled);
  session.clearHalt(endpoint::bulkOut);
  EXPECT_EQ(session.write("*TST?"), VI_SUCCESS);
  device.setHook(once(endpoint::bulkIn, UsbFate::stalled));
  EXPECT_EQ(session.read(kStalled), "");
  session.clearHalt(endpoint::bulkIn);
  EXPECT_EQ(QV_viClear(session.handle), VI_SUCCESS);
  EXPECT_EQ(session.query("*IDN?"), kIdentity);
  device.setHook(once(0, UsbFate::silent));
  session.setTimeout(20);
  session.control(0x80, 6, 0x0302, 0, 10, VI_ERROR_TMO);
}

TEST_F(VirtualUsb, PacketsEndOrOverrunTransfers) {
  Session raw(kRaw);
  raw.setTimeout(20);
  EXPECT_EQ(raw.write(std::string(512, 'a')), VI_SUCCESS);
  EXPECT_EQ(raw.read(VI_ERROR_TMO, 1024), std::string(512, 'a')) << "full packets leave it open";
  raw.setTimeout(60000);
  EXPECT_EQ(raw.write(std::string(512, 'b')), VI_SUCCESS);
  EXPECT_EQ(raw.write("cc"), VI_SUCCESS);
  EXPECT_EQ(raw.read(VI_SUCCESS, 1024), std::string(512, 'b') + "cc");
  EXPECT_EQ(raw.write(std::string(30, 'd')), VI_SUCCESS);
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
