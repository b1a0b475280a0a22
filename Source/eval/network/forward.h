// The forward pass of the network and its accumulators.
#pragma once

#include "eval/eval_state.h"

constexpr int EVAL_LIMIT = 2500;  // the network's range either way, in centipawns

// Stores the score for the side to move of the position, -EVAL_LIMIT..EVAL_LIMIT. Returns false, prints
// "error initializing NN!" and stores nothing if the buffers cannot be allocated.
//
// With state->own_rows_wanted, the first call after a load copies the first layer (4 MB at the built-in size) for this
// thread. One block read by several cores is slow where the last-level cache does not hold what the cores' own caches
// hold: a row then comes out of another core. Without memory for the copy the thread reads the shared block.
bool network_eval(EvalState *state, const Position &position, int *score);
// Puts the last pass's hidden values after activation into state->accumulator, white half first; the
// pass itself keeps only the raw sums. False before the first pass.
bool fill_accumulator(EvalState *state);
// Gives back the accumulators of a record; its next evaluation makes new ones. Null is allowed.
void free_network_buffers(EvalState *state);
// Rows of output weights that the last pass paired with the white and the black half; `stm` is the side to move.
void network_output_rows(const EvalState *state, int stm, const i16 **white_row, const i16 **black_row);
