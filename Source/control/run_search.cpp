// One search from the main thread's side: start it, watch the clock and the input, collect the threads.
#include "control/run_search.h"

#include "control/input_lines.h"
#include "control/settings.h"
#include "control/uci.h"
#include "platform/clock.h"
#include "search/parallel.h"
#include "search/report.h"
#include "search/root.h"
#include "search/search_state.h"
#include "search/time_check.h"

// Watches a running search about once a millisecond until it is over or the program is to end. Once
// a stop was asked for, input waits: the next command must not overtake the "bestmove".
static void watch_search() {
    while (!settings.quit_flag) {
        time_check();
        if (read_search_state() & SEARCH_DONE) return;
        if (!(read_search_state() & SEARCH_STOP)) console_poll();
        else if (best_pv[1]) stop_search = 1;  // an early stop, which waited for a move to answer with
        if (read_search_state() & SEARCH_STOP) sleep_milliseconds(stop_search ? 0 : 1);
        else pause_for_input(1);
    }
}

void run_search(u16 state, int threaded) {
    if (!threaded) {
        search_on_this_thread(state);
        return;
    }
    write_search_state(state);
    search_setup();
    if (!start_search_threads()) {
        write_search_state(0);  // no thread, no result: idle again
        return;
    }
    watch_search();
    join_search_threads();
    // The master thread is detached: its SEARCH_DONE is the sign that it has left the shared data.
    while (!(read_search_state() & SEARCH_DONE)) sleep_milliseconds(0);
    report_iteration(0, 1, best_depth, best_score, best_pv);
    add_search_state(SEARCH_DONE);
    refresh_elapsed_time();
}
