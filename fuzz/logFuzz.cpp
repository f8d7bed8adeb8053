/// Fuzzes the variables of the log, and a line that is written to it.
#include "DebugDll.h"
#include "fuzz.h"

#include <climits>

namespace {

struct {
  std::string variable, path, level;
  bool hasPath = false, hasLevel = false;
  std::string opened;   ///< path of the file that was opened last
  std::string written;  ///< what reached the file
} environment;

/// Outside an execution the fuzzer makes the calls that are wrapped here.
bool isRunning = false;

ssize_t take(void*, const char* bytes, std::size_t size) {
  environment.written.append(bytes, size);
  return static_cast<ssize_t>(size);
}

std::string text(FuzzedDataProvider& input, std::size_t most) {
  return input.ConsumeRandomLengthString(most).c_str();  // ends where a C string does
}

void expectLevel() {
  unsigned int expected = LOG_LEVEL_DEFAULT;
  if (environment.hasLevel && !environment.level.empty()) {
    // A value that doesn't fit isn't delivered, and counts as one that can't be read.
    const bool fits = environment.level.size() < LOG_LEVEL_NAME_SZ;
    const unsigned long level = fits ? std::strtoul(environment.level.c_str(), nullptr, 0) : 0;
    expected = level <= UINT_MAX || 0 - level <= UINT_MAX ? static_cast<unsigned int>(level) : UINT_MAX;
  }
  require(checkLogLevelMask(expected) && (expected == UINT_MAX || !checkLogLevelMask(UINT_MAX)), "level");
}

void writeLine(const std::string& line) {
  environment.written.clear();
  debug_printf("%s", line.c_str());
  require(environment.written == line.substr(0, 1023), "line");
}

}  // namespace

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the linker sends the library's calls here
char* __real_getenv(const char* name);
FILE* __real_fopen(const char* path, const char* mode);

char* __wrap_getenv(const char* name) {
  if (!isRunning) return __real_getenv(name);
  if (environment.hasPath && environment.variable == name) return environment.path.data();
  const std::string prefixed = LOG_LEVEL_PREFIX + environment.variable;
  return environment.hasLevel && prefixed == name ? environment.level.data() : nullptr;
}
FILE* __wrap_fopen(const char* path, const char* mode) {
  // The input of a finding is written in the middle of an execution.
  if (!isRunning || std::string_view(mode) != "we") return __real_fopen(path, mode);
  environment.opened = path;
  if (environment.path.ends_with('!')) return nullptr;
  return fopencookie(nullptr, "w", {nullptr, take, nullptr, nullptr});
}
// NOLINTEND
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  environment.hasPath = input.ConsumeBool();
  environment.hasLevel = input.ConsumeBool();
  environment.variable = input.ConsumeBool() ? "QVVISA_LOGFILE" : text(input, OS_MAX_PATH);
  environment.level = text(input, 80);
  environment.path = text(input, 600);
  environment.written.clear();
  const std::string line = input.ConsumeRemainingBytesAsString().c_str();

  isRunning = true;
  const int result = initLogFile(environment.variable.c_str());
  require(result >= 0 && result <= 2 && (result == 0) == (isLoggingEnabled() != 0), "result");
  if (result == 0) {
    require(environment.opened == environment.path && environment.path == printLogFileName(), "path");
    expectLevel();
    require(initLogFile("SECOND") == 2, "opened twice");
    writeLine(line);
  }
  closeLogFile();
  require(isLoggingPossible() == 0, "still open");
  isRunning = false;
  return 0;
}
