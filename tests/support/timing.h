// The clock of the tests, and upper limits on time for tests that run on busy machines.
#pragma once

#include <chrono>
#include <cstdio>

// Seconds of a clock that only goes forward.
inline double now_seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Whether the attempt is true once in five. A machine that stands still for a moment makes a program late now and
// then; a fault of the program makes it late every time. Each attempt that fails leaves a line.
template <typename Attempt>
bool holds_once(Attempt attempt) {
    for (int i = 1; i <= 5; ++i) {
        if (attempt()) return true;
        std::printf("late in attempt %d of 5\n", i);
    }
    return false;
}

// Whether the action takes less than so many seconds, once in five.
template <typename Action>
bool ends_within(double seconds, Action action) {
    return holds_once([&] {
        const double start = now_seconds();
        action();
        return now_seconds() - start < seconds;
    });
}
