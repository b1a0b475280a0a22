// PGN games to EPD lines (-scan_pgn).
#pragma once

void scan_pgn();
