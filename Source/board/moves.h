// Move generation. Generators write pseudo-legal moves at `list` and return the new end; except for generate_all they
// write no end mark. The order of their output is fixed: the search's node counts depend on it.
#pragma once

#include "board/position.h"

struct MoveEntry {
    u16 move;     // END_OF_LIST ends a list
    i16 score;    // ordering score; the generators leave it unset
    u8 piece;     // code of the moving piece
    u8 captured;  // code on the to-square; 0 for quiet moves and en passant
};
static_assert(sizeof(MoveEntry) == 6);

// Captures, except by a pawn onto the last rank. If `target` is not NO_SQUARE, only captures on that square, king
// captures and en passant.
MoveEntry *generate_captures(const Position *position, int side, MoveEntry *list, Square target);
// All moves of pawns from their seventh rank; without the flag only queen promotions.
MoveEntry *generate_promotions(const Position *position, int side, bool with_underpromotions, MoveEntry *list);
// Quiet pushes of pawns from the sixth to the seventh rank, which generate_quiets leaves out.
MoveEntry *generate_seventh_rank_pushes(const Position *position, int side, MoveEntry *list);
// Single and double pushes onto the squares of `targets`.
MoveEntry *generate_pawn_pushes(const Position *position, int side, Bitboard targets, Bitboard occupancy,
                                MoveEntry *list);
MoveEntry *generate_queen_moves(const Position *position, int side, Bitboard targets, Bitboard occupancy,
                                MoveEntry *list);
// Moves of one piece type (knight, bishop or rook) into `targets`.
MoveEntry *generate_piece_moves(const Position *position, int side, int type, Bitboard targets, Bitboard occupancy,
                                MoveEntry *list);
// Quiet moves. If `target` is not NO_SQUARE, it is the checker's square, and pieces other than the king only interpose.
MoveEntry *generate_quiets(const Position *position, int side, MoveEntry *list, Square target);
// Entries that suffice for any board, end mark included: 64 pieces with at most 27 moves each, and castling.
constexpr int MOVE_LIST_SIZE = 64 * 27 + 3;
// Writes all pseudo-legal moves of the side to move and the end mark to `list`, which holds MOVE_LIST_SIZE
// entries. The side must have a king. Returns the end mark's entry.
MoveEntry *generate_all(const Position *position, MoveEntry *list);
