#include "hptime.h"

#include "arith_128bit.h"
#include "clock.h"
#include "fastLock.h"
#include "fileTime.h"

#include <atomic>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

constexpr long long TICKS_PER_SECOND = 10'000'000;
constexpr long long MAX_OFFSET = 500'000;

int gInitialized = 0;
OS_SYSTEMTIME gSystimeStart;
LARGE_INTEGER gHPTimerTicks;
/// Read without the lock by every hptime_get_time; that it isn't 0 says that the other values are there.
std::atomic<long long> gHPFrequency = 0;
os_fastlock_t HPfastLock = OS_FASTLOCK_INITIALIZER;
const FastLockAtLoad makesHPfastLock(HPfastLock);

unsigned long long ticksOf(const OS_SYSTEMTIME& time) {
  FILETIME ticks = {};
  SystemTimeToFileTime(&time, &ticks);
  return static_cast<unsigned long long>(ticks.dwHighDateTime) << 32 | ticks.dwLowDateTime;
}

/// How far the wall clock `time` lags behind the counter, in ticks of 100 ns.
long long lagBehindCounter(const OS_SYSTEMTIME& time, const LARGE_INTEGER& now_HPTimerTicks) {
  // A counter that was read before a calibration by another thread lies below gHPTimerTicks: the difference wraps
  // around, and at worst the offset is out of the band and the time base calibrates once more.
  const auto counted = static_cast<unsigned long long>(now_HPTimerTicks.QuadPart) -
                       static_cast<unsigned long long>(gHPTimerTicks.QuadPart);
  const auto frequency = static_cast<unsigned long long>(gHPFrequency.load(std::memory_order_relaxed));
  unsigned long long diff_hp_ull = 0;
  B128S_mul_div(&diff_hp_ull, counted, TICKS_PER_SECOND, frequency);
  const long long diff_time = hptime_diff_systimes(&time, &gSystimeStart);
  return static_cast<long long>(diff_hp_ull - static_cast<unsigned long long>(diff_time));
}

/// Prints to `text`; what a field out of its range makes too long is cut. Returns `text`.
[[gnu::format(printf, 3, 4)]] char* print(char* text, size_t size, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, size, format, arguments);
  va_end(arguments);
  return text;
}

}  // namespace

void UTIL_time_adjust() {
  OS_SYSTEMTIME before;
  GetLocalTime(&before);
  do {
    GetLocalTime(&gSystimeStart);
  } while (std::memcmp(&gSystimeStart, &before, sizeof before) == 0);
  QueryPerformanceCounter(&gHPTimerTicks);
  LARGE_INTEGER frequency = {};
  QueryPerformanceFrequency(&frequency);
  gHPFrequency.store(frequency.QuadPart, std::memory_order_release);
}

void hptime_init() {
  if (gInitialized != 0) return;
  UTIL_time_adjust();
  gInitialized = 1;
}

void hptime_get_time(OS_SYSTEMTIME* time) {
  GetLocalTime(time);
  if (gHPFrequency.load(std::memory_order_acquire) == 0) return;
  LARGE_INTEGER now_HPTimerTicks = {};
  QueryPerformanceCounter(&now_HPTimerTicks);
  const FastLockGuard guard(HPfastLock);
  const long long offset = lagBehindCounter(*time, now_HPTimerTicks);
  if (offset >= -MAX_OFFSET && offset <= MAX_OFFSET) {
    hptime_add_100ns_ticks_to_systime(time, offset);
  } else {
    UTIL_time_adjust();
  }
}

long long int hptime_diff_systimes(const OS_SYSTEMTIME* now_time, const OS_SYSTEMTIME* compare_time) {
  return static_cast<long long>(ticksOf(*now_time) - ticksOf(*compare_time));
}

void hptime_add_100ns_ticks_to_systime(OS_SYSTEMTIME* time, long long int ticks) {
  const unsigned long long moved = ticksOf(*time) + static_cast<unsigned long long>(ticks);
  const FILETIME halves = {static_cast<DWORD>(moved), static_cast<DWORD>(moved >> 32)};
  FileTimeToSystemTime(&halves, time);
}

void hptime_add_seconds_to_systime(OS_SYSTEMTIME* time, double seconds) {
  constexpr double TICKS_LIMIT = 0x1p63;
  const double ticks = seconds * static_cast<double>(TICKS_PER_SECOND);
  if (!(std::fabs(ticks) < TICKS_LIMIT)) return;
  hptime_add_100ns_ticks_to_systime(time, static_cast<long long>(ticks));
}

void hptime_set_zero_time(OS_SYSTEMTIME* time) {
  const WORD weekday = time->wDayOfWeek;
  *time = {2000, 1, weekday, 1, 12, 0, 0, 0};
}

int hptime_isElapsedTime(const OS_SYSTEMTIME* checkTime) {
  OS_SYSTEMTIME now;
  hptime_get_time(&now);
  return hptime_diff_systimes(&now, checkTime) > 0;
}

char* hptimePrintTime(const OS_SYSTEMTIME* time) {
  static char text[16];
  return print(text, sizeof text, "%02d:%02d:%02d.%03d", time->wHour, time->wMinute, time->wSecond,
               time->wMilliseconds);
}

char* hptimePrintDate(const OS_SYSTEMTIME* time) {
  static char text[16];
  return print(text, sizeof text, "%04d-%02d-%02d", time->wYear, time->wMonth, time->wDay);
}

char* hptimePrintDateTime(const OS_SYSTEMTIME* time) {
  static char text[32];
  return print(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", time->wYear, time->wMonth, time->wDay,
               time->wHour, time->wMinute, time->wSecond, time->wMilliseconds);
}
