// The options of tarn-selfplay.
#pragma once

#include <string>

#include "platform/integers.h"

struct SelfplayOptions {
    std::string openings;  // EPD file; empty: the start position
    std::string output;    // ".bin" file of game positions
    std::string network = "embedded";
    bool use_network = true;
    i64 seed = 1;
    int jobs = 0;          // worker processes; 0: one per core
    i64 positions = 0;     // records wanted in both files together; 0: no limit
    i64 seconds = 0;       // 0: no limit
    int report = 10;       // seconds between two lines of progress
    int random_plies = 6;  // random moves after an opening line
    int endings = 30;      // percent of the games that start from a random ending
    i64 nodes = 2500;      // per move, soft: counts once min_depth is completed
    i64 max_nodes = 8000;  // per move, hard
    int min_depth = 6;
    int inner = 2;           // positions taken from inside the search, per move of a game
    i64 inner_nodes = 1000;  // per label of an inner position, soft
    int resign = 1000;       // a score, centipawns, that decides a game when it stays; 0: play on
    int draw_plies = 12;     // plies at a level score that end a game as drawn; 0: play on
};

enum class OptionsResult { RUN, HELP, FAULT };

// Reads the command line. FAULT after a line on standard error.
OptionsResult read_selfplay_options(int argc, char **argv, SelfplayOptions *options);
void print_selfplay_help();
// The file of inner positions: "data.bin" gives "data.inner.bin".
std::string inner_path(const std::string &output);
