// Syzygy endgame tables: what the rest of the program asks of them.
#pragma once

#include "board/position.h"
#include "platform/threads.h"

// Guards the mapping of a table file on its first use. Made at start, and anew by each tb_init.
extern Mutex tb_mutex;
extern int TB_LARGEST;  // most men of any table found; 0 without tables

// Scans settings.syzygy_path and prints what was found. No search may run.
void tb_init();
// Releases all mappings, at the end of the program.
void tb_free();
// Result code for the side to move: 0 loss .. 2 draw .. 4 win, -1 no answer. `depth` is tested
// against the probe depths for 6 and 7 men.
int tb_probe_wdl(const Position *position, int depth);
// Root ranking by distance to zeroing: true with the chosen move and its code (0..4), or false.
// Reads the position's half-move clock; the caller tests that it is 10 or more.
bool tb_root_rank(const Position *position, Move *move, int *code);
