// Strength by node rate.
#include "search/strength.h"

#include <algorithm>
#include <cmath>

#include "base/output.h"
#include "base/settings.h"
#include "board/fen.h"
#include "search/root.h"
#include "search/search_state.h"

Calibration calibration;

double elo_of_node_rate(double nodes_per_second) {
    const double log_rate = std::log(nodes_per_second);
    return 850.0 + 250.0 * log_rate - 5.0 * log_rate * log_rate;
}

float node_rate_of_elo(int elo) {
    float low = 10.0f, high = 1e7f, middle = 0.0f;
    for (;;) {
        const float next = (low + high) / 2.0f;
        if (next == middle) return middle;  // the interval has closed
        middle = next;
        const double rating = elo_of_node_rate(middle);
        if (std::fabs(rating - elo) < 0.5) return middle;
        if (rating > elo) high = middle;
        else low = middle;
    }
}

void choose_node_rate() {
    search_run.throttled = 0;
    search_run.target_nps = calibration.nps;
    if (!settings.limit_strength || settings.uci_elo <= 0) return;
    search_run.target_nps = node_rate_of_elo(settings.uci_elo);
    if (search_run.target_nps < 0.9 * calibration.nps) search_run.throttled = 1;
}

// The measure is a search of 35000 nodes from a middle-game position, without output or limits.
void calibrate() {
    static constexpr double SCALE = 1.18;
    set_position_from_text(&root_thread_state->position,
                           "rnb1k2r/1pq1bppp/p2p1n2/4p3/4P3/2N1BN2/PPP1BPPP/R2QK2R w KQkq -");
    const i64 node_limit = settings.node_limit;
    const float info_min_time = settings.info_min_time;
    const i16 threads = settings.threads;
    const u8 limit_strength = settings.limit_strength;
    settings.node_limit = 35000;
    settings.info_min_time = INFO_NEVER;
    settings.threads = 1;
    settings.limit_strength = 0;
    search_on_this_thread(SEARCH_BENCH);
    write_search_state(0);
    settings.node_limit = node_limit;
    settings.info_min_time = info_min_time;
    settings.threads = threads;
    settings.limit_strength = limit_strength;
    const ThreadState *worker = worker_state(0);
    const double nodes = worker ? static_cast<double>(worker->nodes) : 0.0;
    calibration.nps = static_cast<float>(nodes / (static_cast<double>(search_run.elapsed) + 0.002) * SCALE);
    // A search that was cut to nothing has no rate to take the logarithm of.
    calibration.elo = static_cast<float>(elo_of_node_rate(std::max(calibration.nps, 1.0f)));
    print_format("info string et= %.3f, calibration nps= %0.0f, elo= %0.0f", static_cast<double>(search_run.elapsed),
                 static_cast<double>(calibration.nps), static_cast<double>(calibration.elo));
}
