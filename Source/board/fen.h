// Positions as text: FEN in and out, castling rights, the diagram; and whether a position can be searched.
#pragma once

#include "board/position.h"

constexpr const char *STARTPOS_FEN = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -";
constexpr int FEN_SIZE = 128;  // holds any text that position_to_fen writes

// Sets up a position from FEN text and empties its game. Never fails: what cannot be read is skipped. The text may be
// changed.
void set_position_from_fen(Position *position, char *text);
// The same for a text that must not be changed; the first 511 characters are read.
void set_position_from_text(Position *position, const char *text);
// Grants the castling rights that `text` (KQkq or file letters) names and the pieces allow; removes all others.
void set_castling_from_text(Position *position, const char *text);
// `out` holds FEN_SIZE characters. With counters: `fifty` and the number of moves made are appended.
void position_to_fen(const Position *position, char *out, int with_counters);
// Prints FEN and diagram as one block.
void print_board(Position *position);
// Returns nullptr if the position can be searched, otherwise a short description of what is wrong.
const char *position_defect(const Position *position);
