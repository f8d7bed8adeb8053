#include "fileTime.h"

#include <chrono>
#include <ratio>

using namespace std::chrono;

namespace {

using Ticks = duration<int64_t, std::ratio<1, 10'000'000>>;

constexpr sys_days EPOCH = year{1601} / January / 1;
constexpr WORD FIRST_YEAR = 1601;
constexpr WORD LAST_YEAR = 30827;

template <class Number>
constexpr WORD word(Number number) {
  return static_cast<WORD>(number);
}

}  // namespace

BOOL SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime) {
  const SYSTEMTIME& time = *systemTime;
  // The calendar types keep a month or a day in 8 bits: what exceeds these has to be refused before.
  if (time.wYear < FIRST_YEAR || time.wYear > LAST_YEAR || time.wMonth > 12 || time.wDay > 31 || time.wHour > 23 ||
      time.wMinute > 59 || time.wSecond > 59 || time.wMilliseconds > 999) {
    return FALSE;
  }
  const year_month_day date = year{time.wYear} / month{time.wMonth} / day{time.wDay};
  if (!date.ok()) return FALSE;
  const Ticks ticks = Ticks{sys_days{date} - EPOCH} + hours{time.wHour} + minutes{time.wMinute} +
                      seconds{time.wSecond} + milliseconds{time.wMilliseconds};
  const auto count = static_cast<uint64_t>(ticks.count());
  *fileTime = {static_cast<DWORD>(count), static_cast<DWORD>(count >> 32)};
  return TRUE;
}

BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime) {
  const Ticks ticks{static_cast<int64_t>(uint64_t{fileTime->dwHighDateTime} << 32 | fileTime->dwLowDateTime)};
  if (ticks < Ticks::zero()) return FALSE;
  const days sinceEpoch = floor<days>(ticks);
  const sys_days dayOfTime = EPOCH + sinceEpoch;
  const year_month_day date = dayOfTime;
  const hh_mm_ss<milliseconds> time{floor<milliseconds>(ticks - sinceEpoch)};
  *systemTime = {word(int{date.year()}),       word(unsigned{date.month()}),   word(weekday{dayOfTime}.c_encoding()),
                 word(unsigned{date.day()}),   word(time.hours().count()),     word(time.minutes().count()),
                 word(time.seconds().count()), word(time.subseconds().count())};
  return TRUE;
}
