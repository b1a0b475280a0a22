// Set-up of the tables and the probe of the search.
#include "tablebase/tablebase.h"

#include <cstring>

#include "base/output.h"
#include "base/settings.h"
#include "tablebase/tb_registry.h"
#include "tablebase/tb_values.h"

int TB_LARGEST;

constexpr int ALWAYS_PROBED_MEN = 5;  // and fewer: at any depth

void tb_init() {
    tb_forget_all();
    TB_LARGEST = 0;
    if (!settings.syzygy_path[0] || std::strcmp(settings.syzygy_path, "<empty>") == 0) return;
    tb_register_all(settings.syzygy_path);
    TB_LARGEST = tb_registry.largest;
    // Not by print_line: this line is not logged.
    print_plain("info string Found %d WDL, %d DTM and %d DTZ tablebase files. Largest %d-men\n", tb_registry.wdl_files,
                tb_registry.dtm_files, tb_registry.dtz_files, TB_LARGEST);
}

void tb_free() {
    TB_LARGEST = 0;
    tb_free_registry();
}

void tb_check_files() {
    if (TB_LARGEST) tb_check_all_mappings();
}

TbWdl tb_probe_wdl(const Position *position, int depth) {
    if (position->castling) return TB_NO_ANSWER;
    const int men = popcount(occupied(*position));
    if (men > TB_LARGEST) return TB_NO_ANSWER;
    if (men > ALWAYS_PROBED_MEN) {
        if (settings.syzygy_depth6 > depth) return TB_NO_ANSWER;
        if (men != 6 && settings.syzygy_depth7 > depth) return TB_NO_ANSWER;
    }
    TbStatus status = TB_NO_VALUE;
    const int result = tb_wdl_raw(tb_from_position(position, 0), &status);
    return status == TB_NO_VALUE ? TB_NO_ANSWER : static_cast<TbWdl>(result - TB_RESULT_LOSS);
}
