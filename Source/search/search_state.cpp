// The words that the search publishes and shares.
#include "search/search_state.h"

#include <atomic>

#include "base/settings.h"

SpinLock search_lock;
SearchLimits search_limits;
SearchRun search_run;
PublishedResult published;
GameClock game_clock;

// SearchStateBits.
static std::atomic<u16> search_state;

u16 read_search_state() { return search_state.load(std::memory_order_acquire); }
void write_search_state(u16 state) { search_state.store(state, std::memory_order_release); }
void add_search_state(u16 bits) { search_state.fetch_or(bits, std::memory_order_acq_rel); }
void clear_search_state(u16 bits) { search_state.fetch_and(static_cast<u16>(~bits), std::memory_order_acq_rel); }

void reset_search_state() {
    write_search_state(0);
    search_run.stop = 0;
    search_run.target_nps = 0.0f;
    game_clock.remaining[0] = game_clock.remaining[1] = 5.0f;
}

SearchLimits limits_of_settings() {
    SearchLimits limits = {};
    // Depth, nodes, time.
    limits.node_limit = settings.node_limit;
    limits.soft_node_limit = settings.soft_node_limit;
    limits.min_depth = settings.min_depth;
    limits.max_depth = settings.max_depth;
    limits.time_mode = settings.time_mode;
    limits.move_time = settings.move_time;
    limits.time_increment = settings.time_increment;
    limits.move_overhead = 0.001f * static_cast<float>(settings.move_overhead);
    // Threads, lines, strength, and what is printed.
    limits.ponder = settings.ponder;
    limits.threads = settings.threads;
    limits.multipv = settings.multipv;
    limits.limit_strength = settings.limit_strength;
    limits.uci_elo = settings.uci_elo;
    limits.info_min_time = settings.info_min_time;
    return limits;
}
