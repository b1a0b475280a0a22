// One value out of one table: maps and sets up the file on its first use, then numbers the position
// and reads the stream. Used by the probes and the registry.
#pragma once

#include "tablebase/tb_registry.h"

// WDL: -2 to 2 for the side to move. DTZ: half-moves to the next zeroing move behind the first one,
// not negative, for a position whose result is `wdl` (which WDL itself ignores). Captures are not
// considered. *success becomes 0 when there is no answer, -1 when the DTZ file holds the positions
// of the other side to move only; else it stays as it is.
int tb_probe_table(const TbPosition &pos, int wdl, int *success, TB_TYPE type);

// Releases a mapped file, with the messages for a failure.
void tb_unmap_file(MappedFile *mapping);
// Frees the streams of one type of a table.
void tb_free_streams(TbBaseEntry *entry, TB_TYPE type);
