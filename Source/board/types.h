// Basic types of the whole program: squares, colours, piece codes, moves.
#pragma once

#include "platform/integers.h"

using Bitboard = u64;  // bit n = square n
using Square = int;    // a1 = 0, h1 = 7, a8 = 56, h8 = 63
using Move = u16;      // bits 0-5 to, bits 8-13 from, bits 6, 7, 14, 15 flags; 0 is no move

constexpr Square NO_SQUARE = 64;
constexpr int WHITE = 0;
constexpr int BLACK = 1;

enum PieceType { NO_PIECE, PAWN, KNIGHT, BISHOP, ROOK, QUEEN, KING };

// Piece codes: white is the type (1..6), black the type + 8 (9..14), 0 an empty square.
constexpr int BLACK_CODE = 8;
constexpr int type_of(int code) { return code & 7; }
constexpr int colour_of(int code) { return (code >> 3) & 1; }
constexpr int piece_code(int colour, int type) { return colour * BLACK_CODE + type; }

// The meaning of the two low flags depends on the moving piece.
constexpr Move PROMO_QUEEN = 0x0040;
constexpr Move PROMO_KNIGHT = 0x0080;
constexpr Move PROMO_BISHOP = 0x4000;
constexpr Move PROMO_ROOK = 0x8000;
constexpr Move CASTLE_KINGSIDE = 0x0040;
constexpr Move CASTLE_QUEENSIDE = 0x0080;
constexpr Move MOVE_FLAGS_MASK = 0xC0C0;
constexpr Move END_OF_LIST = 0xFFFF;  // ends a list of MoveEntry; never a real move

constexpr Square from_of(Move move) { return (move >> 8) & 63; }
constexpr Square to_of(Move move) { return move & 63; }
constexpr Move flags_of(Move move) { return move & MOVE_FLAGS_MASK; }
constexpr Move make_word(Square from, Square to, Move flags = 0) { return static_cast<Move>(from << 8 | to | flags); }
// The piece type that promotion flags name; without a flag it is a queen.
constexpr int promotion_type(Move flags) {
    return (flags & PROMO_KNIGHT) ? KNIGHT : (flags & PROMO_BISHOP) ? BISHOP : (flags & PROMO_ROOK) ? ROOK : QUEEN;
}

constexpr int file_of(Square square) { return square & 7; }
constexpr int rank_of(Square square) { return square >> 3; }
// Rank from the side's point of view: 0 its first rank, 7 its last.
constexpr int relative_rank(int side, Square square) { return rank_of(square) ^ (side ? 7 : 0); }
constexpr Bitboard bit(Square square) { return 1ULL << square; }
constexpr int PAWN_STEP[2] = {8, -8};

constexpr Bitboard NOT_FILE_A = 0xFEFEFEFEFEFEFEFEULL;
constexpr Bitboard NOT_FILE_H = 0x7F7F7F7F7F7F7F7FULL;
constexpr Bitboard COLOUR_OF_A1 = 0xAA55AA55AA55AA55ULL;  // the squares of a1's colour
constexpr Bitboard COLOUR_OF_H1 = 0x55AA55AA55AA55AAULL;
constexpr Bitboard RANK_1 = 0x00000000000000FFULL;
constexpr Bitboard FILE_A = 0x0101010101010101ULL;

#if defined(__x86_64__) && !defined(__POPCNT__)
// Without the instruction the compiler would call a library function with a table look-up per byte. Parallel sums in
// bit fields of growing width are faster.
constexpr int popcount(Bitboard set) {
    set -= set >> 1 & 0x5555555555555555ULL;
    set = (set & 0x3333333333333333ULL) + (set >> 2 & 0x3333333333333333ULL);
    return static_cast<int>(((set + (set >> 4)) & 0x0F0F0F0F0F0F0F0FULL) * 0x0101010101010101ULL >> 56);
}
#else
constexpr int popcount(Bitboard set) { return __builtin_popcountll(set); }
#endif
// Lowest and highest square of a set that is not empty.
constexpr Square lowest(Bitboard set) { return __builtin_ctzll(set); }
constexpr Square highest(Bitboard set) { return 63 ^ __builtin_clzll(set); }
// Removes the lowest square of a non-empty set and returns it.
inline Square pop_lowest(Bitboard &set) {
    const Square square = lowest(set);
    set &= set - 1;
    return square;
}
