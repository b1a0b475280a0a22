// Syzygy endgame tables: the only header of this folder that the rest of the program includes.
// Published format: files .rtbw (result) and .rtbz (distance to the next capture or pawn move).
#pragma once

#include "board/position.h"

// A result for the side to move.
enum TbWdl {
    TB_NO_ANSWER = -1,
    TB_LOSS,
    TB_BLESSED_LOSS,  // saved by the fifty-move rule
    TB_DRAW,
    TB_CURSED_WIN,  // spoilt by the fifty-move rule
    TB_WIN,
};
// The same result as the other side sees it. Not for TB_NO_ANSWER.
constexpr int tb_reversed(int result) { return TB_WIN - result; }

extern int TB_LARGEST;  // most men of any table found; 0 without tables

// Scans settings.syzygy_path and prints what was found. No search may run.
void tb_init();
// Releases all tables, at the end of the program.
void tb_free();
// At the start of a search, before its threads probe: files that were cut or replaced since they were
// mapped are no longer read as they were.
void tb_check_files();

// The result of a position; the half-move clock does not count. `depth` is tested against the probe
// depths for 6 and 7 men.
TbWdl tb_probe_wdl(const Position *position, int depth);
// Half-moves to the next capture or pawn move with best play: positive when the side to move wins,
// negative when it loses, 0 for a draw. False without an answer.
bool tb_root_distance(const Position *position, int *distance);
// Root ranking by distance to zeroing: true with the chosen move and its result with regard to the
// half-move clock, or false. The caller tests that the clock is 10 or more.
bool tb_root_rank(const Position *position, Move *move, TbWdl *result);
