// The generators, the legality test and the classification of moves.
#include "board/moves.h"

#include "board/attacks.h"

static constexpr Bitboard SEVENTH_RANK[2] = {0x00FF000000000000ULL, 0x000000000000FF00ULL};
static constexpr Bitboard SIXTH_RANK[2] = {0x0000FF0000000000ULL, 0x0000000000FF0000ULL};
static constexpr Bitboard NOT_LAST_RANKS = 0x00FFFFFFFFFFFF00ULL;
static constexpr Bitboard PUSH_TARGETS = 0x0000FFFFFFFF0000ULL;  // ranks 3 to 6
static constexpr Bitboard DOUBLE_STEP_RANK[2] = {0x00000000FF000000ULL, 0x000000FF00000000ULL};

static inline MoveEntry *add_move(MoveEntry *list, const u8 *board, Square from, Square to, Move flags = 0) {
    list->move = make_word(from, to, flags);
    list->piece = board[from];
    list->captured = board[to];
    return list + 1;
}

// One piece's moves into `targets`, lowest square first.
static inline MoveEntry *add_targets(MoveEntry *list, const u8 *board, Square from, Bitboard targets) {
    const u8 piece = board[from];
    const int from_bits = from << 8;
    while (targets) {
        const Square to = pop_lowest(targets);
        list->move = static_cast<Move>(from_bits | to);
        list->piece = piece;
        list->captured = board[to];
        ++list;
    }
    return list;
}

// Pawn moves by target, all with the same step.
static inline MoveEntry *add_pawn_moves(MoveEntry *list, const u8 *board, Bitboard targets, int step) {
    while (targets) {
        const Square to = pop_lowest(targets);
        list = add_move(list, board, to - step, to);
    }
    return list;
}

MoveEntry *generate_piece_moves(const Position *position, int side, int type, Bitboard targets, Bitboard occupancy,
                                MoveEntry *list) {
    for (Bitboard pieces = position->pieces[piece_code(side, type)]; pieces;) {
        const Square from = pop_lowest(pieces);
        const Bitboard reach = type == KNIGHT   ? knight_attacks[from]
                               : type == BISHOP ? bishop_attacks(from, occupancy)
                                                : rook_attacks(from, occupancy);
        list = add_targets(list, position->board, from, reach & targets);
    }
    return list;
}

MoveEntry *generate_queen_moves(const Position *position, int side, Bitboard targets, Bitboard occupancy,
                                MoveEntry *list) {
    for (Bitboard queens = position->pieces[piece_code(side, QUEEN)]; queens;) {
        const Square from = pop_lowest(queens);
        const Bitboard reach = bishop_attacks(from, occupancy) | rook_attacks(from, occupancy);
        list = add_targets(list, position->board, from, reach & targets);
    }
    return list;
}

// Captures, in the order pawns (toward the lower file of white's view first), knights, bishops,
// rooks, queens, king. En passant stays a target when only one square is asked for: it may be the
// way to take a checking pawn.
MoveEntry *generate_captures(const Position *position, int side, MoveEntry *list, Square target) {
    const Bitboard enemy = position->pieces[(side ^ 1) * BLACK_CODE];
    const Bitboard targets = target == NO_SQUARE ? enemy : enemy & bit(target);
    Bitboard pawn_targets = targets & NOT_LAST_RANKS;
    if (position->ep_square != NO_SQUARE && has_en_passant_victim(position, side))
        pawn_targets |= bit(position->ep_square);

    const Bitboard pawns = position->pieces[piece_code(side, PAWN)];
    const u8 *board = position->board;
    if (side == WHITE) {
        list = add_pawn_moves(list, board, pawns << 7 & NOT_FILE_H & pawn_targets, 7);
        list = add_pawn_moves(list, board, pawns << 9 & NOT_FILE_A & pawn_targets, 9);
    } else {
        list = add_pawn_moves(list, board, pawns >> 9 & NOT_FILE_H & pawn_targets, -9);
        list = add_pawn_moves(list, board, pawns >> 7 & NOT_FILE_A & pawn_targets, -7);
    }
    const Bitboard occupancy = occupied(*position);
    list = generate_piece_moves(position, side, KNIGHT, targets, occupancy, list);
    list = generate_piece_moves(position, side, BISHOP, targets, occupancy, list);
    list = generate_piece_moves(position, side, ROOK, targets, occupancy, list);
    list = generate_queen_moves(position, side, targets, occupancy, list);
    const Square king = position->king_sq[side];
    return add_targets(list, board, king, enemy & king_attacks[king]);
}

static inline MoveEntry *add_promotions(MoveEntry *list, const u8 *board, Square from, Square to, bool all) {
    list = add_move(list, board, from, to, PROMO_QUEEN);
    if (!all) return list;
    list = add_move(list, board, from, to, PROMO_KNIGHT);
    list = add_move(list, board, from, to, PROMO_BISHOP);
    return add_move(list, board, from, to, PROMO_ROOK);
}

MoveEntry *generate_promotions(const Position *position, int side, bool with_underpromotions, MoveEntry *list) {
    const Bitboard enemy = position->pieces[(side ^ 1) * BLACK_CODE];
    for (Bitboard pawns = position->pieces[piece_code(side, PAWN)] & SEVENTH_RANK[side]; pawns;) {
        const Square from = pop_lowest(pawns), to = from + PAWN_STEP[side];
        const u8 *board = position->board;
        if (!board[to]) list = add_promotions(list, board, from, to, with_underpromotions);
        if (file_of(from) > 0 && enemy & bit(to - 1))
            list = add_promotions(list, board, from, to - 1, with_underpromotions);
        if (file_of(from) < 7 && enemy & bit(to + 1))
            list = add_promotions(list, board, from, to + 1, with_underpromotions);
    }
    return list;
}

MoveEntry *generate_seventh_rank_pushes(const Position *position, int side, MoveEntry *list) {
    const Bitboard pawns = position->pieces[piece_code(side, PAWN)] & SIXTH_RANK[side];
    const Bitboard targets = (side == WHITE ? pawns << 8 : pawns >> 8) & ~occupied(*position);
    return add_pawn_moves(list, position->board, targets, PAWN_STEP[side]);
}

MoveEntry *generate_pawn_pushes(const Position *position, int side, Bitboard targets, Bitboard occupancy,
                                MoveEntry *list) {
    const Bitboard pawns = position->pieces[piece_code(side, PAWN)];
    const Bitboard single = (side == WHITE ? pawns << 8 : pawns >> 8) & ~occupancy;
    list = add_pawn_moves(list, position->board, single & targets, PAWN_STEP[side]);
    const Bitboard twice = (side == WHITE ? single << 8 : single >> 8) & ~occupancy;
    return add_pawn_moves(list, position->board, twice & targets & DOUBLE_STEP_RANK[side], 2 * PAWN_STEP[side]);
}

MoveEntry *generate_quiets(const Position *position, int side, MoveEntry *list, Square target) {
    const Bitboard occupancy = occupied(*position);
    const Square king = position->king_sq[side];
    const Bitboard targets = target == NO_SQUARE ? ~occupancy : between[target][king] & ~occupancy;
    list = generate_pawn_pushes(position, side, PUSH_TARGETS & targets, occupancy, list);
    list = generate_piece_moves(position, side, KNIGHT, targets, occupancy, list);
    list = generate_piece_moves(position, side, BISHOP, targets, occupancy, list);
    list = generate_piece_moves(position, side, ROOK, targets, occupancy, list);
    list = generate_queen_moves(position, side, targets, occupancy, list);
    list = add_targets(list, position->board, king, ~occupancy & king_attacks[king]);
    // Castling, also under check: whether the king's way is attacked is the legality test's matter.
    for (int wing = 0; wing < 2; ++wing) {
        const int right = 2 * side + wing;
        if (!(position->castling & 1 << right) || occupancy & position->castle_path[right]) continue;
        list->move = make_word(king, (king & 56) + (wing ? 2 : 6), wing ? CASTLE_QUEENSIDE : CASTLE_KINGSIDE);
        list->piece = position->board[king];
        list->captured = 0;
        ++list;
    }
    return list;
}

MoveEntry *generate_all(const Position *position, MoveEntry *list) {
    const int side = position->stm;
    list = generate_captures(position, side, list, NO_SQUARE);
    list = generate_promotions(position, side, true, list);
    list = generate_seventh_rank_pushes(position, side, list);
    list = generate_quiets(position, side, list, NO_SQUARE);
    list->move = END_OF_LIST;
    return list;
}

// The king's whole way must be free of attack, its own square included, so castling out of check is
// refused too. A rook that leaves can uncover its king: the goal must be safe with the rook moved.
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
    return attacker_of_square(position, to, enemy, occupancy) == NO_SQUARE;
}

// The attack test runs on the board after the move, made of occupancy and piece sets alone: the
// mover's old square is empty (a slider through it is seen), a captured piece attacks no more.
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
    if (!victim_set) return attacker_of_square(position, target, enemy, occupancy) == NO_SQUARE;
    *victim_set ^= victim_bit;
    const bool legal = attacker_of_square(position, target, enemy, occupancy) == NO_SQUARE;
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
    const bool attacked = attacker_of_square(position, position->king_sq[side ^ 1], side, occupancy) != NO_SQUARE;
    *set = before;
    return attacked;
}

// The bits that squares alone tell; the check bit is the callers'. `type` becomes the promoted one.
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

// Pieces of `side` that stand alone between `king` and a slider of `attacker`.
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
    tests->held = in_check ? ~0ULL : king_blockers(position, position->king_sq[side], side ^ 1, side);
    tests->unveiling = king_blockers(position, king, side, side);
    tests->checks[PAWN] = pawn_attacks[side ^ 1][king];
    tests->checks[KNIGHT] = knight_attacks[king];
    tests->checks[BISHOP] = bishop_attacks(king, occupancy);
    tests->checks[ROOK] = rook_attacks(king, occupancy);
    tests->checks[QUEEN] = tests->checks[BISHOP] | tests->checks[ROOK];
    tests->checks[KING] = king_attacks[king];
}

// A piece that nothing holds can move anywhere; king moves, en passant and answers to check are
// looked at in full.
bool is_move_legal_with(const MoveTests *tests, Position *position, int side, Move move) {
    if (tests->ready && move) {
        const Square from = from_of(move);
        const int type = type_of(position->board[from]);
        if (!(tests->held & bit(from)) && type != KING && (type != PAWN || to_of(move) != position->ep_square))
            return true;
    }
    return is_move_legal(position, side, move);
}

// Promotions, en passant and pieces that may unveil a slider need the board after the move.
bool attacks_king_with(const MoveTests *tests, Position *position, int side, int type, const MoveEntry *entry) {
    const Square from = from_of(entry->move), to = to_of(entry->move);
    const bool plain =
        type == type_of(entry->piece) && !(tests->unveiling & bit(from)) && (type != PAWN || to != position->ep_square);
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
