// Evaluation symmetry, for debug builds (see base/debug_check.h): with the colours exchanged and the board turned top to
// bottom, the side to move has the same score.
#pragma once

#include "eval/eval_state.h"

// The mirrored position, with keys of its own and without castling rights, which no evaluation reads.
Position mirrored_position(const Position &position);

// The greatest difference in centipawns that the definition of the hand-crafted evaluation allows, or NO_SYMMETRY.
// `state` is that of the evaluation, whose scratch fields are read.
constexpr int NO_SYMMETRY = -1;
int hand_eval_tolerance(const EvalState *state, const Position &position);

// Whether the network's last pass with `state` has a score that its definition says is symmetric.
bool is_network_symmetric(const EvalState *state);

// Each compares `score`, just computed with `state`, with the score of the mirrored position for one position in 32, and
// ends the program if they differ. The chosen positions are the same in every run.
bool is_symmetry_sampled(const Position &position);
void require_symmetric_network(const EvalState *state, const Position &position, int score);
void require_symmetric_hand(const EvalState *state, const Position &position, int score);
