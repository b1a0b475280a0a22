// The body of every search thread: root moves, iterative deepening, aspiration windows.
#pragma once

#include "search/thread_state.h"

// Searches worker_states[thread_index] until it is done or stopped. Thread 0 is the master.
void root_search(i32 thread_index);
// Gives the published result a move if the search was stopped before the first root move had a score: the first legal
// move in root order, with the static evaluation as score and depth 0. No effect without a legal move or with a depth
// limit of 0. After the search, on the main thread.
void take_fallback_move();
// A worker's next iteration depth, `depth` or one or two more where many threads are at it already (never with MultiPV
// or beyond the depth limit); adds noise to the order of its later root moves unless it is far ahead of the master.
int choose_worker_depth(ThreadState *thread, int depth);
