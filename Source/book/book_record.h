// One record of a book file in the Polyglot format, and the two codings of its move. The prober
// reads records, the book maker writes them.
#pragma once

#include <cstdio>

#include "board/types.h"

// A book file is nothing but these, sorted by rising key and, within a key, by falling weight. In
// the file every field is big-endian, in this order and without gaps.
struct BookRecord {
    u64 key;     // book_key of the position before the move
    u16 move;    // to in bits 0-5, from in bits 6-11, promotion in bits 12-14 (0 none, 1 N, 2 B, 3 R, 4 Q)
    u16 weight;  // share among the moves of the key; 0 is never played
    u32 learn;   // written 0, ignored on reading
};
constexpr int BOOK_RECORD_SIZE = 16;
static_assert(sizeof(BookRecord) == BOOK_RECORD_SIZE);

// Reads the 16 bytes at the file's place. 0, or 1 at the end of the file: then the record holds
// only the part that was there.
int book_read_record(std::FILE *file, BookRecord *record);
// Writes the 16 bytes; 0, or 1 when the file did not take them.
int book_write_record(std::FILE *file, const BookRecord *record);

// The engine's move for a book's, not checked against any position. A king's move from e1 or e8
// onto the own rook's corner becomes a castling, whatever the promotion field says of it.
Move move_of_book_code(u16 code);
// The book's move for the engine's. A castling gets promotion field 4 (king side) or 1 (queen side):
// its flags are those of a promotion, and move_of_book_code reads both spellings alike.
u16 book_code_of_move(Move move);
