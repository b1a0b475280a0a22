// Opening books in the Polyglot format: probing.
#pragma once

#include "board/position.h"

// One book move of the position, or 0; prints the list of book moves.
Move book_probe(Position *position, const char *path);
