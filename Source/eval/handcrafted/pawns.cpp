// Pawn structure, passed pawns and candidates.
#include "eval/handcrafted/pawns.h"

#include <algorithm>

#include "board/attacks.h"
#include "board/exchange.h"
#include "eval/handcrafted/weights.h"

// Part of the cache key besides the pawns: which kings are on the queen side.
constexpr u64 WHITE_QUEENSIDE_KEY = 0x6C43EB52AULL;
constexpr u64 BLACK_QUEENSIDE_KEY = 0x3E2571CB4ULL;

static bool is_queenside(Square square) { return file_of(square) < 4; }

// One side's pawns by themselves: nothing here may depend on the place of a piece, other than the
// kings' wings, for the cache keeps the sum.
template <int US>
static u32 pawn_structure(const Position &position, const EvalScratch &scratch) {
    const Bitboard pawns = position.pieces[US * BLACK_CODE + PAWN];
    const Bitboard attacks = scratch.attacks[US][PAWN], fill = scratch.pawn_fill[US];
    const int mirror = scratch.mirror[US];
    const bool same_wing = is_queenside(position.king_sq[WHITE]) == is_queenside(position.king_sq[BLACK]);
    const i32 *squares = eval_weights.pawn_square[same_wing];
    u32 score = 0;
    for (Bitboard set = pawns; set; set &= set - 1) score += squares[lowest(set) ^ mirror];
    for (Bitboard set = pawns & attacks; set; set &= set - 1) score += eval_weights.pawn_defended[lowest(set) ^ mirror];
    // A pawn whose next square is guarded by a pawn has a neighbour on its rank.
    for (Bitboard set = pawns & ahead<US ^ 1>(attacks); set; set &= set - 1)
        score += eval_weights.pawn_neighbour[lowest(set) ^ mirror];

    const Bitboard fill_beside = beside(fill);
    const Bitboard isolated = pawns & ~(fill_beside | fill_ahead<US ^ 1>(fill_beside));
    const Bitboard weak = pawns & ~isolated & ~fill_beside & ~beside(pawns);
    score += packed_times(popcount(isolated), pawn_isolated);
    score += packed_times(popcount(weak), pawn_weak);
    score += packed_times(popcount(pawns & fill), pawn_doubled);  // the front pawn of a pair pays
    return score;
}

void evaluate_pawns(EvalState *state, const Position &position) {
    EvalScratch &scratch = state->scratch;
    u64 key = position.pawn_key;
    if (is_queenside(position.king_sq[WHITE])) key ^= WHITE_QUEENSIDE_KEY;
    if (is_queenside(position.king_sq[BLACK])) key ^= BLACK_QUEENSIDE_KEY;
    PawnCacheEntry &entry = state->pawn_cache[key & (PAWN_CACHE_SIZE - 1)];
    ++state->pawn_probes;
    if (entry.key != key || state->eval_ply < 2) {
        entry.white = static_cast<i32>(pawn_structure<WHITE>(position, scratch));
        entry.black = static_cast<i32>(pawn_structure<BLACK>(position, scratch));
        entry.key = key;
    } else {
        ++state->pawn_hits;
    }

    const Bitboard all = occupied(position);
    const int white_blocked = popcount(position.pieces[PAWN] << 8 & all);
    const int black_blocked = popcount(position.pieces[BLACK_CODE + PAWN] >> 8 & all);
    add_score(scratch, WHITE, static_cast<u32>(entry.white) + packed_times(white_blocked, pawn_blocked));
    add_score(scratch, BLACK, static_cast<u32>(entry.black) + packed_times(black_blocked, pawn_blocked));
}

// True when a pawn of `US` that goes from `from` to the empty square `to` would be lost there. Without
// an attacker of either square there is nothing to exchange: only a slider that looks through the
// pawn's old square can reach `to` without attacking it now.
template <int US>
static bool is_push_losing(const Position &position, const EvalScratch &scratch, Square from, Square to) {
    if (!(scratch.attacks[US ^ 1][0] & (bit(from) | bit(to)))) return false;
    return see(&position, US, from, to) != 0;
}

// Passed pawns of one side: how far, how free, how near the kings.
template <int US>
static u32 passed_pawns(const Position &position, EvalScratch &scratch) {
    constexpr int THEM = US ^ 1, STEP = PAWN_STEP[US];
    // A pawn on its last rank, which only a made-up board can have, has nowhere to go.
    constexpr Bitboard HAS_RANK_AHEAD = US == WHITE ? ~(RANK_1 << 56) : ~RANK_1;
    const Bitboard pawns = position.pieces[PAWN] | position.pieces[BLACK_CODE + PAWN];
    const Bitboard enemies = position.pieces[THEM * BLACK_CODE];
    const Bitboard contested =
        (scratch.attacks[THEM][0] | enemies) & (~scratch.attacks[US][0] | scratch.double_attacks[THEM]);
    const Bitboard *rays = US == WHITE ? ray_north : ray_south;
    u32 score = 0;
    Bitboard set = scratch.passers & position.pieces[US * BLACK_CODE + PAWN] & HAS_RANK_AHEAD;
    while (set) {
        const Square square = pop_lowest(set);
        const Bitboard line = rays[square];
        if (line & pawns) continue;  // of doubled passers only the front one scores
        const int rank = relative_rank(US, square);
        // A pawn on its start rank looks at where it can land.
        Square stop = square + STEP;
        if (rank == 1 && !position.board[stop]) stop += STEP;

        PasserState state = PASSER_BLOCKED;
        if (!position.board[stop] && !is_push_losing<US>(position, scratch, square, stop)) {
            if (line & (scratch.low_attacks[THEM] | contested)) {
                state = PASSER_MOBILE;
            } else {
                state = PASSER_FREE;
                scratch.free_pawns |= bit(square);
            }
        }
        score += eval_weights.passer[state][rank];

        // The kings' distances are taken to the square beyond, while there is one.
        const Square target = rank < 6 ? stop + STEP : stop;
        const int own_distance = std::min(square_distance(position.king_sq[US], target), 6);
        const int enemy_distance = std::min(square_distance(position.king_sq[THEM], target), 6);
        score += eval_weights.passer_own_king[rank][own_distance];
        score += eval_weights.passer_enemy_king[rank][enemy_distance];
        if (scratch.attacks[US][PAWN] & bit(stop)) score += eval_weights.passer_connected[rank];
    }
    return score;
}

void evaluate_passers(const Position &position, EvalScratch &scratch) {
    if (!scratch.passers) return;
    add_score(scratch, WHITE, passed_pawns<WHITE>(position, scratch));
    add_score(scratch, BLACK, passed_pawns<BLACK>(position, scratch));
}

// Pawns on a half-open file that their neighbours can help past the enemy's guards.
template <int US>
static u32 candidate_pawns(const Position &position, const EvalScratch &scratch) {
    constexpr int THEM = US ^ 1;
    constexpr Bitboard RANKS_FROM_4 = US == WHITE ? 0xFFFFFFFFFF000000ULL : 0x000000FFFFFFFFFFULL;
    const Bitboard pawns = position.pieces[US * BLACK_CODE + PAWN];
    const Bitboard all = occupied(position);
    u32 score = 0;
    Bitboard set = scratch.candidates & pawns & RANKS_FROM_4;
    while (set) {
        const Square square = pop_lowest(set);
        const Bitboard line = (US == WHITE ? ray_north : ray_south)[square];
        if (line & all) continue;
        const int supporters = popcount(beside(bit(square)) & pawns);
        const int opposers = popcount(scratch.attacks[THEM][0] & line) + ((scratch.double_attacks[THEM] & line) != 0);
        if (opposers > supporters) continue;
        const Square seventh = (US == WHITE ? 48 : 8) + file_of(square);
        const int distance = std::min(square_distance(position.king_sq[THEM], seventh), 5);
        score += eval_weights.candidate[relative_rank(US, square)][distance];
    }
    return score;
}

void evaluate_candidates(const Position &position, EvalScratch &scratch) {
    if (!scratch.candidates) return;
    add_score(scratch, WHITE, candidate_pawns<WHITE>(position, scratch));
    add_score(scratch, BLACK, candidate_pawns<BLACK>(position, scratch));
}
