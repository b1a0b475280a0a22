#include "support/engine.h"

#include "base/settings.h"
#include "board/attacks.h"
#include "board/fen.h"
#include "control/driver_state.h"
#include "eval/handcrafted/weights.h"
#include "eval/kpk.h"
#include "eval/network/file.h"
#include "search/hash_table.h"
#include "search/node_rate.h"
#include "search/search_state.h"

ThreadState *start_engine() {
    set_start_values();
    reset_search_state();
    driver = DriverState{};
    calibration = Calibration{};
    hash_table.mode = HASH_ON;
    settings.hash_mb = 16;
    settings.info_min_time = INFO_NEVER;
    if (!root_thread_state) {
        root_thread_state = allocate_thread_state(MASTER_THREAD_ID);
        init_attack_tables();
        init_kpk_table();
        allocate_hash_table();
        load_weights();
        load_network();
    }
    hash_table.age = 0;
    clear_hash_table();
    set_position_from_text(&root_thread_state->position, STARTPOS_FEN);
    return root_thread_state;
}
