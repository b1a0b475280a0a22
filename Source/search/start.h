// Setting a search up, running it on the calling thread, or starting and joining its threads.
#pragma once

#include "search/search_state.h"

// Prepares a search from root_thread_state. Once per search, on the calling thread, before any search thread starts.
void search_setup(const SearchLimits &limits);
// One search on the calling thread, from set-up to result, with search_state = `state`; sets SEARCH_DONE and
// search_run.elapsed at its end. For calibration, benchmarks and tools.
void search_with_limits(u16 state, const SearchLimits &limits);
// The same with the limits of the settings.
void search_on_this_thread(u16 state);
// Starts the master thread, which sets SEARCH_DONE when it is finished. Returns false if it can't be made.
bool start_master_thread();
// Starts the other search threads. Called once the master is in its first iteration: by then its root
// tests, the tablebases among them, are final. A thread that can't be made ends the program with -1.
void start_worker_threads();
// Raises search_run.stop and joins the workers that were started.
void join_search_threads();
