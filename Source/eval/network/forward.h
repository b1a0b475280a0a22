// The forward pass of the network and its accumulators.
#pragma once

#include "board/thread_state.h"

// Score for the side to move of the thread's position, -2500..2500; -10001 when a buffer can't be had.
int network_eval(ThreadState *thread);
// Puts the last pass's hidden values after activation into thread->accumulator, white half first; the
// pass itself keeps only the raw sums. False before the first pass.
bool fill_accumulator(ThreadState *thread);
// Gives back the accumulators of a record; its next evaluation makes new ones. Null is allowed.
void free_network_buffers(ThreadState *thread);
// Rows of output weights that the last pass paired with the white and the black half.
void network_output_rows(const ThreadState *thread, const i16 **white_row, const i16 **black_row);
