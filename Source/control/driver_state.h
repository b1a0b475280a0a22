// What the main loop of normal play is asked to do besides the search under way (see search_state).
#pragma once

#include "platform/integers.h"
#include "platform/relaxed.h"

struct DriverState {
    Relaxed<u8> quit;  // 1: end the program, or the tool that is running
    u8 auto_reply;     // make the best move of a search on the board
    u8 self_play;      // play both sides
    bool endless;      // the last "go" was "go infinite"
};
extern DriverState driver;

// Asks the running search to stop. It ends within a node, with the best move so far or, before the first root
// move has its score, with the first legal one.
void stop_running_search();
