// Serial messages on a pseudo terminal: end conditions, end marks, time limits, and a peer in another process.

#include "QVvisaAsrlDevice.h"
#include "QVvisaPrivate.h"
#include "support/childProcess.h"
#include "support/serialPeer.h"
#include "support/startLibrary.h"
#include "support/testing.h"

#include <numeric>

namespace {

using Setting = std::pair<ViAttr, ViAttrState>;
using Texts = std::vector<std::string>;

constexpr Setting kNoEndIn{VI_ATTR_ASRL_END_IN, VI_ASRL_END_NONE};
constexpr Setting kLastBitIn{VI_ATTR_ASRL_END_IN, VI_ASRL_END_LAST_BIT};
constexpr Setting kTermCharOn{VI_ATTR_TERMCHAR_EN, VI_TRUE};
constexpr Setting kDiscardNul{VI_ATTR_ASRL_DISCARD_NULL, VI_TRUE};
constexpr Setting kTermCharOut{VI_ATTR_ASRL_END_OUT, VI_ASRL_END_TERMCHAR};
constexpr Setting kLastBitOut{VI_ATTR_ASRL_END_OUT, VI_ASRL_END_LAST_BIT};
constexpr Setting kBreakOut{VI_ATTR_ASRL_END_OUT, VI_ASRL_END_BREAK};
constexpr Setting kNoMark{VI_ATTR_SEND_END_EN, VI_FALSE};
const std::string kNul(1, '\0');

/// A session on port 7.
struct SerialLine {
  explicit SerialLine(const std::vector<Setting>& settings = {}) {
    EXPECT_EQ(QV_viOpen(start(), name, VI_NO_LOCK, 0, &vi), VI_SUCCESS);
    for (const Setting& setting : settings) set(setting);
  }
  ~SerialLine() { QVvisa_closeLibrary(); }

  void set(const Setting& setting) const {
    EXPECT_EQ(QV_viSetAttribute(vi, setting.first, setting.second), VI_SUCCESS) << std::hex << setting.first;
  }
  /// What one read of at most `cnt` bytes delivers; empty on a failure.
  std::string receive(ViUInt32 cnt, ViStatus expected = VI_SUCCESS) const {
    std::vector<ViByte> buf(cnt);
    ViUInt32 count = 0;
    EXPECT_EQ(QV_viRead(vi, buf.data(), cnt, &count), expected);
    return {buf.begin(), buf.begin() + count};
  }
  /// Writes a message; the part of the buffer that counts as written, as it came back.
  std::string send(std::string message) const {
    ViUInt32 count = 0xAAAA;
    const auto size = static_cast<ViUInt32>(message.size());
    EXPECT_EQ(QV_viWrite(vi, reinterpret_cast<ViBuf>(message.data()), size, &count), VI_SUCCESS);
    return message.substr(0, count);
  }

  SerialPeer peer;
  char name[16] = "ASRL7::INSTR";
  ViSession vi = 0;
};

TEST(SerialMessages, EndAtTheirConditionAndNothingIsTakenPastIt) {
  const struct {
    const char* what;
    std::vector<Setting> settings;
    std::string stream;
    ViUInt32 cnt;
    Texts reads;  ///< what the reads deliver, one after the other
  } cases[] = {
      {"a fresh session", {}, "AB\nCD\n", 10, {"AB\n", "CD\n"}},
      {"the count", {}, "ABCD\n", 2, {"AB", "CD", "\n"}},
      {"no condition", {kNoEndIn}, "A\nB\n", 4, {"A\nB\n"}},
      {"the character alone", {kNoEndIn, kTermCharOn}, "AB\nC\n", 10, {"AB\n", "C\n"}},
      {"a high character", {{VI_ATTR_TERMCHAR, 0xFE}}, "A\n\xFE\xFE", 10, {"A\n\xFE", "\xFE"}},
      {"the last bit", {kLastBitIn}, "A\n\xC2Z\x80", 10, {"A\n\xC2", "Z\x80"}},
      {"last bit or character", {kLastBitIn, kTermCharOn}, "A\nB\xC2", 10, {"A\n", "B\xC2"}},
      {"NUL is data", {}, kNul + "A" + kNul + "\n", 10, {kNul + "A" + kNul + "\n"}},
      {"NUL discarded", {kDiscardNul}, kNul + "A" + kNul + "B", 1, {"A", "B"}},
      {"no end by a discarded NUL", {kDiscardNul, {VI_ATTR_TERMCHAR, 0}}, kNul + "A" + kNul + "B", 2, {"AB"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const SerialLine line(c.settings);
    ASSERT_TRUE(line.peer.send(c.stream));
    for (const auto& expected : c.reads) EXPECT_EQ(line.receive(c.cnt), expected);
    line.set({VI_ATTR_TMO_VALUE, VI_TMO_IMMEDIATE});
    EXPECT_EQ(line.receive(1, VI_ERROR_TMO), "") << "something was left over";
  }
}

TEST(SerialMessages, AreMarkedAtTheirEnd) {
  const struct {
    const char* what;
    std::vector<Setting> settings;
    std::string message;
    std::string sent;
    std::string buffer;  ///< what the caller's buffer holds afterwards, as far as it was sent
  } cases[] = {
      {"no mark", {}, "AB", "AB", "AB"},
      {"the character", {kTermCharOut}, "AB", "AB\n", "AB"},
      {"another character", {kTermCharOut, {VI_ATTR_TERMCHAR, 0x0D}}, "AB", "AB\r", "AB"},
      {"an empty message", {kTermCharOut}, "", "\n", ""},
      {"the character disabled", {kTermCharOut, kNoMark}, "AB", "AB", "AB"},
      {"the last bit", {kLastBitOut}, "\xFF\x01", "\x7F\x81", "\x7F\x81"},
      {"the last bit disabled", {kLastBitOut, kNoMark}, "\xFF\x81", "\x7F\x01", "\x7F\x01"},
      {"break", {kBreakOut}, "AB", "AB", "AB"},
      {"NUL discarded", {kDiscardNul}, "A" + kNul + kNul + "B", "AB", "AB"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const SerialLine line(c.settings);
    EXPECT_EQ(line.send(c.message), c.buffer);
    EXPECT_EQ(QV_viClose(line.vi), VI_SUCCESS);
    EXPECT_EQ(line.peer.receive(100), c.sent) << "all that came until the close";
  }
}

TEST(SerialMessages, NeverEndBeforeTheTimeLimitAndKeepWhatCame) {
  const SerialLine line({{VI_ATTR_TMO_VALUE, 60}});
  for (const std::string& there : Texts{"", "CD"}) {
    ASSERT_TRUE(line.peer.send(there));
    ViByte buf[8] = {};
    ViUInt32 count = 0xAAAA;
    expectNotShorter(60, [&] { EXPECT_EQ(QV_viRead(line.vi, buf, sizeof buf, &count), VI_ERROR_TMO); });
    EXPECT_EQ(count, 0xAAAAU);
    EXPECT_EQ(reinterpret_cast<const char*>(buf), there);
  }
}

TEST(SerialMessages, FailEachTimeOnceTheOtherEndIsClosed) {
  SerialLine line;
  line.peer.hangUp();
  ViByte byte = 'x';
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(QV_viRead(line.vi, &byte, 1, nullptr), VI_ERROR_SYSTEM_ERROR);
    EXPECT_EQ(QV_viWrite(line.vi, &byte, 1, nullptr), VI_ERROR_SYSTEM_ERROR);
  }
  ViUInt32 rate = 0;
  EXPECT_EQ(QV_viGetAttribute(line.vi, VI_ATTR_ASRL_BAUD, &rate), VI_SUCCESS) << "the node goes on answering";
  EXPECT_EQ(QV_viClose(line.vi), VI_SUCCESS);
}

TEST(SerialMessages, MoveEveryByteUnchangedToAnotherProcessAndBack) {
  const SerialLine line({kNoEndIn});
  const ChildProcess echo([&] {
    while (line.peer.send(line.peer.receive(1))) continue;
  });
  std::string all(256, '\0');
  std::iota(all.begin(), all.end(), '\0');
  EXPECT_EQ(line.send(all), all);
  EXPECT_EQ(line.receive(256), all);
}

/// Read system calls of the process so far.
long readCalls() {
  FILE* io = fopen("/proc/self/io", "re");
  long calls = -1;
  char line[64];
  while (io && fgets(line, sizeof line, io)) sscanf(line, "syscr: %ld", &calls);
  if (io) fclose(io);
  return calls;
}

TEST(SerialMessages, CostFewerThanOneReadCallPerHundredBytes) {
  constexpr ViUInt32 kSize = 1 << 20;
  const SerialLine line({kNoEndIn});
  const ChildProcess source([&] { _exit(line.peer.send(std::string(kSize, 'x')) ? (pause(), 0) : 1); });
  const long before = readCalls();
  ASSERT_GE(before, 0);
  EXPECT_EQ(line.receive(kSize).size(), kSize);
  EXPECT_LT(readCalls() - before, static_cast<long>(kSize / 100));
}

TEST(SerialMessages, ComeFromAListedPortThatOneSessionHolds) {
  SerialLine line;
  ViUInt32 count = 0;
  char desc[VI_FIND_BUFLEN];
  EXPECT_EQ(QV_viFindRsrc(QV_DEFAULT_RM_SESSION_HANDLE, line.name, nullptr, &count, desc), VI_SUCCESS);
  EXPECT_EQ(count, 1U);
  EXPECT_STREQ(desc, "ASRL7::INSTR");
  ViSession second = 0;
  EXPECT_LT(QV_viOpen(QV_DEFAULT_RM_SESSION_HANDLE, desc, VI_NO_LOCK, 0, &second), 0);
}

/// Threads that read, write and set attributes of one session, and close it under a read that waits.
TEST(SerialMessages, StayWholeWithThreadsOnOneSession) {
  constexpr size_t kBytes = 200'000;
  constexpr size_t kWrites = 200;
  const SerialLine line({kNoEndIn, {VI_ATTR_TMO_VALUE, 20'000}});
  std::atomic<bool> isDone{false};
  std::atomic<size_t> received[256] = {};
  std::atomic<size_t> rest = kBytes;
  const auto readUpTo = [&](ViUInt32 size) {
    while (rest > 0) {
      // What is left belongs to the threads together; the other may have taken it meanwhile.
      const auto wanted = std::min<size_t>(size, rest.load() / 2 + 1);
      std::vector<ViByte> buf(wanted);
      ViUInt32 count = 0;
      size_t before = rest;
      while (before >= wanted && !rest.compare_exchange_weak(before, before - wanted)) continue;
      if (before < wanted) continue;
      EXPECT_EQ(QV_viRead(line.vi, buf.data(), static_cast<ViUInt32>(wanted), &count), VI_SUCCESS);
      EXPECT_EQ(count, wanted);
      for (const ViByte byte : buf) ++received[byte];
    }
  };
  const auto setAndGet = [&](ViAttrState value) {
    char text[MAX_BUF_SIZE_ATTR];
    while (!isDone) {
      line.set({VI_ATTR_TMO_VALUE, 20'000 + value});
      line.set({VI_ATTR_ASRL_BAUD, 9600 * value});
      line.set({VI_ATTR_ASRL_XON_CHAR, value});
      line.set({VI_ATTR_TERMCHAR, value});
      for (const ViAttr attr : {VI_ATTR_TMO_VALUE, VI_ATTR_ASRL_BAUD, VI_ATTR_ASRL_RTS_STATE, VI_ATTR_ASRL_AVAIL_NUM,
                                VI_ATTR_INTF_INST_NAME}) {
        EXPECT_EQ(QV_viGetAttribute(line.vi, attr, text), VI_SUCCESS);
      }
    }
  };
  std::string all(256, '\0');
  std::iota(all.begin(), all.end(), '\0');
  size_t sent[256] = {};
  for (size_t i = 0; i < kBytes; ++i) ++sent[i % 256];
  {
    std::string stream;
    while (stream.size() < kBytes) stream += all;
    stream.resize(kBytes);
    const std::jthread source([&] { EXPECT_TRUE(line.peer.send(stream)); });
    const std::jthread sink([&] { EXPECT_EQ(line.peer.receive(kWrites * all.size()).size(), kWrites * all.size()); });
    const std::jthread setters[] = {std::jthread(setAndGet, 1), std::jthread(setAndGet, 2)};
    std::jthread users[] = {std::jthread(readUpTo, 1), std::jthread(readUpTo, 7000), std::jthread([&] {
                              for (size_t i = 0; i < kWrites; ++i) EXPECT_EQ(line.send(all), all);
                            })};
    for (auto& user : users) user.join();
    isDone = true;
  }
  EXPECT_TRUE(std::equal(sent, sent + 256, received)) << "a byte was lost or came twice";
  ViUInt32 limit = 0;
  EXPECT_EQ(QV_viGetAttribute(line.vi, VI_ATTR_TMO_VALUE, &limit), VI_SUCCESS);
  EXPECT_EQ(static_cast<int>(limit), gpQvvisa->device[0]->qvlsDev->asrlDev->tReadTimo_ms) << "said and done";

  std::jthread readers[] = {sleepingThread([&] { EXPECT_EQ(line.receive(1).size(), 1U); }),
                            sleepingThread([&] { EXPECT_EQ(line.receive(1).size(), 1U); })};
  EXPECT_EQ(QV_viClose(line.vi), VI_SUCCESS);
  ASSERT_TRUE(line.peer.send("ab"));
  for (auto& reader : readers) reader.join();
  EXPECT_FALSE(QVvisa_isUp());
}

}  // namespace
