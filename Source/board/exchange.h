// Static exchange evaluation: the value of a series of captures on one square, without making moves. Values in
// centipawns.
#pragma once

#include "board/position.h"

constexpr int SEE_VALUE[7] = {0, 100, 350, 350, 550, 1060, 10000};
constexpr int SEE_WORTH[7] = {0, 1, 3, 3, 5, 10, 99};
constexpr int KING_CAPTURE_VALUE = 9999;
constexpr int SEE_OK_MARGIN = -70;

// What `side` gains by starting an exchange on `square`, occupied by a piece of type `victim_type`: 0 or more, since
// `side` may decline.
int see_on_square(const Position *position, int side, Square square, int victim_type, Bitboard occupancy);
// The value of the move from `from` to `to` with the exchange that follows. If `from` is NO_SQUARE: the side's best
// exchange on `to`, 0 or more.
int see(const Position *position, int side, Square from, Square to);
// True if see() of a real move is at least `limit`, which is above -8000.
bool see_reaches(const Position *position, int side, Square from, Square to, int limit);
// True unless the move, one of the side to move, loses more than 70 centipawns.
bool see_ok(const Position *position, Move move);
