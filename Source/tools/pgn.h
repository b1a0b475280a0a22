// PGN games: the parser that the tools and the console's `load` share, and the scan that turns games
// into EPD lines with result and evaluation (-scan_pgn).
#pragma once

#include <cstdio>

#include "platform/integers.h"

constexpr int PGN_MOVES = 591;    // moves that a game can hold
constexpr int PGN_MOVE_TEXT = 8;  // with the end mark; a longer text is cut
constexpr int PGN_FEN = 100;
constexpr int PGN_GAME_TEXT = 15800;  // characters of a game's text, end mark included

// One game. A record serves for game after game: `moves`, `scores` and `move_count` keep what the
// game before left there until they are overwritten.
struct PgnGame {
    i32 game_number;                       // games parsed into this record so far
    i32 move_count;                        // moves stored
    i16 result;                            // 1 white won, -1 black won, 0 otherwise
    i16 annotator_eval;                    // number behind "eval=" in the Annotator tag, 0 if none
    char fen[PGN_FEN];                     // value of the FEN tag, empty if none
    char moves[PGN_MOVES][PGN_MOVE_TEXT];  // move texts without '#', '+' and '='
    i16 scores[PGN_MOVES];                 // by move: centipawns of the comment behind it, 0 if none
};

// Takes the next token off the text at *rest, in place: a word, or a whole {...}, (...), [...] or
// "..." with its marks. Null at the end of the text.
char *pgn_split(char **rest);
// Fills the record from one game's text (tags and moves), which is cut up. A game whose Termination
// tag tells that it wasn't played to its end leaves moves and move_count as they were. The texts in
// `moves` can grow by one character when parse_san brings them to its spelling: hand it a copy.
void pgn_parse_game(PgnGame *game, char *text);
// Plays the game on the master position and writes one EPD line a position, the opening plies left
// out. A move that can't be read ends the game with a message; the lines so far stay.
void pgn_export_game(PgnGame *game, std::FILE *out);
// The tool: settings.pgn_file to settings.out_file.
void scan_pgn();
