// The one static score of a position: recognisers of trivial endings, the per-thread cache, one of
// the two evaluators, contempt. Called by the search.
#pragma once

#include "board/thread_state.h"

// Side to move of the master at the start of a search: contempt is on its side. Set by search_setup.
extern u8 root_side;

constexpr int EVAL_LIMIT = 2500;  // the network's range either way

// Score for `side` in centipawns, about -2600..2600 (hand-crafted -9000..9000). `in_check` non-zero: the side to
// move is in check, which has no static score: -2500.
int evaluate(ThreadState *thread, int side, int ply, int in_check);
