// The measure of the program's speed.
#include "search/calibration.h"

#include <algorithm>

#include "base/output.h"
#include "base/settings.h"
#include "board/fen.h"
#include "search/node_rate.h"
#include "search/search_state.h"
#include "search/start.h"

static constexpr i64 CALIBRATION_NODES = 35000;
static constexpr double SCALE = 1.18;  // on the rate of the short search

// One thread searches a middle-game position, without output.
void calibrate() {
    set_position_from_text(&root_thread_state->position,
                           "rnb1k2r/1pq1bppp/p2p1n2/4p3/4P3/2N1BN2/PPP1BPPP/R2QK2R w KQkq -");
    SearchLimits limits = limits_of_settings();
    limits.node_limit = CALIBRATION_NODES;
    limits.info_min_time = INFO_NEVER;
    limits.threads = 1;
    limits.limit_strength = 0;
    search_with_limits(SEARCH_BENCH, limits);
    write_search_state(0);
    const ThreadState *worker = worker_state(0);
    const double nodes = worker ? static_cast<double>(worker->nodes) : 0.0;
    calibration.nps = static_cast<float>(nodes / (static_cast<double>(search_run.elapsed) + 0.002) * SCALE);
    // A search that was cut to nothing has no rate to take the logarithm of.
    calibration.elo = static_cast<float>(elo_of_node_rate(std::max(calibration.nps, 1.0f)));
    print_format("info string et= %.3f, calibration nps= %0.0f, elo= %0.0f", static_cast<double>(search_run.elapsed),
                 static_cast<double>(calibration.nps), static_cast<double>(calibration.elo));
}
