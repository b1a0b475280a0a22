// How fast the running program answers "stop", "isready" and "quit" during a search.
#pragma once

#include <string>
#include <vector>

struct ResponseSetup {
    bool use_network = true;
    int threads = 1;
    std::vector<int> stop_delays = {0, 1, 10, 100};  // milliseconds between "go infinite" and "stop"
    std::string directory;                           // working directory of the program
};

struct ResponseTimes {
    std::vector<std::vector<double>> stop;  // milliseconds, a list for each delay
    std::vector<double> ready, quit;        // milliseconds
    std::vector<std::string> faults;        // no answer, or a move that is not legal: what and where
};

// FEN texts of an EPD file: the first four fields of each line, without remarks.
std::vector<std::string> read_epd_positions(const std::string &path);
// The positions of random games from the start position. start_engine() has run.
std::vector<std::string> random_positions(int count, unsigned seed);
// Searches each position once per delay and stops it, then once more for "isready"; every `quit_step`th
// position ends the program by "quit" during a search. Positions that are over are left out.
// start_engine() has run.
ResponseTimes measure_responses(const ResponseSetup &setup, const std::vector<std::string> &positions, int quit_step);

// The value that the share (0 to 1) of the list does not exceed; 0 for an empty list.
double share_of(std::vector<double> values, double share);
