// The interior node of the alpha-beta search and its move loop.
#pragma once

#include "board/thread_state.h"

// Score for `side`; `pv` is the caller's line buffer, PV_SIZE words, indexed by ply.
int search_node(Position *position, int side, int ply, int depth, int alpha, int beta, int node_type, u16 *pv);
int search_moves(Position *position, int side, int ply, int depth, int alpha, int beta, int node_type, u16 *pv);
