// Making an opening book from games.
#pragma once

#include "platform/integers.h"

// Reads settings.pgn_file, counts how the moves of each game's opening fared, and writes the good
// ones to "tmp_book.bin" in the working directory. Uses the master position. False, with a line on
// standard error, when something could not be read or written or memory ran out: then an earlier
// "tmp_book.bin" stays as it was.
bool make_book();

// Weight of a move by its score and the best score among the moves of its position (0 or more).
u16 book_weight(i32 score, i32 best);
