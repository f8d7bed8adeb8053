#include "DebugDll.h"

#include "QVvisaTools.h"
#include "hptime.h"
#include "osAbstraction.h"
#include "privileges.h"
#include "support/freshProcess.h"
#include "support/testing.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <sys/stat.h>

namespace {

bool raisedPrivileges = false;

}

// Stands in for the query of the system.
bool hasRaisedPrivileges() {
  return raisedPrivileges;
}

namespace {

constexpr char LOGFILE[] = "TEST_LOGFILE";
constexpr char LEVEL[] = "LOGLVL_TEST_LOGFILE";

/// Every test has a directory of its own and its body a process of its own, since a process has one log.
class Log : public testing::Test {
protected:
  void SetUp() override {
    directory_ = testing::TempDir() + "logTestXXXXXX";
    ASSERT_NE(mkdtemp(directory_.data()), nullptr);
    path_ = directory_ + "/log.txt";
    setenv(LOGFILE, path_.c_str(), 1);
    unsetenv(LEVEL);
  }
  void TearDown() override { std::filesystem::remove_all(directory_); }

  [[nodiscard]] std::string content() const { return contentsOf(path_); }
  [[nodiscard]] std::string opening(const std::string& level = "0x0000FFFF") const {
    return "\nOpened logfile : " + path_ + "\nUsing log level: " + level + "\n";
  }
  [[nodiscard]] std::string laterOpening(const std::string& firstName) const {
    return opening() +
           "\nRemark: This call to initLogFile was NOT the first call.\nFirst call had environment name: " + firstName +
           ".\n";
  }
  [[nodiscard]] std::string closing() const { return "\n\nNormal close of logfile: " + path_ + "\n"; }

  std::string directory_;
  std::string path_;
};

TEST_F(Log, LevelIsANumberInAnyBase) {
  const struct {
    const char* value;
    const char* level;
  } rows[] = {
      {nullptr, "0x0000FFFF"}, {"", "0x0000FFFF"},     {"0x10", "0x00000010"},        {"020", "0x00000010"},
      {"16", "0x00000010"},    {"junk", "0x00000000"}, {"0xDEADBEEFx", "0xDEADBEEF"}, {"0x100000000", "0xFFFFFFFF"},
      {"-16", "0xFFFFFFF0"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.value != nullptr ? row.value : "unset");
    inFreshProcess([&] {
      if (row.value != nullptr) setenv(LEVEL, row.value, 1);
      EXPECT_EQ(initLogFile(LOGFILE), 0);
      EXPECT_EQ(content(), opening(row.level));
      const auto level = static_cast<unsigned int>(std::stoul(row.level, nullptr, 16));
      for (unsigned int bit = 1; bit != 0; bit <<= 1)
        EXPECT_EQ(checkLogLevelMask(level | bit), (level & bit) != 0 ? 1 : 0) << bit;
      EXPECT_EQ(isLoggingEnabled(), 1);
      EXPECT_EQ(isLoggingPossible(), 1);
      EXPECT_EQ(printLogFileName(), path_);
      closeLogFile();
      EXPECT_EQ(content(), opening(row.level) + closing());
    });
  }
}

TEST_F(Log, StaysOffWithoutAFile) {
  const std::string missing = directory_ + "/none/log.txt";
  const std::string tooLong = directory_ + "/" + std::string(OS_MAX_PATH, 'x');
  const struct {
    const char* value;
    bool raised;
    int result;
    std::string name;
  } rows[] = {
      {nullptr, false, 1, "not valid"},      {"", false, 1, "not valid"},
      {missing.c_str(), false, 2, missing},  {tooLong.c_str(), false, 2, "not valid"},
      {path_.c_str(), true, 1, "not valid"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    inFreshProcess([&] {
      raisedPrivileges = row.raised;
      row.value != nullptr ? setenv(LOGFILE, row.value, 1) : unsetenv(LOGFILE);
      EXPECT_EQ(initLogFile(LOGFILE), row.result);
      EXPECT_EQ(printLogFileName(), row.name);
      enableLogging(1);
      EXPECT_EQ(isLoggingEnabled(), 0);
      EXPECT_EQ(isLoggingPossible(), 0);
      const auto* const notFormatted = reinterpret_cast<const char*>(uintptr_t{16});
      debug_printf("%s", notFormatted);
      QVvisa_debugLog("%s", notFormatted);
      QVvisa_logOSErrMsg();
      closeLogFile();
      EXPECT_TRUE(std::filesystem::is_empty(directory_));
    });
  }
}

TEST_F(Log, SecondOpeningOfAnOpenLogIsRemarkedInIt) {
  inFreshProcess([&] {
    const int lowestFree = dup(STDERR_FILENO);
    close(lowestFree);
    ASSERT_EQ(initLogFile(LOGFILE), 0);
    EXPECT_EQ(fcntl(lowestFree, F_GETFD), FD_CLOEXEC) << "other programs don't inherit the file";
    debug_printf("line\n");
    EXPECT_EQ(initLogFile("OTHER"), 2);
    const std::string expected =
        opening() + "line\n" + "\nLogfile already opened, attempt to open again with environment variable: OTHER\n";
    EXPECT_EQ(content(), expected);
    enableLogging(0);
    EXPECT_EQ(initLogFile(LOGFILE), 2);
    EXPECT_EQ(isLoggingEnabled(), 0);
    closeLogFile();
    EXPECT_EQ(isLoggingPossible(), 1) << "a disabled log isn't closed";
    debug_printf("not written\n");
    EXPECT_EQ(content(), expected);
    enableLogging(-1);
    EXPECT_EQ(isLoggingEnabled(), 1);
    debug_printf("written\n");
    closeLogFile();
    closeLogFile();
    EXPECT_EQ(isLoggingPossible(), 0);
    EXPECT_EQ(content(), expected + "written\n" + closing());
    EXPECT_EQ(fcntl(lowestFree, F_GETFD), -1);
  });
}

TEST_F(Log, LaterStartBeginsTheFileAnewAndSaysSo) {
  for (const std::string& firstName : {std::string(LOGFILE), std::string("UNSET"), std::string(300, 'N')}) {
    inFreshProcess([&] {
      setenv(LEVEL, "1", 1);
      EXPECT_EQ(initLogFile(firstName.c_str()), firstName == LOGFILE ? 0 : 1);
      debug_printf("first\n");
      closeLogFile();
      unsetenv(LEVEL);
      EXPECT_EQ(initLogFile("UNSET"), 1) << "changes nothing";
      EXPECT_EQ(initLogFile(LOGFILE), 0);
      debug_printf("second\n");
      EXPECT_EQ(content(), laterOpening(firstName.substr(0, OS_MAX_PATH - 1)) + "second\n");
      closeLogFile();
    });
  }
}

void printThroughList(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  debug_vprintf(format, arguments);
  va_end(arguments);
}

TEST_F(Log, WritesTextsAsTheyAreAndCutsLongOnes) {
  inFreshProcess([&] {
    ASSERT_EQ(initLogFile(LOGFILE), 0);
    const std::string text(2000, 't');
    debug_printf("%s 100%%", "a");
    printThroughList(" %d\n", 7);
    debug_printf("%s", text.c_str());
    debug_printf("%s", text.substr(0, 1022).c_str());
    EXPECT_EQ(content(), opening() + "a 100% 7\n" + std::string(1023 + 1022, 't'));
    QVvisa_debugLog("%s", text.c_str());
    EXPECT_EQ(content().size(), opening().size() + 9 + 1023 + 1022 + 1023);
    closeLogFile();
  });
}

TEST_F(Log, StampsLinesWithThreadAndTime) {
  inFreshProcess([&] {
    ASSERT_EQ(initLogFile(LOGFILE), 0);
    char number[16];
    snprintf(number, sizeof number, "%04X", OS_getCurrentThreadID());
    const std::string stamp = "\\[" + std::string(number) + "\\] [0-2]\\d:[0-5]\\d:[0-5]\\d\\.\\d{3} ";
    QVvisa_debugLog("text %d\n", 5);
    OS_setLastError(0);
    QVvisa_logOSErrMsg();
    OS_setLastError(ENOENT);
    errno = EDOM;
    QVvisa_logOSErrMsg();
    EXPECT_EQ(OS_getLastError(), ENOENT);
    debug_printf("\n");
    EXPECT_EQ(errno, EDOM);
    const std::string written = content().substr(opening().size());
    EXPECT_TRUE(std::regex_match(written, std::regex(stamp + "text 5\n" + stamp + "OS error \\[0x00000002\\]: .+\n")))
        << written;
    closeLogFile();
  });
}

TEST_F(Log, PipeWithoutAReaderDoesNotEndTheApplication) {
  inFreshProcess([&] {
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    const int reader = open(path_.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_NE(reader, -1);
    ASSERT_EQ(initLogFile(LOGFILE), 0);
    close(reader);
    debug_printf("lost\n");
    EXPECT_EQ(initLogFile(LOGFILE), 2);
    closeLogFile();
    sigset_t signals;
    sigpending(&signals);
    EXPECT_EQ(sigismember(&signals, SIGPIPE), 0);
    pthread_sigmask(SIG_BLOCK, nullptr, &signals);
    EXPECT_EQ(sigismember(&signals, SIGPIPE), 0);
  });
}

TEST_F(Log, LinesOfManyThreadsStayWholeWhileItClosesAndOpens) {
  inFreshProcess([&] {
    hptime_init();
    initLogFile("UNSET");
    std::atomic<bool> goOn = true;
    std::thread threads[8];
    for (std::thread& thread : threads) {
      thread = std::thread([&goOn, number = &thread - threads] {
        for (int line = 0; goOn; ++line) {
          debug_printf("thread %d line %d of many\n", static_cast<int>(number), line);
          QVvisa_debugLog("thread %d line %d of many\n", static_cast<int>(number), line);
          if (isLoggingEnabled() == 0 || checkLogLevelMask(1) == 0) std::this_thread::yield();
        }
      });
    }
    const std::regex whole("(\\[[0-9A-F]{4,}\\] \\d\\d:\\d\\d:\\d\\d\\.\\d{3} )?thread [0-7] line \\d+ of many");
    const std::string start = laterOpening("UNSET");
    for (int round = 0; round < 50; ++round) {
      EXPECT_EQ(initLogFile(LOGFILE), 0);
      while (std::filesystem::file_size(path_) < 4000) std::this_thread::yield();
      closeLogFile();
      const std::string text = content();
      ASSERT_TRUE(text.starts_with(start) && text.ends_with(closing())) << text;
      std::istringstream lines(text.substr(start.size(), text.size() - start.size() - closing().size()));
      for (std::string line; std::getline(lines, line);) EXPECT_TRUE(std::regex_match(line, whole)) << line;
    }
    goOn = false;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(isLoggingPossible(), 0);
    EXPECT_TRUE(content().ends_with(closing())) << "nothing is written behind the close";
  });
}

}  // namespace
