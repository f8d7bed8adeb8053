// The library in processes that make life hard: each row runs in one of its own.

#include "support/freshProcess.h"
#include "support/responder.h"
#include "support/scenario.h"
#include "support/signalStorm.h"

#include <filesystem>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <iostream>

namespace {

std::vector<std::string> gNames;

/// In a process of its own, whose leaks can't be told beside the thread that the fork left out.
template <class Body>
void inForkedProcess(Body body) {
  inFreshProcess(body, _exit);
}

Outcomes use() {
  Outcomes outcomes;
  // Another process may be starting for a while.
  eventually([&] { return (outcomes = Scenario::run(gNames, 60000)).size() > 1; });
  return outcomes;
}

void expectUse() {
  for (const Outcome& outcome : use()) EXPECT_EQ(outcome.status, VI_SUCCESS) << outcome.operation;
}

ViSession openTcp() {
  ViSession rm = 0, vi = 0;
  eventually([&] { return QV_viOpenDefaultRM(&rm) == VI_SUCCESS; });
  EXPECT_EQ(QV_viOpen(rm, gNames.back().data(), VI_NO_LOCK, 0, &vi), VI_SUCCESS);
  return vi;
}

std::string query(ViSession vi) {
  ViByte question[] = {'?', '\n'}, answer[16];
  ViUInt32 count = 0;
  EXPECT_EQ(QV_viWrite(vi, question, sizeof question, nullptr), VI_SUCCESS);
  EXPECT_EQ(QV_viRead(vi, answer, sizeof answer, &count), VI_SUCCESS);
  return std::string(reinterpret_cast<char*>(answer), count);
}

/// Puts an empty file system of the process's own there; false where that isn't allowed.
bool cover(const char* place, unsigned long flags = 0, const char* options = "") {
  static const bool isApart = unshare(CLONE_NEWNS) == 0 && mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
  const bool isCovered = isApart && mount("tmpfs", place, "tmpfs", flags, options) == 0;
  if (!isCovered) std::cout << "not tried, for want of the right to cover " << place << '\n';
  return isCovered;
}

void underSignals() {
  const SignalStorm storm;
  for (int i = 0; i < 5; ++i) expectUse();
  SignalStorm::rage();
}

void withClosedStandardStreams() {
  for (int stream = 0; stream <= 2; ++stream) close(stream);
  expectUse();
  for (int stream = 0; stream <= 2; ++stream) EXPECT_EQ(fcntl(stream, F_GETFD), -1) << stream;
}

void withFewDescriptors() {
  const ViSession vi = openTcp();
  rlimit limit = {};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlim_t enough = limit.rlim_cur;
  const auto first = static_cast<rlim_t>(dup(0));
  close(static_cast<int>(first));
  for (rlim_t more = 0; more < 8; ++more) {
    limit.rlim_cur = first + more;
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    const Outcomes outcomes = use();
    EXPECT_EQ(undocumented(outcomes), nullptr) << undocumented(outcomes)->operation;
    EXPECT_EQ(query(vi), "42\n");
  }
  limit.rlim_cur = enough;
  setrlimit(RLIMIT_NOFILE, &limit);
  expectUse();
  EXPECT_EQ(QV_viClose(vi), VI_SUCCESS);
}

void withAForkWhileUp() {
  const ViSession vi = openTcp();
  inForkedProcess([vi] {
    EXPECT_EQ(query(vi), "42\n");
    EXPECT_EQ(QV_viClose(vi), VI_SUCCESS);
    expectUse();
  });
  ChildProcess([] { std::exit(EXIT_SUCCESS); }).exitCode();
  EXPECT_EQ(query(vi), "42\n") << "what the children closed was theirs";
  EXPECT_EQ(QV_viClose(vi), VI_SUCCESS);
  expectUse();
}

void fromTheEndOfTheProcess() {
  static const struct AtEnd {
    ~AtEnd() {
      expectUse();
      std::fflush(nullptr);
      _exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
    }
  } atEnd;
  std::atexit(expectUse);
  std::exit(EXIT_FAILURE);
}

void withoutProc() {
  if (cover("/proc")) expectUse();
}

void withoutSys() {
  if (cover("/sys")) expectUse();
}

void withReadOnlyFileSystems() {
  if (cover("/tmp", MS_RDONLY) && cover("/dev/shm", MS_RDONLY)) expectUse();
}

void withFullFileSystems() {
  if (cover("/tmp", 0, "size=4k") && cover("/dev/shm", 0, "size=4k")) {
    for (const char* path : {"/tmp/full", "/dev/shm/full"}) std::ofstream(path) << std::string(8192, 'x');
    expectUse();
  }
}

TEST(Process, TheLibraryWorksInAnyProcess) {
  Responder responder;
  gNames = {responder.serial, responder.tcp};
  const struct {
    const char* name;
    void (*run)();
  } rows[] = {{"signals", underSignals},
              {"closed standard streams", withClosedStandardStreams},
              {"few descriptors", withFewDescriptors},
              {"fork", withAForkWhileUp},
              {"end of the process", fromTheEndOfTheProcess},
              {"no /proc", withoutProc},
              {"no /sys", withoutSys},
              {"read-only file systems", withReadOnlyFileSystems},
              {"full file systems", withFullFileSystems}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    inForkedProcess(row.run);
  }
}

}  // namespace
