// The benchmark of 20 positions (-bench, -pbench).
#pragma once

constexpr int BENCH_COUNT = 20;
extern const char *const BENCH_POSITIONS[BENCH_COUNT];  // FEN texts, in the order of the search

// Searches all positions under the limits of the command line (depth 17 without one), each from an
// empty hash, and prints times, nodes and speed. threaded as in run_search. Sets quit_flag.
void run_bench(int threaded);
