// Perft: counts move paths, as a test of move generation, legality, make and unmake.
#pragma once

#include "search/thread_state.h"

constexpr int PERFT_MAX_DEPTH = 20;

// Number of legal move paths of `depth` plies (1 or more) from the master's position, which must have
// one king a side. The position is unchanged at the end; the owner's perft_count holds the number too.
u64 count_move_paths(Position *position, int depth);
// The console's `perft`: depth is clamped to 1..PERFT_MAX_DEPTH; prints the count, time and rate.
void run_perft(int depth);
