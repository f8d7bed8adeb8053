/// Local calendar time with a finer grain than the system's clock tick: the wall clock, corrected by how far a
/// high-resolution counter says that time has moved since the last calibration.
///
/// Times are local, without a time zone, so that only their differences mean something. A record that isn't a valid
/// calendar time has no defined result.
#pragma once

#include "osAbstraction.h"

extern "C" {

/// Starts the correction; before that, hptime_get_time gives the plain wall clock. Takes up to one clock tick of busy
/// waiting. Further calls do nothing. Not for two threads at once.
QVVISA_API void hptime_init();

/// Calibrates: takes the wall clock at the moment it ticks, which a busy wait finds, and the counter that belongs to
/// it. What needs it calls it; not for two threads at once.
QVVISA_API void UTIL_time_adjust();

/// The present time. Any thread. When wall clock and counter differ by more than 50 ms, the call gives the plain wall
/// clock and calibrates anew, which takes up to one clock tick.
QVVISA_API void hptime_get_time(OS_SYSTEMTIME* time);

/// `now_time` minus `compare_time`, in ticks of 100 ns.
QVVISA_API long long int hptime_diff_systimes(const OS_SYSTEMTIME* now_time, const OS_SYSTEMTIME* compare_time);

/// Moves `time` by `ticks` of 100 ns, in either direction, and sets its wDayOfWeek.
QVVISA_API void hptime_add_100ns_ticks_to_systime(OS_SYSTEMTIME* time, long long int ticks);

/// Moves `time` by `seconds`, cut toward zero to ticks of 100 ns. A distance that no tick count holds moves nothing.
QVVISA_API void hptime_add_seconds_to_systime(OS_SYSTEMTIME* time, double seconds);

/// Sets 2000-01-01, 12:00:00.000. wDayOfWeek stays as it was.
QVVISA_API void hptime_set_zero_time(OS_SYSTEMTIME* time);

/// 1 if the present time lies after `checkTime`, else 0.
QVVISA_API int hptime_isElapsedTime(const OS_SYSTEMTIME* checkTime);

// Texts in static buffers, one for each operation, valid until its next call; not for two threads at once.

/// "hh:mm:ss.mmm"
QVVISA_API char* hptimePrintTime(const OS_SYSTEMTIME* time);
/// "yyyy-mm-dd"
QVVISA_API char* hptimePrintDate(const OS_SYSTEMTIME* time);
/// "yyyy-mm-dd hh:mm:ss.mmm"
QVVISA_API char* hptimePrintDateTime(const OS_SYSTEMTIME* time);
}
