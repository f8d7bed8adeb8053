#include "hptime.h"

#include "clock.h"
#include "fileTime.h"
#include "support/freshProcess.h"
#include "support/testing.h"

namespace {

constexpr long long TICKS_PER_MS = 10'000;
constexpr long long COUNTER_AT_START = 987'654'321;

// The clock in the hands of the test. Every reading of the wall clock moves it by a millisecond, so that the wait for
// its next tick ends.
long long wallTicks = 0;
int wallReadings = 0;
long long counter = COUNTER_AT_START;
int counterReadings = 0;
long long frequency = 10'000'000;

std::string text(const SYSTEMTIME& time) {
  return hptimePrintDateTime(&time);
}

}  // namespace

void GetLocalTime(SYSTEMTIME* systemTime) {
  const FILETIME ticks = {static_cast<DWORD>(wallTicks), static_cast<DWORD>(wallTicks >> 32)};
  FileTimeToSystemTime(&ticks, systemTime);
  wallTicks += TICKS_PER_MS;
  ++wallReadings;
}

BOOL QueryPerformanceCounter(LARGE_INTEGER* count) {
  count->QuadPart = counter;
  ++counterReadings;
  return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* ticksPerSecond) {
  ticksPerSecond->QuadPart = frequency;
  return TRUE;
}

namespace {

constexpr SYSTEMTIME NOON = {2021, 3, 0, 14, 12, 0, 0, 0};

void setWallClock(const SYSTEMTIME& time, long long moved = 0) {
  FILETIME ticks;
  SystemTimeToFileTime(&time, &ticks);
  wallTicks = (static_cast<long long>(ticks.dwHighDateTime) << 32 | ticks.dwLowDateTime) + moved;
}

/// Starts the time base, which ends up calibrated at `start`.
void startAt(const SYSTEMTIME& start) {
  setWallClock(start, -TICKS_PER_MS);
  hptime_init();
}

/// What the time is when the two clocks have moved by so many ticks of 100 ns since `start`.
std::string timeAfter(const SYSTEMTIME& start, long long wallMoved, long long counterMoved) {
  setWallClock(start, wallMoved);
  counter = COUNTER_AT_START + counterMoved;
  wallReadings = counterReadings = 0;
  SYSTEMTIME time;
  hptime_get_time(&time);
  return text(time);
}

TEST(Hptime, GivesThePlainWallClockUnstartedOrWithoutACounter) {
  inFreshProcess([] {
    for (const bool start : {false, true}) {
      frequency = 0;
      if (start) startAt(NOON);
      EXPECT_EQ(timeAfter(NOON, 7 * TICKS_PER_MS, 90 * TICKS_PER_MS), "2021-03-14 12:00:00.007");
      EXPECT_EQ(counterReadings, 0);
    }
  });
}

TEST(Hptime, CorrectsTheWallClockWithinTheBandOnly) {
  const SYSTEMTIME leapDayAhead = {2024, 2, 3, 28, 23, 59, 59, 999};
  const SYSTEMTIME yearsEnd = {2020, 12, 4, 31, 23, 59, 59, 990};
  const struct {
    SYSTEMTIME start;
    long long wallMoved, counterMoved;
    const char* time;
    bool recalibrates;
  } rows[] = {
      {NOON, 10'000'000, 10'000'000, "2021-03-14 12:00:01.000", false},
      {NOON, 10'000'000, 10'500'000, "2021-03-14 12:00:01.050", false},
      {NOON, 10'000'000, 10'500'001, "2021-03-14 12:00:01.000", true},
      {NOON, 10'000'000, 9'500'000, "2021-03-14 12:00:00.950", false},
      {NOON, 10'000'000, 9'499'999, "2021-03-14 12:00:01.000", true},
      {NOON, -600'000'000, 10'000'000, "2021-03-14 11:59:00.000", true},
      {NOON, 36'000'000'000'000, 36'000'000'010'000, "2021-04-25 04:00:00.001", false},
      {yearsEnd, 50'000, 150'000, "2021-01-01 00:00:00.005", false},
      {yearsEnd, 150'000, 50'000, "2020-12-31 23:59:59.995", false},
      {leapDayAhead, 0, 10'000, "2024-02-29 00:00:00.000", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.time);
    inFreshProcess([&row] {
      startAt(row.start);
      EXPECT_EQ(timeAfter(row.start, row.wallMoved, row.counterMoved), row.time);
      EXPECT_EQ(wallReadings > 1, row.recalibrates);
    });
  }
}

TEST(Hptime, FollowsAWallClockThatWasSet) {
  inFreshProcess([] {
    frequency = 2'500'000;
    startAt(NOON);
    const SYSTEMTIME secondLater = {2021, 3, 0, 14, 12, 0, 1, 0};
    EXPECT_EQ(timeAfter(secondLater, 0, 0), "2021-03-14 12:00:01.000") << "calibrates 2 ms later";
    EXPECT_EQ(timeAfter(secondLater, 5 * TICKS_PER_MS, 3 * TICKS_PER_MS), "2021-03-14 12:00:01.014");
    hptime_init();
    EXPECT_EQ(timeAfter(secondLater, 5 * TICKS_PER_MS, 3 * TICKS_PER_MS), "2021-03-14 12:00:01.014");
  });
}

TEST(Hptime, AddsAndSubtractsTimes) {
  const SYSTEMTIME newYear = {2000, 1, 6, 1, 0, 0, 0, 250};
  const struct {
    double seconds;
    const char* result;
    int dayOfWeek;
    long long difference;
  } rows[] = {
      {-1.5, "1999-12-31 23:59:58.750", 5, -15'000'000},
      {0.00000001, "2000-01-01 00:00:00.250", 6, 0},
      {86400.75, "2000-01-02 00:00:01.000", 0, 864'007'500'000},
      {-0.2500001, "1999-12-31 23:59:59.999", 5, -2'510'000},
      {1e300, "2000-01-01 00:00:00.250", 6, 0},
      {-1e300, "2000-01-01 00:00:00.250", 6, 0},
  };
  for (const auto& row : rows) {
    SYSTEMTIME time = newYear;
    hptime_add_seconds_to_systime(&time, row.seconds);
    EXPECT_EQ(text(time), row.result) << row.seconds;
    EXPECT_EQ(time.wDayOfWeek, row.dayOfWeek) << row.seconds;
    EXPECT_EQ(hptime_diff_systimes(&time, &newYear), row.difference) << row.seconds;
  }
}

TEST(Hptime, AnInstantHasElapsedOnceItLiesInThePast) {
  for (const long long ahead : {-TICKS_PER_MS, 0LL, TICKS_PER_MS}) {
    SYSTEMTIME checkTime = NOON;
    hptime_add_100ns_ticks_to_systime(&checkTime, ahead);
    setWallClock(NOON);
    EXPECT_EQ(hptime_isElapsedTime(&checkTime), ahead < 0 ? 1 : 0) << ahead;
  }
}

TEST(Hptime, PrintsTimeAndDate) {
  SYSTEMTIME time = {2021, 3, 4, 7, 9, 5, 7, 42};
  EXPECT_STREQ(hptimePrintTime(&time), "09:05:07.042");
  EXPECT_STREQ(hptimePrintDate(&time), "2021-03-07");
  hptime_set_zero_time(&time);
  EXPECT_STREQ(hptimePrintDateTime(&time), "2000-01-01 12:00:00.000");
  EXPECT_EQ(time.wDayOfWeek, 4) << "the weekday stays";
}

}  // namespace
