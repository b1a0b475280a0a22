// The hand-crafted evaluation: its frame (set-up, order of the stages, blend, ending scale). The
// stages are in pawns and pieces. Called by evaluate and by the trace.
#pragma once

#include "eval/eval_state.h"

// Rows of EvalScratch::trace_terms.
enum TraceTerm {
    TRACE_PAWNS,
    TRACE_PASSERS,
    TRACE_KNIGHTS,
    TRACE_BISHOPS,
    TRACE_ROOKS,
    TRACE_QUEENS,
    TRACE_KING,
    TRACE_THREATS,
    TRACE_SPECIAL,
};

// Far beyond any score of a real game, and below mate scores.
constexpr int HAND_EVAL_LIMIT = 9000;

// Score for the side to move in centipawns, bounded to -9000..9000. Reads eval_ply,
// writes the scratch fields and the pawn cache. A board without both kings scores 0.
int hand_eval(EvalState *state, const Position &position);
// The middle-game and end-game halves of a packed score mixed by `phase`, truncated toward zero.
int blend_score(i32 packed, float phase);
