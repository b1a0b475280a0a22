// What the stress driver does next: games, options, limits. Everything is drawn from one seed.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "board/types.h"

struct Plan {
    std::mt19937_64 random;
    int most_threads = 8;
    // The game: what "position" says.
    std::string start;  // "startpos" or "fen ..."
    bool chess960 = false;
    std::vector<std::string> moves;
};

// A number from low to high.
int draw(Plan *plan, int low, int high);
// True in so many of a hundred cases.
bool chance(Plan *plan, int percent);

// A new game some random moves from a start position of any kind. The master record has its position.
// start_engine() has run.
void draw_game(Plan *plan);
std::string position_command(const Plan &plan);
// A random legal move at the board, "" if there is none.
std::string draw_move(Plan *plan);

// One "setoption" line with any value but UCI_Chess960, which belongs to the game.
std::string draw_option(Plan *plan);

// A search: its "go", and what is sent at which millisecond after it.
struct Timed {
    double at;
    std::string line;
};
struct SearchPlan {
    std::string go;
    std::vector<Timed> events;
    double time = -1;    // milliseconds of "movetime" or of the clock of the side to move; -1 without
    bool clock = false;  // `time` is the clock's
};
SearchPlan draw_search(Plan *plan, int side);

// Writes the files that options name into the directory of the program: tables, books, a network, a configuration
// file. Returns false if one can't be written.
bool write_option_files(const std::string &directory);
