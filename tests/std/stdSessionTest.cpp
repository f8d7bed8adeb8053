// The standard's operations against peers whose every step the test decides.

#include "stdSession.h"

#include "support/serialPeer.h"

namespace {

const std::string kSerial = "ASRL7::INSTR";

TEST(StdNames, SpellingsOfOneResource) {
  const Manager manager;
  const struct {
    const char* given;
    ViStatus status;
    const char* name;
    ViUInt16 number;
  } rows[] = {
      {"usb::0x7c5a::66::A1234", VI_SUCCESS, "USB0::0x7C5A::0x0042::A1234::INSTR", 0},
      {" USB0::31834::0X42::a::1::raw ", VI_SUCCESS, "USB0::0x7C5A::0x0042::a::1::RAW", 0},
      {"USB0::0x7C5A::0x0042::A1234::0::INSTR", VI_SUCCESS, "USB0::0x7C5A::0x0042::A1234::0::INSTR", 0},
      {"USB1::0x7C5A::0x0042::A1234::INSTR", VI_ERROR_INTF_NUM_NCONFIG, "", 0},
      {"USB0::0x17C5A::0x0042::A1234::INSTR", VI_ERROR_INV_RSRC_NAME, "", 0},
      {"USB0::0x7C5A::0x0042", VI_ERROR_INV_RSRC_NAME, "", 0},
      {"asrl3", VI_SUCCESS, "ASRL3::INSTR", 3},
      {"com3::9600", VI_SUCCESS, "ASRL3::INSTR", 3},
      {"ASRL::INSTR", VI_ERROR_INV_RSRC_NAME, "", 0},
      {"ASRL3::RAW", VI_ERROR_INV_RSRC_NAME, "", 0},
      {"tcpip::Host.example::5025::socket", VI_SUCCESS, "TCPIP0::host.example::5025::SOCKET", 0},
      {"TCPIP2::host", VI_SUCCESS, "TCPIP2::host::inst0::INSTR", 2},
      {"TCPIP0::host::hislip0::INSTR", VI_SUCCESS, "TCPIP0::host::hislip0::INSTR", 0},
      {"TCPIP0::host::65536::SOCKET", VI_ERROR_INV_RSRC_NAME, "", 0},
      {"TCPIP0::host::SOCKET", VI_ERROR_INV_RSRC_NAME, "", 0},
      {"TCPIP0", VI_ERROR_INV_RSRC_NAME, "", 0},
      {"GPIB0::1::INSTR", VI_ERROR_INV_RSRC_NAME, "", 0},
      {"", VI_ERROR_INV_RSRC_NAME, "", 0},
      {nullptr, VI_ERROR_INV_RSRC_NAME, "", 0},
  };
  for (const auto& row : rows) {
    ViUInt16 type = 0, number = 0;
    ViChar text[VI_FIND_BUFLEN] = "";
    EXPECT_EQ(viParseRsrcEx(manager.vi, row.given, &type, &number, nullptr, text, nullptr), row.status) << row.given;
    EXPECT_STREQ(text, row.name) << row.given;
    EXPECT_EQ(number, row.number) << row.given;
  }
}

TEST_F(StdTcp, EndsOfReadsAreToldApart) {
  peer_.send("one\ntwo\nthree");
  EXPECT_EQ(read(3), Read(VI_SUCCESS_MAX_CNT, "one"));
  set(VI_ATTR_TERMCHAR_EN, VI_TRUE);
  EXPECT_EQ(read(100), Read(VI_SUCCESS_TERM_CHAR, "\n"));
  EXPECT_EQ(read(4), Read(VI_SUCCESS_TERM_CHAR, "two\n")) << "found with the last byte";
  set(VI_ATTR_TMO_VALUE, 50);
  EXPECT_EQ(read(100), Read(VI_ERROR_TMO, "three")) << "what came is delivered";
  set(VI_ATTR_SUPPRESS_END_EN, VI_FALSE);
  set(VI_ATTR_TMO_VALUE, 60000);
  peer_.send("four");
  EXPECT_EQ(read(100), Read(VI_SUCCESS, "four")) << "all that the connection had";
  set(VI_ATTR_TMO_VALUE, VI_TMO_INFINITE);
  peer_.send("five\n");
  EXPECT_EQ(read(100).second, "five\n");
}

TEST_F(StdTcp, MessagesInPiecesAreOneRead) {
  set(VI_ATTR_TERMCHAR_EN, VI_TRUE);
  const std::string large(300000, 'x');
  std::thread sender([&] {
    for (int i = 0; i < 3; ++i) peer_.send(large);
    peer_.send("\n");
  });
  const auto [status, bytes] = read(1000000);
  EXPECT_EQ(status, VI_SUCCESS_TERM_CHAR);
  EXPECT_EQ(bytes.size(), 3 * large.size() + 1);
  sender.join();
}

TEST_F(StdTcp, TimeLimitIsToldFromALostConnection) {
  for (const ViUInt32 limit : {ViUInt32{VI_TMO_IMMEDIATE}, ViUInt32{120}}) {
    set(VI_ATTR_TMO_VALUE, limit);
    expectNotShorter(limit, [&] { EXPECT_EQ(read(10), Read(VI_ERROR_TMO, "")); });
  }
  set(VI_ATTR_TMO_VALUE, 60000);
  peer_.send("last");
  peer_.halfClose();
  EXPECT_EQ(read(10), Read(VI_ERROR_CONN_LOST, "last"));
  peer_.reset();
  EXPECT_TRUE(eventually([&] { return write("x") == VI_ERROR_CONN_LOST; }));
  EXPECT_EQ(read(10).first, VI_ERROR_CONN_LOST);
}

TEST_F(StdTcp, ClearAndFlushEmptyTheLine) {
  for (const bool isClear : {true, false}) {
    set(VI_ATTR_TMO_VALUE, 60000);
    peer_.send("first\nstale");
    EXPECT_EQ(read(6).second, "first\n");
    EXPECT_EQ(isClear ? viClear(vi_) : viFlush(vi_, VI_IO_IN_BUF), VI_SUCCESS);
    peer_.send("new");
    EXPECT_EQ(read(3).second, "new");
  }
}

TEST_F(StdTcp, CommonCommandsNeedTheirProtocol) {
  ViUInt16 statusByte = 0;
  EXPECT_EQ(viReadSTB(vi_, &statusByte), VI_ERROR_NSUP_OPER);
  EXPECT_EQ(viAssertTrigger(vi_, VI_TRIG_PROT_DEFAULT), VI_ERROR_NSUP_OPER);
  set(VI_ATTR_IO_PROT, VI_PROT_4882_STRS);
  peer_.send("36\n");
  EXPECT_EQ(viReadSTB(vi_, &statusByte), VI_SUCCESS);
  EXPECT_EQ(statusByte, 36);
  EXPECT_EQ(viAssertTrigger(vi_, VI_TRIG_PROT_DEFAULT), VI_SUCCESS);
  EXPECT_EQ(peer_.receive(11), "*STB?\n*TRG\n");
  peer_.send("what\n");
  EXPECT_EQ(viReadSTB(vi_, &statusByte), VI_ERROR_IO);
}

TEST_F(StdTcp, NothingIsPrinted) {
  testing::internal::CaptureStdout();
  ViSession other = VI_NULL;
  EXPECT_EQ(viOpen(manager_.vi, peer_.resource("localhost").c_str(), VI_NO_LOCK, 0, &other), VI_SUCCESS);
  set(VI_ATTR_TMO_VALUE, VI_TMO_IMMEDIATE);
  EXPECT_EQ(read(1).first, VI_ERROR_TMO);
  TcpPeer deaf(TcpPeer::kDeaf);
  EXPECT_EQ(viOpen(manager_.vi, deaf.resource().c_str(), VI_NO_LOCK, 0, &other), VI_ERROR_RSRC_NFOUND);
  EXPECT_EQ(other, static_cast<ViSession>(VI_NULL));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(StdTcp, AttributesAreTheSessions) {
  ViSession other = VI_NULL;
  ASSERT_EQ(viOpen(manager_.vi, peer_.resource().c_str(), VI_NO_LOCK, 0, &other), VI_SUCCESS);
  set(VI_ATTR_TERMCHAR, '#');
  set(VI_ATTR_USER_DATA_64, static_cast<ViBusSize>(0x123456789ABCDEF0U));
  EXPECT_EQ(get<ViUInt8>(VI_ATTR_TERMCHAR), '#');
  EXPECT_EQ(get<ViUInt8>(VI_ATTR_TERMCHAR, other), '\n');
  EXPECT_EQ(get<ViUInt64>(VI_ATTR_USER_DATA_64), 0x123456789ABCDEF0U);
  EXPECT_EQ(get<ViUInt32>(VI_ATTR_USER_DATA_32), 0x9ABCDEF0U);
  EXPECT_EQ(get<ViUInt32>(VI_ATTR_TMO_VALUE), 2000U);
  EXPECT_EQ(get<ViSession>(VI_ATTR_RM_SESSION), manager_.vi);
  EXPECT_EQ(get<ViUInt16>(VI_ATTR_TCPIP_PORT), peer_.port());
  ViChar text[MAX_BUF_SIZE_ATTR] = "";
  EXPECT_EQ(viGetAttribute(vi_, VI_ATTR_RSRC_NAME, text), VI_SUCCESS);
  EXPECT_EQ(text, peer_.resource());
  const std::tuple<ViAttr, ViBusSize, ViStatus> refused[] = {
      {VI_ATTR_TERMCHAR, 256, VI_ERROR_NSUP_ATTR_STATE},   {VI_ATTR_SEND_END_EN, 2, VI_ERROR_NSUP_ATTR_STATE},
      {VI_ATTR_IO_PROT, 77, VI_ERROR_NSUP_ATTR_STATE},     {VI_ATTR_RSRC_NAME, 0, VI_ERROR_ATTR_READONLY},
      {VI_ATTR_RSRC_MANF_NAME, 0, VI_ERROR_ATTR_READONLY}, {VI_ATTR_TCPIP_PORT, 1, VI_ERROR_ATTR_READONLY},
      {VI_ATTR_ASRL_BAUD, 9600, VI_ERROR_NSUP_ATTR},       {VI_ATTR_TRIG_ID, VI_TRIG_TTL0, VI_ERROR_NSUP_ATTR_STATE},
      {VI_ATTR_GPIB_PRIMARY_ADDR, 1, VI_ERROR_NSUP_ATTR}};
  for (const auto& [name, value, status] : refused) EXPECT_EQ(viSetAttribute(vi_, name, value), status) << name;
}

TEST(StdManager, HasAttributesOfItsOwn) {
  const Manager manager;
  const auto get = [&](ViAttr name) {
    ViUInt64 value = 0;
    EXPECT_EQ(viGetAttribute(manager.vi, name, &value), VI_SUCCESS) << name;
    return value;
  };
  EXPECT_EQ(viSetAttribute(manager.vi, VI_ATTR_USER_DATA_64, static_cast<ViBusSize>(0x123456789U)), VI_SUCCESS);
  EXPECT_EQ(get(VI_ATTR_USER_DATA_64), 0x123456789U);
  EXPECT_EQ(get(VI_ATTR_USER_DATA_32), 0x23456789U);
  EXPECT_EQ(get(VI_ATTR_RM_SESSION), manager.vi);
  EXPECT_EQ(get(VI_ATTR_RSRC_SPEC_VERSION), VI_SPEC_VERSION);
  EXPECT_EQ(get(VI_ATTR_RSRC_LOCK_STATE), static_cast<ViUInt64>(VI_NO_LOCK));
  EXPECT_EQ(viSetAttribute(manager.vi, VI_ATTR_RSRC_LOCK_STATE, 1), VI_ERROR_ATTR_READONLY);
  EXPECT_EQ(viSetAttribute(manager.vi, VI_ATTR_TMO_VALUE, 1), VI_ERROR_NSUP_ATTR);
  EXPECT_EQ(viLock(manager.vi, VI_EXCLUSIVE_LOCK, 0, nullptr, nullptr), VI_ERROR_NSUP_OPER);
  ViUInt32 count = 0;
  EXPECT_EQ(viRead(manager.vi, nullptr, 0, &count), VI_ERROR_INV_OBJECT);
}

TEST_F(StdTcp, ManagersCloseTheirOwn) {
  const Manager second;
  ViSession other = VI_NULL;
  ASSERT_EQ(viOpen(second.vi, peer_.resource().c_str(), VI_NO_LOCK, 0, &other), VI_SUCCESS);
  EXPECT_EQ(viClose(manager_.vi), VI_SUCCESS);
  ViUInt32 value = 0;
  EXPECT_EQ(viGetAttribute(vi_, VI_ATTR_TMO_VALUE, &value), VI_ERROR_INV_OBJECT);
  EXPECT_EQ(viGetAttribute(other, VI_ATTR_TMO_VALUE, &value), VI_SUCCESS);
  EXPECT_EQ(viOpen(manager_.vi, peer_.resource().c_str(), VI_NO_LOCK, 0, &other), VI_ERROR_INV_OBJECT);
  EXPECT_TRUE(peer_.clientClosed());
  EXPECT_EQ(viClose(VI_NULL), VI_WARN_NULL_OBJECT);
}

TEST_F(StdTcp, LocksKeepOtherSessionsOut) {
  ViSession other = VI_NULL;
  ASSERT_EQ(viOpen(manager_.vi, peer_.resource().c_str(), VI_NO_LOCK, 0, &other), VI_SUCCESS);
  ViUInt32 count = 0;
  const auto writeOther = [&] { return viWrite(other, reinterpret_cast<ViConstBuf>("x"), 1, &count); };
  EXPECT_EQ(viUnlock(vi_), VI_ERROR_SESN_NLOCKED);
  EXPECT_EQ(viLock(vi_, VI_EXCLUSIVE_LOCK, 0, nullptr, nullptr), VI_SUCCESS);
  EXPECT_EQ(viLock(vi_, VI_EXCLUSIVE_LOCK, 0, nullptr, nullptr), VI_SUCCESS_NESTED_EXCLUSIVE);
  EXPECT_EQ(writeOther(), VI_ERROR_RSRC_LOCKED);
  EXPECT_EQ(viSetAttribute(other, VI_ATTR_TMO_VALUE, 1), VI_SUCCESS) << "the session's own";
  EXPECT_EQ(viSetAttribute(other, VI_ATTR_TCPIP_NODELAY, 1), VI_ERROR_RSRC_LOCKED);
  EXPECT_EQ(get<ViUInt32>(VI_ATTR_RSRC_LOCK_STATE, other), static_cast<ViUInt32>(VI_EXCLUSIVE_LOCK));
  EXPECT_EQ(viLock(other, VI_SHARED_LOCK, 20, nullptr, nullptr), VI_ERROR_TMO);
  EXPECT_EQ(viUnlock(vi_), VI_SUCCESS_NESTED_EXCLUSIVE);
  EXPECT_EQ(viUnlock(vi_), VI_SUCCESS);
  EXPECT_EQ(writeOther(), VI_SUCCESS);

  ViChar key[256] = "";
  EXPECT_EQ(viLock(vi_, VI_SHARED_LOCK, 0, nullptr, key), VI_SUCCESS);
  EXPECT_EQ(writeOther(), VI_ERROR_RSRC_LOCKED);
  EXPECT_EQ(viLock(other, VI_SHARED_LOCK, 0, "another", nullptr), VI_ERROR_INV_ACCESS_KEY);
  EXPECT_EQ(viLock(other, VI_SHARED_LOCK, 0, key, nullptr), VI_SUCCESS);
  EXPECT_EQ(writeOther(), VI_SUCCESS);
  EXPECT_EQ(viLock(vi_, VI_EXCLUSIVE_LOCK, 0, nullptr, nullptr), VI_SUCCESS) << "on top of the shared one";
  EXPECT_EQ(writeOther(), VI_ERROR_RSRC_LOCKED);
  EXPECT_EQ(viLock(vi_, 7, 0, nullptr, nullptr), VI_ERROR_INV_LOCK_TYPE);

  std::thread waiting([&] { EXPECT_EQ(viLock(other, VI_EXCLUSIVE_LOCK, 60000, nullptr, nullptr), VI_SUCCESS); });
  EXPECT_EQ(viClose(vi_), VI_SUCCESS) << "gives the locks back";
  waiting.join();
  ViSession third = VI_NULL;
  EXPECT_EQ(viOpen(manager_.vi, peer_.resource().c_str(), VI_EXCLUSIVE_LOCK, 20, &third), VI_ERROR_TMO);
}

TEST_F(StdTcp, CloseEndsAWaitForALock) {
  ViSession other = VI_NULL;
  ASSERT_EQ(viOpen(manager_.vi, peer_.resource().c_str(), VI_NO_LOCK, 0, &other), VI_SUCCESS);
  ASSERT_EQ(viLock(vi_, VI_EXCLUSIVE_LOCK, 0, nullptr, nullptr), VI_SUCCESS);
  std::thread waiting(
      [&] { EXPECT_EQ(viLock(other, VI_EXCLUSIVE_LOCK, VI_TMO_INFINITE, nullptr, nullptr), VI_ERROR_INV_OBJECT); });
  EXPECT_EQ(viClose(other), VI_SUCCESS);
  waiting.join();
}

TEST_F(StdTcp, ReadsDoNotHoldUpWrites) {
  set(VI_ATTR_TERMCHAR_EN, VI_TRUE);
  set(VI_ATTR_TMO_VALUE, VI_TMO_INFINITE);
  std::thread reader([&] { EXPECT_EQ(read(100).second, "answer\n"); });
  for (int i = 0; i < 100; ++i) EXPECT_EQ(write("query"), VI_SUCCESS);
  EXPECT_EQ(peer_.receive(500).size(), 500U);
  peer_.send("answer\n");
  reader.join();
}

TEST_F(StdTcp, EventsAndForeignBusesAreRefused) {
  EXPECT_EQ(viEnableEvent(vi_, VI_EVENT_SERVICE_REQ, VI_QUEUE, VI_NULL), VI_ERROR_INV_EVENT);
  EXPECT_EQ(viDisableEvent(vi_, VI_ALL_ENABLED_EVENTS, VI_ALL_MECH), VI_SUCCESS_EVENT_DIS);
  EXPECT_EQ(viDiscardEvents(vi_, VI_ALL_ENABLED_EVENTS, VI_ALL_MECH), VI_SUCCESS_QUEUE_EMPTY);
  EXPECT_EQ(viGpibControlREN(vi_, VI_GPIB_REN_ASSERT), VI_ERROR_NSUP_OPER);
  EXPECT_EQ(viGpibSendIFC(vi_), VI_ERROR_NSUP_OPER);
  EXPECT_EQ(viGpibSendIFC(VI_NULL), VI_ERROR_INV_OBJECT);
}

class StdSerial : public StdSession {
protected:
  StdSerial() { open(kSerial); }
  SerialPeer peer_;
};

TEST_F(StdSerial, EndsOfMessages) {
  peer_.send("a\nb#c\nd");
  EXPECT_EQ(read(100), Read(VI_SUCCESS, "a\n")) << "the end that VI_ATTR_ASRL_END_IN tells";
  set(VI_ATTR_ASRL_END_IN, VI_ASRL_END_NONE);
  set(VI_ATTR_TERMCHAR, '#');
  set(VI_ATTR_TERMCHAR_EN, VI_TRUE);
  EXPECT_EQ(read(100), Read(VI_SUCCESS_TERM_CHAR, "b#"));
  set(VI_ATTR_TMO_VALUE, 50);
  EXPECT_EQ(read(2), Read(VI_SUCCESS_MAX_CNT, "c\n"));
  EXPECT_EQ(read(2), Read(VI_ERROR_TMO, "d"));
  set(VI_ATTR_TMO_VALUE, VI_TMO_IMMEDIATE);
  EXPECT_EQ(read(2), Read(VI_ERROR_TMO, ""));
  set(VI_ATTR_TMO_VALUE, VI_TMO_INFINITE);
  set(VI_ATTR_ASRL_DISCARD_NULL, VI_TRUE);
  set(VI_ATTR_ASRL_END_IN, VI_ASRL_END_LAST_BIT);
  peer_.send(std::string("\0x\0y\xFAz", 6));
  EXPECT_EQ(read(100), Read(VI_SUCCESS, "xy\xFA"));
  EXPECT_EQ(get<ViUInt32>(VI_ATTR_ASRL_AVAIL_NUM), 1U) << "waits in the session's buffer";
}

TEST_F(StdSerial, WritesEndAsToldAndLeaveTheBufferAlone) {
  const std::string text = "ab\xE3";
  set(VI_ATTR_ASRL_END_OUT, VI_ASRL_END_TERMCHAR);
  EXPECT_EQ(write(text), VI_SUCCESS);
  EXPECT_EQ(peer_.receive(4), "ab\xE3\n");
  set(VI_ATTR_ASRL_END_OUT, VI_ASRL_END_LAST_BIT);
  EXPECT_EQ(write(text), VI_SUCCESS);
  EXPECT_EQ(write("z"), VI_SUCCESS);
  EXPECT_EQ(peer_.receive(4), "ab\xE3\xFA");
  set(VI_ATTR_SEND_END_EN, VI_FALSE);
  EXPECT_EQ(write(text), VI_SUCCESS);
  EXPECT_EQ(peer_.receive(3), text);
  EXPECT_EQ(text, "ab\xE3");
}

TEST_F(StdSerial, StuckWriteAndLostLine) {
  set(VI_ATTR_TMO_VALUE, 300);
  const std::string large(1 << 20, 'x');
  expectNotShorter(300, [&] { EXPECT_EQ(write(large), VI_ERROR_TMO); });
  peer_.hangUp();
  EXPECT_EQ(read(1).first, VI_ERROR_CONN_LOST);
  EXPECT_EQ(write("x"), VI_ERROR_CONN_LOST);
}

TEST_F(StdSerial, APortIsOpenOnce) {
  ViSession other = VI_NULL;
  EXPECT_EQ(viOpen(manager_.vi, "asrl7", VI_NO_LOCK, 0, &other), VI_ERROR_RSRC_BUSY);
  EXPECT_EQ(viOpen(manager_.vi, "asrl77", VI_NO_LOCK, 0, &other), VI_ERROR_RSRC_NFOUND);
  // The library, taken down with its last session, is started again.
  EXPECT_EQ(viClose(vi_), VI_SUCCESS);
  EXPECT_EQ(viOpen(manager_.vi, "asrl7", VI_NO_LOCK, 0, &other), VI_SUCCESS);
}

}  // namespace
