// The benchmark of 20 positions (-bench, -pbench, bench).
#pragma once

#include "platform/integers.h"

constexpr int BENCH_COUNT = 20;
extern const char *const BENCH_POSITIONS[BENCH_COUNT];  // FEN texts, in the order of the search

// `tarn bench` without a depth. The node count of this depth with the built-in network is the program's signature: it
// changes with every change of the search or the network, and with nothing else.
constexpr int BENCH_SIGNATURE_DEPTH = 13;
constexpr int BENCH_HIGHEST_DEPTH = 50;  // a limit above this counts as none

struct BenchTotals {
    u64 nodes;
    double seconds;
    bool complete;  // false: ended before the last position
    bool failed;    // because a search could not be started
};

// Searches all positions under the limits of the command line (depth 17 without one), each from an
// empty hash, and prints times, nodes and speed. threaded as in run_search. Sets driver.quit.
BenchTotals run_bench(bool threaded);
// The last line of `tarn bench`: "N nodes M nps".
void print_bench_summary(const BenchTotals &totals);
