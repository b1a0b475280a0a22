// Search threads: their records, their start and their end.
#pragma once

#include "search/thread_state.h"

// Makes or refreshes worker_states[index] from the master: 0, or -1 when memory runs out.
int init_thread_state(int index);
// Starts the master thread, which sets SEARCH_DONE when it is finished; false when it can't be made.
bool start_master_thread();
// Starts the other search threads. Called once the master is in its first iteration: by then its root
// tests, the tablebases among them, are final. A thread that can't be made ends the program with -1.
void start_worker_threads();
// Raises search_run.stop and joins the workers that were started.
void join_search_threads();
// Adds up the counters of all threads with a completed depth of 2 into published.totals.
void sum_thread_counters();
