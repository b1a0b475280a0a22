// The records of the search threads.
#pragma once

#include "search/thread_state.h"

// Makes or refreshes worker_states[index] from the master record. Returns 0, or -1 if memory runs out.
int init_thread_state(int index);
// Adds up the counters of all threads with a completed depth of 2 into published.totals; seldepth is the master's.
void sum_thread_counters();
