// One node of the alpha-beta search: search_node settles it or hands it to one of two move loops, which call
// search_node for each child. Interior.cpp holds the node and the main loop, quiescence.cpp the other.
//
// All three return a score in centipawns for `side`, the side to move. `ply` is 1 at the root, `depth` is in plies,
// the window is alpha..beta, and `pv` is the caller's line buffer: PV_SIZE words, indexed by ply, 0 at its end. Once
// stop_search is raised they return 0 at once, which no caller uses.
#pragma once

#include "search/thread_state.h"

// The frame of a node: limits, draws, table look-ups, static evaluation, pruning before any move is made.
int search_node(Position *position, int side, int ply, int depth, int alpha, int beta, NodeType node_type, u16 *pv);
// The main move loop, fail-soft. For nodes in check and nodes of depth 1 and more.
int search_moves(Position *position, int side, int ply, int depth, int alpha, int beta, NodeType node_type, u16 *pv);
// The move loop of nodes below depth 1 that are not in check; razoring uses it at higher depths as well. The ply's
// static_eval has been set.
int quiesce_moves(Position *position, int side, int ply, int depth, int alpha, int beta, NodeType node_type, u16 *pv);
