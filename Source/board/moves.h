// Move generation, legality and classification. Generators append pseudo-legal moves at `list`,
// return the new end and write no end mark; the order of their output is fixed, the search's node
// counts depend on it.
#pragma once

#include "board/position.h"

struct MoveEntry {
    u16 move;     // END_OF_LIST ends a list
    i16 score;    // ordering score; the generators leave it unset
    u8 piece;     // code of the moving piece
    u8 captured;  // code on the to-square; 0 for quiet moves and en passant
};
static_assert(sizeof(MoveEntry) == 6);

// Moves that capture, except a pawn's onto the last rank. `target` NO_SQUARE: any enemy piece;
// else only captures there (and by the king, and en passant).
MoveEntry *generate_captures(const Position *position, int side, MoveEntry *list, Square target);
// Every move of a pawn from its seventh rank; queen promotions only without the flag.
MoveEntry *generate_promotions(const Position *position, int side, bool with_underpromotions, MoveEntry *list);
// Quiet pushes of pawns that stand on the sixth rank; the other push generators leave them out.
MoveEntry *generate_seventh_rank_pushes(const Position *position, int side, MoveEntry *list);
// Single and double pushes onto the squares of `targets`.
MoveEntry *generate_pawn_pushes(const Position *position, int side, Bitboard targets, Bitboard occupancy,
                                MoveEntry *list);
MoveEntry *generate_queen_moves(const Position *position, int side, Bitboard targets, Bitboard occupancy,
                                MoveEntry *list);
// Moves of one piece type (knight, bishop or rook) into `targets`.
MoveEntry *generate_piece_moves(const Position *position, int side, int type, Bitboard targets, Bitboard occupancy,
                                MoveEntry *list);
// Quiet moves. `target` NO_SQUARE: all; else the checker's square, and pieces other than the king
// only interpose.
MoveEntry *generate_quiets(const Position *position, int side, MoveEntry *list, Square target);
// Entries that hold the moves of any board, end mark included: 64 men with at most 27 moves each, and castling.
constexpr int MOVE_LIST_SIZE = 64 * 27 + 3;
// Writes all pseudo-legal moves of the side to move and the end mark to `list`, which holds MOVE_LIST_SIZE
// entries. The side must have a king. Returns the end mark's entry.
MoveEntry *generate_all(const Position *position, MoveEntry *list);

// True when the pseudo-legal move leaves the own king unattacked; false for move 0. Changes the
// position for the length of the call.
bool is_move_legal(Position *position, int side, Move move);
// True when the side to move has a legal move.
bool has_legal_move(Position *position);
// True when `move` is one of the position's legal moves, whatever the word holds.
bool is_generated_legal_move(Position *position, Move move);

// True when the enemy king is attacked with a piece of `type` arrived on `to` and `from` empty, by
// that piece or by one behind it. Changes the position for the length of the call.
bool attacks_king_after(Position *position, int side, int type, Square from, Square to);

enum MoveClass : u8 { MOVE_CAPTURE = 1, MOVE_CHECK = 2, MOVE_PROMOTION = 4, MOVE_SEVENTH = 8, MOVE_SIXTH = 16 };
// The bits above. Changes the position for the length of the call.
u8 classify_move(Position *position, int side, const MoveEntry *entry);

// What legality and check tests of one node's moves share, for move loops that try several: with it
// most moves are judged by a look at two sets. The answers are those of the plain functions. A loop
// makes it when its second move comes; a cut-off by the first then pays nothing.
struct MoveTests {
    bool ready;          // false: the plain functions are asked
    Bitboard held;       // own pieces alone between the own king and an enemy slider; all when in check
    Bitboard unveiling;  // own pieces alone between an own slider and the enemy king
    Bitboard checks[7];  // by piece type: squares from which the enemy king is attacked
};
void prepare_move_tests(const Position *position, int side, bool in_check, MoveTests *tests);
bool is_move_legal_with(const MoveTests *tests, Position *position, int side, Move move);
u8 classify_move_with(const MoveTests *tests, Position *position, int side, const MoveEntry *entry);
// attacks_king_after for a mover of `type`, its promotion done.
bool attacks_king_with(const MoveTests *tests, Position *position, int side, int type, const MoveEntry *entry);
