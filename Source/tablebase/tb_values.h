// The true values of a position: what the tables hold, joined with what captures and en passant
// change. Internal to this folder.
#pragma once

#include "tablebase/tb_moves.h"
#include "tablebase/tb_records.h"

// TbResult for the side to move, captures resolved. *status becomes TB_NO_VALUE, TB_VALUE or
// TB_ZEROING.
int tb_wdl_raw(const TbPosition &pos, TbStatus *status);
// The same within a window, for a position without en passant. *status is set only to TB_NO_VALUE.
int tb_probe_ab(const TbPosition &pos, int alpha, int beta, TbStatus *status);
// Half-moves to the next zeroing move (captures, pawn moves) with best play, positive when the side
// to move wins, negative when it loses; beyond 100 when the fifty-move rule makes it a draw; 0 for a
// draw. *status is TB_NO_VALUE without an answer.
int tb_probe_dtz(const TbPosition &pos, TbStatus *status);

// The distance of a position whose next move zeroes, by result + 2.
extern const int TB_DTZ_BEFORE_ZERO[5];
