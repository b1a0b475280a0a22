// Moves as text and text as moves.
#pragma once

#include "board/position.h"

constexpr int MOVE_TEXT = 16;  // holds any text of a move

// Coordinate text as in UCI. The promotion suffix depends on settings.uci_mode, the castling form on settings.chess960.
void move_to_text(const Position *position, int side, Move move, char *out);
// The same, with "null" for move 0.
void move_to_coord(const Position *position, int side, Move move, char *out);
// All text forms of a move of the side to move, before it is made; each holds MOVE_TEXT characters.
void move_forms(Position *position, Move move, char *coord, char *san, char *by_file, char *by_rank);
// Returns the number of legal moves with this text and stores the last of them, 0 if there is none. No move captures a
// king. The text is normalised in place and can grow by one character.
int count_moves_with_text(Position *position, char *text, Move *last);
// Reads a text that must name exactly one move. Returns false for none or several; prints "ambiguous move" for two.
bool parse_san(Position *position, char *text, Move *out);
