// The current line: its variation, and draws on the way.
#pragma once

#include "search/thread_state.h"

// True if the position is a draw by fifty moves or repetition, as the search counts it: one repetition of a position
// of the search line, two of one at or before the root. `ply` is the position's own, 1 at the root.
bool is_search_draw(const Position *position, int ply);
// Copies a child's line, from pv[ply] on, its end mark included.
inline void copy_line(u16 *pv, const u16 *child_pv, int ply) {
    do pv[ply] = child_pv[ply];
    while (pv[ply] && ++ply <= MAX_PLY);
}
