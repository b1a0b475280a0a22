// The one static score of a position: recognisers of trivial endings, the per-thread cache, one of
// the two evaluators, contempt. Called by the search.
#pragma once

#include "eval/eval_state.h"

constexpr u8 NO_CONTEMPT = 2;
// The side that contempt favours in the current search: WHITE, BLACK or NO_CONTEMPT.
extern u8 contempt_side;
// Sets contempt_side before a search from the root position. A benchmark, and the first moves of a game, have no
// contempt.
void choose_contempt_side(const Position &position, bool benchmark);

// What a search gets as a score if the network cannot be evaluated for lack of memory.
constexpr int NO_NETWORK_SCORE = -10001;

// Score of the position for `side` in centipawns, about -2600..2600 (hand-crafted -9000..9000). If `in_check`
// is not 0, the side to move is in check, and the score is -2500.
int evaluate(EvalState *state, const Position &position, int side, int ply, int in_check);
