// The static score: recognised endings, the per-thread cache, the network or the hand-crafted evaluation,
// contempt. The search asks for scores only here.
#include "eval/evaluate.h"

#include <algorithm>

#include "base/debug_check.h"
#include "base/settings.h"
#include "board/game.h"
#include "eval/check_symmetry.h"
#include "eval/endings.h"
#include "eval/handcrafted/hand_eval.h"
#include "eval/network/forward.h"

u8 contempt_side = NO_CONTEMPT;

constexpr int CACHE_FIRST_PLY = 3;     // earlier plies are always computed afresh
constexpr int CONTEMPT_FIRST_PLY = 5;  // of the game: no contempt in the first moves

// What the engine adds to its own side: the option's share grows with the material, the drift goes from
// keeping tension in the opening to letting go in the ending. Centipawns; double precision throughout.
static int contempt_term(const Position &position) {
    const i32 white = position.material[WHITE];
    const i32 black = position.material[BLACK];
    const int pieces = 1060 * (count_of(white, QUEEN) + count_of(black, QUEEN)) +
                       550 * (count_of(white, ROOK) + count_of(black, ROOK)) +
                       350 * (minors_of(white) + minors_of(black));
    const int pawns = 100 * (count_of(white, PAWN) + count_of(black, PAWN));
    const int material = std::max(pieces, 1000) + 2 * std::min(pawns, 1200) - 1000;            // 0..8520
    const double share = settings.contempt * 0.0001201923076923077 * material;                 // 1 / 8320
    const double drift = settings.contempt_drift * 0.0002403846153846154 * (material - 4160);  // 1 / 4160
    return static_cast<int>(share + drift);
}

void choose_contempt_side(const Position &position, bool benchmark) {
    const bool on = position.game->game_ply >= CONTEMPT_FIRST_PLY && !benchmark;
    contempt_side = on ? static_cast<u8>(position.stm) : NO_CONTEMPT;
}

// Recognised endings are not cached. Cached scores include the contempt at the time they were computed; the cache
// is not cleared when that changes.
int evaluate(EvalState *state, const Position &position, int side, int ply, int in_check) {
    ++state->eval_calls;
    state->eval_ply = static_cast<i16>(ply);
    if (in_check) return -EVAL_LIMIT;

    int score;
    if (recognise_ending(position, side, &score)) return score;

    EvalCacheEntry &entry =
        state->eval_cache[(position.key & (EVAL_CACHE_BANK - 1)) + (side == BLACK ? EVAL_CACHE_BANK : 0)];
    if (entry.key == position.key && ply >= CACHE_FIRST_PLY) {
        ++state->eval_cache_hits;
        return entry.score;
    }

    if (settings.use_nn) {
        if (!network_eval(state, position, &score)) score = NO_NETWORK_SCORE;
        else if constexpr (DEBUG_CHECKS) require_symmetric_network(state, position, score);
        if (has_opposite_bishops(position)) score -= score / 4;
    } else {
        score = hand_eval(state, position);
        if constexpr (DEBUG_CHECKS) require_symmetric_hand(state, position, score);
    }

    if (contempt_side != NO_CONTEMPT) {
        const int term = contempt_term(position);
        score += side == contempt_side ? term : -term;
    }

    entry.key = position.key;
    entry.score = static_cast<i16>(score);
    return score;
}
