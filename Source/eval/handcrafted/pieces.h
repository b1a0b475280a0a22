// The stages of the hand-crafted evaluation for pieces, kings and threats. Called by hand_eval, in
// this order: each stage's mobility uses the attack sets that the stages before it have completed.
#pragma once

#include "eval/eval_state.h"

void evaluate_knights(const Position &position, EvalScratch &scratch);
void evaluate_bishops(const Position &position, EvalScratch &scratch);  // leaves low_attacks
void evaluate_rooks(const Position &position, EvalScratch &scratch);    // leaves mid_attacks
void evaluate_queens(const Position &position, EvalScratch &scratch);   // leaves high_attacks
void evaluate_kings(const Position &position, EvalScratch &scratch);
void evaluate_threats(const Position &position, EvalScratch &scratch);  // leaves hung_pieces
