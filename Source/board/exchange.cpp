// Static exchange evaluation. Each capturer is removed from the occupancy; nothing else is tracked.
#include "board/exchange.h"

#include "board/attacks.h"

// The exchange whose first capturer is known. First lists all captures, then values them backwards: each side may stop
// at 0. The capture of a king ends the exchange.
static int exchange_from(const Position *position, int side, Square square, int victim_type, Bitboard occupancy,
                         Square attacker) {
    int victims[33];
    int depth = 0;
    while (attacker != NO_SQUARE) {
        victims[depth++] = victim_type;
        if (victim_type == KING) break;
        occupancy ^= bit(attacker);
        victim_type = type_of(position->board[attacker]);
        side ^= 1;
        attacker = attacker_of_square(position, square, side, occupancy);
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
    return exchange_from(position, side, square, victim_type, occupancy,
                         attacker_of_square(position, square, side, occupancy));
}

int see(const Position *position, int side, Square from, Square to) {
    const int victim = type_of(position->board[to]);
    if (from == NO_SQUARE) return see_on_square(position, side, to, victim, occupied(*position));
    return SEE_VALUE[victim] -
           see_on_square(position, side ^ 1, to, type_of(position->board[from]), occupied(*position) & ~bit(from));
}

bool see_ok(const Position *position, Move move) {
    const Square from = from_of(move), to = to_of(move);
    const int mover = type_of(position->board[from]), victim = type_of(position->board[to]);
    if (SEE_WORTH[mover] <= SEE_WORTH[victim]) return true;
    if (to == position->ep_square && mover == PAWN) return true;
    const int enemy = position->stm ^ 1;
    const Bitboard occupancy = occupied(*position) & ~bit(from);
    const Square attacker = attacker_of_square(position, to, enemy, occupancy);
    if (attacker == NO_SQUARE) return true;
    if (mover == KING) return SEE_VALUE[victim] - KING_CAPTURE_VALUE >= SEE_OK_MARGIN;
    return SEE_VALUE[victim] - exchange_from(position, enemy, to, mover, occupancy, attacker) >= SEE_OK_MARGIN;
}
