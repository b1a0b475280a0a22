// The scan of PGN games: one EPD line a position, with result and evaluation (-scan_pgn).
#pragma once

#include <cstdio>

#include "formats/pgn.h"

// Plays the game on the master position and writes one EPD line a position, the opening plies left
// out. An unreadable move ends the game with a message; the lines written so far stay.
void pgn_export_game(PgnGame *game, std::FILE *out);
// The tool: settings.pgn_file to settings.out_file. False, with a line on standard error, when
// something could not be read or written.
bool scan_pgn();
