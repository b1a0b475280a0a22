// Response times of the real program: "stop" 0, 1, 10 and 100 ms after "go", "isready" and "quit" during a
// search, with both evaluations and 1, 2 and 4 threads. The bar: a legal move within 20 ms in the median
// and 100 ms at worst, on an idle machine; exit status 1 when it is missed.
//
//   response [POSITIONS]     how many positions, 1000 without it: the crowded ones, the test suites beside
//                            the project where they are, and random play
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/engine.h"
#include "support/places.h"
#include "support/program.h"
#include "support/response.h"
#include "support/shared_data.h"

static constexpr double MEDIAN_BAR = 20.0;  // milliseconds
static constexpr double WORST_BAR = 100.0;

// The crowded positions first, then an even choice of the suites, at most half, and random play.
static std::vector<std::string> choose_positions(std::size_t count) {
    std::vector<std::string> positions = read_epd_positions(project_path("bench/crowded.epd")), suites;
    for (const char *name : {"bratko-kopec", "endgame", "wac-revised", "openings_3moves"})
        for (const std::string &fen : read_epd_positions(shared_path("data/epd/" + std::string(name) + ".epd")))
            suites.push_back(fen);
    const std::size_t wanted = std::min(suites.size(), count / 2);
    for (std::size_t i = 0; i < wanted; ++i) positions.push_back(suites[i * suites.size() / wanted]);
    if (positions.size() < count)
        for (const std::string &fen : random_positions(static_cast<int>(count - positions.size()), 1))
            positions.push_back(fen);
    positions.resize(std::min(positions.size(), count));
    return positions;
}

// Prints one row; true when the bar is met.
static bool print_row(const char *what, const std::vector<double> &times) {
    const double median = share_of(times, 0.5), worst = share_of(times, 1.0);
    const bool met = median <= MEDIAN_BAR && worst <= WORST_BAR;
    std::printf("  %-14s %6zu   median %7.2f   99%% %7.2f   worst %7.2f ms%s\n", what, times.size(), median,
                share_of(times, 0.99), worst, met ? "" : "   MISSED");
    return met;
}

int main(int argc, char **argv) {
    const std::size_t count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1000;
    start_engine();
    const std::vector<std::string> positions = choose_positions(count);
    ScratchDirectory directory;
    bool met = true;
    for (const bool use_network : {true, false})
        for (const int threads : {1, 2, 4}) {
            ResponseSetup setup;
            setup.use_network = use_network;
            setup.threads = threads;
            setup.directory = directory.path;
            const ResponseTimes times = measure_responses(setup, positions, 10);
            std::printf("%s, threads %d, %zu positions\n", use_network ? "network" : "hand-crafted", threads,
                        positions.size());
            for (std::size_t i = 0; i < setup.stop_delays.size(); ++i)
                met &= print_row(("stop, " + std::to_string(setup.stop_delays[i]) + " ms").c_str(), times.stop[i]);
            met &= print_row("isready", times.ready);
            met &= print_row("quit", times.quit);
            for (const std::string &fault : times.faults) std::printf("  FAULT %s\n", fault.c_str());
            met &= times.faults.empty();
            std::fflush(stdout);
        }
    std::puts(met ? "the bar is met" : "the bar is missed");
    return met ? 0 : 1;
}
