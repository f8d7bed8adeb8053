// Start and stop of the library, with a libusb whose start can be made to fail.

#include "QVvisa.h"
#include "QVvisaPrivate.h"
#include "support/childProcess.h"
#include "support/failingAlloc.h"
#include "support/ownUser.h"
#include "support/testing.h"

#include <filesystem>
#include <iterator>
#include <sys/resource.h>

namespace {

int startResult = LIBUSB_SUCCESS;
int starts = 0;
int ends = 0;

}  // namespace

extern "C" {
int __real_libusb_init(libusb_context** ctx);
void __real_libusb_exit(libusb_context* ctx);

int __wrap_libusb_init(libusb_context** ctx) {
  ++starts;
  return startResult == LIBUSB_SUCCESS ? __real_libusb_init(ctx) : startResult;
}

void __wrap_libusb_exit(libusb_context* ctx) {
  ++ends;
  __real_libusb_exit(ctx);
}
}

namespace {

class Lifecycle : public testing::Test {
protected:
  Lifecycle() { beFresh(); }
  ~Lifecycle() override {
    QVvisa_closeLibrary();
    if (QVlibusbCtx) __real_libusb_exit(QVlibusbCtx);
    QVlibusbCtx = nullptr;
    beFresh();
  }

  /// A failed start has no way out in a process; this makes the library as it is when a process begins.
  static void beFresh() {
    startResult = LIBUSB_SUCCESS;
    starts = 0;
    ends = 0;
    QVvisaInitialized = 0;
  }
  static void expectStart(ViStatus expected) {
    ViSession vi = 0x55;
    EXPECT_EQ(QV_viOpenDefaultRM(&vi), expected);
    EXPECT_EQ(vi, expected == VI_SUCCESS ? QV_DEFAULT_RM_SESSION_HANDLE : 0);
  }
  static void expectClose() { EXPECT_EQ(QV_viClose(QV_DEFAULT_RM_SESSION_HANDLE), VI_SUCCESS); }

private:
  OwnUser ownUser_;
};

TEST_F(Lifecycle, StartsOnceAndStopsWhenNothingIsOpen) {
  for (int i = 0; i < 3; ++i) expectStart(VI_SUCCESS);
  EXPECT_EQ(starts, 1);
  for (int i = 0; i < 2; ++i) expectClose();
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(gpQvvisa, nullptr);

  const std::string stamp = QVvisaBuild;
  expectStart(VI_SUCCESS);
  EXPECT_EQ(starts, 2);
  EXPECT_EQ(QVvisaBuild, stamp);
}

TEST_F(Lifecycle, AStartThatFailsIsFinal) {
  const struct {
    int result;
    ViStatus status;
  } cases[] = {
      {LIBUSB_ERROR_ACCESS, VI_ERROR_NPERMISSION},
      {LIBUSB_ERROR_OTHER, VI_ERROR_SYSTEM_ERROR},
      {LIBUSB_ERROR_NO_DEVICE, VI_SUCCESS_DEV_NPRESENT},
      {12, VI_WARN_UNKNOWN_STATUS},
  };
  for (const auto& c : cases) {
    beFresh();
    startResult = c.result;
    expectStart(c.status);
    startResult = LIBUSB_SUCCESS;
    expectStart(c.status);
    EXPECT_EQ(starts, 1) << "the status is retained";
    expectClose();
    EXPECT_EQ(ends, 0);

    // A later start, from closed, may fail too.
    beFresh();
    expectStart(VI_SUCCESS);
    expectClose();
    startResult = c.result;
    expectStart(c.status);
  }
}

TEST_F(Lifecycle, NoMemoryForTheTableIsAFailedStart) {
  ViSession vi = 0x55;
  ViStatus status = VI_SUCCESS;
  // The mutex needs memory too, and what a start can do without.
  for (long place = 0; status != VI_ERROR_ALLOC; ++place) {
    const FailingAlloc alloc(place);
    status = QV_viOpenDefaultRM(&vi);
    ASSERT_TRUE(alloc.hasFailed());
    if (status == VI_SUCCESS) expectClose();
  }
  EXPECT_EQ(vi, 0U);
  expectStart(VI_ERROR_ALLOC);
}

TEST_F(Lifecycle, AStartInAnotherProcessHoldsThisOneUpAndItsDeathIsNotFinal) {
  Pipe isHeld;
  ChildProcess holder([&] {
    MutexHandle mutex = nullptr;
    if (!OS_constructMutex(nullptr, &mutex, "MutexQVVisa") || OS_lockMutex(mutex, 10000) != MUTEX_TOOK) _exit(1);
    isHeld.send();
    pause();
  });
  isHeld.receive();
  expectStart(VI_ERROR_SYSTEM_ERROR);
  EXPECT_EQ(starts, 0);
  holder.kill();
  EXPECT_EQ(holder.signal(), SIGKILL);
  expectStart(VI_ERROR_SYSTEM_ERROR);  // the first taker learns of the holder's death
  expectStart(VI_SUCCESS);
}

TEST_F(Lifecycle, ProcessesStartAndStopAtOnceWhileOthersAreKilled) {
  // False for what neither a death nor a long queue explains.
  const auto startAndStop = [](int& started) {
    ViSession vi = 0;
    const ViStatus status = QV_viOpenDefaultRM(&vi);
    if (status != VI_SUCCESS) return status == VI_ERROR_SYSTEM_ERROR && vi == 0;
    ++started;
    return QV_viClose(vi) == VI_SUCCESS && gpQvvisa == nullptr;
  };
  const auto descriptors = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
  };
  std::unique_ptr<ChildProcess> steady[4];
  std::unique_ptr<ChildProcess> killed[4];
  for (auto& child : steady) {
    child = std::make_unique<ChildProcess>([&] {
      int started = 0;
      bool good = startAndStop(started);
      const auto before = descriptors();
      for (int round = 0; round < 30; ++round) good = startAndStop(started) && good;
      _exit(good && started > 0 && descriptors() == before ? 0 : 1);
    });
  }
  for (int round = 0; round < 40; ++round) {
    killed[round % std::size(killed)] = std::make_unique<ChildProcess>([&] {
      for (int started = 0; startAndStop(started);) {
      }
    });
  }
  for (auto& child : steady) EXPECT_EQ(child->exitCode(), 0);
  for (auto& child : killed) child.reset();
  int started = 0;
  EXPECT_TRUE(startAndStop(started)) << "it may be told of a death";
  EXPECT_TRUE(startAndStop(started) && started > 0);
}

TEST_F(Lifecycle, AProcessThatMayWriteNoFileStartsWithoutASignal) {
  const std::string path = testing::TempDir() + freshName("log");
  ChildProcess child([&] {
    const rlimit none = {};
    setenv("QVVISA_LOGFILE", path.c_str(), 1);
    ViSession vi = 0;
    _exit(setrlimit(RLIMIT_FSIZE, &none) == 0 && QV_viOpenDefaultRM(&vi) == VI_SUCCESS ? 0 : 1);
  });
  EXPECT_EQ(child.exitCode(), 0);
  EXPECT_EQ(std::filesystem::file_size(path), 0U) << "it got as far as the log";
  unlink(path.c_str());
}

TEST_F(Lifecycle, ManyThreadsStartOneLibrary) {
  std::thread threads[8];
  for (auto& thread : threads) thread = std::thread(expectStart, VI_SUCCESS);
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(starts, 1);
}

TEST_F(Lifecycle, OpensTheLogThatTheEnvironmentNamesWithEachStart) {
  const std::string path = testing::TempDir() + freshName("log");
  setenv("QVVISA_LOGFILE", path.c_str(), 1);
  for (const bool isFirst : {true, false}) {
    expectStart(VI_SUCCESS);
    expectStart(VI_SUCCESS);
    expectClose();
    const std::string log = contentsOf(path);
    EXPECT_EQ(log.find("\nOpened logfile : " + path), 0U) << log;
    EXPECT_NE(log.find("\n\nNormal close of logfile: " + path), std::string::npos) << log;
    EXPECT_EQ(log.find("already opened"), std::string::npos) << "the log is opened once";
    EXPECT_TRUE(isFirst || log.find("This call to initLogFile was NOT the first call.") != std::string::npos) << log;
  }
  unsetenv("QVVISA_LOGFILE");
  unlink(path.c_str());
}

}  // namespace
