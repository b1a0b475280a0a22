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
// Number of legal moves of the position with this text, and the last of them, 0 without one. The text is
// brought to the spelling of the forms in place and can grow by one character.
int count_moves_with_text(Position *position, char *text, Move *last);
// The same for a text that must name one move: false for none or several; two matches print "ambiguous move".
bool parse_san(Position *position, char *text, Move *out);
