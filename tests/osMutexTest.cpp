// Named mutexes: between threads, between processes, and with whatever may lie in their place.
#include "osAbstraction.h"
#include "support/childProcess.h"
#include "support/testing.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

/// What the user's named objects have left in their places.
std::vector<fs::path> userFiles() {
  std::vector<fs::path> files;
  for (const char* parent : {"/dev/shm/qvvisa-", "/tmp/qvvisa-"}) {
    std::error_code none;
    for (const auto& entry : fs::recursive_directory_iterator(parent + std::to_string(geteuid()), none))
      files.push_back(entry.path());
  }
  return files;
}

fs::path fileOf(const std::string& name) {
  const auto files = userFiles();
  const auto file = std::ranges::find_if(files, [&](const fs::path& path) { return path.filename() == name; });
  return file == files.end() ? fs::path() : *file;
}

/// A mutex leaves its file behind.
class RemovesFiles : public testing::Environment {
  void TearDown() override {
    for (const fs::path& file : userFiles()) {
      if (file.filename().string().find(' ' + std::to_string(getpid()) + '.') != std::string::npos) fs::remove(file);
    }
  }
};
[[maybe_unused]] const auto* const removesFiles = testing::AddGlobalTestEnvironment(new RemovesFiles);

/// A handle of its own on a mutex.
class Mutex : NonCopyable {
public:
  explicit Mutex(const std::string& name) { OS_constructMutex(nullptr, &handle_, name.c_str()); }
  ~Mutex() { OS_destructMutex(handle_); }
  MutexResult lock(uint32_t waitMillis = 0) { return OS_lockMutex(handle_, waitMillis); }
  bool unlock() { return OS_unlockMutex(handle_); }
  bool isFree() { return lock() == MUTEX_TOOK && unlock(); }
  explicit operator bool() const { return handle_ != nullptr; }

private:
  MutexHandle handle_ = nullptr;
};

template <typename Work>
auto onOtherThread(Work work) {
  decltype(work()) result{};
  std::thread([&] { result = work(); }).join();
  return result;
}

TEST(NamedMutex, OwnerMayLockAgainThroughAnyHandleAndOthersWait) {
  const auto check = [](Mutex& first, Mutex& second, Mutex& other) {
    EXPECT_FALSE(first.unlock()) << "nobody owns it yet";
    ASSERT_EQ(first.lock(OS_timeoutInfinite), MUTEX_TOOK);
    ASSERT_EQ(second.lock(), MUTEX_TOOK);
    EXPECT_TRUE(onOtherThread([&] { return other.isFree() && !second.unlock(); }));
    expectNotShorter(60, [&] { EXPECT_EQ(onOtherThread([&] { return second.lock(60); }), MUTEX_TIMEOUT); });
    EXPECT_TRUE(second.unlock());
    EXPECT_EQ(onOtherThread([&] { return second.lock(); }), MUTEX_TIMEOUT) << "locked twice, unlocked once";
    const std::jthread waiter =
        sleepingThread([&] { EXPECT_TRUE(second.lock(OS_timeoutInfinite) == MUTEX_TOOK && second.unlock()); });
    EXPECT_TRUE(first.unlock());
    EXPECT_FALSE(second.unlock());
  };
  const std::string name = freshName("plain");
  Mutex named(name), sameName(name), otherName(name + "x"), unnamed(""), otherUnnamed("");
  check(named, sameName, otherName);
  check(unnamed, unnamed, otherUnnamed);
}

TEST(NamedMutex, OddNamesWorkAndImpossibleOnesAreRefused) {
  const std::string base = freshName("odd");
  std::vector<std::unique_ptr<Mutex>> held;
  for (const std::string& name : {"/" + base, "../" + base, base + "/../x", base + "%2F", base + "/", ".." + base,
                                  "\xFF\n" + base, std::string(255 - base.size(), 'n') + base}) {
    held.push_back(std::make_unique<Mutex>(name));
    EXPECT_EQ(held.back()->lock(), MUTEX_TOOK) << name;
    EXPECT_EQ(onOtherThread([&] { return Mutex(name).lock(); }), MUTEX_TIMEOUT) << name;
  }
  for (const auto& mutex : held) EXPECT_TRUE(mutex->unlock() && !mutex->unlock()) << "each name is a mutex of its own";
  for (const std::string& name : {std::string(256, 'n'), std::string(86, '/')}) {
    MutexHandle handle = &handle;
    EXPECT_FALSE(OS_constructMutex(nullptr, &handle, name.c_str()));
    EXPECT_EQ(handle, nullptr);
  }
  EXPECT_EQ(OS_lockMutex(nullptr, 0), MUTEX_ERROR);
  EXPECT_FALSE(OS_unlockMutex(nullptr));
}

TEST(NamedMutex, EndedOwnerIsToldOnceThenTheMutexIsFree) {
  const std::string name = freshName("ended");
  std::unique_ptr<Mutex> closedLater;
  const std::function<void()> ends[] = {
      [&] {
        closedLater = std::make_unique<Mutex>(name);
        onOtherThread([&] { return closedLater->lock(); });
      },
      [&] {
        ChildProcess killed([&] {
          Mutex own(name);
          if (own.lock() == MUTEX_TOOK && own.lock() == MUTEX_TOOK) raise(SIGKILL);
        });
        EXPECT_EQ(killed.signal(), SIGKILL);
      },
      [&] { EXPECT_EQ(ChildProcess([&] { _exit(Mutex(name).lock()); }).exitCode(), MUTEX_TOOK); }};
  // Whether or not somebody else has the mutex open meanwhile.
  for (const bool open : {true, false}) {
    for (const auto& end : ends) {
      for (const uint32_t wait : {0U, 1000U, OS_timeoutInfinite}) {
        const auto before = open ? std::make_unique<Mutex>(name) : nullptr;
        end();
        Mutex mutex(name);
        EXPECT_EQ(mutex.lock(wait), MUTEX_ERROR);
        EXPECT_FALSE(mutex.unlock()) << "who is told doesn't own it";
        EXPECT_TRUE(onOtherThread([&] { return mutex.isFree(); }));
        closedLater.reset();
      }
    }
  }
}

TEST(NamedMutex, WaiterIsWokenByItsOwnersDeath) {
  const std::string name = freshName("woken");
  Mutex mutex(name);
  Pipe locked;
  ChildProcess child([&] {
    Mutex own(name);
    own.lock();
    locked.send();
    pause();
  });
  locked.receive();
  const std::jthread waiter = sleepingThread([&] { EXPECT_EQ(mutex.lock(OS_timeoutInfinite), MUTEX_ERROR); });
  child.kill();
}

TEST(NamedMutex, ForkedCopiesOfHandlesTakeNothingAway) {
  const std::string name = freshName("copies");
  for (const bool opensBeforeClosingCopies : {true, false}) {
    auto first = std::make_unique<Mutex>(name);
    auto second = std::make_unique<Mutex>(name);
    ASSERT_EQ(first->lock(), MUTEX_TOOK);
    Pipe opened;
    Pipe closed;
    ChildProcess child([&] {
      bool excluded = first->lock() == MUTEX_TIMEOUT && !second->unlock();
      auto own = opensBeforeClosingCopies ? std::make_unique<Mutex>(name) : nullptr;
      first.reset();
      second.reset();
      if (!own) own = std::make_unique<Mutex>(name);
      excluded = excluded && own->lock() == MUTEX_TIMEOUT;
      opened.send();
      closed.receive();
      _exit(excluded && own->isFree() ? 0 : 1);
    });
    opened.receive();
    EXPECT_TRUE(second->unlock());
    first.reset();
    second.reset();
    closed.send();
    EXPECT_EQ(child.exitCode(), 0);
  }
}

TEST(NamedMutex, HandlesClosedWhileOwnedLeaveTheThreadAndTheMutexUsable) {
  const std::string name = freshName("closed");
  Mutex kept(name);
  ChildProcess child([&] {
    const bool took = std::make_unique<Mutex>(name)->lock() == MUTEX_TOOK;
    // The thread's list of owned locks still leads through the mutex that this process has closed.
    const bool usable = Mutex(name + "x").isFree();
    const MutexResult closed = onOtherThread([&] { return Mutex(name).lock(); });
    _exit(took && usable && closed == MUTEX_TIMEOUT ? 0 : 1);
  });
  EXPECT_EQ(child.exitCode(), 0);
  EXPECT_EQ(kept.lock(), MUTEX_ERROR);
  EXPECT_TRUE(kept.isFree());
}

TEST(NamedMutex, WhatLiesInItsPlaceIsReplacedAndNothingElseTouched) {
  const std::string name = freshName("place");
  Mutex(name).lock();
  const fs::path file = fileOf(name);
  const fs::path bystander = file.string() + " bystander";
  const auto size = fs::file_size(file);
  const auto write = [](const fs::path& path, mode_t mode, const std::string& text) {
    std::ofstream(path) << text;
    EXPECT_EQ(chmod(path.c_str(), mode), 0);
  };
  write(bystander, 0600, std::string(size, 'p'));
  const std::function<void()> puts[] = {
      [&] { write(file, 0600, ""); },
      [&] { write(file, 0600, std::string(5000, '\xFF')); },
      [&] { write(file, 0600, std::string(size, '\xFF')); },
      [&] { write(file, 0602, "open to others"); },
      [&] { fs::create_symlink(bystander, file); },
      [&] { fs::create_hard_link(bystander, file); },
      [&] { EXPECT_EQ(mkfifo(file.c_str(), 0600), 0); },
      [&] {
        write(file, 0600, "another user's, if possible");
        EXPECT_EQ(chown(file.c_str(), geteuid() == 0 ? 1 : geteuid(), getegid()), 0);
      },
      [&] { fs::create_directory(file); },
  };
  for (const auto& put : puts) {
    fs::remove(file);
    put();
    Mutex mutex(name);
    EXPECT_EQ(mutex.lock(), MUTEX_TOOK) << &put - puts;
    EXPECT_EQ(ChildProcess([&] { _exit(Mutex(name).lock()); }).exitCode(), MUTEX_TIMEOUT) << &put - puts;
    EXPECT_TRUE(mutex.unlock());
  }
  EXPECT_EQ(contentsOf(bystander), std::string(size, 'p'));
  fs::remove(bystander);
}

TEST(NamedMutex, OneWhoseOwnerTheSystemForgotIsMadeAnew) {
  const std::string name = freshName("forgotten");
  EXPECT_EQ(ChildProcess([&] { _exit(Mutex(name).lock()); }).exitCode(), MUTEX_TOOK);
  Pipe locked;
  ChildProcess owner([&] {
    Mutex own(name + "x");
    own.lock();
    locked.send();
    pause();
  });
  locked.receive();
  // What a loss of power leaves on a disk: held, by a thread that isn't there.
  const std::string held = contentsOf(fileOf(name + "x"));
  owner.kill();
  EXPECT_EQ(owner.signal(), SIGKILL);
  std::ofstream(fileOf(name)) << held;
  EXPECT_EQ(Mutex(name).lock(), MUTEX_ERROR);
  EXPECT_TRUE(Mutex(name).isFree());
}

/// Whether a mutex can be had, and its children's processes be kept out.
bool isShared(const std::string& name) {
  Mutex mutex(name);
  if (mutex.lock() != MUTEX_TOOK) return false;
  const bool keptOut = ChildProcess([&] { _exit(Mutex(name).lock()); }).exitCode() == MUTEX_TIMEOUT;
  return mutex.unlock() && keptOut;
}

TEST(NamedMutex, UsersHaveTheirOwnAndTrustNoPlaceThatOthersMade) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  const uid_t user = 3'000'000'000U + static_cast<uid_t>(getpid());
  const std::string directory = "/dev/shm/qvvisa-" + std::to_string(user);
  const std::string next = "/tmp/qvvisa-" + std::to_string(user);
  const std::string name = freshName("user");
  const auto outcome = [&] {
    ChildProcess child([&] {
      const bool isUser = setgid(user) == 0 && setuid(user) == 0;
      umask(0777);
      _exit(!isUser ? 3 : isShared(name) ? 0 : Mutex(name).isFree() ? 1 : 2);
    });
    return child.exitCode();
  };
  const auto isPrivate = [&](const std::string& path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0 && status.st_uid == user && (status.st_mode & 07777) == 0700;
  };
  Mutex mine(name);
  ASSERT_EQ(mine.lock(), MUTEX_TOOK);
  EXPECT_EQ(outcome(), 0) << "another user's mutex is another mutex";
  EXPECT_TRUE(isPrivate(directory));
  for (const mode_t mode : {0702U, 0000U}) {
    EXPECT_TRUE(chmod(directory.c_str(), mode) == 0 && outcome() == 0 && isPrivate(directory)) << mode;
  }
  EXPECT_FALSE(fs::exists(next));
  EXPECT_TRUE(chown(directory.c_str(), 0, 0) == 0 && outcome() == 0 && isPrivate(next)) << "another user's";
  fs::remove_all(next);
  fs::rename(directory, directory + " moved");
  fs::create_directory_symlink(directory + " moved", directory);
  EXPECT_TRUE(outcome() == 0 && isPrivate(next)) << "a link";
  EXPECT_EQ(chown(next.c_str(), 0, 0), 0);
  EXPECT_EQ(outcome(), 1) << "without a place its threads are kept apart";
  for (const std::string& path : {directory, directory + " moved", next}) fs::remove_all(path);
}

/// Runs `work` as a process of its own after `prepare`, which gives false where only root could do it.
template <typename Prepare, typename Work>
void expectIn(const char* what, Prepare prepare, Work work) {
  const int outcome = ChildProcess([&] { _exit(prepare() ? !work() : 2); }).exitCode();
  if (outcome == 2) GTEST_SKIP() << "only root can have " << what;
  EXPECT_EQ(outcome, 0) << what;
}

TEST(NamedMutex, ASystemWithoutRoomForItHasItToo) {
  const std::string name = freshName("elsewhere");
  Mutex mutex(name);
  ASSERT_EQ(mutex.lock(), MUTEX_TOOK);
  for (const char* const options : {"ro", "size=4k", "nr_inodes=1"}) {
    expectIn(
        options,
        [&] {
          return unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                 mount("none", "/tmp", "tmpfs", 0, nullptr) == 0 && mount("none", "/dev/shm", "tmpfs", 0, options) == 0;
        },
        [&] {
          std::ofstream("/dev/shm/full") << std::string(4096, 'f');
          return isShared(name);
        });
  }
  expectIn(
      "no /proc",
      [] {
        return unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
               umount2("/proc", MNT_DETACH) == 0;
      },
      [&] { return Mutex(name).isFree(); });
  expectIn(
      "a limit",
      [] {
        const rlimit none = {};
        return setrlimit(RLIMIT_FSIZE, &none) == 0;
      },
      [&] { return Mutex(name + "x").isFree() && Mutex(name).lock() == MUTEX_TIMEOUT; });
}

/// A handle of its own, the mutex, and the count that it guards, over and over. Two inside at once lose a count.
bool takeTurns(const std::string& name, volatile int& count, int rounds) {
  bool good = true;
  for (int round = 0; round < rounds; ++round) {
    Mutex mutex(name);
    good = mutex.lock(60'000) == MUTEX_TOOK && good;
    const int before = count;
    sched_yield();
    count = before + 1;
    good = mutex.unlock() && good;
  }
  return good;
}

TEST(NamedMutex, ManyProcessesAndThreadsConstructAndLockAtOnce) {
  constexpr int processes = 8;
  constexpr int rounds = 250;
  const std::string name = freshName("race");
  void* memory = mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  auto& count = *static_cast<volatile int*>(memory);
  Pipe begin;
  std::unique_ptr<ChildProcess> children[processes];
  for (auto& child : children) {
    child = std::make_unique<ChildProcess>([&] {
      begin.receive();
      _exit(takeTurns(name, count, rounds) ? 0 : 1);
    });
  }
  for (int i = 0; i < processes; ++i) begin.send();
  std::thread other([&] { EXPECT_TRUE(takeTurns(name, count, rounds)); });
  EXPECT_TRUE(takeTurns(name, count, rounds));
  other.join();
  for (auto& child : children) EXPECT_EQ(child->exitCode(), 0);
  EXPECT_EQ(count, (processes + 2) * rounds);
  munmap(memory, sizeof(int));
}

TEST(NamedMutex, ProcessesKilledAtAnyMomentBlockNobody) {
  const std::string name = freshName("killed");
  for (int round = 0; round < 60; ++round) {
    Pipe running;
    ChildProcess victim([&] {
      for (;;) {
        Mutex(name).isFree();
        running.send();
      }
    });
    // Every round dies at another place of the victim's loop.
    for (int i = 0; i <= round % 7; ++i) running.receive();
    victim.kill();
    EXPECT_EQ(victim.signal(), SIGKILL);
    Mutex mutex(name);
    const MutexResult first = mutex.lock();
    EXPECT_TRUE(first == MUTEX_ERROR ? mutex.isFree() : first == MUTEX_TOOK && mutex.unlock());
  }
}

TEST(NamedMutex, EqualThreadNumbersInContainersDoNotMeet) {
  if (ChildProcess([] { _exit(unshare(CLONE_NEWPID) != 0); }).exitCode() != 0)
    GTEST_SKIP() << "only root can make a container";
  const std::string name = freshName("container");
  // The first process in a container has the number 1, here as there.
  const auto inContainer = [](auto work) {
    return [work] { _exit(unshare(CLONE_NEWPID) == 0 ? ChildProcess(work).exitCode() : 2); };
  };
  Pipe held;
  Pipe disturbed;
  ChildProcess owner(inContainer([&] {
    Mutex mutex(name);
    const bool took = mutex.lock() == MUTEX_TOOK;
    held.send();
    disturbed.receive();
    _exit(took && mutex.unlock() ? 0 : 1);
  }));
  held.receive();
  ChildProcess other(inContainer([&] {
    Mutex mutex(name);
    _exit(mutex.isFree() && !mutex.unlock() ? 0 : 1);
  }));
  EXPECT_EQ(other.exitCode(), 0);
  disturbed.send();
  EXPECT_EQ(owner.exitCode(), 0);
}

TEST(NamedMutex, AStoppedProcessHoldsNobodyUpForLong) {
  const std::string name = freshName("stopped");
  ChildProcess victim([&] {
    for (;;) Mutex(name).isFree();
  });
  for (unsigned round = 0; round < 200; ++round) {
    OS_delayMs(round % 3);  // to be stopped anywhere
    victim.stop();
    Mutex mutex(name);
    const MutexResult result = mutex.lock();
    EXPECT_TRUE(result == MUTEX_TOOK ? mutex.unlock() : result == MUTEX_TIMEOUT);
    victim.resume();
  }
}

}  // namespace
