// The frame of the hand-crafted evaluation. Each side's terms add up in one packed word; the order
// of the stages matters, since later ones read the attack sets that earlier ones leave.
#include "eval/handcrafted/hand_eval.h"

#include <algorithm>
#include <cmath>

#include "board/attacks.h"
#include "eval/handcrafted/parameters.h"
#include "eval/handcrafted/pawns.h"
#include "eval/handcrafted/pieces.h"

// A king on the edge has its zone moved one step in, so that every zone has nine squares.
static const u8 ZONE_CENTRE[8] = {1, 1, 2, 3, 4, 5, 6, 6};

// Files b..g of the ranks where an outpost counts.
constexpr Bitboard OUTPOST_RANKS[2] = {0x00007E7E7E000000ULL, 0x0000007E7E7E0000ULL};

// Middle-game share: 1 from 59 points of material on, 0 with bare kings.
static float game_phase(const Position &position) {
    const Bitboard *sets = position.pieces;
    const auto count = [sets](int type) { return popcount(sets[type] | sets[BLACK_CODE + type]); };
    const int points = 3 * (count(KNIGHT) + count(BISHOP)) + 5 * count(ROOK) + count(PAWN) + 10 * count(QUEEN);
    return static_cast<float>(std::min(1.0, 0.017 * points));
}

// What one side's king and pawns attack, the king's zone, and the frame of its piece-square tables.
template <int US>
static void set_up_side(const Position &position, EvalScratch &scratch) {
    const Square king = position.king_sq[US];
    const Square centre = ZONE_CENTRE[rank_of(king)] * 8 + ZONE_CENTRE[file_of(king)];
    scratch.king_zone[US] = king_attacks[centre] | bit(centre);
    scratch.mirror[US] = static_cast<u8>((US == WHITE ? 0 : 56) + (file_of(king) >= 4 ? 0 : 7));

    const Bitboard pawns = position.pieces[US * BLACK_CODE + PAWN];
    const Bitboard east = ahead<US>(pawns << 1 & NOT_FILE_A), west = ahead<US>(pawns >> 1 & NOT_FILE_H);
    const Bitboard by_pawns = east | west, by_king = king_attacks[king];
    scratch.attacks[US][0] = by_pawns | by_king;
    scratch.attacks[US][PAWN] = by_pawns;
    scratch.attacks[US][KING] = by_king;
    scratch.double_attacks[US] = (by_pawns & by_king) | (east & west);
    scratch.pawn_fill[US] = fill_ahead<US>(pawns);
    scratch.score[US] = 0;
}

// Everything that the stages find in place: side by side first, then what needs both.
static void set_up(const Position &position, EvalScratch &scratch) {
    set_up_side<WHITE>(position, scratch);
    set_up_side<BLACK>(position, scratch);
    scratch.phase = game_phase(position);
    scratch.free_pawns = scratch.hung_pieces = 0;

    const Bitboard white = position.pieces[PAWN], black = position.pieces[BLACK_CODE + PAWN];
    const Bitboard white_beside = beside(scratch.pawn_fill[WHITE]);
    const Bitboard black_beside = beside(scratch.pawn_fill[BLACK]);
    scratch.outpost_area[WHITE] = OUTPOST_RANKS[WHITE] & ~black_beside;
    scratch.outpost_area[BLACK] = OUTPOST_RANKS[BLACK] & ~white_beside;
    const Bitboard unopposed = (white & ~scratch.pawn_fill[BLACK]) | (black & ~scratch.pawn_fill[WHITE]);
    scratch.passers = (white & unopposed & ~black_beside) | (black & unopposed & ~white_beside);
    scratch.candidates = unopposed & ~scratch.passers;

    // Enemy pawns one step from a zone square count as attackers from the start.
    scratch.king_attack[WHITE] = 2 * popcount(scratch.king_zone[WHITE] & black >> 8);
    scratch.king_attack[BLACK] = 2 * popcount(scratch.king_zone[BLACK] & white << 8);
}

// For the trace: keeps what a stage added. `before` is the running score at the last snapshot.
static void take_snapshot(EvalScratch &scratch, TraceTerm term, i32 (&before)[2]) {
    if (!scratch.trace_on) return;
    for (int side = WHITE; side <= BLACK; ++side) {
        scratch.trace_terms[term][side] =
            static_cast<i32>(static_cast<u32>(scratch.score[side]) - static_cast<u32>(before[side]));
        before[side] = scratch.score[side];
    }
}

// True when the side's only pawns are on the edge file of `corner`, no bishop of the side covers
// that promotion corner, and the enemy king guards it: a draw in all but name.
static bool is_wrong_corner(const Bitboard *own, Square enemy_king, Square corner) {
    if (own[PAWN] & ~(FILE_A << file_of(corner))) return false;
    const Bitboard corner_colour = COLOUR_OF_A1 >> corner & 1 ? COLOUR_OF_A1 : COLOUR_OF_H1;
    return !(own[BISHOP] & corner_colour) && square_distance(enemy_king, corner) <= 1;
}

// How much of a lead of `leader` can be won in an ending of few pieces: 1 down to 0.05.
static float ending_scale(const Position &position, int leader) {
    const Bitboard *white = position.pieces, *black = position.pieces + BLACK_CODE;
    const int white_pieces =
        3 * popcount(white[KNIGHT] | white[BISHOP]) + 5 * popcount(white[ROOK]) + 9 * popcount(white[QUEEN]);
    if (white_pieces > 8) return 1.0f;
    const int black_pieces =
        3 * popcount(black[KNIGHT] | black[BISHOP]) + 5 * popcount(black[ROOK]) + 9 * popcount(black[QUEEN]);
    const int lead = white_pieces - black_pieces;
    if (black_pieces > 8 || lead > 3 || lead < -3) return 1.0f;

    const Bitboard *own = leader == WHITE ? white : black, *other = leader == WHITE ? black : white;
    if (!(own[KNIGHT] | own[ROOK]) && own[PAWN]) {
        const Square other_king = position.king_sq[leader ^ 1];
        const int corner_rank = leader == WHITE ? 56 : 0;
        if (is_wrong_corner(own, other_king, corner_rank) || is_wrong_corner(own, other_king, corner_rank + 7))
            return 0.05f;
    }

    // Opposite bishops alone halve what even pawns are worth.
    const int balance = popcount(white[PAWN]) - popcount(black[PAWN]) + lead;
    const Bitboard bishops = white[BISHOP] | black[BISHOP];
    const bool opposite_bishops = !(white[ROOK] | black[ROOK]) && popcount(white[BISHOP]) == 1 &&
                                  popcount(black[BISHOP]) == 1 && balance >= -2 && balance <= 2 &&
                                  (bishops & COLOUR_OF_A1) && (bishops & COLOUR_OF_H1);
    if (!own[PAWN]) return opposite_bishops ? 0.325f : 0.65f;
    float scale = opposite_bishops ? 0.5f : 1.0f;
    // The last pawn can be given a piece for.
    const int own_lead = leader == WHITE ? lead : -lead;
    if (popcount(own[PAWN]) == 1 && own_lead <= 0 && (other[KNIGHT] | other[BISHOP])) scale *= 0.75f;
    return scale;
}

int blend_score(i32 packed, float phase) {
    // No correction for a negative low half: the end-game value is one lower then, on purpose.
    const i16 mg = static_cast<i16>(packed);
    const i32 eg = packed >> 16;
    const float mg_part = static_cast<float>(mg) * phase;
    return static_cast<int>(
        std::fma(1.0 - static_cast<double>(phase), static_cast<double>(eg), static_cast<double>(mg_part)));
}

int hand_eval(EvalState *state, const Position &position) {
    EvalScratch &scratch = state->scratch;
    i32 before[2] = {0, 0};
    if ((position.king_sq[WHITE] | position.king_sq[BLACK]) >= NO_SQUARE) {
        const u8 trace_on = scratch.trace_on;
        scratch = EvalScratch{};
        scratch.trace_on = trace_on;
        return 0;
    }

    set_up(position, scratch);
    evaluate_pawns(state, position);
    take_snapshot(scratch, TRACE_PAWNS, before);
    evaluate_knights(position, scratch);
    take_snapshot(scratch, TRACE_KNIGHTS, before);
    evaluate_bishops(position, scratch);
    take_snapshot(scratch, TRACE_BISHOPS, before);
    evaluate_rooks(position, scratch);
    take_snapshot(scratch, TRACE_ROOKS, before);
    evaluate_queens(position, scratch);
    take_snapshot(scratch, TRACE_QUEENS, before);
    evaluate_kings(position, scratch);
    take_snapshot(scratch, TRACE_KING, before);
    evaluate_passers(position, scratch);
    evaluate_candidates(position, scratch);
    take_snapshot(scratch, TRACE_PASSERS, before);
    evaluate_threats(position, scratch);
    take_snapshot(scratch, TRACE_THREATS, before);
    add_score(scratch, position.stm, packed_times(1, stm_bonus));
    take_snapshot(scratch, TRACE_SPECIAL, before);

    const i32 difference =
        static_cast<i32>(static_cast<u32>(scratch.score[WHITE]) - static_cast<u32>(scratch.score[BLACK]));
    const int white_view = blend_score(difference, scratch.phase);
    if (white_view == 0) return 0;
    const float scale = ending_scale(position, white_view > 0 ? WHITE : BLACK);
    const int scaled = static_cast<int>(static_cast<float>(white_view) * scale);
    const int score = position.stm == WHITE ? scaled : -scaled;
    return std::clamp(score, -HAND_EVAL_LIMIT, HAND_EVAL_LIMIT);
}
