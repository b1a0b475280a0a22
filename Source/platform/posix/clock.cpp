// The monotonic clock and sleeping, by the POSIX calls.
#include "platform/clock.h"

#include <sched.h>
#include <time.h>

ClockReading read_clock() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return {static_cast<i64>(now.tv_sec), static_cast<i64>(now.tv_nsec)};
}

double clock_seconds() {
    const ClockReading now = read_clock();
    return static_cast<double>(now.seconds) + 1e-9 * static_cast<double>(now.nanoseconds);
}

u32 calendar_seconds() { return static_cast<u32>(time(nullptr)); }

void sleep_milliseconds(int milliseconds) {
    if (milliseconds <= 0) {
        sched_yield();
        return;
    }
    timespec span{};
    span.tv_sec = milliseconds / 1000;
    span.tv_nsec = (milliseconds % 1000) * 1000000L;
    nanosleep(&span, nullptr);
}
