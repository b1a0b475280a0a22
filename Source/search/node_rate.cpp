// Strength by node rate.
#include "search/node_rate.h"

#include <cmath>

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

void choose_node_rate(const SearchLimits &limits) {
    search_run.throttled = 0;
    search_run.target_nps = calibration.nps;
    if (!limits.limit_strength || limits.uci_elo <= 0) return;
    search_run.target_nps = node_rate_of_elo(limits.uci_elo);
    if (search_run.target_nps < 0.9 * calibration.nps) search_run.throttled = 1;
}
