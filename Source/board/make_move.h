// Making and unmaking moves. The moves must be pseudo-legal; this is not checked.
#pragma once

#include "board/position.h"

// Castling may name the king's target square or its own rook.
void make_move(Position *position, Move move);
// Undoes the last recorded move.
void unmake_move(Position *position);
// make_move for a move of the game itself. If the stack is full, the oldest records are dropped first, so that games
// can be of any length. Afterwards an empty record ends the game, and the search ply is 1.
void make_game_move(Position *position, Move move);
// True if the game is drawn by the fifty-move rule or by threefold repetition.
bool is_game_drawn(const Position *position);
