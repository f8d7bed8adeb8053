#include "clock.h"

#include <algorithm>
#include <ctime>

namespace {

constexpr int64_t NANOSECONDS_PER_SECOND = 1'000'000'000;

constexpr WORD word(long number) {
  return static_cast<WORD>(number);
}

}  // namespace

void GetLocalTime(SYSTEMTIME* systemTime) {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  tm local = {};
  localtime_r(&now.tv_sec, &local);
  // A time zone that counts leap seconds has a second 60, which a SYSTEMTIME can't say.
  *systemTime = {word(local.tm_year + 1900),
                 word(local.tm_mon + 1),
                 word(local.tm_wday),
                 word(local.tm_mday),
                 word(local.tm_hour),
                 word(local.tm_min),
                 word(std::min(local.tm_sec, 59)),
                 word(now.tv_nsec / 1'000'000)};
}

BOOL QueryPerformanceCounter(LARGE_INTEGER* count) {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  count->QuadPart = int64_t{now.tv_sec} * NANOSECONDS_PER_SECOND + now.tv_nsec;
  return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency) {
  frequency->QuadPart = NANOSECONDS_PER_SECOND;
  return TRUE;
}
