// Quiet positions as they occur inside a search, each with a score of its own.
#pragma once

#include "random.h"
#include "selfplay_game.h"
#include "selfplay_options.h"

// Walks a few plies from the master position, as a search would, to a quiet position that was not
// seen before, and adds its record to records->inner; the master position is as before afterwards.
// False when the walk led to no such position.
bool take_inner_position(const SelfplayOptions &options, Random *random, SeenPositions *seen, GameRecords *records);
