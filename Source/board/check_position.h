// Checks of a whole position and of the moves made on it, for debug builds. The functions that name a fault are in
// every build; those that end the program are called by debug builds alone (see base/debug_check.h).
#pragma once

#include "board/position.h"

// How far the keys are from those that the other fields give. Both are 0, except after a set-up that leaves the keys
// as they were (`reverse`, training records). No move changes the difference, made or taken back.
struct KeyDifference {
    u64 key, pawn_key;
};
KeyDifference key_difference(const Position *position);

// Names the first field that disagrees with the board or is out of range; nullptr if all are right. Looks at pieces,
// sets, material, kings, castling rights and the bounds of the game stack, not at the keys.
const char *position_fault(const Position *position);
// The same for a move that is about to be made: a piece of the side to move, room for its record.
const char *move_fault(const Position *position, Move move);

// Each ends the program with one line if there is a fault. `before` is the key difference before the change;
// `where` names the function that made it.
void require_sound_move(const Position *position, Move move, const char *where);
void require_sound_position(const Position *position, const KeyDifference &before, const char *where);
