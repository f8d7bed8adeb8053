// The fronts of the sixteen operations, the order of their checks and the status of each early exit, and sessions on
// TCP sockets behind them.

#include "QVvisaLock.h"
#include "support/childProcess.h"
#include "support/serialPeer.h"
#include "support/tcpSession.h"
#include "support/testing.h"

#include <fcntl.h>
#include <filesystem>
#include <set>

namespace {

constexpr ViSession kRm = 0x64190511;
constexpr ViSession kUnknown = 0x55;

/// One call of an operation and what it answers while the library is up and while it is down.
struct Call {
  const char* text;
  std::function<ViStatus()> call;
  ViStatus up = VI_ERROR_INV_OBJECT;
  ViStatus down = VI_ERROR_SYSTEM_ERROR;
};

/// Every operation, called so that it ends in its front.
std::vector<Call> frontCalls() {
  static ViChar expr[] = "?*";
  static ViChar name[] = "TCPIP0::127.0.0.1::1::SOCKET";
  static ViByte buf[4];
  static ViChar desc[VI_FIND_BUFLEN];
  static ViUInt32 value = 0;
  static ViUInt16 word = 0;
  static ViSession vi = 0;
  return {
      {"OpenDefaultRM null", [] { return QV_viOpenDefaultRM(nullptr); }, VI_ERROR_INV_OBJECT, VI_ERROR_INV_OBJECT},
      {"FindRsrc other sesn", [] { return QV_viFindRsrc(kUnknown, expr, &vi, &value, desc); }},
      {"FindRsrc null expr", [] { return QV_viFindRsrc(kRm, nullptr, &vi, &value, desc); }},
      {"FindNext null desc", [] { return QV_viFindNext(kUnknown, nullptr); }, VI_ERROR_INV_PARAMETER},
      {"FindNext RM", [] { return QV_viFindNext(kRm, desc); }},
      {"Open other sesn", [] { return QV_viOpen(kUnknown, name, 0, 0, &vi); }, VI_ERROR_INV_PARAMETER},
      {"Open shared lock", [] { return QV_viOpen(kRm, name, VI_SHARED_LOCK, 0, &vi); }, VI_ERROR_INV_PARAMETER},
      {"Open null name", [] { return QV_viOpen(kRm, nullptr, 0, 0, &vi); }, VI_ERROR_INV_PARAMETER},
      {"Close unknown", [] { return QV_viClose(kUnknown); }, VI_ERROR_INV_OBJECT, VI_SUCCESS},
      {"SetAttribute unknown", [] { return QV_viSetAttribute(kUnknown, VI_ATTR_TMO_VALUE, 1); }},
      {"GetAttribute RM", [] { return QV_viGetAttribute(kRm, VI_ATTR_TMO_VALUE, &value); }},
      {"GetAttribute null", [] { return QV_viGetAttribute(kUnknown, VI_ATTR_TMO_VALUE, nullptr); }, VI_SUCCESS},
      {"StatusDesc", [] { return QV_viStatusDesc(kUnknown, VI_SUCCESS, desc); }, VI_SUCCESS, VI_SUCCESS},
      {"Read RM", [] { return QV_viRead(kRm, buf, 4, &value); }},
      {"Write unknown", [] { return QV_viWrite(kUnknown, buf, 4, &value); }},
      {"ReadSTB unknown", [] { return QV_viReadSTB(kUnknown, &word); }},
      {"Clear unknown", [] { return QV_viClear(kUnknown); }},
      {"Flush", [] { return QV_viFlush(kUnknown, 0xFFFF); }, VI_SUCCESS, VI_SUCCESS},
      {"GpibControlREN unknown", [] { return QV_viGpibControlREN(kUnknown, 0); }},
      {"UsbControlOut unknown", [] { return QV_viUsbControlOut(kUnknown, 0x80, 0, 0, 0, 0, buf); }},
      {"UsbControlIn unknown", [] { return QV_viUsbControlIn(kUnknown, 0, 0, 0, 0, 0, buf, &word); }},
  };
}

TEST(Operations, CheckWhetherTheLibraryIsUpAndThenTheirArguments) {
  for (const Call& c : frontCalls()) EXPECT_EQ(c.call(), c.down) << c.text << ", never started";
  ViUInt16 count = 7;
  QV_viUsbControlIn(kUnknown, 0x80, 0, 0, 0, 0, nullptr, &count);
  EXPECT_EQ(count, 0) << "a failed control-in reports no bytes";
  ASSERT_EQ(start(), kRm);
  for (const Call& c : frontCalls()) EXPECT_EQ(c.call(), c.up) << c.text;
  ASSERT_EQ(QV_viClose(kRm), VI_SUCCESS);
  for (const Call& c : frontCalls()) EXPECT_EQ(c.call(), c.down) << c.text << ", closed";
}

class Session : public TcpSession {
protected:
  /// Begins a read of the session on another thread, and returns when that is past the look-up of the record.
  std::thread startReading(std::string& text) {
    std::thread reader([this, &text] { text = read(vi_); });
    QVvisa_device_t* record = gpQvvisa->device[0];
    while (std::atomic_ref<ViUInt32>(record->uses).load() == 0) std::this_thread::yield();
    return reader;
  }
  static ViSession addFindList() {
    ViSession vi = 0;
    QVvisa_findList_t* findList = nullptr;
    EXPECT_EQ(QVvisa_initFindListElem(&findList), VI_SUCCESS);
    EXPECT_EQ(QVvisa_AddHandleFindList(&findList, &vi), VI_SUCCESS);
    return vi;
  }
};

TEST_F(Session, RefusesTheOperationsOfAnotherBus) {
  ViUInt16 word = 0x55;
  ViByte buf[4];
  EXPECT_EQ(QV_viReadSTB(vi_, nullptr), VI_ERROR_INV_OBJECT);
  EXPECT_EQ(QV_viReadSTB(vi_, &word), VI_ERROR_NSUP_OPER);
  EXPECT_EQ(QV_viClear(vi_), VI_ERROR_NSUP_OPER);
  EXPECT_EQ(QV_viGpibControlREN(vi_, 99), VI_ERROR_NSUP_OPER);
  EXPECT_EQ(QV_viUsbControlOut(vi_, 0x80, 0, 0, 0, 0, buf), VI_ERROR_NSUP_OPER);
  EXPECT_EQ(QV_viUsbControlIn(vi_, 0, 0, 0, 0, 0, buf, &word), VI_ERROR_NSUP_OPER);
  EXPECT_EQ(word, 0);
}

TEST_F(Session, AFindListHasNoAttributesAndNoTransfers) {
  const ViSession list = addFindList();
  ViUInt32 value = 0;
  ViByte buf[4];
  EXPECT_EQ(QV_viGetAttribute(list, VI_ATTR_USER_DATA, &value), VI_ERROR_NIMPL_OPER);
  EXPECT_EQ(QV_viSetAttribute(list, VI_ATTR_USER_DATA, 1), VI_ERROR_NIMPL_OPER);
  EXPECT_EQ(QV_viRead(list, buf, 4, &value), VI_ERROR_INV_OBJECT);
  char desc[VI_FIND_BUFLEN] = "unchanged";
  EXPECT_EQ(QV_viFindNext(list, desc), VI_ERROR_RSRC_NFOUND);
  EXPECT_STREQ(desc, "unchanged");
  EXPECT_EQ(QV_viFindNext(vi_, desc), VI_ERROR_INV_OBJECT);
}

TEST_F(Session, FailedOpensLeaveTheHandleAlone) {
  const TcpPeer refuses(TcpPeer::kDeaf);
  ViSession vi = kUnknown;
  EXPECT_EQ(tryOpen("GPIB0::1::INSTR", &vi), VI_ERROR_INV_RSRC_NAME);
  EXPECT_EQ(tryOpen("TCPIP0::127.0.0.1::65536::SOCKET", &vi), VI_ERROR_INV_RSRC_NAME);
  EXPECT_EQ(tryOpen(refuses.resource(), &vi), VI_ERROR_SYSTEM_ERROR);
  EXPECT_EQ(vi, kUnknown);
  EXPECT_EQ(tryOpen(peer_.resource(), nullptr), VI_ERROR_INV_OBJECT);
  peer_.accept();
  EXPECT_TRUE(peer_.clientClosed());
  EXPECT_EQ(gpQvvisa->numDevs, 1);
}

TEST_F(Session, TheTableTakes128) {
  for (int count = 1; count < 128; ++count) vi_ = open();
  ViSession oneTooMany = kUnknown;
  EXPECT_EQ(tryOpen(peer_.resource(), &oneTooMany), VI_ERROR_ALLOC);
  EXPECT_EQ(oneTooMany, kUnknown);
  peer_.accept();
  EXPECT_TRUE(peer_.clientClosed());

  EXPECT_EQ(QV_viClose(vi_), VI_SUCCESS);
  write(open(), "in the free place");
  EXPECT_EQ(peer_.receive(17), "in the free place");
}

size_t openDescriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

TEST_F(Session, TwoThousandLeaveNoDescriptor) {
  peer_.reset();
  const size_t before = openDescriptors();
  for (int i = 0; i < 2000; ++i) {
    const ViSession vi = open();
    // The server's end goes first and hard, so that no connection lingers for minutes.
    peer_.reset();
    ASSERT_EQ(QV_viClose(vi), VI_SUCCESS);
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(Session, ClosingTheLastObjectEndsTheLibraryAndItStartsAgain) {
  const ViSession list = addFindList();
  EXPECT_EQ(QV_viClose(rm_), VI_SUCCESS);
  peer_.send("x");
  EXPECT_EQ(read(vi_), "x") << "closing the resource manager leaves sessions alone";
  EXPECT_EQ(QV_viClose(vi_), VI_SUCCESS);
  EXPECT_TRUE(QVvisa_isUp());
  EXPECT_EQ(QV_viClose(vi_), VI_ERROR_INV_OBJECT);
  EXPECT_EQ(QV_viClose(list), VI_SUCCESS);
  EXPECT_FALSE(QVvisa_isUp());
  EXPECT_EQ(QV_viClose(list), VI_SUCCESS);
  ViSession again = 0;
  EXPECT_EQ(tryOpen(peer_.resource(), &again), VI_ERROR_SYSTEM_ERROR);
  EXPECT_EQ(start(), rm_);
  EXPECT_EQ(open(), list + QV_INCR_SESSION_ID) << "the handle sequence goes on";
}

TEST_F(Session, ACloseDuringAReadLetsTheReadEndAndThenGoesThrough) {
  std::string text;
  std::thread reader = startReading(text);
  EXPECT_EQ(QV_viClose(vi_), VI_SUCCESS);
  EXPECT_EQ(QV_viClose(vi_), VI_ERROR_INV_OBJECT);
  EXPECT_TRUE(QVvisa_isUp()) << "the read keeps the library up";
  peer_.send("late");
  reader.join();
  EXPECT_EQ(text, "late");
  EXPECT_TRUE(peer_.clientClosed());
  EXPECT_FALSE(QVvisa_isUp());
}

TEST_F(Session, AStartCallsOffTheCloseThatWaitsForARead) {
  std::string text;
  std::thread reader = startReading(text);
  EXPECT_EQ(QV_viClose(vi_), VI_SUCCESS);
  EXPECT_EQ(start(), rm_);
  peer_.send("late");
  reader.join();
  EXPECT_TRUE(QVvisa_isUp());
  EXPECT_EQ(QV_viClose(rm_), VI_SUCCESS);
  EXPECT_FALSE(QVvisa_isUp());
}

TEST_F(Session, ABlockedReadHoldsUpNobodyAndEndsWhileAnotherThreadHoldsTheLock) {
  TcpPeer other;
  ViSession free = 0;
  ASSERT_EQ(tryOpen(other.resource(), &free), VI_SUCCESS);
  other.accept();
  std::string text;
  std::thread reader = startReading(text);
  write(free, "?");
  EXPECT_EQ(other.receive(1), "?");
  other.send("free");
  EXPECT_EQ(read(free), "free");
  EXPECT_EQ(QV_viClose(free), VI_SUCCESS);
  const CoreLock slowOpen;
  std::thread([] { EXPECT_EQ(start(), kRm) << "of a library that is up"; }).join();
  peer_.send("at last");
  reader.join();
  EXPECT_EQ(text, "at last");
}

TEST_F(Session, ACancelledThreadFinishesItsOperationFirst) {
  ViSession vi = 0;
  ViByte byte = 'x';
  ViUInt32 value = 0;
  ViChar expr[] = "ASRL9999::INSTR";
  const std::pair<std::function<ViStatus()>, ViStatus> operations[] = {
      {[&] { return QV_viOpenDefaultRM(&vi); }, VI_SUCCESS},
      {[&] { return QV_viFindRsrc(kRm, expr, nullptr, nullptr, nullptr); }, VI_ERROR_RSRC_NFOUND},
      {[&] { return tryOpen(peer_.resource(), &vi); }, VI_SUCCESS},
      {[&] { return QV_viClose(vi); }, VI_SUCCESS},
      {[&] { return QV_viWrite(vi_, &byte, 1, nullptr); }, VI_SUCCESS},
      {[&] { return QV_viRead(vi_, &byte, 1, nullptr); }, VI_SUCCESS},
      {[&] { return QV_viSetAttribute(vi_, VI_ATTR_TMO_VALUE, 0); }, VI_SUCCESS},
      {[&] { return QV_viGetAttribute(vi_, VI_ATTR_TMO_VALUE, &value); }, VI_SUCCESS},
  };
  peer_.send("x");
  for (const auto& [operation, expected] : operations) {
    struct {
      const std::function<ViStatus()>& operation;
      ViStatus status;
    } job{operation, -77};
    pthread_t thread{};
    const auto run = [](void* argument) -> void* {
      auto& cancelled = *static_cast<decltype(job)*>(argument);
      pthread_cancel(pthread_self());  // acts at the first chance
      cancelled.status = cancelled.operation();
      pthread_testcancel();
      return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, run, &job), 0);
    void* result = nullptr;
    EXPECT_TRUE(pthread_join(thread, &result) == 0 && result == PTHREAD_CANCELED);
    EXPECT_EQ(job.status, expected) << &operation - &operations[0].first;
  }
}

TEST(Descriptors, AreNeverThoseOfStandardStreams) {
  const SerialPeer serial;
  const TcpPeer tcp;
  std::string names[] = {tcp.resource(), "ASRL7::INSTR"};
  const std::string log = testing::TempDir() + freshName("log");
  ChildProcess user([&] {
    setenv("QVVISA_LOGFILE", log.c_str(), 1);
    for (const int number : {0, 1, 2}) close(number);
    const ViSession rm = start();
    int failures = QVvisa_isUp() ? 0 : 100;
    for (std::string& name : names) {
      ViSession vi = 0;
      if (QV_viOpen(rm, name.data(), VI_NO_LOCK, 0, &vi) != VI_SUCCESS) failures += 10;
    }
    for (const int number : {0, 1, 2}) failures += fcntl(number, F_GETFD) >= 0 ? 1 : 0;
    _exit(failures);
  });
  EXPECT_EQ(user.exitCode(), 0);
  EXPECT_GT(std::filesystem::file_size(log), 0U);
  std::filesystem::remove(log);
}

/// Threads that open, use and close the same handles, and start and stop the library under each other's feet.
TEST(Concurrency, HandlesMayBeClosedUnderTheirUsers) {
  constexpr int kRounds = 60;
  TcpPeer peer;
  std::string name = peer.resource();
  std::atomic<ViSession> shared{0};
  std::atomic<bool> isDone{false};
  const std::set<ViStatus> harmless{VI_SUCCESS, VI_ERROR_INV_OBJECT, VI_ERROR_SYSTEM_ERROR};

  const auto use = [&] {
    ViChar desc[VI_FIND_BUFLEN];
    ViChar expr[] = "ASRL9999::INSTR";
    while (!isDone) {
      const ViSession vi = shared;
      ViUInt32 value = 0;
      EXPECT_TRUE(harmless.count(QV_viGetAttribute(vi, VI_ATTR_RM_SESSION, &value)));
      EXPECT_TRUE(harmless.count(QV_viSetAttribute(vi, VI_ATTR_USER_DATA, 5)));
      ViByte byte = 'x';
      const ViStatus written = QV_viWrite(vi, &byte, 1, &value);
      EXPECT_TRUE(harmless.count(written)) << written;
      const ViStatus found = QV_viFindRsrc(kRm, expr, nullptr, &value, desc);
      EXPECT_TRUE(found == VI_ERROR_RSRC_NFOUND || found == VI_ERROR_SYSTEM_ERROR) << found;
    }
  };
  const auto openAndClose = [&] {
    for (int i = 0; i < kRounds; ++i) {
      ViSession vi = 0;
      const ViStatus opened = QV_viOpen(start(), name.data(), 0, 0, &vi);
      EXPECT_TRUE(opened == VI_SUCCESS || opened == VI_ERROR_SYSTEM_ERROR) << opened;
      if (opened != VI_SUCCESS) continue;
      shared = vi;
      EXPECT_TRUE(harmless.count(QV_viClose(vi)));
    }
  };
  std::thread users[] = {std::thread(use), std::thread(use)};
  std::thread openers[] = {std::thread(openAndClose), std::thread(openAndClose)};
  for (auto& opener : openers) opener.join();
  isDone = true;
  for (auto& user : users) user.join();
  QV_viClose(kRm);
  EXPECT_FALSE(QVvisa_isUp());
}

}  // namespace
