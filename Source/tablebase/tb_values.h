// The true values of a position: what the tables hold, joined with what captures and en passant
// change. Behind tablebase.h; used by the root ranking and the tests.
#pragma once

#include "tablebase/tb_moves.h"

// Result for the side to move, captures resolved: -2 loss, -1 loss that the 50-move rule saves, 0,
// 1 win that it spoils, 2. *success becomes 0 (no answer), 1 (a table value), or 2 (the best move
// takes something and wins or is forced).
int tb_wdl_raw(const TbPosition &pos, int *success);
// The same within a window, for a position without en passant. *success is set only to 0.
int tb_probe_ab(const TbPosition &pos, int alpha, int beta, int *success);
// Half-moves to the next zeroing move (captures, pawn moves) with best play, positive when the side
// to move wins, negative when it loses; beyond 100 when the 50-move rule makes it a draw; 0 for a
// draw. *success 0: no answer.
int tb_probe_dtz(const TbPosition &pos, int *success);

// The distance of a position whose next move zeroes, by result + 2.
extern const int TB_DTZ_BEFORE_ZERO[5];
