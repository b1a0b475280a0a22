// Moves as text and text as moves.
#pragma once

#include "board/position.h"

constexpr int MOVE_TEXT = 16;  // holds any text of a move

// Coordinate text, as the protocol has it; the promotion suffix follows settings.uci_mode, the
// castling form settings.chess960.
void move_to_text(const Position *position, int side, Move move, char *out);
// The same, with "null" for move 0.
void move_to_coord(const Position *position, int side, Move move, char *out);
// All text forms of a move of the side to move, before it is made; each holds MOVE_TEXT characters.
void move_forms(Position *position, Move move, char *coord, char *san, char *by_file, char *by_rank);
// The legal move of the master position whose text this is: 1 and the move, or 0. The text is
// brought to the forms' spelling in place and can grow by one character. Two matches print "ambiguous move".
int parse_san(char *text, Move *out);
