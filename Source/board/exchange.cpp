// Static exchange evaluation. Each capturer is removed from the occupancy; nothing else is tracked.
#include "board/exchange.h"

#include "board/attacks.h"

// Pieces of both sides that attack the square.
[[gnu::always_inline]] static inline Bitboard all_attackers(const Position *position, Square square,
                                                            Bitboard occupancy) {
    const Bitboard *white = position->pieces, *black = position->pieces + BLACK_CODE;
    const Bitboard queens = white[QUEEN] | black[QUEEN];
    return ((white[PAWN] & pawn_attacks[BLACK][square]) | (black[PAWN] & pawn_attacks[WHITE][square]) |
            ((white[KNIGHT] | black[KNIGHT]) & knight_attacks[square]) |
            ((white[KING] | black[KING]) & king_attacks[square]) |
            ((white[BISHOP] | black[BISHOP] | queens) & bishop_attacks(square, occupancy)) |
            ((white[ROOK] | black[ROOK] | queens) & rook_attacks(square, occupancy))) &
           occupancy;
}

// The exchange that `side` begins with one of `attackers`, the pieces of both sides that can take part. First lists all captures, then values them
// backwards: each side may stop at 0. The capture of a king ends the exchange.
static int exchange_by(const Position *position, int side, Square square, int victim_type, Bitboard occupancy,
                       Bitboard attackers) {
    const Bitboard *white = position->pieces, *black = position->pieces + BLACK_CODE;
    const Bitboard diagonal = white[BISHOP] | black[BISHOP] | white[QUEEN] | black[QUEEN];
    const Bitboard straight = white[ROOK] | black[ROOK] | white[QUEEN] | black[QUEEN];
    int victims[33];
    int depth = 0;
    for (;;) {
        const Bitboard *own = position->pieces + side * BLACK_CODE;
        Bitboard takers = attackers & own[0];
        if (!takers) break;
        victims[depth++] = victim_type;
        if (victim_type == KING) break;
        // The least valuable attacker takes and becomes the next victim.
        if (takers & (takers - 1)) {
            int type = PAWN;
            while (!(takers & own[type])) ++type;
            takers &= own[type];
        }
        victim_type = type_of(position->board[lowest(takers)]);
        occupancy ^= bit(lowest(takers));
        // Sliders that were in line with it come in.
        if (victim_type != KNIGHT)
            attackers |= (bishop_attacks(square, occupancy) & diagonal) | (rook_attacks(square, occupancy) & straight);
        attackers &= occupancy;
        side ^= 1;
    }
    int value = 0;
    while (depth > 0) {
        const int victim = victims[--depth];
        const int gain = victim == KING ? KING_CAPTURE_VALUE : SEE_VALUE[victim] - value;
        value = gain > 0 ? gain : 0;
    }
    return value;
}

int see_on_square(const Position *position, int side, Square square, int victim_type, Bitboard occupancy) {
    const Bitboard attackers = all_attackers(position, square, occupancy);
    if (!(attackers & position->pieces[side * BLACK_CODE])) return 0;
    return exchange_by(position, side, square, victim_type, occupancy, attackers);
}

int see(const Position *position, int side, Square from, Square to) {
    const int victim = type_of(position->board[to]);
    if (from == NO_SQUARE) return see_on_square(position, side, to, victim, occupied(*position));
    return SEE_VALUE[victim] -
           see_on_square(position, side ^ 1, to, type_of(position->board[from]), occupied(*position) & ~bit(from));
}

bool see_reaches(const Position *position, int side, Square from, Square to, int limit) {
    const Bitboard *own = position->pieces + side * BLACK_CODE, *enemy = position->pieces + (side ^ 1) * BLACK_CODE;
    const int mover = type_of(position->board[from]), victim = type_of(position->board[to]);
    const int even = SEE_VALUE[victim] - SEE_VALUE[mover];
    // If a pawn takes the mover, no more than that pawn comes back.
    if (even + SEE_VALUE[PAWN] < limit && enemy[PAWN] & pawn_attacks[side][to]) return false;
    const Bitboard occupancy = (own[0] | enemy[0]) & ~bit(from);
    const Bitboard attackers = all_attackers(position, to, occupancy);
    if (!(attackers & enemy[0])) return SEE_VALUE[victim] >= limit;
    return SEE_VALUE[victim] - exchange_by(position, side ^ 1, to, mover, occupancy, attackers) >= limit;
}

bool see_ok(const Position *position, Move move) {
    const Square from = from_of(move), to = to_of(move);
    const int mover = type_of(position->board[from]), victim = type_of(position->board[to]);
    if (SEE_WORTH[mover] <= SEE_WORTH[victim]) return true;
    if (to == position->ep_square && mover == PAWN) return true;
    return see_reaches(position, position->stm, from, to, SEE_OK_MARGIN);
}
