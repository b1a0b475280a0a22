// The game of a position: the moves made since the position was set up, including those of the line being searched.
// make_move and unmake_move work on this record.
#pragma once

#include "board/types.h"

// One played or searched move.
struct GameRecord {
    u64 key;           // position key before the move
    u64 pawn_key;      // pawn key before the move
    u16 move;          // castling with the king's target square; 0 ends the stack
    u16 undo;          // low byte captured piece type, high byte ep_square before the move
    Bitboard touched;  // before the move
    u16 rights;        // low byte fifty, high byte castling, before the move
};

// A game uses up to GAME_STACK_LIMIT records; the rest is room for the search line.
constexpr int GAME_STACK_SIZE = 1000;
constexpr int GAME_STACK_LIMIT = 880;  // a game move beyond this drops the oldest records first

struct Game {
    i16 game_ply;   // records in use in game_stack
    i16 ply;        // search ply, 1 at the root
    u16 last_move;  // the last move made, 0 for none
    GameRecord game_stack[GAME_STACK_SIZE];
};
