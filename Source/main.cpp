// The process: start-up from top to bottom, the choice of the mode, and the end.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "about.h"
#include "base/output.h"
#include "base/settings.h"
#include "board/attacks.h"
#include "book/book_maker.h"
#include "command_line.h"
#include "control/driver_state.h"
#include "control/game_driver.h"
#include "control/input_lines.h"
#include "control/options.h"
#include "eval/handcrafted/weights.h"
#include "eval/kpk.h"
#include "eval/network/file.h"
#include "eval/network/forward.h"
#include "platform/clock.h"
#include "platform/interrupt.h"
#include "platform/process.h"
#include "platform/threads.h"
#include "search/calibration.h"
#include "search/hash_table.h"
#include "search/search_state.h"
#include "search/thread_state.h"
#include "tablebase/tablebase.h"
#include "tools/benchmark.h"
#include "tools/epd_suite.h"
#include "tools/pgn_scan.h"
#include "tools/prune.h"
#include "tools/training_data.h"
#include "tools/training_games.h"

// What the process ends with, whatever the mode.
enum ExitStatus {
    STATUS_OK = 0,
    STATUS_FAILED = 1,         // a tool failed, or the command line asks for nothing that can be done
    STATUS_INTERRUPTED = 128,  // plus the signal's number: a tool was interrupted and ended in order
};

// The standard library throws when memory runs out, which nothing catches.
[[noreturn]] static void end_without_memory() {
    std::fputs("out of memory\n", stderr);
    end_process(STATUS_FAILED);
}

// Allocates the record that holds the game. False when memory runs out.
static bool make_master() {
    for (std::atomic<ThreadState *> &worker : worker_states) worker = nullptr;
    root_thread_state = allocate_thread_state(MASTER_THREAD_ID);
    if (!root_thread_state) return false;
    root_thread_state->thread_rand = static_cast<u32>(std::rand());
    return true;
}

// 0, or the error code of the lock that could not be made.
static int make_locks() {
    if (const int error = create_spin_lock(&output_lock)) return error;
    return create_spin_lock(&search_lock);
}

// Small searches get a small table: clearing a large one would take longer than the search.
static void shrink_hash_for_small_searches() {
    if (settings.max_depth < 9 || settings.node_limit <= 100000) settings.hash_mb = 2;
    else if (settings.node_limit <= 200000 || settings.max_depth == 9) settings.hash_mb = 4;
}

static void set_timer_period() {
    switch (begin_timer_period()) {
        case TIMER_NOT_SET: print_line("Error setting timer resolution"); break;
        case TIMER_NO_LIMITS: print_plain("error setting timer resolution\n"); break;
        case TIMER_OK: break;
    }
}

static bool bench(const CommandLine &command) {
    const BenchTotals totals = run_bench(command.bench_threaded);
    if (command.bench_summary && totals.complete) print_bench_summary(totals);
    if (totals.failed) std::fputs("error starting a search\n", stderr);
    return !totals.failed;
}

// Returns false if a tool failed; it has printed the reason to standard error.
static bool run_mode(const CommandLine &command) {
    switch (command.mode) {
        case MODE_PLAY:
            calibrate();
            game_driver();
            break;
        case MODE_TEST_SUITE: return run_epd_suite(settings.out_file, SUITE_ANALYSE);
        case MODE_SCAN_PGN: return scan_pgn();
        case MODE_BENCH: return bench(command);
        case MODE_BOOK_MAKER: return make_book(&root_thread_state->position);
        case MODE_CONFIG: break;  // a writer of configuration files was never added
        case MODE_CONVERT_TRAINING: return convert_training_epd();
        case MODE_GENERATE_TRAINING: return generate_training_games();
        case MODE_EPD_TO_RECORDS: return epd_to_records();
        case MODE_RECORDS_TO_EPD: return records_to_epd();
        case MODE_PRUNE_NETWORK: return prune_network();
        case MODE_SECOND_BOOK: settings.multipv = 20; return run_epd_suite("junk.epd", SUITE_EXPAND);
        case MODE_TRAIN:
        case MODE_HELP:
        case MODE_VERSION: break;  // answered before
    }
    return true;
}

// The status of a run that is not a game: what it printed must have arrived.
static int status_of_tool(int status) {
    if (status != STATUS_OK || !output_lost) return status;
    std::fputs("error writing standard output\n", stderr);
    return STATUS_FAILED;
}

// Answers the modes that need no engine. False for the others.
static bool answer_at_once(RunMode mode, int *status) {
    *status = STATUS_OK;
    switch (mode) {
        case MODE_HELP: print_help(); return true;
        case MODE_VERSION: print_version(); return true;
        case MODE_TRAIN:
            print_plain("Need to compile with 'make train_'\n");
            *status = STATUS_FAILED;
            return true;
        default: return false;
    }
}

// Runs the mode and returns its exit status.
static int run_to_end(const CommandLine &command) {
    if (command.mode != MODE_PLAY) {
        ignore_piped_input();
        catch_interrupts(&search_run.stop, &driver.quit);
    }
    const bool done = run_mode(command);
    if (const int signal = caught_interrupt()) {
        std::fprintf(stderr, "interrupted\n");
        return STATUS_INTERRUPTED + signal;
    }
    if (command.mode == MODE_PLAY) return STATUS_OK;
    return status_of_tool(done ? STATUS_OK : STATUS_FAILED);
}

static void release_thread(ThreadState *thread) {
    if (!thread) return;
    free_network_buffers(&thread->eval);
    free_thread_state(thread);
}

// No search is running: the main loop returns only after SEARCH_DONE, which a search thread sets last.
static void release_everything() {
    tb_free();
    free_hash_table();
    close_log();
    free_network();
    release_thread(root_thread_state);
    for (std::atomic<ThreadState *> &worker : worker_states) release_thread(worker);
    destroy_spin_lock(&output_lock);
    destroy_spin_lock(&search_lock);
    end_timer_period();
}

// The order matters: each step needs or overrides an earlier one.
int main(int argc, char **argv) {
    std::set_terminate(end_without_memory);
    prepare_process();
    std::srand(static_cast<unsigned>(read_clock().nanoseconds));
    if (!make_master()) end_without_memory();
    init_attack_tables();
    init_kpk_table();

    set_start_values();
    reset_search_state();
    CommandLine command;
    if (!parse_command_line(argc, argv, &command)) return STATUS_FAILED;
    int status;
    if (answer_at_once(command.mode, &status)) return status_of_tool(status);

    if (const int error = make_locks()) return error;
    print_format("info string Hello from %s", PROGRAM_NAME);
    shrink_hash_for_small_searches();
    allocate_hash_table();
    set_timer_period();
    if (settings.config_path[0]) load_config_file();
    if (settings.log_on && !log_file) open_log();
    load_weights();
    load_network();
    if (std::strlen(settings.syzygy_path) > 1) tb_init();

    status = run_to_end(command);
    release_everything();
    return status;
}
