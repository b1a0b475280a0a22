// Reading one value out of one table. A file is mapped and set up on its first use. Internal to this
// folder.
#pragma once

#include "tablebase/tb_records.h"

// WDL: a TbResult for the side to move. DTZ: half-moves to the next zeroing move after the first one,
// not negative, for a position whose result is `wdl` (WDL ignores it). Captures are not considered.
// *status becomes TB_NO_VALUE without an answer and TB_OTHER_SIDE where the DTZ file holds the
// positions of the other side to move only; else it stays as it is. Any thread may call it.
int tb_probe_table(const TbPosition &pos, int wdl, TbStatus *status, TbType type);

// The lock that guards the set-up of a table. False when it cannot be made.
bool tb_make_lock();
void tb_destroy_lock();  // does nothing without one

// Unmaps every type of the table and frees its streams. No thread may probe.
void tb_unmap_table(TbBaseEntry *entry);
// Reads the sizes of the mapped files again, as memory beyond the end of a file cannot be read. A
// file of another size is unmapped and set up anew on its next use; one that was cut to a size that no
// table has is no longer used until the next tb_init, and a line says so. A file that was deleted
// stays mapped. No thread may probe.
void tb_check_mappings(TbBaseEntry *entry);
