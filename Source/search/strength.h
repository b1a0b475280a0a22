// Playing strength by node rate: the rating formula's inverse, the choice for a search, calibration.
#pragma once

// The program's speed, measured at start; 0 before.
struct Calibration {
    float nps;  // nodes per second, scaled
    float elo;  // rating of that speed
};
extern Calibration calibration;

// Elo of a node rate: 850 + 250 L - 5 L^2 with L = ln(nps).
double elo_of_node_rate(double nodes_per_second);
// Sets search_run.target_nps and search_run.throttled for a search.
void choose_node_rate();
// The node rate whose rating is `elo` (1500..3300), by bisection in single precision.
float node_rate_of_elo(int elo);
// Measures the program's speed by a short search and prints the line about it.
void calibrate();
