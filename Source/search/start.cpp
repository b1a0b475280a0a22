// Setting a search up; starting and ending its threads. The threads share the hash table and nothing else: no queue, no
// message but search_run.stop.
#include "search/start.h"

#include "base/output.h"
#include "base/settings.h"
#include "board/fen.h"
#include "eval/evaluate.h"
#include "platform/clock.h"
#include "platform/process.h"
#include "platform/threads.h"
#include "search/hash_table.h"
#include "search/node_rate.h"
#include "search/pruning_tables.h"
#include "search/root.h"
#include "search/time_check.h"
#include "search/workers.h"
#include "tablebase/tablebase.h"

static Thread master;
static Thread workers[MAX_THREADS];
static int thread_indices[MAX_THREADS];
static int workers_started;  // workers 1 to this one run

// What a log or a person at the console sees of a search first: position, clock, target.
static void print_start_lines() {
    if (!(search_limits.info_min_time < INFO_NEVER) || (settings.uci_mode && !settings.log_on)) return;
    char fen[FEN_SIZE];
    position_to_fen(&root_thread_state->position, fen, 0);
    print_format("info string fen %s", fen);
    print_format("info string clock= %0.2f, target_time= %0.3f",
                 static_cast<double>(game_clock.remaining[search_run.root_side]),
                 static_cast<double>(search_run.target_time));
}

// Clears what the last search published.
static void clear_results() {
    published.depth = 0;
    published.score = 0;
    published.totals.nodes = 0;
    published.change_depth = 0;
    published.pv[1] = 0;
    for (int depth = 0; depth < DEPTH_RECORDS; ++depth) {
        published.iteration_score[depth] = -SCORE_INFINITE;
        published.iteration_move[depth] = 0;
        published.depth_nodes[depth] = 0.0;
    }
}

// Zeroes the counters of the threads that exist. A thread that is not started this time counts for nothing.
static void clear_worker_counters() {
    for (int i = 0; i < MAX_THREADS; ++i)
        if (ThreadState *thread = worker_state(i)) {
            thread->completed_depth = 0;
            thread->nodes = 0;
            thread->tb_hits = 0;
            thread->hash_probes = 0;
            thread->hash_hits = 0;
        }
}

// Order matters: read the clock first; time_check() needs everything set above it.
void search_setup(const SearchLimits &limits) {
    search_limits = limits;
    // 1. Clock.
    const ClockReading now = read_clock();
    search_run.start_time = static_cast<double>(now.seconds) + static_cast<double>(now.nanoseconds) * 1e-9;
    search_run.elapsed = 0.0f;

    // 2. Margins and reductions, node rate, tablebase files.
    build_pruning_tables();
    choose_node_rate(limits);
    tb_check_files();

    // 3. The search's own words.
    search_run.root_side = root_thread_state->position.stm;
    choose_contempt_side(root_thread_state->position, (read_search_state() & SEARCH_BENCH) != 0);
    root_thread_state->game.ply = 1;
    search_run.stop = 0;
    search_run.depth = 0;
    search_run.target_time = 0.0f;
    search_run.single_reply = 0;
    search_run.fallback_move = 0;

    // 4. Hash table: age stamp; off without memory.
    step_hash_age();
    if (settings.hash_mb < 1) hash_table.mode = HASH_OFF;

    // 5. A fixed time per move counts as the clock.
    if (limits.time_mode == 1) game_clock.remaining[search_run.root_side] = limits.move_time;

    // 6. Results and counters of the last search.
    clear_results();
    clear_worker_counters();

    // 7. A first target.
    time_check();
    print_start_lines();
}

// Prepares the record that no search can do without.
static void init_master_state() {
    if (init_thread_state(0) == 0) return;
    print_line("info string no memory for a search thread, stopping Tarn");
    end_process(-1);
}

// Body of the master thread.
static void master_thread(int *index) {
    init_master_state();
    if (search_limits.threads > 0) root_search(*index);
    add_search_state(SEARCH_DONE);
}

// Body of the other search threads. A root inside the tablebases is searched by the master alone.
static void worker_thread(int *index) {
    if (init_thread_state(*index) != 0) return;
    if (*index >= search_limits.threads || search_run.tb_wdl != TB_NO_ANSWER) return;
    root_search(*index);
}

bool start_master_thread() {
    // Detached: its SEARCH_DONE is waited for instead.
    thread_indices[0] = 0;
    workers_started = 0;
    if (!start_thread(&master, master_thread, &thread_indices[0])) return false;
    detach_thread(&master);
    return true;
}

void start_worker_threads() {
    for (int i = 1; i < search_limits.threads; ++i) {
        thread_indices[i] = i;
        if (!start_thread(&workers[i], worker_thread, &thread_indices[i])) {
            print_format("info string can't start search thread %d of %d, stopping Tarn", i + 1,
                         static_cast<int>(search_limits.threads));
            end_process(-1);
        }
        workers_started = i;
    }
}

// The master is not joined, see above.
void join_search_threads() {
    search_run.stop = 1;
    for (int i = 1; i <= workers_started; ++i)
        if (!join_thread(&workers[i])) {
            print_format("info string can't join search thread %d, stopping Tarn", i + 1);
            end_process(-1);
        }
    workers_started = 0;
}

// No thread is started and nobody watches the clock or the input meanwhile.
void search_with_limits(u16 state, const SearchLimits &limits) {
    write_search_state(state);
    search_setup(limits);
    init_master_state();
    if (limits.threads > 0) {
        root_search(0);
        take_fallback_move();
    }
    add_search_state(SEARCH_DONE);
    refresh_elapsed_time();
}

void search_on_this_thread(u16 state) { search_with_limits(state, limits_of_settings()); }
