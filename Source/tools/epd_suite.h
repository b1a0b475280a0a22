// Test suites: searching every position of an EPD file and counting how often the search agrees with
// it (-anepd), or writing out the positions after its best moves (-mkbook2).
#pragma once

#include "platform/integers.h"

enum SuiteMode { SUITE_ANALYSE, SUITE_EXPAND };

// Totals of a run.
struct SuiteTotals {
    int positions;    // searched
    int correct;      // answers among the good moves, or not the bad one
    i64 points;       // of the c0 lists
    i64 best_points;  // what the best answers would have earned
    u64 nodes;
    float time;       // seconds
    float depth;      // sum of the published depths
    float branching;  // sum of the branching factors
};

// Judges the last search's best move by the texts of an EPD line, for the master position. `bm` holds
// moves between blanks, commas, semicolons or quotes; `am` one move; `c0` pieces "move=points".
void judge_answer(const char *bm, const char *am, const char *c0, SuiteTotals *totals);
// Input settings.in_file; an empty output path means "analysis.epd". SUITE_EXPAND also writes
// "tmp_0.epd", from the lines of a MultiPV search; SUITE_ANALYSE makes that file, empty, where there is
// none. False, with a line on standard error, when something could not be read or written.
bool run_epd_suite(const char *output_path, SuiteMode mode);
