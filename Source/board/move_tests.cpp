// Legality and classification of moves.
#include "board/move_tests.h"

#include "board/attacks.h"

// No square of the king's path may be attacked, its own square included. The rook's departure can expose the king:
// the goal must also be safe with the rook moved.
static bool is_castling_legal(const Position *position, int side, Square from, Square to, Move flags) {
    const int step = to < from ? -1 : 1, enemy = side ^ 1;
    for (Square square = from;; square += step) {
        if (is_square_attacked(position, square, enemy)) return false;
        if (square == to) break;
    }
    const bool kingside = (flags & CASTLE_KINGSIDE) != 0;
    const Square rook = position->castle_rook[2 * side + !kingside];
    if (rook == NO_SQUARE) return true;
    const Bitboard occupancy =
        ((occupied(*position) & ~(bit(from) | bit(rook))) | bit(to)) | bit(kingside ? to - 1 : to + 1);
    return !attackers_of(position, to, enemy, occupancy);
}

// Tests for attacks on the board after the move, which only occupancy and piece sets represent: the from-square is
// empty (so sliders see through it) and a captured piece attacks nothing.
bool is_move_legal(Position *position, int side, Move move) {
    if (!move) return false;
    const Square from = from_of(move), to = to_of(move);
    const int type = type_of(position->board[from]), captured = position->board[to], enemy = side ^ 1;
    if (type == KING && flags_of(move)) return is_castling_legal(position, side, from, to, flags_of(move));
    const Square target = type == KING ? to : position->king_sq[side];
    Bitboard occupancy = (occupied(*position) ^ bit(from)) | bit(to);

    Bitboard victim_bit = 0;
    Bitboard *victim_set = nullptr;
    if (type == PAWN && to == position->ep_square && !captured && file_of(from) != file_of(to)) {
        victim_bit = bit(to - PAWN_STEP[side]);
        victim_set = &position->pieces[piece_code(enemy, PAWN)];
        occupancy &= ~victim_bit;
    } else if (captured) {
        victim_bit = bit(to);
        victim_set = &position->pieces[captured];
    }
    if (!victim_set) return !attackers_of(position, target, enemy, occupancy);
    *victim_set ^= victim_bit;
    const bool legal = !attackers_of(position, target, enemy, occupancy);
    *victim_set ^= victim_bit;
    return legal;
}

bool has_legal_move(Position *position) {
    MoveEntry list[MOVE_LIST_SIZE];
    generate_all(position, list);
    for (const MoveEntry *entry = list; entry->move != END_OF_LIST; ++entry)
        if (is_move_legal(position, position->stm, entry->move)) return true;
    return false;
}

bool is_generated_legal_move(Position *position, Move move) {
    MoveEntry list[MOVE_LIST_SIZE];
    generate_all(position, list);
    for (const MoveEntry *entry = list; entry->move != END_OF_LIST; ++entry)
        if (entry->move == move) return is_move_legal(position, position->stm, move);
    return false;
}

bool attacks_king_after(Position *position, int side, int type, Square from, Square to) {
    Bitboard *set = &position->pieces[piece_code(side, type)];
    const Bitboard before = *set;
    *set |= bit(to);
    const Bitboard occupancy = (occupied(*position) & ~bit(from)) | bit(to);
    const bool attacked = attackers_of(position, position->king_sq[side ^ 1], side, occupancy) != 0;
    *set = before;
    return attacked;
}

// All bits but MOVE_CHECK. `type` is the mover's type and becomes the promoted one.
static int classify_by_squares(const Position *position, int side, const MoveEntry *entry, int *type) {
    const Square to = to_of(entry->move);
    int result = entry->captured ? MOVE_CAPTURE : 0;
    if (*type != PAWN) return result;
    if (to == position->ep_square) result = MOVE_CAPTURE;
    const int rank = relative_rank(side, to);
    if (rank == 7) {
        *type = promotion_type(flags_of(entry->move));
        return result | MOVE_PROMOTION;
    }
    if (rank == 6) return result | MOVE_SEVENTH;
    if (rank == 5 && !position->board[to]) return result | MOVE_SIXTH;
    return result;
}

u8 classify_move(Position *position, int side, const MoveEntry *entry) {
    const Square from = from_of(entry->move), to = to_of(entry->move);
    int type = type_of(entry->piece);
    int result = classify_by_squares(position, side, entry, &type);
    if (from != to && attacks_king_after(position, side, type, from, to)) result |= MOVE_CHECK;
    return static_cast<u8>(result);
}

// Pieces of `side` that are alone between `king` and a slider of `attacker`.
static Bitboard king_blockers(const Position *position, Square king, int attacker, int side) {
    const Bitboard *set = position->pieces + attacker * BLACK_CODE;
    const Bitboard sliders =
        ((set[BISHOP] | set[QUEEN]) & bishop_mask[king]) | ((set[ROOK] | set[QUEEN]) & rook_mask[king]);
    return lone_blockers(sliders, king, occupied(*position)) & position->pieces[side * BLACK_CODE];
}

void prepare_move_tests(const Position *position, int side, bool in_check, MoveTests *tests) {
    const Square king = position->king_sq[side ^ 1];
    const Bitboard occupancy = occupied(*position);
    tests->ready = true;
    tests->pinned = in_check ? ~0ULL : king_blockers(position, position->king_sq[side], side ^ 1, side);
    tests->discoverers = king_blockers(position, king, side, side);
    tests->checks[PAWN] = pawn_attacks[side ^ 1][king];
    tests->checks[KNIGHT] = knight_attacks[king];
    tests->checks[BISHOP] = bishop_attacks(king, occupancy);
    tests->checks[ROOK] = rook_attacks(king, occupancy);
    tests->checks[QUEEN] = tests->checks[BISHOP] | tests->checks[ROOK];
    tests->checks[KING] = king_attacks[king];
}

// A piece that is not pinned can move anywhere. King moves, en passant and answers to check get the full test.
bool is_move_legal_with(const MoveTests *tests, Position *position, int side, Move move) {
    if (tests->ready && move) {
        const Square from = from_of(move);
        const int type = type_of(position->board[from]);
        if (!(tests->pinned & bit(from)) && type != KING && (type != PAWN || to_of(move) != position->ep_square))
            return true;
    }
    return is_move_legal(position, side, move);
}

// Promotions, en passant and possible discoverers need the board after the move.
bool attacks_king_with(const MoveTests *tests, Position *position, int side, int type, const MoveEntry *entry) {
    const Square from = from_of(entry->move), to = to_of(entry->move);
    const bool plain = type == type_of(entry->piece) && !(tests->discoverers & bit(from)) &&
                       (type != PAWN || to != position->ep_square);
    if (tests->ready && plain) return (tests->checks[type] & bit(to)) != 0;
    return attacks_king_after(position, side, type, from, to);
}

u8 classify_move_with(const MoveTests *tests, Position *position, int side, const MoveEntry *entry) {
    int type = type_of(entry->piece);
    int result = classify_by_squares(position, side, entry, &type);
    if (from_of(entry->move) != to_of(entry->move) && attacks_king_with(tests, position, side, type, entry))
        result |= MOVE_CHECK;
    return static_cast<u8>(result);
}
