// The move generators.
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

// Pawn moves to each target, all with the same step.
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

// Captures by pawns (towards the a-file first), knights, bishops, rooks, queens, king. En passant is also generated
// when only one target square is wanted, since it may capture a checking pawn.
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
    // Castling is generated even in check; the legality test checks the king's path.
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
