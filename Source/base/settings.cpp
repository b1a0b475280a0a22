// The settings record and its start values.
#include "base/settings.h"

#include <cstring>

Settings settings;
Settings default_settings;

// One assignment per field; texts that start empty are cleared by the zeroed record.
void set_start_values() {
    settings = Settings{};
    settings.learn_rate = 0.001f;
    settings.train_count = 400000000;
    settings.mini_batch = 3000;
    std::strcpy(settings.out_file, "tmp0.epd");
    settings.uci_mode = 1;
    settings.soft_node_limit = NO_NODE_LIMIT;
    settings.node_limit = NO_NODE_LIMIT;
    settings.min_depth = 80;
    settings.max_depth = 80;
    settings.time_mode = 1;
    settings.move_time = 5.0f;
    settings.hash_mb = 64;
    settings.threads = 1;
    settings.use_nn = 1;
    settings.move_overhead = 50;
    settings.multipv = 1;
    settings.own_book = 1;
    settings.book_variety = 25;
    settings.book_depth = 24;
    std::strcpy(settings.param_file, "params.txt");
    std::strcpy(settings.nn_file, "embedded");
    std::strcpy(settings.book_file, "tarn_book.bin");
    settings.syzygy_depth6 = 1;
    settings.syzygy_depth7 = 7;
    settings.selectivity = 100;
    settings.contempt_drift = 15;
    settings.sep_depth = 3;
    settings.nmp_depth = 3;
    settings.fp_depth = 4;
    settings.lmp_depth = 6;
    settings.lmr_depth = 3;
    default_settings = settings;
}
