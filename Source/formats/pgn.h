// PGN games: tokens, and one game as a record.
#pragma once

#include <cstddef>

#include "platform/integers.h"

constexpr int PGN_MOVES = 591;    // moves that a game can hold
constexpr int PGN_MOVE_TEXT = 8;  // with the end mark; a longer text is cut
constexpr int PGN_FEN = 100;
constexpr int PGN_GAME_TEXT = 15800;  // characters of a game's text, end mark included
constexpr int PGN_TOKEN = 256;        // a token's buffer for pgn_next_token; what is longer is cut

// One game. A record serves for game after game: `moves`, `scores` and `move_count` keep what the
// game before left there until they are overwritten.
struct PgnGame {
    i32 game_number;                       // games parsed into this record so far
    i32 move_count;                        // moves stored
    i16 result;                            // 1 white won, -1 black won, 0 otherwise
    i16 annotator_eval;                    // number after "eval=" in the Annotator tag, 0 if none
    char fen[PGN_FEN];                     // value of the FEN tag, empty if none
    char moves[PGN_MOVES][PGN_MOVE_TEXT];  // move texts without '#', '+' and '='
    i16 scores[PGN_MOVES];                 // by move: centipawns of the comment after it, 0 if none
};

enum PgnBrackets {
    PGN_WHOLE,  // {...}, (...), [...] and "..." are one token each, marks included; a word ends at a blank
    PGN_MARKS,  // each of { } ( ) is a token of its own; a word ends at a blank or at one of them
};
// The next token of a text: returns its start, sets its length and moves *cursor to its end. Null at
// the end of the text. Blanks and line ends before a token are skipped. An unclosed bracket runs to
// the end of the text.
const char *find_pgn_token(const char **cursor, PgnBrackets brackets, std::size_t *length);
// The next token with PGN_WHOLE, cut off in place: the character after it is overwritten.
char *pgn_split(char **rest);
// The next token with PGN_MARKS, copied; characters outside 32..127 vanish from it, so it may be
// empty. False at the end of the text.
bool pgn_next_token(const char **cursor, char *token);

// Fills the record from one game's text (tags and moves), which is cut up. A game whose Termination
// tag says that it wasn't played to its end leaves moves and move_count as they were. The texts in
// `moves` can grow by one character when parse_san brings them to its spelling: hand it a copy.
void pgn_parse_game(PgnGame *game, char *text);
