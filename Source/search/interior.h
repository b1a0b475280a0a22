// The interior node of the alpha-beta search and its move loop.
#pragma once

#include "search/thread_state.h"

// Score for `side`; `pv` is the caller's line buffer, PV_SIZE words, indexed by ply.
int search_node(Position *position, int side, int ply, int depth, int alpha, int beta, int node_type, u16 *pv);
int search_moves(Position *position, int side, int ply, int depth, int alpha, int beta, int node_type, u16 *pv);

// Draw by fifty moves or repetition, as the search sees it: one repetition inside the search line,
// two across the root.
bool is_search_draw(const Position *position, int ply);
// Copies a child line, from pv[ply] on, its end mark included.
void copy_line(u16 *pv, const u16 *child_pv, int ply);
