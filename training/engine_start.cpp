#include "engine_start.h"

#include <cstdio>
#include <cstring>

#include "base/output.h"
#include "base/settings.h"
#include "base/text.h"
#include "board/attacks.h"
#include "eval/handcrafted/weights.h"
#include "eval/kpk.h"
#include "eval/network/file.h"
#include "platform/file_offset.h"
#include "platform/process.h"
#include "platform/threads.h"
#include "search/node_rate.h"
#include "search/search_state.h"
#include "search/thread_state.h"

static constexpr int HEADER_SIZE = 24;
static constexpr int HIDDEN_SIZE_OFFSET = 12;

// The engine falls back to its built-in network when a file is damaged. A generator must not: its
// records would come from another network than the one that was named.
static bool is_loaded_from(const char *path) {
    std::FILE *file = std::fopen(path, "rb");
    if (!file) return false;
    u8 header[HEADER_SIZE] = {};
    const bool whole_header = std::fread(header, 1, HEADER_SIZE, file) == HEADER_SIZE;
    const i64 size = stream_size(file);
    std::fclose(file);
    const int hidden = header[HIDDEN_SIZE_OFFSET] | header[HIDDEN_SIZE_OFFSET + 1] << 8;
    const long weight_bytes = network.weight_scale < 128 ? 1 : 2;
    const long stored = network.first_layer_count + 9L * network.hidden_size;
    return whole_header && hidden == network.hidden_size && size >= HEADER_SIZE + weight_bytes * stored;
}

bool load_named_network(const char *name) {
    if (!std::strcmp(name, "embedded")) {
        copy_text(settings.nn_file, name, sizeof settings.nn_file);
        load_network();
        return true;
    }
    if (!file_exists(name) || std::strlen(name) >= sizeof settings.nn_file) {
        std::fprintf(stderr, "can't open the network %s\n", name);
        return false;
    }
    copy_text(settings.nn_file, name, sizeof settings.nn_file);
    load_network();
    if (is_loaded_from(name)) return true;
    std::fprintf(stderr, "%s is not a whole network\n", name);
    return false;
}

bool start_engine_library(const char *name, bool use_network) {
    prepare_process();
    for (std::atomic<ThreadState *> &worker : worker_states) worker = nullptr;
    root_thread_state = allocate_thread_state(MASTER_THREAD_ID);
    if (!root_thread_state || create_spin_lock(&output_lock) != 0 || create_spin_lock(&search_lock) != 0) {
        std::fputs("no memory for the engine\n", stderr);
        return false;
    }
    init_attack_tables();
    init_kpk_table();
    set_start_values();
    reset_search_state();
    settings.info_min_time = INFO_NEVER;
    calibration.nps = 1e7f;
    settings.move_time = 1e7f;
    settings.use_nn = use_network;
    init_zobrist();
    load_weights();
    return load_named_network(name);
}
