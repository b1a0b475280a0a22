// Legality, check tests and classification of moves.
#pragma once

#include "board/moves.h"

// True if the pseudo-legal move does not leave its own king attacked; false for move 0. Changes the position during
// the call.
bool is_move_legal(Position *position, int side, Move move);
// True if the side to move has a legal move.
bool has_legal_move(Position *position);
// True if `move`, any 16-bit value, is one of the position's legal moves.
bool is_generated_legal_move(Position *position, Move move);

// True if the enemy king is attacked once a piece of `type` is on `to` and `from` is empty, by that piece or by a
// slider uncovered. Changes the position during the call.
bool attacks_king_after(Position *position, int side, int type, Square from, Square to);

enum MoveClass : u8 { MOVE_CAPTURE = 1, MOVE_CHECK = 2, MOVE_PROMOTION = 4, MOVE_SEVENTH = 8, MOVE_SIXTH = 16 };
// Returns the MoveClass bits of a move. Changes the position during the call.
u8 classify_move(Position *position, int side, const MoveEntry *entry);

// Sets shared by the legality and check tests of one node's moves: most moves are then decided by two set look-ups.
// The answers equal those of the plain functions. A move loop prepares it before its second move, so that a cut-off by
// the first costs nothing.
struct MoveTests {
    bool ready;            // false: use the plain functions
    Bitboard pinned;       // our pinned pieces; all squares when in check
    Bitboard discoverers;  // our pieces whose move may give discovered check
    Bitboard checks[7];    // by piece type: squares from which the enemy king is attacked
};
void prepare_move_tests(const Position *position, int side, bool in_check, MoveTests *tests);
bool is_move_legal_with(const MoveTests *tests, Position *position, int side, Move move);
u8 classify_move_with(const MoveTests *tests, Position *position, int side, const MoveEntry *entry);
// attacks_king_after for a mover of `type` (after promotion).
bool attacks_king_with(const MoveTests *tests, Position *position, int side, int type, const MoveEntry *entry);
