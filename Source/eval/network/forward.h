// The forward pass of the network and its accumulators.
#pragma once

#include "board/thread_state.h"

constexpr int EVAL_LIMIT = 2500;  // the network's range either way, in centipawns

// Stores the score for the side to move of the thread's position, -EVAL_LIMIT..EVAL_LIMIT. Returns false, prints
// "error initializing NN!" and stores nothing if the thread's buffers cannot be allocated.
bool network_eval(ThreadState *thread, int *score);
// Puts the last pass's hidden values after activation into thread->accumulator, white half first; the
// pass itself keeps only the raw sums. False before the first pass.
bool fill_accumulator(ThreadState *thread);
// Gives back the accumulators of a record; its next evaluation makes new ones. Null is allowed.
void free_network_buffers(ThreadState *thread);
// Rows of output weights that the last pass paired with the white and the black half.
void network_output_rows(const ThreadState *thread, const i16 **white_row, const i16 **black_row);
