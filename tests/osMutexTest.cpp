// Named mutexes: between threads, between processes, and with whatever may lie in their place.
#include "osAbstraction.h"
#include "support/childProcess.h"
#include "support/testing.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

const fs::path userDirectory = "/dev/shm/qvvisa-" + std::to_string(geteuid());

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
  EXPECT_TRUE(Mutex(".."));
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

TEST(NamedMutex, LastHandleLeavesNothingAndForkedCopiesTakeNothingAway) {
  const std::string name = freshName("last");
  const fs::path file = userDirectory / name;
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
      excluded = excluded && fs::exists(file) && own->isFree();
      own.reset();
      _exit(excluded && !fs::exists(file) ? 0 : 1);
    });
    opened.receive();
    EXPECT_TRUE(second->unlock());
    first.reset();
    EXPECT_TRUE(fs::exists(file)) << "another handle is open";
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

TEST(NamedMutex, WhatLiesInItsPlaceIsReplacedOrRefused) {
  const std::string name = freshName("place");
  const fs::path file = userDirectory / name;
  const fs::path bystander = fs::temp_directory_path() / name;
  Mutex makesTheDirectory(name + "x");
  const auto write = [](const fs::path& path, mode_t mode, const std::string& text) {
    std::ofstream(path) << text;
    EXPECT_EQ(chmod(path.c_str(), mode), 0);
  };
  for (const size_t size : {size_t{0}, size_t{1}, size_t{5000}}) {
    write(file, 0600, std::string(size, '\xFF'));
    EXPECT_TRUE(Mutex(name).isFree()) << "a file of " << size << " bytes that nobody uses";
  }
  write(bystander, 0600, "precious");
  const std::function<void()> refused[] = {
      [&] { write(file, 0602, "open to others"); }, [&] { fs::create_symlink(bystander, file); },
      [&] { fs::create_directory(file); }, [&] { EXPECT_EQ(mkfifo(file.c_str(), 0600), 0); },
      [&] {
        write(file, geteuid() == 0 ? 0600 : 0602, "another user's, if possible");
        EXPECT_EQ(chown(file.c_str(), geteuid() == 0 ? 1 : geteuid(), getegid()), 0);
      }};
  for (const auto& put : refused) {
    put();
    EXPECT_FALSE(Mutex(name)) << &put - refused;
    fs::remove(file);
  }
  EXPECT_EQ(fs::file_size(bystander), 8U);
  fs::remove(bystander);
}

TEST(NamedMutex, UsersHaveTheirOwnAndTrustNoPlaceThatOthersMade) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  const uid_t user = 3'000'000'000U + static_cast<uid_t>(getpid());
  const std::string directory = "/dev/shm/qvvisa-" + std::to_string(user);
  const std::string name = freshName("user");
  const auto outcome = [&] {
    ChildProcess child([&] {
      const bool isUser = setgid(user) == 0 && setuid(user) == 0;
      const bool free = Mutex(name).isFree();
      _exit(isUser ? !free : 2);
    });
    return child.exitCode();
  };
  Mutex mine(name);
  ASSERT_EQ(mine.lock(), MUTEX_TOOK);
  EXPECT_EQ(outcome(), 0) << "another user's mutex is another mutex";
  struct stat status = {};
  ASSERT_EQ(stat(directory.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, user);
  EXPECT_EQ(status.st_mode & 07777U, 0700U);
  EXPECT_TRUE(chmod(directory.c_str(), 0702) == 0 && outcome() == 1) << "open to others";
  EXPECT_TRUE(chmod(directory.c_str(), 0700) == 0 && outcome() == 0);
  EXPECT_TRUE(chown(directory.c_str(), 0, 0) == 0 && outcome() == 1) << "another user's";
  EXPECT_TRUE(chown(directory.c_str(), user, user) == 0 && outcome() == 0);
  fs::rename(directory, directory + " moved");
  fs::create_directory_symlink(directory + " moved", directory);
  EXPECT_EQ(outcome(), 1) << "a link";
  fs::remove(directory);
  fs::remove(directory + " moved");
}

TEST(NamedMutex, ASystemWithoutSharedMemoryHasThemToo) {
  const std::string name = freshName("elsewhere");
  Mutex mutex(name);
  ASSERT_EQ(mutex.lock(), MUTEX_TOOK);
  ChildProcess child([&] {
    const bool isHidden = unshare(CLONE_NEWNS) == 0 &&
                          mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                          mount("none", "/dev/shm", "tmpfs", MS_RDONLY, nullptr) == 0;
    if (!isHidden) _exit(2);
    const bool isFree = Mutex(name).isFree();
    _exit(isFree ? 0 : 1);
  });
  const int outcome = child.exitCode();
  if (outcome == 2) GTEST_SKIP() << "only root can hide it";
  EXPECT_EQ(outcome, 0);
  rmdir(("/tmp/qvvisa-" + std::to_string(geteuid())).c_str());
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
  EXPECT_FALSE(fs::exists(userDirectory / name));
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

}  // namespace
