// The key of a position in book files. It has nothing to do with Position::key and
// never enters the transposition table.
#pragma once

#include "board/position.h"

// The published random words of the Polyglot format: 768 for pieces on squares, 4 for castling
// rights, 8 for en-passant files, 1 for white to move.
constexpr int POLYGLOT_WORDS = 781;
extern const u64 POLYGLOT_RANDOM64[POLYGLOT_WORDS];

// Reads board, castling rights, en-passant square and side to move; changes nothing.
u64 book_key(const Position *position);
