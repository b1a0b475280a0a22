// Making an opening book from games.
#pragma once

#include "platform/integers.h"

// Reads settings.pgn_file, counts how the moves of each game's opening fared, and writes the good
// ones to "tmp_book.bin" in the working directory. Uses the master position. A file that can't be
// read ends it without a word; memory that runs out ends it with the old "tmp_book.bin" in place.
void make_book();

constexpr int PGN_TOKEN = 256;  // a token's buffer; what is longer is cut

// The next token of a line of game text, and the reading place moved behind it. Tokens are divided
// by blanks; each of {}() is one by itself; characters outside 32..127 vanish from within. False at
// the end of the line; a token may be empty.
bool pgn_next_token(const char **cursor, char *token);
// Weight of a move by its score and the best score among the moves of its position (0 or more).
u16 book_weight(i32 score, i32 best);
