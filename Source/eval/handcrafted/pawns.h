// The pawn stages of the hand-crafted evaluation: structure with its cache, passed and candidate
// pawns; and the set shifts that all stages share. Called by hand_eval in its order.
#pragma once

#include "eval/eval_state.h"

// The set moved one rank toward the enemy of `US`.
template <int US>
constexpr Bitboard ahead(Bitboard set) {
    return US == WHITE ? set << 8 : set >> 8;
}
// All squares ahead of a set; its own squares only where another of them is behind on the file.
template <int US>
constexpr Bitboard fill_ahead(Bitboard set) {
    set = ahead<US>(set);
    set |= ahead<US>(set);
    set |= US == WHITE ? set << 16 : set >> 16;
    return set | (US == WHITE ? set << 32 : set >> 32);
}
// The neighbours on both adjacent files.
constexpr Bitboard beside(Bitboard set) { return (set >> 1 & NOT_FILE_H) | (set << 1 & NOT_FILE_A); }

// Adds to a side's running packed score.
inline void add_score(EvalScratch &scratch, int side, u32 packed) {
    scratch.score[side] = static_cast<i32>(static_cast<u32>(scratch.score[side]) + packed);
}

// Material, tables and structure of the pawns (from the cache where it has them), and blocked pawns.
void evaluate_pawns(EvalState *state, const Position &position);
// Passed and candidate pawns; after the pieces, whose attack sets they read.
void evaluate_passers(const Position &position, EvalScratch &scratch);
void evaluate_candidates(const Position &position, EvalScratch &scratch);
