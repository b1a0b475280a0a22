// The probe of the search.
#include "tablebase/tablebase.h"

#include "control/settings.h"
#include "tablebase/tb_values.h"

int tb_probe_wdl(const Position *position, int depth) {
    if (position->castling) return -1;
    const int men = popcount(occupied(*position));
    if (men > TB_LARGEST) return -1;
    if (men > 5) {
        if (settings.syzygy_depth6 > depth) return -1;
        if (men != 6 && settings.syzygy_depth7 > depth) return -1;
    }
    int success = 0;
    const int wdl = tb_wdl_raw(tb_from_position(position, 0), &success);
    return success ? wdl + 2 : -1;
}
