// Searches over a USB bus and a device database of the test's making.

#include "QVvisa.h"
#include "QVvisaFind.h"
#include "QVvisaLock.h"
#include "QVvisaPrivate.h"
#include "support/deviceDatabaseDouble.h"
#include "support/libusbDouble.h"
#include "support/startLibrary.h"
#include "support/testing.h"

#include <future>
#include <set>

namespace {

constexpr ViSession kRm = QV_DEFAULT_RM_SESSION_HANDLE;
constexpr ViUInt32 kUntouched = 0xAAAA;
using Names = std::vector<std::string>;

/// What one search answers. The outputs start with values that a search has to overwrite.
struct Answer {
  ViStatus status = 0;
  ViFindList list = kUntouched;
  ViUInt32 count = kUntouched;
  char desc[VI_FIND_BUFLEN] = "untouched";
};

Answer find(std::string expression) {
  Answer answer;
  answer.status = QV_viFindRsrc(kRm, expression.data(), &answer.list, &answer.count, answer.desc);
  return answer;
}

/// All resources that an expression selects; closes the find list.
Names findAll(const std::string& expression) {
  Answer answer = find(expression);
  EXPECT_TRUE(answer.status == VI_SUCCESS || answer.status == VI_ERROR_RSRC_NFOUND) << expression;
  if (answer.status != VI_SUCCESS) return {};
  Names names;
  do {
    names.emplace_back(answer.desc);
  } while (QV_viFindNext(answer.list, answer.desc) == VI_SUCCESS);
  EXPECT_EQ(answer.count, names.size());
  EXPECT_EQ(QV_viClose(answer.list), VI_SUCCESS);
  return names;
}

/// One USB488 instrument, one instrument of the vendor with two interfaces of other classes, serial ports 3 and 7.
class Find : public UsbTest {
protected:
  Find() {
    bus.add(instrument("A1234"));
    libusb_device other = instrument("B5678", {{8, 6, 80, {}}, kHid});
    other.descriptor.idProduct = 0x43;
    bus.add(other);
    deviceDatabase.devices = {serialPortDevice(3), serialPortDevice(7)};
    start();
  }
  ~Find() override {
    QVvisa_closeLibrary();
    deviceDatabase.clear();
  }

  /// Whether nobody holds the core's lock: another thread gets it.
  static bool isLockFree() {
    return std::async(std::launch::async,
                      [] {
                        const bool isFree = OS_tryLockFast(&flock_QVvisa);
                        if (isFree) OS_unlockFast(&flock_QVvisa);
                        return isFree;
                      })
        .get();
  }
  static void expectNothing(const Answer& answer, ViStatus status, const std::string& what) {
    EXPECT_EQ(answer.status, status) << what;
    EXPECT_EQ(answer.list, 0U) << what;
    EXPECT_EQ(answer.count, 0U) << what;
    EXPECT_STREQ(answer.desc, "") << what;
    EXPECT_TRUE(isLockFree()) << what;
  }

  static constexpr const char* kInstr = "USB0::0x7C5A::0x0042::A1234::INSTR";
  static constexpr const char* kRaw0 = "USB0::0x7C5A::0x0043::B5678::0::RAW";
  static constexpr const char* kRaw1 = "USB0::0x7C5A::0x0043::B5678::1::RAW";
};

TEST_F(Find, WalksTheWorkedExampleAlsoWhenTheDevicesAreGone) {
  Answer answer = find("?*");
  ASSERT_EQ(answer.status, VI_SUCCESS);
  EXPECT_EQ(answer.count, 5U);
  EXPECT_STREQ(answer.desc, kInstr);
  bus.devices.clear();
  deviceDatabase.devices.clear();
  for (const char* name : {kRaw0, kRaw1, "ASRL3::INSTR", "ASRL7::INSTR"}) {
    EXPECT_EQ(QV_viFindNext(answer.list, answer.desc), VI_SUCCESS);
    EXPECT_STREQ(answer.desc, name);
  }
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(QV_viFindNext(answer.list, answer.desc), VI_ERROR_RSRC_NFOUND);
    EXPECT_STREQ(answer.desc, "ASRL7::INSTR");
  }
}

TEST_F(Find, SelectsWhatTheExpressionSays) {
  const struct {
    const char* expression;
    Names names;
  } cases[] = {
      {"?*::INSTR", {kInstr, "ASRL3::INSTR", "ASRL7::INSTR"}},
      {"USB?*", {kInstr, kRaw0, kRaw1}},
      {"ASRL?*", {"ASRL3::INSTR", "ASRL7::INSTR"}},
      {"^ASRL[0-5]::", {"ASRL3::INSTR"}},
      {"0x004(2|3)::[AB]", {kInstr, kRaw0, kRaw1}},
      {"?*{VI_ATTR_MANF_ID == 0x7C5A}  ", {kInstr, kRaw0, kRaw1}},
      {"?*INSTR{VI_ATTR_ASRL_BAUD == 115200}", {"ASRL3::INSTR", "ASRL7::INSTR"}},
      {"?*{VI_ATTR_USB_CLASS == 254 || VI_ATTR_USB_CLASS == 8}", {kInstr, kRaw0}},
      {"usb?*", {}},
      {"?", {}},
      {"??*", {}},
      {"", {}},
      {"[0-9]*", {}},
      {"?*}", {}},
      {"?*{}", {}},
      {"{VI_ATTR_MANF_ID == 0x7C5A}", {}},
      {"?*{VI_ATTR_USB_CLASS}", {}},
      {"^(.*)(.*)nowhere|USB?*", {kInstr, kRaw0, kRaw1}},
      {"^(.*)(.*)(.*)(.*)nowhere|USB?*", {}},  // costs more than the lock may be held for
  };
  for (const auto& c : cases) {
    EXPECT_EQ(findAll(c.expression), c.names) << c.expression;
    start();  // closing the last find list takes the library down
  }
}

TEST_F(Find, SplitsTheExpressionThenEnumeratesThenReadsTheAttributePart) {
  const std::string longest(255, 'x');
  const std::string cases[] = {
      "?*{VI_ATTR_MANF_ID == 0x7C5A}x", "?*{nonsense", "?*{}}", longest + "x", "?*{" + std::string(4097, ' ') + "}",
  };
  for (const auto& expression : cases) expectNothing(find(expression), VI_ERROR_INV_RSRC_NAME, expression);
  EXPECT_TRUE(bus.calls.empty());
  expectNothing(find(longest), VI_ERROR_RSRC_NFOUND, "longest regular part");
  expectNothing(find("?*{nonsense}"), VI_ERROR_INV_RSRC_NAME, "unreadable attribute part");

  bus.devices.clear();
  EXPECT_EQ(findAll("?*"), (Names{"ASRL3::INSTR", "ASRL7::INSTR"}));
  start();
  deviceDatabase.devices.clear();
  expectNothing(find("?*"), VI_ERROR_RSRC_NFOUND, "nothing attached");
  expectNothing(find("?*{nonsense}"), VI_ERROR_RSRC_NFOUND, "unread attribute part");
}

TEST_F(Find, EachOutputMayBeNull) {
  std::string all = "?*", serial = "ASRL?*";
  char desc[VI_FIND_BUFLEN] = "";
  ViUInt32 count = 0;
  EXPECT_EQ(QV_viFindRsrc(kRm, serial.data(), nullptr, &count, desc), VI_SUCCESS);
  EXPECT_EQ(count, 2U);
  EXPECT_STREQ(desc, "ASRL3::INSTR");
  EXPECT_EQ(QV_viFindRsrc(kRm, all.data(), nullptr, nullptr, nullptr), VI_SUCCESS);
  EXPECT_EQ(gpQvvisa->numFindLists, 0);

  ViFindList list = 0;
  EXPECT_EQ(QV_viFindRsrc(kRm, all.data(), &list, nullptr, nullptr), VI_SUCCESS);
  EXPECT_EQ(QV_viFindNext(list, desc), VI_SUCCESS);
  EXPECT_STREQ(desc, kRaw0) << "the first result is used up";
}

TEST_F(Find, HoldsSixteenIndependentLists) {
  std::vector<Answer> lists;
  while (lists.size() < QVVISA_MAX_FINDLISTS) lists.push_back(find("?*"));
  expectNothing(find("?*"), VI_ERROR_ALLOC, "seventeenth list");
  std::string all = "?*";
  EXPECT_EQ(QV_viFindRsrc(kRm, all.data(), nullptr, nullptr, nullptr), VI_SUCCESS);
  for (Answer& list : lists) {
    EXPECT_EQ(QV_viFindNext(list.list, list.desc), VI_SUCCESS);
    EXPECT_STREQ(list.desc, kRaw0);
  }
  EXPECT_EQ(QV_viClose(lists[3].list), VI_SUCCESS);
  EXPECT_EQ(find("?*").status, VI_SUCCESS);
}

TEST_F(Find, ANameItPrintsOpensTheResource) {
  for (std::string name : {kInstr, kRaw0, kRaw1}) {
    ViSession vi = 0;
    ViUInt16 model = 0;
    ASSERT_EQ(QV_viOpen(kRm, name.data(), VI_NO_LOCK, 0, &vi), VI_SUCCESS) << name;
    EXPECT_EQ(QV_viGetAttribute(vi, VI_ATTR_MODEL_CODE, &model), VI_SUCCESS);
    EXPECT_EQ(model, name == kInstr ? 0x42 : 0x43);
    EXPECT_EQ(QV_viClose(vi), VI_SUCCESS);
    start();
  }
}

TEST_F(Find, PrintsTheLongestNameAnEmptySerialNumberAndProtocolZeroAsRaw) {
  bus.devices[0].strings[bus.devices[0].descriptor.iSerialNumber] = std::string(126, 's');
  bus.devices[0].interfaces.push_back(kUsb488);
  bus.devices[0].interfaces[0].protocol = 0;
  bus.devices[1].descriptor.iSerialNumber = 0;
  bus.devices[1].interfaces[0] = kUsb488;
  const std::string longest = "USB0::0x7C5A::0x0042::" + std::string(126, 's'), empty = "USB0::0x7C5A::0x0043::";
  EXPECT_EQ(findAll("USB?*"),
            (Names{longest + "::0::RAW", longest + "::INSTR", empty + "::INSTR", empty + "::1::RAW"}));
}

TEST_F(Find, TwoThreadsOnOneListGetEachResultOnce) {
  for (int i = 10; i < 300; ++i) deviceDatabase.devices.push_back(serialPortDevice(i));
  const Answer answer = find("?*");
  ASSERT_EQ(answer.count, 295U);
  Names got[2];
  const auto walk = [&](Names& names) {
    char desc[VI_FIND_BUFLEN];
    while (QV_viFindNext(answer.list, desc) == VI_SUCCESS) names.emplace_back(desc);
  };
  std::thread first(walk, std::ref(got[0]));
  walk(got[1]);
  first.join();
  std::set<std::string> all(got[0].begin(), got[0].end());
  all.insert(got[1].begin(), got[1].end());
  EXPECT_EQ(got[0].size() + got[1].size(), 294U);
  EXPECT_EQ(all.size(), 294U);
}

}  // namespace
