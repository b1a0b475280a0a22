// The body of every search thread: root moves, iterative deepening, aspiration windows; and the set-up
// of a search.
#pragma once

#include "search/thread_state.h"

// Once per search, on the calling thread, before any search thread starts.
void search_setup();
// Searches worker_states[thread_index] until it is done or stopped. Thread 0 is the master.
void root_search(i32 thread_index);
// Gives the published result a move when the search was stopped before the first root move had a
// score: the first legal move in root order, with the static evaluation as score and depth 0. No effect
// without a legal move or with a depth limit of 0. After the search, on the main thread.
void take_fallback_move();
// One search on the calling thread, from set-up to result, with search_state = `state`; sets
// SEARCH_DONE and search_run.elapsed at its end. For calibration, benchmarks and tools.
void search_on_this_thread(u16 state);
