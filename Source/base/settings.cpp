// The settings record, its start values, and the run-time words that all floors share.
#include "base/settings.h"

#include <atomic>
#include <cmath>
#include <cstring>

Settings settings;
Settings default_settings;

static std::atomic<u16> search_state;

Relaxed<u8> stop_search;
u8 hash_enabled;
i16 hash_age;
float side_clock[2];
Relaxed<i16> moves_to_go;
float time_factor;
float target_nps;
Relaxed<float> elapsed_time;
char program_dir[512];

// One assignment per field; texts that start empty are cleared by the zeroed record.
void set_start_values() {
    const u8 has_popcnt = settings.has_popcnt;
    const u8 has_bmi = settings.has_bmi;
    settings = Settings{};
    settings.learn_rate = 0.001f;
    settings.train_count = 400000000;
    settings.mini_batch = 3000;
    std::strcpy(settings.out_file, "tmp0.epd");
    settings.uci_mode = 1;
    settings.has_popcnt = has_popcnt;
    settings.has_bmi = has_bmi;
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
    settings.SEP_depth = 3;
    settings.NMP_depth = 3;
    settings.FP_depth = 4;
    settings.LMP_depth = 6;
    settings.LMR_depth = 3;
    default_settings = settings;

    write_search_state(0);
    stop_search = 0;
    hash_enabled = 1;
    hash_age = 0;
    side_clock[0] = side_clock[1] = 5.0f;
    time_factor = 1.0f;
    target_nps = 0.0f;
}

double elo_of_node_rate(double nodes_per_second) {
    const double log_rate = std::log(nodes_per_second);
    return 850.0 + 250.0 * log_rate - 5.0 * log_rate * log_rate;
}

u16 read_search_state() { return search_state.load(std::memory_order_acquire); }
void write_search_state(u16 state) { search_state.store(state, std::memory_order_release); }
void add_search_state(u16 bits) { search_state.fetch_or(bits, std::memory_order_acq_rel); }
void clear_search_state(u16 bits) { search_state.fetch_and(static_cast<u16>(~bits), std::memory_order_acq_rel); }
