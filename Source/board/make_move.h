// Carrying a position forward and back by one move. The moves are trusted to be pseudo-legal.
#pragma once

#include "board/position.h"

// Only the low 16 bits of a move count; a castling may name the king's goal or the own rook.
void make_move(Position *position, Move move);
// Undoes the move recorded last.
void unmake_move(Position *position);
// make_move for a move of the game itself: drops the oldest records first when the stack is full, so
// that games of any length go on; the record behind ends the game, and the search ply stays at 1.
void make_game_move(Position *position, Move move);
// True when the game's rules call the position drawn for a driver: fifty-move rule, or the position
// has stood on the board twice before.
bool is_game_drawn(const Position *position);
