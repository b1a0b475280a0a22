#include "support/fresh_search.h"

#include "base/settings.h"
#include "board/fen.h"
#include "board/notation.h"
#include "eval/network/forward.h"
#include "search/hash_table.h"
#include "search/node_rate.h"
#include "search/search_state.h"
#include "search/start.h"
#include "search/thread_state.h"

SearchResult fresh_search(const std::string &fen, int depth, int hash_mb) {
    if (ThreadState *old = worker_states[0].exchange(nullptr)) {
        free_network_buffers(&old->eval);
        free_thread_state(old);
    }
    calibration.nps = 1e7f;
    settings.max_depth = static_cast<i16>(depth);
    settings.time_mode = 1;
    settings.move_time = 1e7f;
    if (settings.hash_mb != hash_mb || !hash_table.memory) {
        settings.hash_mb = hash_mb;
        allocate_hash_table();
    }
    hash_table.age = 0;
    clear_hash_table();
    // Clearing leaves the units after the requested size as they were: a fresh state has them empty.
    for (i64 unit = hash_table.entries; hash_table.memory && unit < (hash_table.entries | 16); ++unit) {
        hash_table.memory[unit].low = 0;
        hash_table.memory[unit].high = 0;
    }
    Position *position = &root_thread_state->position;
    set_position_from_text(position, fen.c_str());
    search_on_this_thread(SEARCH_BENCH);
    write_search_state(0);
    SearchResult result = {worker_state(0)->nodes, published.score, published.depth, "", ""};
    char text[MOVE_TEXT];
    move_to_coord(position, position->stm, published.pv[1], text);
    result.best_move = text;
    if (published.pv[2]) {
        move_to_coord(position, position->stm ^ 1, published.pv[2], text);
        result.ponder_move = text;
    }
    return result;
}
