// Endings that need no evaluator, and the counts in a packed material word.
#pragma once

#include "board/position.h"

// Number of pieces of a type (PAWN..QUEEN) in a side's packed material, 0..15.
constexpr int count_of(i32 material, int type) { return material >> (4 * (type - 1)) & 15; }
constexpr int minors_of(i32 material) { return count_of(material, KNIGHT) + count_of(material, BISHOP); }

// Returns true with the score for `side`, in centipawns, if the ending is a dead draw, a bare king against a
// heavy piece, against bishop and knight, or against a single pawn.
bool recognise_ending(const Position &position, int side, int *score);
// No rook or queen and one bishop each, on squares of different colour.
bool has_opposite_bishops(const Position &position);
