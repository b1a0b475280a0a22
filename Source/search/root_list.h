// The list of root moves.
#pragma once

#include "search/thread_state.h"

// Fills the list of ply 1 with the legal moves and their first order scores; each iteration replaces them by its
// results. Sets search_run.single_reply if there is only one.
void make_root_list(ThreadState *thread);
// The move with the best order score, which is tried first; 0 for an empty list.
Move first_root_move(const ThreadState *thread);
