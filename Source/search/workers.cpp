// The records of the search threads, made and refreshed, and the sums of their counters.
#include "search/workers.h"

#include <cstdlib>
#include <cstring>

#include "search/search_state.h"

// Counters and results of the last search.
static void reset_results(ThreadState *thread) {
    for (Relaxed<u16> &word : thread->pv_line) word = 0;
    thread->root_score = 0;
    thread->iteration_depth = 0;
    thread->root_fail = ROOT_IN_WINDOW;
    thread->completed_depth = 0;
    thread->seldepth = 0;
    thread->nodes = 0;
    thread->tb_hits = 0;
    thread->hash_probes = 0;
    thread->hash_hits = 0;
    thread->eval.eval_calls = thread->eval.eval_cache_hits = thread->eval.pawn_probes = thread->eval.pawn_hits = 0;
    thread->perft_count = 0;
    std::memset(thread->diagnostic_counts, 0, sizeof thread->diagnostic_counts);
}

// A record is made once and refreshed for each search: the game is copied; history, counter moves and caches stay until
// root_search resets them.
int init_thread_state(int index) {
    ThreadState *thread = worker_state(index);
    const bool is_new = !thread;
    if (is_new) {
        thread = allocate_thread_state(static_cast<u8>(index));
        if (!thread) return -1;
        thread->eval.own_rows_wanted = index > 0;
        lock_spin(&search_lock);
        thread->thread_rand = static_cast<u32>(std::rand());
        unlock_spin(&search_lock);
    }
    // The position and the game so far.
    thread->position = root_thread_state->position;
    thread->position.game = &thread->game;
    thread->game.game_ply = root_thread_state->game.game_ply;
    thread->game.last_move = root_thread_state->game.last_move;
    std::memcpy(thread->game.game_stack, root_thread_state->game.game_stack,
                static_cast<std::size_t>(thread->game.game_ply) * sizeof(GameRecord));
    thread->game.game_stack[thread->game.game_ply].move = 0;

    // plies[0] points at an end mark for good: as "the move two plies back" it is not a null move.
    for (int ply = 0; ply < 2; ++ply) {
        thread->move_pool[ply].move = END_OF_LIST;
        thread->plies[ply].move_list = thread->plies[ply].current_move = thread->move_pool + ply;
        thread->plies[ply].node_type = NODE_PV;
    }
    thread->game.ply = 1;
    reset_results(thread);
    // Published last: other threads may read it from now on.
    if (is_new) worker_states[index].store(thread, std::memory_order_release);
    return 0;
}

void sum_thread_counters() {
    u64 nodes = 0, tb_hits = 0, probes = 0, hits = 0;
    for (int i = 0; i < search_limits.threads; ++i) {
        const ThreadState *thread = worker_state(i);
        if (!thread || thread->completed_depth < 2) continue;
        nodes += thread->nodes;
        tb_hits += thread->tb_hits;
        probes += thread->hash_probes;
        hits += thread->hash_hits;
    }
    published.totals.nodes = nodes;
    published.totals.tb_hits = tb_hits;
    published.totals.hash_probes = probes;
    published.totals.hash_hits = hits;
    if (const ThreadState *first = worker_state(0)) published.totals.seldepth = first->seldepth;
}
