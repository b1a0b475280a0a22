// The position record: what stands where, whose turn it is, and the keys; its set-up from FEN
// and its text. Every other folder reads these fields directly.
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
    u8 king_sq[2];            // NO_SQUARE when the set-up text had no such king
    u8 stm;                   // side to move, 0 white
    u8 ep_square;             // square passed over by a double step, or NO_SQUARE
    u8 castling;              // rights: 1 K, 2 Q, 4 k, 8 q
    u8 fifty;                 // half-move clock
};

constexpr const char *STARTPOS_FEN = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -";
extern const char SQUARE_NAMES[64][3];
// What one piece of a type adds to `material`.
constexpr i32 MATERIAL_STEP[7] = {0, 1, 16, 256, 4096, 65536, 0};

// Index piece code * 64 + square. Row 0 serves as the en-passant keys (by square) and the castling
// keys (by the 4-bit rights) at once.
extern u64 zobrist[1024];
void init_zobrist();  // first call only; prints "bad hashcode" for a key too close to another

inline Bitboard occupied(const Position &position) { return position.pieces[0] | position.pieces[8]; }

// True when `side` could take en passant on ep_square: a text may name a square without the pawn that
// the capture needs, and no move may take a pawn that isn't there.
inline bool has_en_passant_victim(const Position *position, int side) {
    const Square target = position->ep_square;
    return target < 64 && relative_rank(side, target) == 5 && !position->board[target] &&
           position->board[target - PAWN_STEP[side]] == piece_code(side ^ 1, PAWN);
}

constexpr int FEN_SIZE = 128;  // holds any text that position_to_fen writes

// Sets up a position; never refuses (returns 0 always): what can't be read is skipped. The text may
// be changed. Empties the game.
int set_position_from_fen(Position *position, char *text);
// The same from a text that must stay as it is.
int set_position_from_text(Position *position, const char *text);
// Grants the castling rights that `text` (KQkq or file letters) names and the pieces allow.
void set_castling_from_text(Position *position, const char *text);
// Clears board, sets, material, clocks and game, as the first step of every set-up; `stm` stays.
void clear_position(Position *position);
// Puts a piece on an empty square: board, sets, material, king square; not the keys.
void place_piece(Position *position, int code, Square square);
// Empties a square: the same fields, and the king square falls back to another king if there is one.
void remove_piece(Position *position, Square square);
// Both keys from scratch.
void compute_keys(Position *position);
// `out` holds FEN_SIZE characters. The counters are `fifty` and the number of moves made.
void position_to_fen(const Position *position, char *out, int with_counters);
// FEN and diagram as one block.
void print_board(Position *position);
// Null when a search can stand the position; else what is wrong, as a short text for a message.
const char *position_defect(const Position *position);
