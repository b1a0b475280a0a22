// Reads standard input between and during searches.
#include "control/poll.h"

#include <cstring>

#include "base/settings.h"
#include "control/console/console.h"
#include "control/driver_state.h"
#include "control/input_lines.h"
#include "control/uci.h"
#include "search/search_state.h"

static constexpr float LONG_ANALYSIS = 100000.0f;  // seconds; move_time of the console's analysis without a limit

// True for a search that only a front end could end: an infinite one, and the console's analysis
// without a limit.
static bool search_has_no_end() {
    if (read_search_state() & SEARCH_PONDER) return true;
    if (settings.uci_mode) return driver.endless;
    return settings.time_mode == 1 && settings.move_time >= LONG_ANALYSIS && settings.max_depth == MAX_DEPTH &&
           settings.node_limit >= NO_NODE_LIMIT;
}

// Input has ended, so "quit" will never arrive. A search with its own limit may still finish and answer.
static void follow_end_of_input() {
    const u16 state = read_search_state();
    driver.self_play = 0;  // self-play ends with this move
    if (!state) driver.quit = 1;
    else if (!(state & SEARCH_STOP) && search_has_no_end()) stop_running_search();
}

void console_poll() {
    static char line[INPUT_LINE_SIZE];
    if (!poll_input_line(line, sizeof line)) {
        if (input_has_ended()) follow_end_of_input();
        return;
    }
    if (settings.uci_mode || !std::strcmp(line, "uci")) command_dispatch(line);
    else console_command(line);
}
