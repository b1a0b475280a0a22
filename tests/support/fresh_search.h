// One search from a fresh state: new thread record, empty hash, age stamp as at program start.
#pragma once

#include <string>

#include "board/types.h"

struct SearchResult {
    u64 nodes;
    int score;
    int depth;
    std::string best_move;
    std::string ponder_move;  // empty for none
};

// Searches on this thread with the current settings; hash size in megabytes. start_engine() has run.
SearchResult fresh_search(const std::string &fen, int depth, int hash_mb);
