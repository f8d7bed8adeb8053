/// Fuzzes sequences of public operations with hostile handles and arguments on doubles of all three buses. Whatever the
/// caller does, closing all that was opened takes the library down with nothing left.
#include "QVvisaPrivate.h"
#include "doubles.h"
#include "fuzz.h"
#include "osAbstraction.h"
#include "sockets.h"
#include "support/communicationsDouble.h"
#include "support/deviceDatabaseDouble.h"
#include "support/libusbDouble.h"

namespace {

constexpr const char* NAMES[] = {"USB0::0x7C5A::0x0042::SN1::INSTR",
                                 "USB0::0x7C5A::0x0042::SN1::1::RAW",
                                 "USB0::0x7C5A::0x0043::SN2::RAW",
                                 "ASRL3::INSTR",
                                 "COM7::9600",
                                 "TCPIP0::192.0.2.7::5025::SOCKET",
                                 "TCPIP0::nowhere::inst0::INSTR",
                                 "USB0"};
constexpr const char* EXPRESSIONS[] = {"?*", "?*::INSTR", "USB?*RAW", "ASRL?*{VI_ATTR_ASRL_BAUD >= 9600}", "nothing"};
constexpr ViAttr ATTRIBUTES[] = {
    VI_ATTR_TMO_VALUE,         VI_ATTR_TERMCHAR,          VI_ATTR_TERMCHAR_EN,         VI_ATTR_SEND_END_EN,
    VI_ATTR_SUPPRESS_END_EN,   VI_ATTR_IO_PROT,           VI_ATTR_USER_DATA,           VI_ATTR_RSRC_NAME,
    VI_ATTR_RSRC_CLASS,        VI_ATTR_RSRC_LOCK_STATE,   VI_ATTR_INTF_INST_NAME,      VI_ATTR_USB_BULK_IN_PIPE,
    VI_ATTR_USB_BULK_OUT_PIPE, VI_ATTR_USB_INTR_IN_PIPE,  QV_ATTR_USB_INTR_OUT_PIPE,   VI_ATTR_ASRL_BAUD,
    VI_ATTR_ASRL_DATA_BITS,    VI_ATTR_ASRL_PARITY,       VI_ATTR_ASRL_STOP_BITS,      VI_ATTR_ASRL_FLOW_CNTRL,
    VI_ATTR_ASRL_END_IN,       VI_ATTR_ASRL_END_OUT,      VI_ATTR_ASRL_BREAK_STATE,    VI_ATTR_ASRL_BREAK_LEN,
    VI_ATTR_ASRL_REPLACE_CHAR, VI_ATTR_ASRL_DISCARD_NULL, VI_ATTR_ASRL_ALLOW_TRANSMIT, VI_ATTR_ASRL_DTR_STATE,
    VI_ATTR_ASRL_RTS_STATE,    VI_ATTR_ASRL_XON_CHAR,     VI_ATTR_ASRL_XOFF_CHAR,      VI_ATTR_TCPIP_ADDR,
    VI_ATTR_TCPIP_PORT,        QV_ATTR_CLASS_NAME,        QV_ATTR_BUILD_DATE_TIME,     VI_ATTR_MANF_NAME};
constexpr std::size_t MOST_OPERATIONS = 40;

/// The machine of one execution: two USB instruments, two serial ports and a network that answers as the input says.
class Machine : public UsbTest {
public:
  explicit Machine(FuzzedDataProvider& input) : input_(input) {
    bus.add(instrument("SN1", {kUsb488, kHid}));
    bus.add(instrument("SN2", {kHid})).descriptor.idProduct = 0x43;
    if (input.ConsumeBool()) bus.failAt = input.ConsumeIntegralInRange<std::size_t>(0, 120);
    bus.failWith = -input.ConsumeIntegralInRange(1, 13);
    deviceDatabase.devices = {serialPortDevice(3), serialPortDevice(7)};
    for (const int number : {3, 7}) communications.addPort(number).incoming = input.ConsumeRandomLengthString(40);
    if (input.ConsumeBool()) communications.failures[input.PickValueInArray(CALLS)] = EIO;
  }
  ~Machine() override {
    closeAll();
    communications.clear();
    deviceDatabase.clear();
  }
  void TestBody() override {}

  void run() {
    for (std::size_t i = 0; i < MOST_OPERATIONS && input_.remaining_bytes() > 0; ++i) operate();
  }

private:
  static constexpr const char* CALLS[] = {
      "CreateFileA",    "GetCommState",       "SetCommState", "SetCommTimeouts", "GetCommModemStatus",
      "ClearCommError", "EscapeCommFunction", "ReadFile",     "WriteFile",       "CloseHandle"};

  /// A handle: the resource manager's, one that was given out, closed or not, or anything.
  ViObject handle() {
    const auto choice = input_.ConsumeIntegral<uint8_t>();
    if (choice < 8) return QV_DEFAULT_RM_SESSION_HANDLE;
    if (choice < 16 || handles_.empty()) return input_.ConsumeIntegral<ViObject>();
    return handles_[choice % handles_.size()];
  }
  /// Null now and then.
  template <typename T>
  T* optional(T& target) {
    return input_.ConsumeIntegralInRange(0, 15) == 0 ? nullptr : &target;
  }
  template <std::size_t Count>
  std::string text(const char* const (&usual)[Count]) {
    return input_.ConsumeIntegralInRange(0, 7) == 0 ? input_.ConsumeRandomLengthString(300)
                                                    : input_.PickValueInArray(usual);
  }
  void keep(ViObject handle) {
    if (handle != 0 && handle != QV_DEFAULT_RM_SESSION_HANDLE) handles_.push_back(handle);
  }

  void operate() {
    switch (input_.ConsumeIntegralInRange(0, 15)) {
    case 0: {
      ViSession rm = 0;
      QV_viOpenDefaultRM(optional(rm));
      return;
    }
    case 1:
      return find();
    case 2: {
      char desc[VI_FIND_BUFLEN] = "";
      QV_viFindNext(handle(), optional(desc[0]));
      return;
    }
    case 3:
    case 4:
      return open();
    case 5:
      QV_viClose(handle());
      return;
    case 6:
    case 7:
      return setAttribute();
    case 8:
      return getAttribute();
    case 9:
    case 10:
      return transfer(QV_viRead);
    case 11:
      return transfer(QV_viWrite);
    default:
      return rest();
    }
  }

  void find() {
    const ExactText expression(text(EXPRESSIONS));
    ViFindList list = 0;
    ViUInt32 count = 0;
    char desc[VI_FIND_BUFLEN] = "";
    const ViSession rm = input_.ConsumeIntegralInRange(0, 7) == 0 ? handle() : QV_DEFAULT_RM_SESSION_HANDLE;
    const ViStatus status =
        QV_viFindRsrc(rm, optional(*expression.get()), optional(list), optional(count), optional(desc[0]));
    require(ends(desc) && (status == VI_SUCCESS || list == 0), "answer of a search");
    keep(list);
  }

  void open() {
    const ExactText name(text(NAMES));
    ViSession session = 0;
    const ViSession rm = input_.ConsumeIntegralInRange(0, 7) == 0 ? handle() : QV_DEFAULT_RM_SESSION_HANDLE;
    const ViStatus status =
        QV_viOpen(rm, optional(*name.get()), input_.ConsumeIntegralInRange<ViAccessMode>(0, 3), 0, optional(session));
    require((status == VI_SUCCESS) == (session != 0), "handle of an open");
    keep(session);
  }

  ViAttr attribute() {
    return input_.ConsumeIntegralInRange(0, 7) == 0 ? input_.ConsumeIntegral<ViAttr>()
                                                    : input_.PickValueInArray(ATTRIBUTES);
  }
  void setAttribute() {
    const bool isSmall = input_.ConsumeBool();
    const ViAttrState value = isSmall ? input_.ConsumeIntegral<uint8_t>() : input_.ConsumeIntegral<ViAttrState>();
    QV_viSetAttribute(handle(), attribute(), value);
  }
  void getAttribute() {
    char value[MAX_BUF_SIZE_ATTR];
    QV_viGetAttribute(handle(), attribute(), optional(value[0]));
  }

  void transfer(ViStatus (*operation)(ViSession, ViPBuf, ViUInt32, ViPUInt32)) {
    const auto size = input_.ConsumeIntegralInRange<ViUInt32>(0, 4200);
    const std::unique_ptr<ViByte[]> buffer(new ViByte[size]());
    ViUInt32 count = 0;
    operation(handle(), input_.ConsumeIntegralInRange(0, 15) == 0 ? nullptr : buffer.get(), size, optional(count));
    require(count <= size, "count of a transfer");
  }

  void rest() {
    ViUInt16 word = 0;
    char desc[MAX_STATUS_DESCRIPTION] = "";
    switch (input_.ConsumeIntegralInRange(0, 6)) {
    case 0:
      QV_viReadSTB(handle(), optional(word));
      return;
    case 1:
      QV_viClear(handle());
      return;
    case 2:
      QV_viFlush(handle(), word);
      return;
    case 3:
      QV_viGpibControlREN(handle(), input_.ConsumeIntegralInRange<ViUInt16>(0, 8));
      return;
    case 4:
      QV_viStatusDesc(handle(), input_.ConsumeIntegral<ViStatus>(), optional(desc[0]));
      return require(ends(desc), "description");
    default:
      return control();
    }
  }

  void control() {
    const auto size = input_.ConsumeIntegralInRange<ViUInt16>(0, 300);
    const std::unique_ptr<ViByte[]> buffer(new ViByte[size]());
    const auto type = input_.ConsumeIntegral<ViInt16>(), request = input_.ConsumeIntegral<ViInt16>();
    ViUInt16 count = 0;
    if (input_.ConsumeBool()) {
      QV_viUsbControlIn(handle(), type, request, 0, 0, size, buffer.get(), optional(count));
    } else {
      QV_viUsbControlOut(handle(), type, request, 0, 0, size, buffer.get());
    }
    require(count <= size, "count of a control request");
  }

  void closeAll() {
    for (const ViObject handle : handles_) QV_viClose(handle);
    QV_viClose(QV_DEFAULT_RM_SESSION_HANDLE);
    require(gpQvvisa == nullptr, "the library is still up");
  }

  FuzzedDataProvider& input_;
  std::vector<ViObject> handles_;
};

FuzzedDataProvider* network = nullptr;

/// How far a transfer gets, or that it fails.
int moved(int length) {
  return network->ConsumeIntegralInRange(-1, length);
}

}  // namespace

// One process, and no other that could hold the start mutex.
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the linker sends the library's calls here
bool __wrap_OS_constructMutex(MutexData*, MutexHandle* handle, const char*) {
  static int mutex;
  *handle = &mutex;
  return true;
}
void __wrap_OS_destructMutex(MutexHandle) {}
MutexResult __wrap_OS_lockMutex(MutexHandle, uint32_t) {
  return MUTEX_TOOK;
}
bool __wrap_OS_unlockMutex(MutexHandle) {
  return true;
}
// NOLINTEND
}

int winsock::WSAStartup(WORD, WSADATA*) {
  return 0;
}
int winsock::WSACleanup() {
  return 0;
}
int winsock::WSAGetLastError() {
  return ECONNREFUSED;
}
int winsock::WSAAddressToStringA(sockaddr*, DWORD, const void*, char* text, DWORD* size) {
  return std::snprintf(text, *size, "192.0.2.7") > 0 ? 0 : -1;
}
int winsock::socket(int, int, int) {
  return network->ConsumeBool() ? 7 : -1;
}
int winsock::closesocket(int s) {
  return s == 7 ? 0 : -1;
}
int winsock::connect(int, const sockaddr*, int) {
  return network->ConsumeBool() ? 0 : -1;
}
int winsock::send(int, const char*, int length, int) {
  return moved(length);
}
int winsock::recv(int, char* buffer, int length, int) {
  const int received = moved(length);
  if (received > 0) std::fill_n(buffer, received, 'r');
  return received;
}
int winsock::getsockopt(int, int, int, char* value, int*) {
  std::fill_n(value, 4, '\1');
  return network->ConsumeBool() ? 0 : -1;
}
int winsock::setsockopt(int, int, int, const char*, int) {
  return network->ConsumeBool() ? 0 : -1;
}
int winsock::getaddrinfo(const char*, const char*, const addrinfo*, addrinfo** list) {
  static sockaddr_in address = {AF_INET, 0, {}, {}};
  static addrinfo info = {
      0, AF_INET, SOCK_STREAM, IPPROTO_TCP, sizeof address, reinterpret_cast<sockaddr*>(&address), nullptr, nullptr};
  *list = &info;
  return network->ConsumeBool() ? 0 : EAI_NONAME;
}
void winsock::freeaddrinfo(addrinfo*) {}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  network = &input;
  Machine machine(input);
  ViSession rm = 0;
  require(QV_viOpenDefaultRM(&rm) == VI_SUCCESS, "start");
  machine.run();
  return 0;
}
