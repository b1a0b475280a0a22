// The monotonic clock and sleeping, by the Windows calls.
#include "platform/clock.h"

#include <ctime>

#include <windows.h>

ClockReading read_clock() {
    LARGE_INTEGER frequency, count;
    QueryPerformanceFrequency(&frequency);  // fixed at system start
    QueryPerformanceCounter(&count);
    const i64 seconds = count.QuadPart / frequency.QuadPart;
    const i64 rest = count.QuadPart % frequency.QuadPart;
    return {seconds, rest * 1000000000 / frequency.QuadPart};
}

double clock_seconds() {
    const ClockReading now = read_clock();
    return static_cast<double>(now.seconds) + 1e-9 * static_cast<double>(now.nanoseconds);
}

u32 calendar_seconds() { return static_cast<u32>(std::time(nullptr)); }

// Its granularity is the timer period, which begin_timer_period shortens.
void sleep_milliseconds(int milliseconds) { Sleep(milliseconds > 0 ? static_cast<DWORD>(milliseconds) : 0); }
