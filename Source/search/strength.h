// Playing strength by node rate: the rating formula's inverse, the choice for a search, calibration.
#pragma once

// Sets target_nps and nps_throttle for a search.
void choose_node_rate();
// The node rate whose rating is `elo` (1500..3300), by bisection in single precision.
float node_rate_of_elo(int elo);
// Measures the program's speed by a short search and prints the line about it.
void calibrate();
