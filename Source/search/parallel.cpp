// Starting and ending search threads. They share the hash table and nothing else: no queue, no
// message but search_run.stop.
#include "search/parallel.h"

#include <cstdlib>
#include <cstring>

#include "base/output.h"
#include "base/settings.h"
#include "platform/clock.h"
#include "platform/process.h"
#include "platform/threads.h"
#include "search/root.h"
#include "search/search_state.h"

static Thread master;
static Thread workers[MAX_THREADS];
static int thread_indices[MAX_THREADS];
static int workers_started;  // workers 1 to this one run

// A record is made once and refreshed for each search: the game is copied, the tables of the last
// search stay until root_search resets them.
int init_thread_state(int index) {
    ThreadState *thread = worker_state(index);
    const bool is_new = !thread;
    if (is_new) {
        thread = allocate_thread_state(static_cast<u8>(index));
        if (!thread) return -1;
        lock_spin(&search_lock);
        thread->thread_rand = static_cast<u32>(std::rand());
        unlock_spin(&search_lock);
    }
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
        thread->plies[ply].node_type = 0;
    }
    for (Relaxed<u16> &word : thread->pv_line) word = 0;
    thread->game.ply = 1;
    thread->root_score = 0;
    thread->iteration_depth = 0;
    thread->root_fail = 0;
    thread->completed_depth = 0;
    thread->seldepth = 0;
    thread->nodes = 0;
    thread->tb_hits = 0;
    thread->hash_probes = 0;
    thread->hash_hits = 0;
    thread->eval.eval_calls = thread->eval.eval_cache_hits = thread->eval.pawn_probes = thread->eval.pawn_hits = 0;
    thread->perft_count = 0;
    std::memset(thread->diagnostic_counts, 0, sizeof thread->diagnostic_counts);
    if (is_new) worker_states[index].store(thread, std::memory_order_release);
    return 0;
}

static void master_thread(int *index) {
    if (init_thread_state(*index) != 0) {
        print_line("info string no memory for a search thread, stopping Tarn");
        end_process(-1);
    }
    if (settings.threads > 0) root_search(*index);
    add_search_state(SEARCH_DONE);
}

// A root inside the tablebases is searched by the master alone.
static void worker_thread(int *index) {
    if (init_thread_state(*index) != 0) return;
    if (*index >= settings.threads || search_run.tb_wdl != TB_NO_ANSWER) return;
    root_search(*index);
}

bool start_master_thread() {
    thread_indices[0] = 0;
    workers_started = 0;
    if (!start_thread(&master, master_thread, &thread_indices[0])) return false;
    detach_thread(&master);
    return true;
}

void start_worker_threads() {
    for (int i = 1; i < settings.threads; ++i) {
        thread_indices[i] = i;
        if (!start_thread(&workers[i], worker_thread, &thread_indices[i])) {
            print_format("info string can't start search thread %d of %d, stopping Tarn", i + 1,
                         static_cast<int>(settings.threads));
            end_process(-1);
        }
        workers_started = i;
    }
}

void join_search_threads() {
    search_run.stop = 1;
    for (int i = 1; i <= workers_started; ++i)
        if (!join_thread(&workers[i])) {
            print_format("info string can't join search thread %d, stopping Tarn", i + 1);
            end_process(-1);
        }
    workers_started = 0;
}

void sum_thread_counters() {
    u64 nodes = 0, tb_hits = 0, probes = 0, hits = 0;
    for (int i = 0; i < settings.threads; ++i) {
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
