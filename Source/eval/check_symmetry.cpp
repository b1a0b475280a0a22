// The mirrored evaluation has a state of its own, shared by all threads, so that the search's caches stay as they are.
#include "eval/check_symmetry.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <new>

#include "base/debug_check.h"
#include "board/attacks.h"
#include "board/fen.h"
#include "eval/handcrafted/hand_eval.h"
#include "eval/network/file.h"
#include "eval/network/forward.h"
#include "platform/threads.h"

static EvalState *mirror_state;  // made on first use, guarded by mirror_lock
static SpinLock mirror_lock;

Position mirrored_position(const Position &position) {
    Position mirrored = position;
    std::memset(mirrored.board, 0, sizeof mirrored.board);
    for (Square square = 0; square < 64; ++square)
        if (const int code = position.board[square]) mirrored.board[square ^ 56] = static_cast<u8>(code ^ BLACK_CODE);
    for (int code = 0; code < 16; ++code) mirrored.pieces[code] = __builtin_bswap64(position.pieces[code ^ BLACK_CODE]);
    for (int side = WHITE; side <= BLACK; ++side) {
        const Square king = position.king_sq[side ^ 1];
        mirrored.king_sq[side] = static_cast<u8>(king < 64 ? king ^ 56 : king);
        mirrored.material[side] = position.material[side ^ 1];
    }
    mirrored.stm = position.stm ^ 1;
    if (position.ep_square < 64) mirrored.ep_square = position.ep_square ^ 56;
    mirrored.castling = 0;
    set_castling_from_text(&mirrored, "");
    mirrored.touched = 0;
    compute_keys(&mirrored);
    return mirrored;
}

// The exchange on `square` may depend on which of two like pieces captures first: the lowest square does, in either
// position. Pieces that could attack through others count.
static bool has_like_attackers(const Position &position, Square square) {
    for (int side = WHITE; side <= BLACK; ++side) {
        const Bitboard *sets = position.pieces + side * BLACK_CODE;
        for (const Bitboard attackers : {sets[PAWN] & pawn_attacks[side ^ 1][square],
                                         sets[BISHOP] & bishop_mask[square], sets[ROOK] & rook_mask[square]})
            if (popcount(attackers) > 1) return true;
    }
    return false;
}

// No claim where the order of squares decides: two queens of a side (their batteries, and which of them can be pinned),
// and like attackers of a square that a passed pawn steps onto. The end-game half of a packed score is one lower when
// the middle-game half is negative, so that endings may differ by one centipawn.
int hand_eval_tolerance(const EvalState *state, const Position &position) {
    if (popcount(position.pieces[QUEEN]) > 1 || popcount(position.pieces[BLACK_CODE + QUEEN]) > 1) return NO_SYMMETRY;
    const EvalScratch &scratch = state->scratch;
    for (Bitboard passers = scratch.passers; passers;) {
        const Square from = pop_lowest(passers);
        const int side = colour_of(position.board[from]);
        for (Square to = from + PAWN_STEP[side], steps = 0; steps < 2 && to >= 0 && to < 64; ++steps) {
            if (has_like_attackers(position, to)) return NO_SYMMETRY;
            to += PAWN_STEP[side];
        }
    }
    const u32 difference = static_cast<u32>(scratch.score[WHITE]) - static_cast<u32>(scratch.score[BLACK]);
    return scratch.phase >= 1.0f || !(difference & 0xFFFF) ? 0 : 1;
}

bool is_symmetry_sampled(const Position &position) { return (position.key >> 40 & 31) == 0; }

static void end_on_difference(const Position &position, const char *where, int score, int mirrored_score) {
    char fen[FEN_SIZE], detail[FEN_SIZE + 40];
    position_to_fen(&position, fen, 1);
    std::snprintf(detail, sizeof detail, "%d and %d in %s", score, mirrored_score, fen);
    end_on_fault(where, "the mirrored position has another score", detail);
}

// The state for a mirrored evaluation; null if memory runs out. Ply 0 makes it compute everything afresh.
static EvalState *take_mirror_state() {
    lock_spin(&mirror_lock);
    if (!mirror_state) mirror_state = new (std::nothrow) EvalState();
    if (mirror_state) mirror_state->eval_ply = 0;
    return mirror_state;
}

// A network file may give the two perspectives biases of their own, and sums that saturate depend on the order of the
// additions.
bool is_network_symmetric(const EvalState *state) {
    const int half = network.hidden_size / 2;
    return state->acc_cache->exact && !std::memcmp(network.hidden_biases, network.hidden_biases + half,
                                                   static_cast<std::size_t>(half) * sizeof(i16));
}

void require_symmetric_network(const EvalState *state, const Position &position, int score) {
    if (!is_symmetry_sampled(position) || !is_network_symmetric(state)) return;
    const Position mirrored = mirrored_position(position);
    int mirrored_score = score;
    if (EvalState *mirror = take_mirror_state())
        if (!network_eval(mirror, mirrored, &mirrored_score) || !mirror->acc_cache->exact) mirrored_score = score;
    unlock_spin(&mirror_lock);
    if (mirrored_score != score) end_on_difference(position, "network_eval", score, mirrored_score);
}

void require_symmetric_hand(const EvalState *state, const Position &position, int score) {
    const int tolerance = is_symmetry_sampled(position) ? hand_eval_tolerance(state, position) : NO_SYMMETRY;
    if (tolerance == NO_SYMMETRY) return;
    const Position mirrored = mirrored_position(position);
    EvalState *mirror = take_mirror_state();
    const int mirrored_score = mirror ? hand_eval(mirror, mirrored) : score;
    unlock_spin(&mirror_lock);
    if (mirrored_score > score + tolerance || mirrored_score < score - tolerance)
        end_on_difference(position, "hand_eval", score, mirrored_score);
}
