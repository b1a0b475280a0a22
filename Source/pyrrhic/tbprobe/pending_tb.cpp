// Placeholder until the endgame tables land.
#include "pyrrhic/tbprobe/tb_probe.h"

Mutex tb_mutex;
int TB_LARGEST;
void tb_init() {}
void tb_free() {}
int tb_probe_wdl(const Position *, int) { return -1; }
bool tb_root_rank(const Position *, Move *, int *) { return false; }
