// One search as the main thread sees it: start the threads, watch clock and input, join the threads.
#include "control/run_search.h"

#include "base/output.h"
#include "control/driver_state.h"
#include "control/input_lines.h"
#include "control/poll.h"
#include "platform/clock.h"
#include "search/report.h"
#include "search/root.h"
#include "search/search_state.h"
#include "search/start.h"
#include "search/time_check.h"

// Seconds. Until then, or until the first iteration, the watch does not sleep: workers start, and the
// shortest searches end, without delay.
static constexpr float BUSY_START = 0.005f;

// Watches a running search about once a millisecond until it is over or the program is to end. The
// workers start when the master has reached its first iteration; input is read before that as well.
// After a stop no input is read: the next command must not overtake the "bestmove".
static void watch_search() {
    bool workers_wait = search_limits.threads > 1;
    while (!driver.quit) {
        time_check();
        if (read_search_state() & SEARCH_DONE) return;
        if (workers_wait && search_run.depth >= 1 && !search_run.stop) {
            start_worker_threads();
            workers_wait = false;
        }
        if (!(read_search_state() & SEARCH_STOP)) console_poll();
        const bool busy = search_run.depth < 1 && search_run.elapsed < BUSY_START;
        if (search_run.stop || busy) sleep_milliseconds(0);
        else pause_for_input(1);
    }
}

bool run_search(u16 state, bool threaded) {
    if (!threaded) {
        search_on_this_thread(state);
        return true;
    }
    write_search_state(state);
    search_setup(limits_of_settings());
    const bool started = start_master_thread();
    if (started) {
        watch_search();
        join_search_threads();
        // The master thread is detached. SEARCH_DONE means that it no longer uses shared data.
        while (!(read_search_state() & SEARCH_DONE)) sleep_milliseconds(0);
    } else {
        print_line("info string can't start a search thread, the move is not searched");
    }
    take_fallback_move();
    report_iteration(0, 1, published.depth, published.score, published.pv);
    add_search_state(SEARCH_DONE);
    refresh_elapsed_time();
    return started;
}
