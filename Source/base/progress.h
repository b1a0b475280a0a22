// Progress of a long tool, on standard error and only when that is a terminal: share done, rate and
// time left, in one line that is overwritten.
#pragma once

#include "platform/integers.h"

struct Progress {
    bool shown;        // standard error is a terminal
    const char *unit;  // what is counted, in the plural: "positions"
    double total;      // size of the whole work in any measure, 0 if unknown
    double start;      // clock_seconds at the start
    double next;       // clock_seconds of the next line
};

void begin_progress(Progress *progress, const char *unit, double total);
// `done` in the measure of `total`; `count` units were finished so far. Cheap: may be called for
// every line of a file.
void show_progress(Progress *progress, double done, i64 count);
// Clears the line.
void end_progress(Progress *progress);
