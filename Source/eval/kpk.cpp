// King and pawn against king, solved backwards from the promotions. Filled once at start, read by
// evaluate. The weak king's squares are handled 64 at a time, as one set for each place of the pawn and
// the strong king.
#include "eval/kpk.h"

#include <initializer_list>

#include "board/attacks.h"

u8 kpk_table[2 * 32 * 64 * 64];

constexpr u8 DRAWN = 1;
constexpr u8 WON = 2;
constexpr int PAWN_PLACES = 32;  // files a..d, all ranks

// Weak king squares from which the strong side is known to win, by who is to move.
struct WonSets {
    Bitboard strong[PAWN_PLACES][64];
    Bitboard weak[PAWN_PLACES][64];
};

static Square pawn_square(int place) { return place / 4 * 8 + place % 4; }

// All squares one king step away from a square of the set, which can include squares of the set itself.
static Bitboard spread(Bitboard squares) {
    const Bitboard sideways = (squares & NOT_FILE_H) << 1 | (squares & NOT_FILE_A) >> 1;
    const Bitboard row = squares | sideways;
    return sideways | row << 8 | row >> 8;
}

static Bitboard guarded_by(Square king) { return king_attacks[king] | bit(king); }

// Squares on which the weak king may be when it is its turn, in check or not.
static Bitboard weak_squares(Square pawn, Square king) { return ~(guarded_by(king) | bit(pawn)); }

// The pawn has just promoted on `square`: the weak king squares, it to move, from which the new piece
// can't be taken and the king isn't stalemated. Where a queen would stalemate, a rook may win, so both are tried.
// Lines pass through the weak king, which can't step back along them, and end at the strong one.
static Bitboard won_after_promotion(Square square, Square king) {
    const Bitboard guarded = guarded_by(king);
    const Bitboard takers = guarded & bit(square) ? 0 : king_attacks[square];
    const Bitboard lines = rook_attacks(square, bit(king));
    const Bitboard diagonals = bishop_attacks(square, bit(king));
    Bitboard won = 0;
    for (const Bitboard attacked : {lines, lines | diagonals})
        for (Bitboard rest = weak_squares(square, king) & ~takers; rest;) {
            const Square weak = pop_lowest(rest);
            const bool has_move = (king_attacks[weak] & ~attacked & ~guarded & ~bit(square)) != 0;
            if (has_move || (attacked & bit(weak))) won |= bit(weak);
        }
    return won;
}

// Strong side to move: some move leads to a won position with the weak side to move.
static Bitboard solve_strong(const WonSets &won, int place, Square king) {
    const Square pawn = pawn_square(place);
    Bitboard result = 0;
    for (Bitboard steps = king_attacks[king] & ~bit(pawn); steps;) result |= won.weak[place][pop_lowest(steps)];
    const Square step = pawn + 8;
    if (step != king) {
        result |= won.weak[place + 4][king];
        const Square double_step = pawn + 16;
        if (rank_of(pawn) == 1 && double_step != king) result |= won.weak[place + 8][king] & ~bit(step);
    }
    return result & weak_squares(pawn, king) & ~pawn_attacks[WHITE][pawn];
}

// Weak side to move: it has a move, and each leads to a won position with the strong side to move. Taking
// the pawn, where it isn't guarded, is the way out; no move at all is stalemate, as a pawn never mates.
static Bitboard solve_weak(const WonSets &won, int place, Square king) {
    const Square pawn = pawn_square(place);
    const Bitboard reachable = ~guarded_by(king) & ~pawn_attacks[WHITE][pawn];
    const Bitboard escapes = reachable & ~won.strong[place][king];
    return weak_squares(pawn, king) & spread(reachable) & ~spread(escapes);
}

// Needs the attack tables. Sweeps over all pawn places until nothing new is won, then writes the cells out.
void init_kpk_table() {
    static WonSets won;
    won = WonSets{};
    for (int place = 28; place < PAWN_PLACES; ++place)
        for (Square king = 0; king < 64; ++king)
            if (king != pawn_square(place)) won.weak[place][king] = won_after_promotion(pawn_square(place), king);

    for (bool changed = true; changed;) {
        changed = false;
        for (int place = 4; place < 28; ++place) {
            for (Square king = 0; king < 64; ++king) {
                if (king == pawn_square(place)) continue;
                const Bitboard strong = solve_strong(won, place, king);
                changed |= strong != won.strong[place][king];
                won.strong[place][king] = strong;
            }
            for (Square king = 0; king < 64; ++king) {
                if (king == pawn_square(place)) continue;
                const Bitboard weak = solve_weak(won, place, king);
                changed |= weak != won.weak[place][king];
                won.weak[place][king] = weak;
            }
        }
    }

    for (int place = 0; place < PAWN_PLACES; ++place)
        for (Square king = 0; king < 64; ++king)
            for (Square weak = 0; weak < 64; ++weak) {
                const int cell = place << 12 | king << 6 | weak;
                kpk_table[cell] = won.strong[place][king] & bit(weak) ? WON : DRAWN;
                kpk_table[1 << 17 | cell] = won.weak[place][king] & bit(weak) ? WON : DRAWN;
            }
}
