// The position as the table probes see it: sets of men alone, without the engine's incremental
// state, so that it is copied freely and any thread can probe. Internal to this folder.
#pragma once

#include "board/position.h"

struct TbPosition {
    Bitboard white, black;                                   // all men of a colour
    Bitboard kings, queens, rooks, bishops, knights, pawns;  // both colours together
    u8 rule50;                                               // half-move clock
    u8 ep;                                                   // square passed by a double step, 0 for none
    u8 turn;                                                 // 1 white to move, 0 black to move
};

// The engine's position with this half-move clock. Castling rights are lost: the caller tests them.
TbPosition tb_from_position(const Position *position, int rule50);

inline Bitboard tb_occupied(const TbPosition &pos) { return pos.white | pos.black; }
// The men of the side to move, and those of the other.
inline Bitboard tb_own(const TbPosition &pos) { return pos.turn ? pos.white : pos.black; }
inline Bitboard tb_enemy(const TbPosition &pos) { return pos.turn ? pos.black : pos.white; }
// The men of one kind, PAWN to KING, of both colours.
Bitboard tb_men_of_type(const TbPosition &pos, int type);

// True when a man of the side with this `turn` value attacks the square.
bool tb_is_attacked(const TbPosition &pos, Square square, int by_turn);
// True when the king of the side to move is attacked.
bool tb_in_check(const TbPosition &pos);
