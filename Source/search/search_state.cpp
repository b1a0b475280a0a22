// The words that the search publishes and shares.
#include "search/search_state.h"

#include <atomic>

SpinLock search_lock;
SearchRun search_run;
PublishedResult published;
GameClock game_clock;

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
