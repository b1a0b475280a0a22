// Making an opening book from games.
#pragma once

#include "board/position.h"

// Reads settings.pgn_file, counts how the moves of each game's opening fared, and writes the good
// ones to "tmp_book.bin" in the working directory. The games are replayed on `position`.
// Returns false, with a line on standard error, if something cannot be read or written or memory runs out; an
// earlier "tmp_book.bin" is then left as it was.
bool make_book(Position *position);

// Weight of a move by its score and the best score among the moves of its position (0 or more).
u16 book_weight(i32 score, i32 best);
