#include "clock.h"

#include "fileTime.h"
#include "support/testing.h"

#include <ctime>
#include <random>

namespace {

constexpr uint64_t TICKS_PER_SECOND = 10'000'000;
constexpr time_t SECONDS_FROM_1601_TO_1970 = 11'644'473'600;

uint64_t ticksOf(const SYSTEMTIME& time) {
  FILETIME ticks = {};
  EXPECT_EQ(SystemTimeToFileTime(&time, &ticks), TRUE);
  return uint64_t{ticks.dwHighDateTime} << 32 | ticks.dwLowDateTime;
}

TEST(Clock, ConversionsAreEachOthersInverse) {
  constexpr uint64_t LAST = 9'223'149'887'999'990'000;  // 30827-12-31, 23:59:59.999
  std::mt19937_64 random(1601);
  std::vector<uint64_t> times = {0, LAST, 116'444'736'000'000'000, 125'963'423'999'990'000};
  while (times.size() < 20000) times.push_back(random() % LAST / 10'000 * 10'000);
  for (const uint64_t ticks : times) {
    const FILETIME withinMillisecond = {static_cast<DWORD>(ticks + 9'999), static_cast<DWORD>((ticks + 9'999) >> 32)};
    SYSTEMTIME time;
    ASSERT_EQ(FileTimeToSystemTime(&withinMillisecond, &time), TRUE);
    ASSERT_EQ(ticksOf(time), ticks);
    const time_t seconds = static_cast<time_t>(ticks / TICKS_PER_SECOND) - SECONDS_FROM_1601_TO_1970;
    tm expected = {};
    gmtime_r(&seconds, &expected);
    ASSERT_EQ(time.wYear, expected.tm_year + 1900) << ticks;
    ASSERT_EQ(time.wMonth, expected.tm_mon + 1) << ticks;
    ASSERT_EQ(time.wDay, expected.tm_mday) << ticks;
    ASSERT_EQ(time.wDayOfWeek, expected.tm_wday) << ticks;
    ASSERT_EQ(time.wSecond, expected.tm_sec) << ticks;
  }
}

TEST(Clock, ConversionsRefuseWhatIsNoTime) {
  const SYSTEMTIME rows[] = {
      {1600, 12, 0, 31, 23, 59, 59, 999}, {30828, 1, 0, 1, 0, 0, 0, 0},   {2021, 0, 0, 1, 0, 0, 0, 0},
      {2021, 260, 0, 1, 0, 0, 0, 0},      {2021, 2, 0, 29, 0, 0, 0, 0},   {2021, 4, 0, 0, 0, 0, 0, 0},
      {2021, 4, 0, 31, 0, 0, 0, 0},       {2021, 4, 0, 1, 24, 0, 0, 0},   {2021, 4, 0, 1, 0, 60, 0, 0},
      {2021, 4, 0, 1, 0, 0, 60, 0},       {2021, 4, 0, 1, 0, 0, 0, 1000},
  };
  for (const SYSTEMTIME& time : rows) {
    FILETIME ticks = {1, 2};
    EXPECT_EQ(SystemTimeToFileTime(&time, &ticks), FALSE) << &time - rows;
    EXPECT_EQ(ticks.dwHighDateTime, 2U) << &time - rows;
  }
  const FILETIME tooLate = {0, 0x80000000};
  SYSTEMTIME time = rows[0];
  EXPECT_EQ(FileTimeToSystemTime(&tooLate, &time), FALSE);
  EXPECT_EQ(time.wYear, 1600);
}

TEST(Clock, LocalTimeIsTheWallClockOfTheTimeZone) {
  setenv("TZ", "UTC-5:30", 1);
  tzset();
  const time_t before = std::time(nullptr);
  SYSTEMTIME local;
  GetLocalTime(&local);
  const time_t after = std::time(nullptr) + 1;  // time() may run a clock tick behind the precise clock
  const time_t sinceEpoch = static_cast<time_t>(ticksOf(local) / TICKS_PER_SECOND) - (5 * 60 + 30) * 60;
  EXPECT_GE(sinceEpoch - SECONDS_FROM_1601_TO_1970, before);
  EXPECT_LE(sinceEpoch - SECONDS_FROM_1601_TO_1970, after);
}

TEST(Clock, CounterCountsAtItsFrequency) {
  LARGE_INTEGER frequency;
  LARGE_INTEGER first;
  LARGE_INTEGER second;
  ASSERT_EQ(QueryPerformanceFrequency(&frequency), TRUE);
  ASSERT_EQ(QueryPerformanceCounter(&first), TRUE);
  const timespec pause = {0, 20'000'000};
  clock_nanosleep(CLOCK_MONOTONIC, 0, &pause, nullptr);
  ASSERT_EQ(QueryPerformanceCounter(&second), TRUE);
  EXPECT_GE(second.QuadPart - first.QuadPart, frequency.QuadPart / 50);
}

}  // namespace
