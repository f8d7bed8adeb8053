// Eight threads at random on the sessions of all buses, with closes, starts and stops in between. Each does
// QVVISA_STORM_STEPS steps, 300 unless the environment says otherwise.

#include "QVvisaPrivate.h"
#include "support/libusbDouble.h"
#include "support/ownUser.h"
#include "support/responder.h"
#include "support/scenario.h"

#include <random>

namespace {

class ThreadStorm : public UsbTest {
protected:
  ThreadStorm() {
    bus.add(instrument());
    bus.answers = [](const Transfer&) { return Reply{LIBUSB_ERROR_TIMEOUT}; };
  }

  /// A session that some thread opened, perhaps closed by now.
  std::atomic<ViSession>& anySession(std::mt19937& random) { return sessions_[random() % std::size(sessions_)]; }

  void step(std::mt19937& random) {
    std::atomic<ViSession>& slot = anySession(random);
    const ViSession vi = slot;
    ViByte bytes[8] = {'?', '\n'};
    ViUInt32 value = 0;
    switch (random() % 8) {
    case 0:
    case 1:
      return open(names_[random() % names_.size()], slot);
    case 2:
      QV_viClose(slot.exchange(0));
      return;
    case 3:
      Scenario::run({}, 1);
      return;
    case 4:
      QV_viWrite(vi, bytes, 2, nullptr);
      return;
    case 5:
      QV_viGetAttribute(vi, VI_ATTR_TMO_VALUE, &value);
      return;
    case 6:
      QV_viSetAttribute(vi, VI_ATTR_TMO_VALUE, static_cast<ViAttrState>(1 + random() % 5));
      return;
    default:
      QV_viRead(vi, bytes, static_cast<ViUInt32>(1 + random() % sizeof bytes), &value);
      EXPECT_LE(value, sizeof bytes);
    }
  }

  void open(std::string name, std::atomic<ViSession>& slot) {
    ViSession rm = 0, vi = 0;
    if (QV_viOpenDefaultRM(&rm) != VI_SUCCESS) return;
    if (QV_viOpen(rm, name.data(), VI_NO_LOCK, 0, &vi) != VI_SUCCESS) return;
    ++opened;
    QV_viSetAttribute(vi, VI_ATTR_TMO_VALUE, 2);
    QV_viClose(slot.exchange(vi));
  }

  std::atomic<int> opened = 0;

private:
  OwnUser ownUser_;
  Responder responder_;
  std::vector<std::string> names_ = {kInstr, responder_.serial, responder_.tcp};
  std::atomic<ViSession> sessions_[6] = {};
};

TEST_F(ThreadStorm, LeavesNothingBehind) {
  testing::internal::CaptureStdout();
  const char* const wanted = getenv("QVVISA_STORM_STEPS");
  const int steps = wanted ? atoi(wanted) : 300;
  {
    std::vector<std::jthread> threads;
    for (unsigned seed = 1; seed <= 8; ++seed) {
      threads.emplace_back([this, seed, steps] {
        std::mt19937 random(seed);
        for (int i = 0; i < steps; ++i) step(random);
      });
    }
  }
  QVvisa_closeLibrary();
  testing::internal::GetCapturedStdout();
  EXPECT_GT(opened, 0);
  EXPECT_EQ(gpQvvisa, nullptr);
  bus.answers = nullptr;
  EXPECT_TRUE(allSucceeded(Scenario::run({kInstr}, 60000)));
}

}  // namespace
