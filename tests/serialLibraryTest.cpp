// The serial port library without sessions: its lists, and what no session asks of it.
#include "QVlibserial.h"
#include "support/communicationsDouble.h"
#include "support/deviceDatabaseDouble.h"
#include "support/failingAlloc.h"
#include "support/testing.h"

// The ring operations that are local to their unit are tested from inside it.
#include "qvls_helper.cpp"  // NOLINT(bugprone-suspicious-include)

namespace {

using namespace std::string_literals;
using Ints = std::vector<int>;

constexpr auto kUnsupportedMode = static_cast<qv_status>(0xBFFF0046U);  // VI_ERROR_NSUP_MODE

class SerialDiscovery : public testing::Test {
protected:
  ~SerialDiscovery() override {
    EXPECT_EQ(qvls_DisposeListOfSerialPorts(&list), QVLS_SUCCESS);
    deviceDatabase.clear();
  }
  static void setMachine(const Ints& ports) {
    for (int comPort : ports) deviceDatabase.devices.push_back(serialPortDevice(comPort));
  }
  /// Port numbers of the list in its order.
  Ints walk() const {
    Ints ports;
    qvlsPort_t* node = nullptr;
    for (int i = 0; qvls_GetPort(list, i, &node) == QVLS_SUCCESS; ++i) ports.push_back(node->comPort);
    return ports;
  }
  /// Those of a new list.
  Ints discover(qvlsTblPortSrchCrit_t* criteria = nullptr, qv_status expected = QVLS_SUCCESS) {
    qvls_DisposeListOfSerialPorts(&list);
    EXPECT_EQ(qvls_GetListOfSerialPorts(&list, criteria), expected);
    return walk();
  }

  qvlsPortList_t* list = nullptr;
};

TEST_F(SerialDiscovery, FillsANodeForEveryPort) {
  EXPECT_EQ(discover(), Ints{});
  setMachine({3, 5, 7, 9});
  EXPECT_EQ(discover(), (Ints{3, 9, 7, 5}));

  const qvlsPort_t* const node = list->list->next;
  EXPECT_EQ((Ints{node->driverInstance, static_cast<int>(node->DevInst), node->present}), (Ints{9, 3, 1}));
  const auto instanceId = [](const qvlsPort_t* port, char* id) { return qvls_DevNodeInstancdId(port, nullptr, id); };
  for (const auto& [get, expected, size] : {std::tuple<qv_status (*)(const qvlsPort_t*, char*), std::string, size_t>{
                                                instanceId, "USB\\VID_1234&PID_5678\\A1B2", 200},
                                            {qvls_GetPortService, "ftdi_sio", 64},
                                            {qvls_GetPortFriendlyName, "USB Serial Port", 256},
                                            {qvls_GetPortPhysDevName, "/dev/ttyUSB9", 256},
                                            {qvls_GetPortManufName, "Adapters Ltd", 64}}) {
    std::string text(300, '#');
    EXPECT_EQ(get(node, text.data()), QVLS_SUCCESS);
    std::string padded = expected;
    padded.resize(size);
    EXPECT_EQ(text, padded + std::string(300 - size, '#')) << "padded to its field and no further";
  }
  deviceDatabase.broken = true;
  EXPECT_EQ(discover(nullptr, QVLS_ERR_SDI_GETCLASSDEVS), Ints{});
  EXPECT_NE(list, nullptr);
}

TEST_F(SerialDiscovery, RemovalMovesTheHeadToTheSuccessor) {
  setMachine({1, 2, 3});
  const Ints orders[] = {{3, 2}, {2, 1}, {1, 3}};
  for (int removed = 0; removed < 3; ++removed) {
    EXPECT_EQ(discover(), (Ints{1, 3, 2}));
    qvlsPort_t* node = nullptr;
    ASSERT_EQ(qvls_GetPort(list, removed, &node), QVLS_SUCCESS);
    ASSERT_EQ(qvls_RemoveSerialPortNode(list, node), QVLS_SUCCESS);
    EXPECT_EQ(walk(), orders[removed]);
    EXPECT_EQ(list->list->prev, list->list->next) << "two are left, each the other's neighbour both ways";
    EXPECT_EQ(qvls_CloseSerialPortNodeFromRing(list, node), QVLS_ERR_NFOUND);
    EXPECT_EQ(qvls_CloseSerialPortNode(node), QVLS_SUCCESS);
  }
  while (list->numDev > 0) ASSERT_EQ(qvls_CloseSerialPortNodeFromRing(list, list->list), QVLS_SUCCESS);
  EXPECT_EQ(list->list, nullptr);
}

TEST_F(SerialDiscovery, DropsADeviceThatFailsATest) {
  setMachine({3, 5, 7});
  DeviceDouble& changed = deviceDatabase.devices[1];
  const auto listed = [&](DWORD property, const std::string& text) {
    const auto saved = changed.properties;
    changed.setText(property, text);
    const Ints found = discover();
    changed.properties = saved;
    EXPECT_TRUE(found == (Ints{3, 7, 5}) || found == (Ints{3, 7}));
    return found.size() == 3;
  };
  const std::string guid = rs232GuidStr;
  EXPECT_TRUE(listed(SPDRP_DRIVER, guid + "#-7"));
  for (const std::string& key : {guid, guid + "\\", guid + "\\99999999999", guid.substr(0, 37) + "\\0005",
                                 std::string("{4D36E978-E325-11CE-BFC1-08002BE10318}\\0005")}) {
    EXPECT_FALSE(listed(SPDRP_DRIVER, key)) << key;
  }
  EXPECT_FALSE(listed(SPDRP_FRIENDLYNAME, "Modem (COM0)"));
  for (const auto& [property, room] : std::vector<std::pair<DWORD, size_t>>{
           {SPDRP_SERVICE, 63}, {SPDRP_MFG, 63}, {SPDRP_FRIENDLYNAME, 255}, {SPDRP_PHYSICAL_DEVICE_OBJECT_NAME, 255}}) {
    EXPECT_TRUE(listed(property, std::string(room - 6, 'x') + "(COM5)")) << property;
    EXPECT_FALSE(listed(property, std::string(room - 5, 'x') + "(COM5)")) << property;
  }
  changed.instanceId.clear();
  EXPECT_EQ(discover(), (Ints{3, 7}));
}

TEST_F(SerialDiscovery, EndsAValueThatLacksItsNul) {
  setMachine({5});
  for (const auto& [value, text] : {std::pair("tty"s, "tty"s), {std::string(64, 's'), std::string(63, 's')}}) {
    deviceDatabase.devices[0].properties[SPDRP_SERVICE] = {REG_BINARY, value};
    EXPECT_EQ(discover(), Ints{5});
    EXPECT_EQ(list->list->service, text);
  }
}

TEST_F(SerialDiscovery, ANodeOfADroppedDeviceGoesOnAsItIs) {
  setMachine({3, 4});
  deviceDatabase.devices[1].properties.erase(SPDRP_PHYSICAL_DEVICE_OBJECT_NAME);
  qvlsTblPortSrchCrit_t criteria = {nullptr, 0, QVLS_ONLY_DISCON};
  EXPECT_EQ(discover(), Ints{3});
  EXPECT_EQ(deviceDatabase.flags, DIGCF_ALLCLASSES | DIGCF_PRESENT);
  EXPECT_EQ(discover(&criteria), Ints{4});
  EXPECT_EQ(deviceDatabase.flags, DIGCF_ALLCLASSES);
  EXPECT_STREQ(list->list->phyDevName, "/dev/ttyUSB3");
}

TEST_F(SerialDiscovery, EndsWithTheListSoFarWhenMemoryRunsOut) {
  setMachine({3, 5, 7});
  const std::vector<Ints> expected = {{}, {}, {3}, {3, 5}, {3, 7, 5}};
  size_t run = 0;
  const long allocations = failEachAllocation([&](const FailingAlloc&) {
    EXPECT_EQ(discover(nullptr, run < 4 ? QVLS_ERR_ALLOC : QVLS_SUCCESS), expected.at(run));
    EXPECT_EQ(list == nullptr, run++ == 0) << "the list itself comes first";
  });
  EXPECT_EQ(allocations, 4);
}

TEST_F(SerialDiscovery, PrintsADevicesProperties) {
  setMachine({3});
  deviceDatabase.devices[0].properties = {{SPDRP_HARDWAREID, {REG_MULTI_SZ, "A\0B\0\0"s}},
                                          {SPDRP_DRIVER, {REG_DWORD_BIG_ENDIAN, "\x0A\x0B\x0C\x8D"s}},
                                          {SPDRP_SERVICE, {REG_SZ, std::string(4097, 'x')}},
                                          {SPDRP_MFG, {REG_QWORD, std::string(8, '\xFF')}},
                                          {SPDRP_PHYSICAL_DEVICE_OBJECT_NAME, {REG_SZ, "usbserial\0"s}},
                                          {SPDRP_FRIENDLYNAME, {12, "x"}}};
  SP_DEVINFO_DATA device = {};
  testing::internal::CaptureStdout();
  qvh_SetupDiGetDevProperties(nullptr, &device);
  const std::string expected = "\n"
                               "HardwareID (R/W)                  5 B.REG_MULTI_SZ: A\n--->B\n"
                               "Service (R/W)                    cannot be read out!\n"
                               "Driver (R/W)                      4 B.REG_DWORD 0x8D0C0B0A\n"
                               "Mfg (R/W)                         8 B.REG_QWORD 0x18446744073709551615X\n"
                               "PhysicalDeviceObjectName (R)     10 B.REG_SZ: usbserial\n"
                               "Friendly Name                     1 B.unknown data type\n";
  EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
  for (const auto& [type, printed] : {std::pair{REG_NONE, "REG_NONE"},
                                      {REG_EXPAND_SZ, "REG_EXPAND_SZ: x"},
                                      {REG_BINARY, "REG_BINARY"},
                                      {REG_LINK, "REG_LINK: x"},
                                      {REG_RESOURCE_LIST, "REG_RESOURCE_LIST"},
                                      {REG_FULL_RESOURCE_DESCRIPTOR, "REG_FULL_RESOURCE_DESCRIPTOR"},
                                      {REG_RESOURCE_REQUIREMENTS_LIST, "REG_RESOURCE_REQUIREMENTS_LIST"}}) {
    deviceDatabase.devices[0].properties = {{SPDRP_MFG, {type, "x\0"s}}};
    testing::internal::CaptureStdout();
    qvh_SetupDiGetDevProperties(nullptr, &device);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, " 2 B."s + printed + "\n", testing::internal::GetCapturedStdout());
  }
}

TEST(SerialCriteria, MatchWhatAllFieldsOfARowFit) {
  qvlsPort_t port = {};
  port.comPort = 3;
  port.present = PRESENCE_CONNECTED;
  std::strcpy(port.service, "ftdi_sio");
  std::strcpy(port.friendlyName, "USB Serial Port");
  std::strcpy(port.manufName, "Adapters Ltd");
  qvlsTblPortSrchCrit_t* table = nullptr;
  ASSERT_EQ(qvls_InitTblDevSrchCrit(&table, 2), QVLS_SUCCESS);
  const auto match = [&](int comPort, const char* service, const char* name, const char* manufacturer, int row = 0) {
    EXPECT_EQ(qvls_SetDevSrchCrit(table, row, comPort, service, name, manufacturer), QVLS_SUCCESS);
    return qvls_CheckMatch(table, &port) == QVLS_SUCCESS;
  };
  EXPECT_TRUE(match(99, nullptr, nullptr, nullptr, 1)) << "the other row is fresh and fits any port";
  EXPECT_TRUE(match(3, "ftdi_sio", "USB Serial Port", "Adapters Ltd"));
  EXPECT_FALSE(match(3, "FTDI_SIO", nullptr, nullptr));
  EXPECT_FALSE(match(3, nullptr, "USB Serial Port (COM3)", nullptr));
  EXPECT_FALSE(match(4, nullptr, nullptr, "Adapters Ltd"));
  EXPECT_FALSE(match(3, nullptr, nullptr, "Adapters"));
  int filter = 77;
  EXPECT_EQ(qvls_GetPortPresentSrchCrit(table, &filter), QVLS_SUCCESS);
  EXPECT_EQ(filter, QVLS_ONLY_CONNECTED);
  // Texts that fill their field are compared within it, and behind the last row nothing may be read.
  const std::string full(64, 'x');
  for (char* text : {port.service, port.manufName}) full.copy(text, 63);
  full.copy(port.friendlyName, 64);
  EXPECT_FALSE(match(3, full.c_str(), "", ""));
  EXPECT_TRUE(match(3, "", (full + "cut off").c_str(), ""));
  EXPECT_TRUE(match(3, "", "", full.c_str(), 1)) << "by its first row still";
  EXPECT_FALSE(match(99, "", "", ""));
  EXPECT_EQ(qvls_CloseTblPortSrchCrit(&table), QVLS_SUCCESS);
}

/// Port 3, opened.
class SerialPort : public testing::Test {
protected:
  SerialPort() {
    deviceDatabase.devices = {serialPortDevice(3), serialPortDevice(8), serialPortDevice(8)};
    EXPECT_EQ(qvls_OpenPort(&node, 3), QVLS_SUCCESS);
  }
  ~SerialPort() override {
    for (int i = 0; i < 2; ++i) EXPECT_EQ(qvls_ClosePort(&node), QVLS_SUCCESS) << "a null node closes well";
    communications.clear();
    deviceDatabase.clear();
  }

  PortDouble& line = communications.addPort(3);
  qvlsPort_t* node = nullptr;
};

TEST_F(SerialPort, OpensOnlyIfThereOnceAndFree) {
  for (const auto& [comPort, expected] :
       {std::pair{1, QVLS_ERR_NFOUND}, {1000, QVLS_ERR_NFOUND}, {3, QVLS_ERR_WINDOWS}, {8, QVLS_ERR_NFOUND}}) {
    qvlsPort_t* other = node;
    EXPECT_EQ(qvls_OpenPort(&other, comPort), expected) << comPort;
    EXPECT_EQ(other, nullptr) << comPort;
  }
}

TEST_F(SerialPort, TakesOfItsNumbersWhatCounts) {
  for (const auto& [set, expected] :
       std::vector<std::pair<Ints, Ints>>{{{2, 3, 7, 5}, {0, 1, 3, 1}}, {{1, -1, -1, 2}, {1, 1, 3, 2}}}) {
    EXPECT_EQ(qvls_SetPortHandshake(node, set[0], set[1], set[2], set[3]), QVLS_SUCCESS);
    Ints got(4);
    EXPECT_EQ(qvls_GetPortHandshake(node, &got[0], &got[1], &got[2], &got[3]), QVLS_SUCCESS);
    EXPECT_EQ(got, expected) << "the lowest bits, and what isn't negative";
  }
  EXPECT_EQ(qvls_SetTimeouts(node, 250, -1), QVLS_SUCCESS);
  EXPECT_EQ(qvls_SetTimeouts(node, -1, 100), QVLS_SUCCESS);
  const COMMTIMEOUTS timeouts = {250, 1, 250, 1, 100};
  EXPECT_EQ(std::memcmp(&line.timeouts, &timeouts, sizeof timeouts), 0);
  unsigned int character = 0;
  EXPECT_EQ(qvls_SetAttribute(node, VI_ATTR_ASRL_XOFF_CHAR, 0x1291), QVLS_SUCCESS);
  EXPECT_EQ(qvls_GetAttribute(node, VI_ATTR_ASRL_XOFF_CHAR, &character), QVLS_SUCCESS);
  EXPECT_EQ(character, 0xFFFFFF91U);
  EXPECT_EQ(qvls_SetAttribute(node, VI_ATTR_ASRL_DTR_STATE, 2), QVLS_ERR_INVAL_PARAM3);
  EXPECT_EQ(qvls_SetAttribute(node, VI_ATTR_ASRL_BREAK_STATE, 2), QVLS_SUCCESS);
  EXPECT_EQ(qvls_SetAttribute(node, VI_ATTR_ASRL_AVAIL_NUM, 1), QVLS_ERR_PARAM_READ_ONLY);
  EXPECT_EQ(qvls_SetAttribute(node, 0x3FFF0021, 1), QVLS_ERR_INVAL_PARAM1);
  EXPECT_EQ(qvls_GetAttribute(node, VI_ATTR_ASRL_BREAK_STATE, &character), QVLS_ERR_INVAL_PARAM1);
  node->cDcb.Parity = 5;
  int unknown = 77, known = 77;
  EXPECT_EQ(qvls_GetPortMode(node, nullptr, nullptr, &unknown, nullptr), kUnsupportedMode);
  EXPECT_EQ(qvls_GetPortMode(node, nullptr, &known, nullptr, nullptr), QVLS_SUCCESS) << "a null result is skipped";
  EXPECT_EQ((Ints{unknown, known}), (Ints{77, 8}));
}

TEST_F(SerialPort, NeedsAnOpenNodeAndNotesWhyThePlatformFailed) {
  const auto statuses = [](qvlsPort_t* port) {
    unsigned int value = 0;
    char byte = 0;
    return Ints{qvls_SetPortMode(port, 1, 8, 0, 10),
                qvls_SetPortHandshake(port, 1, 1, 1, 1),
                qvls_SetAttribute(port, VI_ATTR_ASRL_XON_CHAR, 1),
                qvls_SetAttribute(port, VI_ATTR_ASRL_BREAK_STATE, 1),
                qvls_SetTimeouts(port, 1, 1),
                qvls_GetAttribute(port, VI_ATTR_ASRL_DTR_STATE, &value),
                qvls_Read(port, &byte, 1, &value),
                qvls_Write(port, &byte, 1, &value),
                qvls_GetPortMode(port, nullptr, nullptr, nullptr, nullptr),
                qvls_GetPortHandshake(port, nullptr, nullptr, nullptr, nullptr),
                qvls_GetTimeouts(port, nullptr, nullptr)};
  };
  qvlsPort_t closed = {};
  EXPECT_EQ(statuses(nullptr), Ints(11, QVLS_ERR_INVAL_PARAM1));
  EXPECT_EQ(statuses(&closed), Ints(11, QVLS_ERR_PORT_NOT_OPEN));
  int isOpen = 77, isClosed = 77;
  EXPECT_EQ(qvls_GetPortOpenState(node, &isOpen), QVLS_SUCCESS);
  EXPECT_EQ(qvls_GetPortOpenState(&closed, &isClosed), QVLS_SUCCESS);
  EXPECT_EQ((Ints{isOpen, isClosed}), (Ints{1, 0}));
  EXPECT_STREQ(qvls_GetErrMsg(node, QVLS_ERR_WINDOWS), "no error");
  const DCB before = node->cDcb;
  for (int error : {EIO, ENXIO}) {
    for (const char* call :
         {"SetCommState", "EscapeCommFunction", "SetCommTimeouts", "GetCommState", "ReadFile", "WriteFile"}) {
      communications.failures[call] = error;
    }
    Ints expected(8, QVLS_ERR_WINDOWS);
    expected.resize(11, QVLS_SUCCESS);  // the last three ask the node alone
    EXPECT_EQ(statuses(node), expected);
    EXPECT_EQ(node->wErr, static_cast<DWORD>(error));
    EXPECT_STREQ(qvls_GetErrMsg(node, QVLS_ERR_WINDOWS), std::strerror(error));
  }
  EXPECT_EQ(std::memcmp(&node->cDcb, &before, sizeof before), 0);
  communications.failures = {{"GetCommState", EIO}, {"CloseHandle", EBADF}};
  communications.addPort(12);
  closed.comPort = 12;
  closed.cDcb.DCBlength = sizeof(DCB);
  EXPECT_EQ(qvls_OpenComPort(&closed), QVLS_ERR_WINDOWS);
  EXPECT_EQ(closed.wErr, static_cast<DWORD>(EIO)) << "the first failure's reason stays";
  communications.failures.clear();
  EXPECT_EQ(statuses(node), Ints(11, QVLS_SUCCESS));
  EXPECT_EQ(node->wErr, static_cast<DWORD>(ENXIO)) << "no success clears the last failure";
}

TEST(SerialNode, IdsAreTheNumbersBehindVidAndPid) {
  for (const auto& [text, expectedVid, expectedPid] : {std::tuple("USB\\VID_1234&PID_5678\\A1B2", 0x1234, 0x5678),
                                                       {"PID#12345VID=12345", 0x2345, 0x12345},
                                                       {"VID", 0, 0},
                                                       {"PID_FFFFFFFFFFFFFFFFFF", 0, 0x7FFFFFFF}}) {
    qvlsPort_t node = {};
    // What a longer text left behind must not be taken for the number.
    std::memset(node.DevInstIdBuf, '1', sizeof(node.DevInstIdBuf) - 1);
    std::memcpy(node.DevInstIdBuf, text, std::strlen(text) + 1);
    int vid = -1, pid = -1;
    EXPECT_TRUE(qvls_GetVid(&node, &vid) == QVLS_SUCCESS && qvls_GetPid(&node, &pid) == QVLS_SUCCESS);
    EXPECT_EQ((Ints{vid, pid}), (Ints{expectedVid, expectedPid})) << text;
  }
}

TEST(SerialHelper, FindsThePortInANameAndCutsItThere) {
  for (const auto& [name, port, expected] : {std::tuple("Port 2   (COM3) (COM4)", 3, "Port 2"),
                                             {"(COM7)", 7, ""},
                                             {"  (COM7)", 7, " "},
                                             {"Printer Port (LPT1)", -1, "kept"},
                                             {"Port (COMx) (COM4)", -1, "kept"},
                                             {"(COM99999999999)", -1, "kept"}}) {
    char cut[64] = "kept";
    EXPECT_EQ(qvh_GetComPortFromFriendlyName(name, cut), port) << name;
    EXPECT_STREQ(cut, expected) << name;
  }
}

TEST(SerialHelper, ReadsAGuidFromItsText) {
  const std::string form = rs232GuidStr;
  GUID guid = {};
  const auto read = [&guid](const std::string& text) {
    return qvh_GenerateGuidFromGuidstring(&guid, reinterpret_cast<const unsigned char*>(text.c_str()));
  };
  for (size_t place : {0U, 9U, 14U, 19U, 24U, 37U}) {
    EXPECT_EQ(read(std::string(form).replace(place, 1, "a")), QVH_ERR_INVAL_PARAM2) << place;
  }
  EXPECT_EQ(read(form.substr(0, 36)), QVH_ERR_INVAL_PARAM2);
  for (char wrong : "/:@G`g"s) EXPECT_EQ(read(std::string(form).replace(36, 1, 1, wrong)), QVH_ERR_INVAL_PARAM1);
  EXPECT_EQ(guid.Data1, 0U) << "no failure touches it";
  EXPECT_EQ(read("{4D36E978-E325-11CE-BFC1-08002BE10318}"), QVH_SUCCESS);
  EXPECT_EQ(std::memcmp(&guid, &RS232GUID, sizeof(guid)), 0);
}

TEST(SerialHelper, JoinsMultiStrings) {
  const auto join = [](const std::string& text) {
    // Memory of its own, so that a byte read behind the value is seen.
    const std::vector<char> value(text.begin(), text.end());
    return std::string(qvh_PrintRegMultiSz("--", value.data(), static_cast<unsigned int>(value.size())));
  };
  EXPECT_EQ(join("A\0B\0\0C"s) + '|' + join("A\0B"s) + '|' + join("A\0"s) + '|' + join("") + '|' + join("\0A\0"s),
            "A--B|A--B|A||");
  for (size_t first : {4093U, 4094U, 4095U, 5000U}) {
    const std::string part(first, 'x');
    EXPECT_EQ(join(part + '\0' + std::string(100, 'y')), (part + "--" + std::string(100, 'y')).substr(0, 4095))
        << first;
  }
}

TEST(SerialTexts, NameStatusesAndCodes) {
  EXPECT_STREQ(qvls_GetErrMsg(nullptr, QVLS_ERR_WINDOWS), "Unknown error caused by system call");
  EXPECT_STREQ(qvls_GetErrMsg(nullptr, QVLS_ERR_GROUP), "unkown libserial error");
  for (const auto& [text, expected] : {std::pair{qvls_HelperPrintParity(4), "space parity"},
                                       {qvls_HelperStopBits(10), "wrony stop bits code"},
                                       {qvls_HelperRtsControl(RTS_CONTROL_TOGGLE), "RTS enabled while sending"},
                                       {qvls_HelperDtrControl(3), "wrony DTR control code"},
                                       {qvls_HelperCtsFlow(-1), "CTS handshake enabled"},
                                       {qvls_HelperCtsFlow(0), "CTS handshake disabled"},
                                       {qvls_HelperDrsFlow(1), "DRS handshake enabled"},
                                       {qvls_HelperDrsFlow(0), "DRS handshake disabled"}}) {
    EXPECT_STREQ(text, expected);
  }
  DCB dcb = {};
  dcb.Parity = EVENPARITY;
  dcb.BaudRate = 4294967295U;
  EXPECT_STREQ(qvh_printParity(&dcb), "disabled");
  EXPECT_STREQ(qvh_printBaudrate(&dcb), "-1");
  EXPECT_EQ(std::string(qvls_welcome())
                .rfind("QVlibserial - QVlibserial - Kestrix RS232 library AS CODE LIBRARY\n"
                       "BUILD: UNKNOWN BUILD CONFIGURATION - PLEASE REPORT\nDATE : ",
                       0),
            0U);
}

}  // namespace
