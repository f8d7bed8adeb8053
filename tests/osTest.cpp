// Locks, events, semaphores, threads, processes and the queries of the OS layer.
#include "fastLock.h"
#include "osAbstraction.h"
#include "support/childProcess.h"
#include "support/freshProcess.h"
#include "support/testing.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <tuple>

namespace {

namespace fs = std::filesystem;

template <typename Work>
void onThreads(int count, Work work) {
  std::vector<std::jthread> threads;
  while (count-- > 0) threads.emplace_back(work);
}

/// An event of the test, closed at its end.
struct Event : NonCopyable {
  explicit Event(const std::string& name = {}) { EXPECT_TRUE(OS_constructEvent(nullptr, &handle, name.c_str())); }
  ~Event() { OS_destructEvent(handle); }
  bool signal() const { return OS_signalEvent(handle); }
  EventResult wait(uint32_t millis = 0) const { return OS_waitForEvent(handle, millis); }
  EventHandle handle = nullptr;
};

TEST(FastLock, IsRecursiveAndExcludesOtherThreads) {
  static os_fastlock_t atLoad = OS_FASTLOCK_INITIALIZER;
  static const FastLockAtLoad makesAtLoad(atLoad);
  os_fastlock_t plain;
  os_fastlock_t spinning;
  OS_initFastLock(&plain);
  ASSERT_TRUE(OS_initSpinLock(&spinning));
  for (os_fastlock_t* lock : {&atLoad, &plain, &spinning}) {
    OS_lockFast(lock);
    ASSERT_TRUE(OS_tryLockFast(lock));
    for (int held = 2; held > 0; --held) {
      onThreads(1, [&] { EXPECT_FALSE(OS_tryLockFast(lock)) << held; });
      OS_unlockFast(lock);
    }
    int counter = 0;
    onThreads(4, [&] {
      for (int round = 0; round < 2000; ++round) {
        const FastLockGuard guard(*lock);
        ++counter;
      }
    });
    EXPECT_EQ(counter, 8000);
    OS_deleteFastLock(lock);
  }
}

TEST(Event, SignalEndsOneWaitAndDoesNotAddUp) {
  for (const std::string& name : {std::string(), freshName("signal")}) {
    const Event event(name);
    EXPECT_EQ(event.wait(), EVENT_TIMEOUT) << "not signalled at the start";
    EXPECT_TRUE(event.signal() && event.signal());
    EXPECT_EQ(event.wait(OS_timeoutInfinite), EVENT_SIGNALED);
    EXPECT_EQ(event.wait(), EVENT_TIMEOUT);
    EXPECT_TRUE(event.signal());
    OS_resetEvent(event.handle);
    expectNotShorter(40, [&] { EXPECT_EQ(event.wait(40), EVENT_TIMEOUT); });
  }
}

TEST(Event, EverySignalOfAConversationBetweenProcessesArrives) {
  const std::string name = freshName("talk");
  constexpr int rounds = 500;
  const Event question(name + " there");
  const Event reply(name + " back");
  ChildProcess child([&] {
    const Event childQuestion(name + " there");
    const Event childReply(name + " back");
    for (int i = 0; i < rounds; ++i) {
      if (childQuestion.wait(OS_timeoutInfinite) != EVENT_SIGNALED || !childReply.signal()) _exit(1);
    }
  });
  for (int i = 0; i < rounds; ++i) {
    ASSERT_TRUE(question.signal());
    ASSERT_EQ(reply.wait(OS_timeoutInfinite), EVENT_SIGNALED);
  }
  EXPECT_EQ(child.exitCode(), 0);
}

TEST(Event, WaitForAnyTakesTheLowestSignalledOne) {
  const Event a;
  const Event b(freshName("any"));
  const Event c;
  EventHandle handles[] = {a.handle, b.handle, c.handle};
  uint32_t index = 99;
  expectNotShorter(30, [&] { EXPECT_EQ(OS_waitForMultipeEvents(3, handles, false, 30, &index), EVENT_TIMEOUT); });
  EXPECT_EQ(index, 99U);
  EXPECT_TRUE(c.signal() && b.signal());
  EXPECT_EQ(OS_waitForMultipeEvents(3, handles, false, OS_timeoutInfinite, &index), EVENT_SIGNALED);
  EXPECT_EQ(index, 1U);
  EXPECT_EQ(OS_waitForMultipeEvents(3, handles, false, 0, nullptr), EVENT_SIGNALED);
  EXPECT_EQ(OS_waitForMultipeEvents(3, handles, false, 0, &index), EVENT_TIMEOUT) << "both are clear again";

  for (const uint32_t woken : {2U, 1U, 0U}) {
    std::jthread sleeper = sleepingThread(
        [&] { EXPECT_EQ(OS_waitForMultipeEvents(3, handles, false, OS_timeoutInfinite, &index), EVENT_SIGNALED); });
    OS_signalEvent(handles[woken]);
    sleeper.join();
    EXPECT_EQ(index, woken);
  }
}

TEST(Event, WaitForAllTakesAllOrNone) {
  const Event a;
  const Event b(freshName("all"));
  EventHandle handles[] = {b.handle, a.handle};
  uint32_t index = 99;
  a.signal();
  EXPECT_EQ(OS_waitForMultipeEvents(2, handles, true, 20, &index), EVENT_TIMEOUT);
  EXPECT_EQ(a.wait(), EVENT_SIGNALED) << "the wait took none";
  a.signal();
  std::jthread sleeper = sleepingThread(
      [&] { EXPECT_EQ(OS_waitForMultipeEvents(2, handles, true, OS_timeoutInfinite, &index), EVENT_SIGNALED); });
  b.signal();
  sleeper.join();
  EXPECT_EQ(index, 0U);
  EXPECT_EQ(OS_waitForMultipeEvents(2, handles, false, 0, nullptr), EVENT_TIMEOUT) << "it took both";

  // In opposite orders nobody keeps the other from getting through.
  std::atomic<int> started = 0;
  EXPECT_TRUE(a.signal() && b.signal());
  onThreads(2, [&] {
    const int number = started++;
    EventHandle own[] = {handles[number], handles[1 - number]};
    for (int i = 0; i < 2000; ++i) {
      EXPECT_EQ(OS_waitForMultipeEvents(2, own, true, OS_timeoutInfinite, nullptr), EVENT_SIGNALED);
      EXPECT_TRUE(a.signal() && b.signal());
    }
  });
}

TEST(Event, WaitForMultipleRefusesWhatItCannotDo) {
  const Event event(freshName("twice"));
  std::vector<EventHandle> many(65, event.handle);
  EventHandle withNull[] = {event.handle, nullptr};
  event.signal();
  for (const uint32_t count : {0U, 65U}) {
    EXPECT_EQ(OS_waitForMultipeEvents(count, many.data(), false, 0, nullptr), EVENT_ERROR);
  }
  EXPECT_EQ(OS_waitForMultipeEvents(2, withNull, false, 0, nullptr), EVENT_ERROR);
  EXPECT_EQ(OS_waitForMultipeEvents(2, many.data(), true, 0, nullptr), EVENT_ERROR) << "one event twice";
  EXPECT_EQ(OS_waitForMultipeEvents(64, many.data(), false, 0, nullptr), EVENT_SIGNALED);
}

TEST(Semaphore, HoldsTokensUpToItsMaximumAndLosesNone) {
  for (const std::string& name : {std::string(), freshName("tokens")}) {
    SemaphoreHandle semaphore = nullptr;
    ASSERT_TRUE(OS_constructSemaphore(nullptr, &semaphore, name.c_str(), 2, 3));
    EXPECT_TRUE(OS_semaphoreSendToken(semaphore));
    EXPECT_FALSE(OS_semaphoreSendToken(semaphore));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(OS_seamphoreWaitForToken(semaphore, OS_timeoutInfinite), SEMAPHORE_SIGNALED);
    expectNotShorter(20, [&] { EXPECT_EQ(OS_seamphoreWaitForToken(semaphore, 20), SEMAPHORE_TIMEOUT); });
    std::atomic<int> turn = 0;
    onThreads(4, [&] {
      const bool gives = turn++ % 2 == 0;
      for (int moved = 0; moved < 1000;)
        moved += gives ? OS_semaphoreSendToken(semaphore)
                       : OS_seamphoreWaitForToken(semaphore, OS_timeoutInfinite) == SEMAPHORE_SIGNALED;
    });
    EXPECT_EQ(OS_seamphoreWaitForToken(semaphore, 0), SEMAPHORE_TIMEOUT);
    OS_destructSemaphore(semaphore);
  }
  for (const auto& [start, most] : {std::pair{0U, 0U}, {2U, 1U}, {0U, 0x80000000U}}) {
    SemaphoreHandle semaphore = &semaphore;
    EXPECT_FALSE(OS_constructSemaphore(nullptr, &semaphore, nullptr, start, most)) << start << " of " << most;
    EXPECT_EQ(semaphore, nullptr);
  }
}

TEST(NamedObject, LivesWithItsHandlesAndStartsAnewAfterThem) {
  const std::string name = freshName("life");
  const auto open = [&](uint32_t start) {
    SemaphoreHandle semaphore = nullptr;
    EXPECT_TRUE(OS_constructSemaphore(nullptr, &semaphore, name.c_str(), start, 5));
    return semaphore;
  };
  const auto holdsOne = [](SemaphoreHandle semaphore) {
    const SemaphoreResult first = OS_seamphoreWaitForToken(semaphore, 0);
    return first == SEMAPHORE_SIGNALED && OS_seamphoreWaitForToken(semaphore, 0) == SEMAPHORE_TIMEOUT;
  };
  SemaphoreHandle first = open(1);
  SemaphoreHandle second = open(4);
  OS_destructSemaphore(first);
  EXPECT_TRUE(holdsOne(second)) << "the second opening makes no tokens";
  EventHandle event = &event;
  EXPECT_FALSE(OS_constructEvent(nullptr, &event, name.c_str())) << "a semaphore has the name";
  EXPECT_EQ(event, nullptr);
  EXPECT_EQ(ChildProcess([&] { _exit(OS_constructEvent(nullptr, &event, name.c_str())); }).exitCode(), 0);
  EXPECT_EQ(OS_waitForEvent(second, 0), EVENT_ERROR);
  OS_destructSemaphore(second);

  ChildProcess child([&] {
    open(5);
    raise(SIGKILL);
  });
  EXPECT_EQ(child.signal(), SIGKILL);
  SemaphoreHandle last = open(1);
  EXPECT_TRUE(holdsOne(last)) << "what a dead process left isn't taken over";
  OS_destructSemaphore(last);
  const fs::recursive_directory_iterator files("/dev/shm/qvvisa-" + std::to_string(geteuid()));
  EXPECT_FALSE(std::ranges::any_of(files, [&](const auto& file) { return file.path().filename() == name; }));
}

TEST(NamedObject, HasNoDescriptorThatIsInheritedOrAStandardStreams) {
  const auto countOf = [](auto isMeant) {
    int count = 0;
    for (int number = 0; number < 256; ++number) count += isMeant(number, fcntl(number, F_GETFD)) ? 1 : 0;
    return count;
  };
  const auto isInherited = [](int, int flags) { return flags >= 0 && (flags & FD_CLOEXEC) == 0; };
  const auto isStream = [](int number, int flags) { return flags >= 0 && number < 3; };
  ChildProcess child([&] {
    for (const int stream : {0, 1, 2}) close(stream);
    const int before = countOf(isInherited);
    const Event event(freshName("streams"));
    _exit(event.handle && countOf(isInherited) == before && countOf(isStream) == 0 ? 0 : 1);
  });
  EXPECT_EQ(child.exitCode(), 0);
}

/// What a thread of these tests shares with them.
struct Stage {
  Event entered;
  Event leave;
  ThreadHandle self = nullptr;
  std::atomic<uint32_t> number = 0;
};

uint32_t stayOnStage(void* data) {
  auto& stage = *static_cast<Stage*>(data);
  stage.number = OS_getCurrentThreadID();
  stage.entered.signal();
  stage.leave.wait(OS_timeoutInfinite);
  return 42;
}

void expectEnd(ThreadHandle thread, uint32_t exitCode) {
  EXPECT_FALSE(OS_waitForThread(thread, OS_timeoutInfinite));
  onThreads(2, [thread] {
    for (int poll = 0; poll < 1000; ++poll) EXPECT_FALSE(OS_isRunningThread(thread));
  });
  uint32_t code = 0;
  EXPECT_TRUE(OS_getExitCodeThread(thread, &code) && OS_getExitCodeThread(thread, nullptr));
  EXPECT_EQ(code, exitCode);
  EXPECT_TRUE(OS_closeThreadHandle(thread));
}

TEST(Thread, RunsAndTellsItsExitCode) {
  Stage stage;
  ThreadHandle thread = OS_createThread(stayOnStage, &stage, OS_threadRunImmediate);
  ASSERT_NE(thread, nullptr);
  ASSERT_EQ(stage.entered.wait(OS_timeoutInfinite), EVENT_SIGNALED);
  EXPECT_TRUE(OS_isRunningThread(thread));
  uint32_t code = 0;
  EXPECT_TRUE(OS_getExitCodeThread(thread, &code) && code == OS_ThreadStillActive);
  EXPECT_EQ(OS_getThreadID(thread), stage.number);
  EXPECT_NE(OS_getThreadID(thread), static_cast<uint32_t>(gettid()));
  expectNotShorter(20, [&] { EXPECT_FALSE(OS_waitForThread(thread, 20)) << "a timeout is no failure"; });
  EXPECT_TRUE(OS_waitForThread(nullptr, 0)) << "true says that the wait failed";
  EXPECT_EQ(OS_resumeThread(thread), 0U);
  EXPECT_EQ(OS_suspendThread(thread), 0xFFFFFFFFU);
  EXPECT_FALSE(OS_killThread(thread, OS_KILL_THREAD_DEFAULT_EXITCODE));
  std::jthread otherWaiter([&] { EXPECT_FALSE(OS_waitForThread(thread, 60'000)); });
  stage.leave.signal();
  otherWaiter.join();
  expectEnd(thread, 42);
}

TEST(Thread, SuspendedOneStartsWhenTheLastSuspensionIsTakenBackButNeverOnceKilled) {
  Stage stage;
  stage.leave.signal();
  ThreadHandle killed = OS_createThread(stayOnStage, &stage, OS_threadStartSuspended);
  EXPECT_TRUE(OS_killThread(killed, OS_KILL_THREAD_DEFAULT_EXITCODE));
  EXPECT_FALSE(OS_killThread(killed, 5)) << "only once";
  EXPECT_EQ(OS_suspendThread(killed), 0xFFFFFFFFU);
  expectEnd(killed, OS_KILL_THREAD_DEFAULT_EXITCODE);
  EXPECT_EQ(OS_createThread(stayOnStage, &stage, 2), nullptr);
  ThreadHandle thread = OS_createThread(stayOnStage, &stage, OS_threadStartSuspended);
  for (uint32_t count = 1; count < 127; ++count) EXPECT_EQ(OS_suspendThread(thread), count);
  EXPECT_EQ(OS_suspendThread(thread), 0xFFFFFFFFU) << "127 is the most";
  for (uint32_t count = 127; count > 1; --count) EXPECT_EQ(OS_resumeThread(thread), count);
  EXPECT_EQ(stage.entered.wait(20), EVENT_TIMEOUT) << "neither runs";
  EXPECT_TRUE(OS_isRunningThread(thread)) << "suspended, not ended";
  EXPECT_EQ(OS_resumeThread(thread), 1U);
  expectEnd(thread, 42);
}

TEST(Thread, SuspendsItselfUntilItIsResumed) {
  Stage stage;
  const auto suspendSelf = [](void* data) -> uint32_t {
    const ThreadHandle self = static_cast<Stage*>(data)->self;
    static_cast<Stage*>(data)->entered.signal();
    const bool waitedInVain = OS_isRunningThread(self) && !OS_waitForThread(self, 1);
    return waitedInVain && OS_suspendThread(self) == 0 ? 7 : 1;
  };
  stage.self = OS_createThread(suspendSelf, &stage, OS_threadStartSuspended);
  ASSERT_NE(stage.self, nullptr);
  EXPECT_EQ(OS_resumeThread(stage.self), 1U);
  EXPECT_EQ(stage.entered.wait(OS_timeoutInfinite), EVENT_SIGNALED);
  // Others can add a suspension as soon as it stands.
  while (OS_suspendThread(stage.self) == 0xFFFFFFFF) std::this_thread::yield();
  EXPECT_FALSE(OS_killThread(stage.self, 1)) << "it has begun";
  EXPECT_EQ(OS_resumeThread(stage.self), 2U);
  EXPECT_FALSE(OS_waitForThread(stage.self, 20));
  EXPECT_TRUE(OS_isRunningThread(stage.self));
  EXPECT_EQ(OS_resumeThread(stage.self), 1U);
  expectEnd(stage.self, 7);
}

TEST(Thread, LastErrorIsItsOwn) {
  OS_setLastError(17);
  onThreads(1, [] {
    EXPECT_EQ(OS_getLastError(), 0);
    EXPECT_EQ(OS_waitForEvent(nullptr, 0), EVENT_ERROR);
    EXPECT_EQ(OS_getLastError(), EINVAL);
  });
  EXPECT_EQ(OS_getLastError(), 17);
}

TEST(System, WaitsAreNeverShorterEvenWithSignals) {
  inFreshProcess([] {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    ualarm(2000, 2000);
    const Event event;
    expectNotShorter(50, [] { OS_delayMs(50); });
    expectNotShorter(50, [&] { event.wait(50); });
    OS_delayMs(0);
  });
}

TEST(System, EnvironmentVariableThatFitsIsCopied) {
  using Row = std::tuple<const char*, uint32_t, bool, const char*>;
  for (const auto& [value, size, result, copied] :
       {Row{"value", 6, true, "value"}, Row{"value", 5, true, "before"}, Row{"value", 0, true, "before"},
        Row{nullptr, 16, false, "before"}, Row{"", 16, false, ""}}) {
    unsetenv("QVVISA_TEST_VARIABLE");
    if (value) setenv("QVVISA_TEST_VARIABLE", value, 1);
    char buffer[16] = "before";
    EXPECT_EQ(OS_getEnvironmentVariable("QVVISA_TEST_VARIABLE", buffer, size), result);
    EXPECT_STREQ(buffer, copied);
  }
}

/// What a shell prints that is started, by its name or as the command line tells, with a script and words for it.
std::string outputOf(const char* name, const std::string& shell, const std::string& script, const std::string& words) {
  const fs::path pipe = fs::temp_directory_path() / freshName("pipe");
  EXPECT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const std::string line = shell + " -c \"exec >'" + pipe.string() + "'; " + script + "\" script" + words;
  std::string output;
  if (OS_constructProcess(name, line.c_str())) output = contentsOf(pipe);
  fs::remove(pipe);
  return output;
}

TEST(System, ProcessGetsItsWords) {
  using Row = std::tuple<const char*, const char*, const char*, const char*>;
  for (const auto& [name, shell, words, output] :
       {Row{"/bin/sh", "\"a shell\"", " one  two ", "2:one,two,"},
        Row{nullptr, " \tsh ", "\t\"two words\"  a\"b c\"d \"\" e", "4:two words,ab cd,,e,"},
        Row{nullptr, "s\"h\"", " \\\"q\\\" \"\\\"\" b\\s $HOME \"open end ", "5:\"q\",\",b\\s,$HOME,open end ,"}}) {
    EXPECT_EQ(outputOf(name, shell, R"(printf '%s:' $#; printf '%s,' \"$@\")", words), output);
  }
}

TEST(System, ProcessIsNotTiedToItsMaker) {
  const int inheritable = fcntl(STDIN_FILENO, F_DUPFD, 100);
  EXPECT_EQ(outputOf(nullptr, "sh",
                     "[ $PPID != $1 ] && echo own parent; [ ! -e /proc/$$/fd/$2 ] && echo own files;"
                     "readlink /proc/$$/fd/0 /proc/$$/fd/2; read p name state pp group session tty rest </proc/$$/stat;"
                     "[ $session = $$ ] && echo own session, terminal $tty",
                     ' ' + std::to_string(getpid()) + ' ' + std::to_string(inheritable)),
            "own parent\nown files\n/dev/null\n/dev/null\nown session, terminal 0\n");
  close(inheritable);
  EXPECT_EQ(waitpid(-1, nullptr, __WALL | WNOHANG), -1) << "no child is left to wait for";
}

TEST(System, ProcessThatCannotStartIsToldAtOnce) {
  using Row = std::tuple<const char*, const char*, int>;
  for (const auto& [name, args, error] :
       {Row{"/no/such/program", "program", ENOENT}, Row{nullptr, "no-such-program-anywhere", ENOENT},
        Row{"/", nullptr, EACCES}, Row{nullptr, "  \t ", EINVAL}}) {
    EXPECT_FALSE(OS_constructProcess(name, args));
    EXPECT_EQ(OS_getLastError(), error);
  }
  EXPECT_TRUE(OS_constructProcess("/bin/true", nullptr));
}

}  // namespace
