// Serial sessions over communications calls and a device database of the test's making: names, opening, attributes, and
// what a port refuses. How bytes move on a real line is tested on pseudo terminals.

#include "QVvisa.h"
#include "QVvisaAsrl.h"
#include "QVvisaPrivate.h"
#include "support/communicationsDouble.h"
#include "support/deviceDatabaseDouble.h"
#include "support/startLibrary.h"
#include "support/testing.h"

namespace {

constexpr ViUInt32 kDefaultRate = 115200;

using Attributes = std::vector<ViAttr>;
using Values = std::vector<int>;

TEST(SerialNames, AreReadAsTheGrammarSays) {
  const auto parse = [](std::string name, int port, ViUInt32 rate, ViStatus status = VI_SUCCESS) {
    QVvisa_asrl_device_t* device = nullptr;
    ASSERT_EQ(QVvisa_initAsrlDevListElem(&device), VI_SUCCESS);
    EXPECT_EQ(QVvisa_OpenHelperParseNameAsrl(name.data(), device), status) << name;
    EXPECT_EQ(device->comPort, port) << name;
    EXPECT_EQ(device->asrlBaudrate, rate) << name;
    QVvisa_closeAsrlDevListElem(&device);
  };
  for (const auto& [name, port] : {std::pair{"ASRL3::INSTR", 3},
                                   {"COM3::INSTR", 3},
                                   {"COM 3::", 3},
                                   {"COM-3", -3},
                                   {"ASRL3::9600::INSTR", 3},
                                   {"xASRL12y::INSTR", 12},
                                   {"ASRL3::COM5", 5}}) {
    parse(name, port, kDefaultRate);
  }
  parse("COM3::9600::INSTR", 3, 9600);
  parse("TCPIP0::HOST.COM7::5025::SOCKET", 7, 5025);
  parse("COM3::99999999999", 3, kDefaultRate, VI_ERROR_INV_RSRC_NAME);
  for (const char* name : {"TCPIP0::HOST.COM::5025::SOCKET", "ASRL3", "ASRL::INSTR", "ASRL3::INSTR::", "asrl3::INSTR",
                           "ASRL3::instr", "COM2147483648"}) {
    parse(name, -1, kDefaultRate, VI_ERROR_INV_RSRC_NAME);
  }
}

/// A machine with the ports 3, 7 and 12, which discovery lists in the order 3, 12, 7.
class SerialSession : public testing::Test {
protected:
  SerialSession() { deviceDatabase.devices = {serialPortDevice(3), serialPortDevice(7), serialPortDevice(12)}; }
  ~SerialSession() override {
    QVvisa_closeLibrary();
    communications.clear();
    deviceDatabase.clear();
  }

  ViStatus open(std::string name, ViSession* vi) { return QV_viOpen(rm_, name.data(), VI_NO_LOCK, 0, vi); }
  void open(const std::string& name = "ASRL3::INSTR") { ASSERT_EQ(open(name, &vi_), VI_SUCCESS); }

  template <typename Value>
  Value get(ViAttr attr) {
    Value value{};
    EXPECT_EQ(QV_viGetAttribute(vi_, attr, &value), VI_SUCCESS) << std::hex << attr;
    return value;
  }
  /// Attributes of 16 bits.
  Values values(const Attributes& attributes) {
    Values result;
    for (ViAttr attr : attributes) result.push_back(get<ViInt16>(attr));
    return result;
  }
  ViStatus set(ViAttr attr, ViAttrState value) { return QV_viSetAttribute(vi_, attr, value); }
  void expectTimeouts(const COMMTIMEOUTS& expected) {
    EXPECT_EQ(std::memcmp(&line_.timeouts, &expected, sizeof expected), 0) << line_.timeouts.ReadIntervalTimeout;
  }

  PortDouble& line_ = communications.addPort(3);
  PortDouble& lastLine_ = communications.addPort(7);
  ViSession rm_ = start();
  ViSession vi_ = 0;
};

TEST_F(SerialSession, OpensWithItsRateAndItsOwnTimeLimits) {
  line_.settings.Parity = EVENPARITY;
  line_.settings.ByteSize = 7;
  DCB expected = line_.settings;
  expected.BaudRate = kDefaultRate;
  open();
  EXPECT_EQ(std::memcmp(&line_.settings, &expected, sizeof expected), 0) << "nothing but the rate is set";
  expectTimeouts({1000, 1, 1000, 1, 1000});
  EXPECT_EQ(get<ViUInt32>(VI_ATTR_TMO_VALUE), 3000U);
  ViSession second = 0;
  EXPECT_EQ(open("ASRL7::INSTR", &second), VI_SUCCESS);
  EXPECT_EQ(open("ASRL7::INSTR", &second), VI_ERROR_SYSTEM_ERROR) << "a port is exclusive";
  EXPECT_EQ(QV_viClose(vi_), VI_SUCCESS);
  EXPECT_FALSE(line_.isOpen);
  // A rate that the port refuses doesn't fail the open.
  line_.accepts = [](const DCB&) { return false; };
  open("COM3::250000");
  EXPECT_EQ(get<ViUInt32>(VI_ATTR_ASRL_BAUD), kDefaultRate);
}

TEST_F(SerialSession, OpensWholeOrNotAtAll) {
  ViSession vi = 0x55;
  for (const char* call : {"CreateFileA", "GetCommState", "GetCommProperties", "GetCommTimeouts", "SetCommTimeouts"}) {
    communications.failures = {{call, 13}, {"CloseHandle", 9}};
    EXPECT_EQ(open("ASRL7::INSTR", &vi), VI_ERROR_SYSTEM_ERROR) << call;
    EXPECT_FALSE(lastLine_.isOpen) << call;
    // Only the last port of the list has its status told.
    for (const char* name : {"ASRL3::INSTR", "ASRL8::INSTR"}) EXPECT_EQ(open(name, &vi), VI_ERROR_RSRC_NFOUND) << name;
  }
  communications.failures.clear();
  deviceDatabase.broken = true;
  EXPECT_EQ(open("ASRL3::INSTR", &vi), VI_ERROR_RSRC_NFOUND);
  deviceDatabase.broken = false;
  deviceDatabase.devices.push_back(serialPortDevice(1001));
  std::rotate(deviceDatabase.devices.begin() + 1, deviceDatabase.devices.end() - 1, deviceDatabase.devices.end());
  EXPECT_EQ(open("COM1001", &vi), VI_ERROR_INV_PARAMETER) << "listed, but above the range that can be opened";
  EXPECT_EQ(vi, 0x55U);
}

TEST_F(SerialSession, ListsPortsInRingOrderWithTheIdsOfTheirAdapters) {
  QVvisa_devIntfListAsrl_t* list = nullptr;
  ASSERT_EQ(QVvisa_GetAllDevIntfAsrl(&list), VI_SUCCESS);
  ASSERT_EQ(QVvisa_GetAllDevIntfAsrl(&list), VI_SUCCESS) << "a second listing is appended";
  ASSERT_EQ(list->numDevIntfAsrl, 6);
  const QVvisa_devIntfAsrl_t* entry = list->intfAsrl;
  for (const int port : {3, 12, 7, 3, 12, 7}) {
    EXPECT_EQ((Values{entry->comPort, entry->baudRate, entry->vid, entry->pid}),
              (Values{port, 115200, 0x1234, 0x5678}));
    ++entry;
  }
  QVvisa_closeDevIntfListElemAsrl(&list);
  deviceDatabase.devices.clear();
  EXPECT_EQ(QVvisa_GetAllDevIntfAsrl(&list), VI_ERROR_RSRC_NFOUND);
  EXPECT_EQ(list, nullptr);
}

TEST_F(SerialSession, AFreshSessionReadsItsDefaults) {
  open();
  EXPECT_EQ(
      values({VI_ATTR_INTF_TYPE, VI_ATTR_IO_PROT, VI_ATTR_ASRL_DATA_BITS, VI_ATTR_ASRL_PARITY, VI_ATTR_ASRL_STOP_BITS,
              VI_ATTR_ASRL_FLOW_CNTRL, VI_ATTR_ASRL_END_IN, VI_ATTR_ASRL_END_OUT, VI_ATTR_TERMCHAR_EN,
              VI_ATTR_SEND_END_EN, VI_ATTR_SUPPRESS_END_EN, VI_ATTR_ASRL_BREAK_LEN, VI_ATTR_ASRL_WIRE_MODE}),
      (Values{VI_INTF_ASRL, VI_PROT_NORMAL, 8, VI_ASRL_PAR_NONE, VI_ASRL_STOP_ONE, VI_ASRL_FLOW_NONE,
              VI_ASRL_END_TERMCHAR, VI_ASRL_END_NONE, VI_FALSE, VI_TRUE, VI_FALSE, 250, 128}));
  EXPECT_EQ(get<ViUInt8>(VI_ATTR_TERMCHAR), 0x0A);
  EXPECT_EQ(get<ViUInt8>(VI_ATTR_ASRL_REPLACE_CHAR), 0);
  char name[MAX_BUF_SIZE_ATTR];
  EXPECT_EQ(QV_viGetAttribute(vi_, VI_ATTR_INTF_INST_NAME, name), VI_SUCCESS);
  for (ViAttr attr : {VI_ATTR_ASRL_CONNECTED, VI_ATTR_ASRL_BREAK_STATE, VI_ATTR_USB_CLASS}) {
    EXPECT_EQ(QV_viGetAttribute(vi_, attr, name), VI_ERROR_NSUP_ATTR) << std::hex << attr;
  }
  EXPECT_STREQ(name, "ASRL3  (COM3 - USB Serial Port)");
}

TEST_F(SerialSession, SetsWhatAnAttributeTakesAndRefusesTheRest) {
  open();
  constexpr ViStatus kNoState = VI_ERROR_NSUP_ATTR_STATE;
  constexpr ViStatus kNoMode = VI_ERROR_NSUP_MODE;
  constexpr ViStatus kFailed = VI_ERROR_SYSTEM_ERROR;
  constexpr ViStatus kReadOnly = VI_ERROR_ATTR_READONLY;
  struct Attempt {
    ViAttrState value;
    int readBack;  ///< low 16 bits
    ViStatus status = VI_SUCCESS;
  };
  const std::pair<ViAttr, std::vector<Attempt>> cases[] = {
      {VI_ATTR_IO_PROT, {{4, 4}, {0x10001, 1}, {5, 1, kNoState}}},
      {VI_ATTR_ASRL_BAUD, {{19200, 19200}, {0x80000000, 19200}}},
      {VI_ATTR_ASRL_DATA_BITS, {{5, 5}, {8, 8}, {7, 7}, {9, 9, kFailed}, {0x80000000, 9, kFailed}}},
      {VI_ATTR_ASRL_PARITY, {{VI_ASRL_PAR_SPACE, 4}, {5, 4, kNoMode}, {0xFFFFFFFF, 4}}},
      {VI_ATTR_ASRL_STOP_BITS, {{20, 20}, {15, 15}, {2, 15, kNoMode}, {11, 15, kNoMode}}},
      {VI_ATTR_ASRL_END_IN, {{VI_ASRL_END_BREAK, 2, kNoMode}, {VI_ASRL_END_LAST_BIT, 1}}},
      {VI_ATTR_ASRL_END_OUT, {{VI_ASRL_END_BREAK, 3}, {4, 3, kNoMode}, {0x10001, 3, kNoMode}}},
      {VI_ATTR_ASRL_BREAK_LEN, {{1, 1}, {500, 500}, {0, 500, kNoState}, {501, 500, kNoState}, {0x8000, 500, kNoState}}},
      {VI_ATTR_TERMCHAR_EN, {{0x10000, VI_TRUE}}},
      {VI_ATTR_ASRL_DISCARD_NULL, {{0x10000, VI_FALSE}, {5, VI_TRUE}}},
      {VI_ATTR_ASRL_WIRE_MODE, {{128, 128, kReadOnly}}},
      {VI_ATTR_INTF_TYPE, {{4, 4, kReadOnly}}},
  };
  for (const auto& [attr, attempts] : cases) {
    for (const auto& attempt : attempts) {
      EXPECT_EQ(set(attr, attempt.value), attempt.status) << std::hex << attr << " " << attempt.value;
      ViUInt32 value = 0;
      EXPECT_EQ(QV_viGetAttribute(vi_, attr, &value), VI_SUCCESS);
      EXPECT_EQ(static_cast<int>(value & 0xFFFF), attempt.readBack) << std::hex << attr << " " << attempt.value;
    }
  }
  EXPECT_EQ((Values{line_.settings.StopBits, line_.settings.Parity}), (Values{ONE5STOPBITS, SPACEPARITY}));
  for (ViAttr attr : {VI_ATTR_ASRL_AVAIL_NUM, VI_ATTR_ASRL_CTS_STATE, VI_ATTR_ASRL_DCD_STATE, VI_ATTR_ASRL_DSR_STATE,
                      VI_ATTR_ASRL_RI_STATE, VI_ATTR_INTF_INST_NAME}) {
    EXPECT_EQ(set(attr, 0), VI_ERROR_ATTR_READONLY) << std::hex << attr;
  }
  EXPECT_EQ(set(VI_ATTR_ASRL_CONNECTED, 0), VI_ERROR_NSUP_ATTR);
}

TEST_F(SerialSession, TheTimeLimitGoesToBothDirectionsUnlessItsTopBitIsSet) {
  open();
  for (const auto& [value, timeouts] :
       std::vector<std::pair<ViAttrState, COMMTIMEOUTS>>{{250, {250, 1, 250, 1, 250}},
                                                         {VI_TMO_INFINITE, {250, 1, 250, 1, 250}},
                                                         {VI_TMO_IMMEDIATE, {MAXDWORD, 0, 0, 1, 0}}}) {
    EXPECT_EQ(set(VI_ATTR_TMO_VALUE, value), VI_SUCCESS);
    expectTimeouts(timeouts);
    EXPECT_EQ(get<ViUInt32>(VI_ATTR_TMO_VALUE), value);
  }
  communications.failures["SetCommTimeouts"] = 5;
  EXPECT_EQ(set(VI_ATTR_TMO_VALUE, 77), VI_ERROR_SYSTEM_ERROR);
  EXPECT_EQ(get<ViUInt32>(VI_ATTR_TMO_VALUE), 77U) << "stored first";
}

TEST_F(SerialSession, FlowControlPicksTheHandshakeOfBothLinePairs) {
  open();
  const DCB& dcb = line_.settings;
  for (const auto& [value, expected] : std::vector<std::pair<ViUInt16, std::vector<DWORD>>>{
           {2, {1, 0, 2, 0}}, {4, {0, 1, 0, 2}}, {6, {1, 1, 2, 2}}, {0, {0, 0, 0, 0}}}) {
    EXPECT_EQ(set(VI_ATTR_ASRL_FLOW_CNTRL, value), VI_SUCCESS);
    EXPECT_EQ((std::vector<DWORD>{dcb.fOutxCtsFlow, dcb.fOutxDsrFlow, dcb.fRtsControl, dcb.fDtrControl}), expected);
    EXPECT_EQ(get<ViUInt16>(VI_ATTR_ASRL_FLOW_CNTRL), value);
  }
  for (ViAttrState value : {1U, 3U, 5U, 7U, 8U}) {
    EXPECT_EQ(set(VI_ATTR_ASRL_FLOW_CNTRL, value), VI_ERROR_NSUP_MODE);
  }
  line_.accepts = [](const DCB&) { return false; };
  EXPECT_EQ(set(VI_ATTR_ASRL_FLOW_CNTRL, 2), VI_ERROR_SYSTEM_ERROR);
  EXPECT_EQ(get<ViUInt16>(VI_ATTR_ASRL_FLOW_CNTRL), 0) << "a refused value isn't stored";
}

TEST_F(SerialSession, LinesAreAskedOfThePort) {
  open();
  line_.incoming = "abc";
  EXPECT_EQ(get<ViUInt32>(VI_ATTR_ASRL_AVAIL_NUM), 3U);
  for (const bool isHeld : {false, true}) {
    line_.xoffHold = isHeld;
    EXPECT_EQ(get<ViBoolean>(VI_ATTR_ASRL_ALLOW_TRANSMIT), isHeld ? VI_FALSE : VI_TRUE);
  }
  for (const DWORD bit : {MS_CTS_ON, MS_DSR_ON, MS_RING_ON, MS_RLSD_ON}) {
    line_.modemLines = bit;
    EXPECT_EQ(values({VI_ATTR_ASRL_CTS_STATE, VI_ATTR_ASRL_DSR_STATE, VI_ATTR_ASRL_RI_STATE, VI_ATTR_ASRL_DCD_STATE}),
              (Values{bit == MS_CTS_ON, bit == MS_DSR_ON, bit == MS_RING_ON, bit == MS_RLSD_ON}));
  }
  for (const auto& [control, state] : {std::pair{0U, 0}, {1U, 1}, {2U, VI_STATE_UNKNOWN}}) {
    line_.settings.fRtsControl = control & 3U;
    line_.settings.fDtrControl = control & 3U;
    EXPECT_EQ(values({VI_ATTR_ASRL_RTS_STATE, VI_ATTR_ASRL_DTR_STATE}), (Values{state, state}));
  }
  line_.settings.fRtsControl = RTS_CONTROL_TOGGLE;
  line_.settings.fDtrControl = 3;
  EXPECT_EQ(get<ViInt16>(VI_ATTR_ASRL_RTS_STATE), VI_STATE_UNKNOWN);
  ViInt16 value = 5;
  EXPECT_EQ(QV_viGetAttribute(vi_, VI_ATTR_ASRL_DTR_STATE, &value), VI_ERROR_INV_MODE);
  EXPECT_EQ(value, 5);
}

TEST_F(SerialSession, LinesAreSetOnThePort) {
  open();
  for (ViAttr attr : {VI_ATTR_ASRL_DTR_STATE, VI_ATTR_ASRL_RTS_STATE, VI_ATTR_ASRL_BREAK_STATE}) {
    EXPECT_EQ((Values{set(attr, 0), set(attr, 1), set(attr, 2)}), (Values{0, 0, VI_ERROR_NSUP_MODE}));
  }
  EXPECT_EQ(set(VI_ATTR_ASRL_ALLOW_TRANSMIT, 1), VI_SUCCESS);
  EXPECT_EQ(set(VI_ATTR_ASRL_ALLOW_TRANSMIT, 0x10000), VI_ERROR_INV_SETUP);
  // Under its handshake RTS is read only, though the port is asked.
  ASSERT_EQ(set(VI_ATTR_ASRL_FLOW_CNTRL, VI_ASRL_FLOW_RTS_CTS), VI_SUCCESS);
  EXPECT_EQ(set(VI_ATTR_ASRL_RTS_STATE, 1), VI_ERROR_ATTR_READONLY);
  EXPECT_EQ(set(VI_ATTR_ASRL_RTS_STATE, 2), VI_ERROR_ATTR_READONLY);
  EXPECT_EQ(line_.escapes, (std::vector<DWORD>{CLRDTR, SETDTR, CLRRTS, SETRTS, CLRBREAK, SETBREAK, SETXON, SETRTS}));
}

TEST_F(SerialSession, APortThatFailsIsASystemError) {
  open();
  communications.failures = {{"EscapeCommFunction", 5}, {"GetCommModemStatus", 5}, {"ClearCommError", 5},
                             {"SetCommState", 5},       {"GetCommState", 5},       {"ReadFile", 5},
                             {"WriteFile", 5}};
  ViUInt32 value = 0;
  for (ViAttr attr :
       {VI_ATTR_ASRL_CTS_STATE, VI_ATTR_ASRL_AVAIL_NUM, VI_ATTR_ASRL_RTS_STATE, VI_ATTR_ASRL_ALLOW_TRANSMIT}) {
    EXPECT_EQ(QV_viGetAttribute(vi_, attr, &value), VI_ERROR_SYSTEM_ERROR) << std::hex << attr;
  }
  for (ViAttr attr : {VI_ATTR_ASRL_DTR_STATE, VI_ATTR_ASRL_BAUD, VI_ATTR_ASRL_XON_CHAR}) {
    EXPECT_EQ(set(attr, 1), VI_ERROR_SYSTEM_ERROR) << std::hex << attr;
  }
  EXPECT_EQ(get<ViUInt32>(VI_ATTR_ASRL_BAUD), kDefaultRate) << "the node keeps what holds";
  ViByte buf[4] = {};
  EXPECT_EQ(QV_viRead(vi_, nullptr, 1, nullptr), VI_ERROR_INV_OBJECT);
  EXPECT_EQ(QV_viWrite(vi_, nullptr, 1, nullptr), VI_ERROR_INV_OBJECT);
  EXPECT_EQ(QV_viRead(vi_, nullptr, 0, nullptr), VI_SUCCESS);
  EXPECT_EQ(QV_viRead(vi_, buf, 4, nullptr), VI_ERROR_SYSTEM_ERROR);
  line_.roomToSend = 2;
  EXPECT_EQ(QV_viWrite(vi_, buf, 4, &value), VI_ERROR_SYSTEM_ERROR);
  EXPECT_EQ(value, 2U) << "counted even if the call failed";
  communications.failures["EscapeCommFunction"] = 0x57;
  EXPECT_EQ(set(VI_ATTR_ASRL_DTR_STATE, 1), VI_ERROR_INV_PARAMETER);
}

TEST_F(SerialSession, FlowControlCharactersAreBytes) {
  open();
  EXPECT_EQ((Values{set(VI_ATTR_ASRL_XON_CHAR, 0x191), set(VI_ATTR_ASRL_XOFF_CHAR, 0x113)}), (Values{0, 0}));
  EXPECT_EQ((Values{line_.settings.XonChar, line_.settings.XoffChar}), (Values{'\x91', '\x13'}));
  line_.accepts = [](const DCB&) { return false; };
  EXPECT_EQ(set(VI_ATTR_ASRL_XON_CHAR, 0x13), VI_ERROR_SYSTEM_ERROR);
  ViUInt16 value = 0xAAAA;
  EXPECT_EQ(QV_viGetAttribute(vi_, VI_ATTR_ASRL_XON_CHAR, &value), VI_SUCCESS);
  EXPECT_EQ(value, 0xAA91) << "one byte wide, and what the port took";
}

}  // namespace
