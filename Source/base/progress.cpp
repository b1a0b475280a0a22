// The progress line.
#include "base/progress.h"

#include <cmath>
#include <cstdio>

#include "platform/clock.h"
#include "platform/terminal.h"

constexpr double SECONDS_BETWEEN_LINES = 0.5;
static const char CLEAR_LINE[] = "\r\x1b[K";

void begin_progress(Progress *progress, const char *unit, double total) {
    *progress = {error_is_terminal(), unit, total, 0.0, 0.0};
    if (!progress->shown) return;
    progress->start = clock_seconds();
    progress->next = progress->start + SECONDS_BETWEEN_LINES;
}

// The time left is extrapolated from the work done so far.
void show_progress(Progress *progress, double done, i64 count) {
    if (!progress->shown) return;
    const double now = clock_seconds();
    if (now < progress->next) return;
    progress->next = now + SECONDS_BETWEEN_LINES;
    const double seconds = now - progress->start;
    const double rate = static_cast<double>(count) / seconds;
    std::fputs(CLEAR_LINE, stderr);
    if (progress->total > 0.0) std::fprintf(stderr, "%5.1f %%  ", 100.0 * done / progress->total);
    std::fprintf(stderr, "%.*f %s/s", rate < 100.0 ? 1 : 0, rate, progress->unit);
    if (progress->total > done && done > 0.0) {
        const i64 left = std::lround(seconds * (progress->total - done) / done);
        std::fprintf(stderr, "  %lld:%02lld:%02lld left", static_cast<long long>(left / 3600),
                     static_cast<long long>(left / 60 % 60), static_cast<long long>(left % 60));
    }
    std::fflush(stderr);
}

void end_progress(Progress *progress) {
    if (progress->shown) std::fputs(CLEAR_LINE, stderr);
    progress->shown = false;
}
