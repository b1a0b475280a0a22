// The position record: pieces, side to move, rights, clocks and keys. Every other folder reads these fields directly.
#pragma once

#include "board/types.h"

struct Game;

struct Position {
    Game *game;               // the moves made so far; make and unmake work on it
    u8 board[65];             // piece code by square; entry NO_SQUARE stays 0
    Bitboard pieces[16];      // by piece code; [0] all white, [8] all black; [7] and [15] stay 0
    Bitboard touched;         // squares that a made move left or entered since set-up
    Bitboard castle_mask[4];  // by right (K, Q, k, q): king square and rook square
    Bitboard castle_path[4];  // by right: squares that must be empty
    u64 key;                  // hash key; the side to move is not part of it
    u64 pawn_key;             // hash key of the pawns alone
    i32 material[2];          // packed counts: pawn 1, knight 0x10, bishop 0x100, rook 0x1000, queen 0x10000
    u8 castle_rook[4];        // by right: the rook's square, NO_SQUARE without the right
    u8 king_sq[2];            // NO_SQUARE without such a king
    u8 stm;                   // side to move, 0 white
    u8 ep_square;             // square skipped by a double step, or NO_SQUARE
    u8 castling;              // rights: 1 K, 2 Q, 4 k, 8 q
    u8 fifty;                 // half-move clock
};

extern const char SQUARE_NAMES[64][3];
// What one piece of a type adds to `material`.
constexpr i32 MATERIAL_STEP[7] = {0, 1, 16, 256, 4096, 65536, 0};

// Index: piece code * 64 + square. Row 0 holds both the en-passant keys (by square) and the castling keys (by the
// 4-bit rights).
extern u64 zobrist[1024];
void init_zobrist();  // first call only; prints "bad hashcode" for a key too close to another

inline Bitboard occupied(const Position &position) { return position.pieces[0] | position.pieces[8]; }

// True if the pawn that `side` would capture on ep_square is there. FEN text may name a target square without one.
inline bool has_en_passant_victim(const Position *position, int side) {
    const Square target = position->ep_square;
    return target < 64 && relative_rank(side, target) == 5 && !position->board[target] &&
           position->board[target - PAWN_STEP[side]] == piece_code(side ^ 1, PAWN);
}

// Clears board, sets, material, clocks and game, the first step of every set-up; `stm` is kept.
void clear_position(Position *position);
// Puts a piece on an empty square: board, sets, material and king square; the keys are not updated.
void place_piece(Position *position, int code, Square square);
// Empties a square: the same fields. The king square becomes that of another king of the side, if there is one.
void remove_piece(Position *position, Square square);
// Computes both keys from the other fields.
void compute_keys(Position *position);
