// Search threads: their records, their start and their end.
#pragma once

#include "board/thread_state.h"

// Makes or refreshes worker_states[index] from the master: 0, or -1 when memory runs out.
int init_thread_state(int index);
// Starts the master thread; false when it can't be made. Waits until its first iteration (or its
// end), then starts the workers.
bool start_search_threads();
// Raises stop_search and joins the workers.
void join_search_threads();
// Adds up the counters of all threads with a completed depth of 2 into search_totals.
void sum_thread_counters();
