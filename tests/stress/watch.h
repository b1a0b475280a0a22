// Follows one conversation with the engine, line by line, and names every line that it must not say. All it knows
// comes from the conversation, so that a recorded one can be checked as well as a running one.
#pragma once

#include <string>
#include <vector>

struct Watch {
    bool starting = true;      // nothing but start lines so far
    bool searching = false;    // a "go" awaits its answer
    bool holding = false;      // the search is a ponder search: its move has to wait
    bool listing = false;      // "uci" awaits "uciok"
    bool options_open = true;  // lines about options may come until a "readyok" that was asked for after them
    int ready_before = 0;      // of the owed ones, those asked for before the last option
    int ready_owed = 0;        // "isready" without "readyok" so far

    bool drawn = false;    // the answer must be "info string Draw!"
    bool no_move = false;  // it must be "bestmove null"
    // The answer to the last search: empty for "info string Draw!".
    std::string best_move, ponder_move;
};

// The engine is sent this line. Keeps the board (the master record of support/engine.h) at the position that is sent;
// start_engine() has run.
void watch_sent(Watch *watch, const std::string &line);
// The engine said this line. Returns what is wrong with it, or an empty text.
std::string watch_said(Watch *watch, const std::string &line);

// True if these moves can be played one after another from the board's position.
bool is_legal_line(const std::vector<std::string> &moves);
