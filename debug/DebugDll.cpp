#include "DebugDll.h"

#include "descriptor.h"
#include "fastLock.h"
#include "privileges.h"
#include "writeSignalGuard.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

/// For writing, and not inherited by the programs that the application starts.
#if defined(_WIN32)
constexpr char OPEN_MODE[] = "wN";
#else
constexpr char OPEN_MODE[] = "we";
#endif

/// The results of opening.
enum { OPENED = 0, NOT_SET = 1, NOT_OPENED = 2 };

std::atomic<int> gIsPossibleLogging = 0;
std::atomic<int> gDoLogging = 0;
std::atomic<unsigned int> gLogLevel = LOG_LEVEL_DEFAULT;

/// Guards the file, the texts below and the changes of the flags. Made once and never deleted, since a line of another
/// thread may be about to take it while the log closes.
os_fastlock_t DebugPrintfFastLock;
FILE* logfile = nullptr;
int isfirst = 1;
char firstEnvName[OS_MAX_PATH] = "not valid";
char logfileName[OS_MAX_PATH] = "not valid";
char logLevelName[LOG_LEVEL_NAME_SZ] = "0xFFFFFFFF";
char buf[1024];

os_fastlock_t& lockMadeAtFirstUse() {
  [[maybe_unused]] static const bool made = (OS_initFastLock(&DebugPrintfFastLock), true);
  return DebugPrintfFastLock;
}

void setLogging(int on) {
  gIsPossibleLogging = on;
  gDoLogging = on;
}

void tryGetLogLevel(const char* envVarName) {
  char levelEnvName[LOG_LEVEL_MAX_PATH];
  std::snprintf(levelEnvName, sizeof levelEnvName, "%s%s", LOG_LEVEL_PREFIX, envVarName);
  char value[LOG_LEVEL_NAME_SZ] = "";
  if (!OS_getEnvironmentVariable(levelEnvName, value, sizeof value)) {
    gLogLevel = LOG_LEVEL_DEFAULT;
    return;
  }
  std::memcpy(logLevelName, value, sizeof logLevelName);
  // An unsigned long may be wider; what exceeds the mask, but a small negative number, sets all of it, as where it
  // isn't wider.
  const unsigned long level = std::strtoul(logLevelName, nullptr, 0);
  gLogLevel = level <= UINT_MAX || 0 - level <= UINT_MAX ? static_cast<unsigned int>(level) : UINT_MAX;
}

int tryOpenLogFile(const char* envVarName) {
  char path[OS_MAX_PATH] = "";
  if (hasRaisedPrivileges() || !OS_getEnvironmentVariable(envVarName, path, sizeof path)) return NOT_SET;
  if (path[0] == '\0') return NOT_OPENED;  // a value that doesn't fit isn't delivered
  std::memcpy(logfileName, path, sizeof logfileName);
  const StandardStreamsTaken streams;
  logfile = std::fopen(logfileName, OPEN_MODE);
  if (logfile == nullptr) return NOT_OPENED;
  std::fprintf(logfile, "\nOpened logfile : %s\n", logfileName);
  tryGetLogLevel(envVarName);
  std::fprintf(logfile, "Using log level: 0x%08X\n", gLogLevel.load());
  std::fflush(logfile);
  return OPENED;
}

void remarkSecondStart() {
  std::fputs("\nRemark: This call to initLogFile was NOT the first call.", logfile);
  std::fprintf(logfile, "\nFirst call had environment name: %s.\n", firstEnvName);
  std::fflush(logfile);
}

void remarkLogIsOpen(const char* envVarName) {
  std::fprintf(logfile, "\nLogfile already opened, attempt to open again with environment variable: %s\n", envVarName);
  std::fflush(logfile);
}

[[gnu::format(printf, 1, 0)]] void writeLine(const char* fmt, va_list arg_ptr) {
  const int error = errno;  // that of the caller, whom a line about a failure must not cost its number
  {
    const FastLockGuard guard(lockMadeAtFirstUse());
    const WriteSignalGuard noSignal;
    if (gDoLogging != 0 && std::vsnprintf(buf, sizeof buf, fmt, arg_ptr) >= 0) {
      std::fputs(buf, logfile);
      std::fflush(logfile);
    }
  }
  errno = error;
}

}  // namespace

int initLogFile(const char* envVarName) {
  if (envVarName == nullptr) return NOT_SET;
  const FastLockGuard guard(lockMadeAtFirstUse());
  const WriteSignalGuard noSignal;
  if (gIsPossibleLogging != 0) {
    if (gDoLogging != 0) remarkLogIsOpen(envVarName);
    return NOT_OPENED;
  }
  const bool isFirstCall = isfirst != 0;
  if (isFirstCall) {
    isfirst = 0;
    std::snprintf(firstEnvName, sizeof firstEnvName, "%s", envVarName);
  }
  const int result = tryOpenLogFile(envVarName);
  if (result != OPENED) return result;
  if (!isFirstCall) remarkSecondStart();
  setLogging(1);
  return OPENED;
}

void closeLogFile() {
  const FastLockGuard guard(lockMadeAtFirstUse());
  const WriteSignalGuard noSignal;
  if (gDoLogging == 0) return;
  setLogging(0);
  std::fprintf(logfile, "\n\nNormal close of logfile: %s\n", logfileName);
  std::fclose(logfile);
  logfile = nullptr;
}

void enableLogging(int ena) {
  const FastLockGuard guard(lockMadeAtFirstUse());
  gDoLogging = ena != 0 && gIsPossibleLogging != 0;
}

int isLoggingEnabled() {
  return gDoLogging;
}

int isLoggingPossible() {
  return gIsPossibleLogging;
}

int checkLogLevelMask(unsigned int logMask) {
  return (gLogLevel & logMask) == logMask;
}

void debug_printf(const char* fmt, ...) {
  if (gDoLogging.load(std::memory_order_relaxed) == 0) return;
  va_list arguments;
  va_start(arguments, fmt);
  writeLine(fmt, arguments);
  va_end(arguments);
}

void debug_vprintf(const char* fmt, va_list arg_ptr) {
  if (gDoLogging.load(std::memory_order_relaxed) == 0) return;
  writeLine(fmt, arg_ptr);
}

char* printLogFileName() {
  return logfileName;
}
