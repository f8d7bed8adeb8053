/// Clock services: the local wall clock and a high-resolution counter.
#pragma once

#include "winTypes.h"

#if !defined(_WIN32)

/// The local wall clock, cut to the millisecond.
void GetLocalTime(SYSTEMTIME* systemTime);

/// A counter that never goes back, whatever is done to the wall clock. TRUE on success.
BOOL QueryPerformanceCounter(LARGE_INTEGER* count);

/// The counter's ticks per second, the same for the life of the process. TRUE on success.
BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency);

#endif
