/// The conversion of a calendar time to a count of ticks and back. No time zone enters.
#pragma once

#include "winTypes.h"

#if !defined(_WIN32)

/// The ticks of 100 ns from 1601-01-01 to `systemTime`, whose wDayOfWeek isn't looked at. FALSE,
/// with `fileTime` untouched, if a field is outside its range or the year isn't one of 1601 to 30827.
BOOL SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime);

/// The inverse of SystemTimeToFileTime, what is below a millisecond cut off. FALSE, with `systemTime` untouched, for
/// counts from 2^63 on.
BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime);

#endif
