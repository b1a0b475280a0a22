// The move loop of nodes below depth one that are not in check.
#pragma once

#include "search/thread_state.h"

int quiesce_moves(Position *position, int side, int ply, int depth, int alpha, int beta, int node_type, u16 *pv);
