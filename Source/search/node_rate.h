// Playing strength by node rate: the rating of a node rate, its inverse, and the choice for a search.
#pragma once

#include "search/search_state.h"

// The program's speed, measured at start; 0 before.
struct Calibration {
    float nps;  // nodes per second, scaled
    float elo;  // rating of that speed
};
extern Calibration calibration;

// Elo of a node rate: 850 + 250 L - 5 L^2 with L = ln(nps).
double elo_of_node_rate(double nodes_per_second);
// The node rate whose rating is `elo` (1500..3300), by bisection in single precision.
float node_rate_of_elo(int elo);
// Sets search_run.target_nps and search_run.throttled: the rate of a limited strength, else the measured speed.
void choose_node_rate(const SearchLimits &limits);
