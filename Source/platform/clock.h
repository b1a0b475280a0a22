// The monotonic clock and sleeping. Used wherever time is read; units are seconds unless named.
#pragma once

#include "platform/integers.h"

struct ClockReading {
    i64 seconds;      // whole seconds since an arbitrary start
    i64 nanoseconds;  // 0..999999999
};

ClockReading read_clock();
// The same reading as one number of seconds, for differences.
double clock_seconds();
// Wall-clock seconds since 1970, for seeding generators.
u32 calendar_seconds();
// 0 gives up the rest of the time slice; n sleeps about n milliseconds.
void sleep_milliseconds(int milliseconds);
