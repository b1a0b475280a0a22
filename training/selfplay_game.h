// One game of self-play: its searches, the records it gives, its result.
#pragma once

#include <string>
#include <vector>

#include "random.h"
#include "selfplay_options.h"
#include "tools/training_data.h"

// Positions written lately, so that no position is written twice in a row of games. A fixed table:
// an old position gives way to a new one with the same low key bits.
struct SeenPositions {
    std::vector<u64> keys;
};

enum class GameResult { BLACK_WINS, DRAW, WHITE_WINS };

// What one game gives. Inner records carry their own score as the result.
struct GameRecords {
    std::vector<TrainRecord> game;
    std::vector<TrainRecord> inner;
    GameResult result;
    u64 nodes;  // of all searches
    u64 searches;
};

// A score with what the records need to know of its search. Scores are centipawns for the side to move.
struct Labelled {
    int score;
    Move best;   // 0 without a legal move
    bool quiet;  // not in check, the best move neither captures nor promotes, no mate score
};

// Raised by a signal handler: the running search ends soon, and the game with it.
void request_stop();
// True after request_stop, and in a worker whose parent has ended.
bool stop_requested();

// Allocates the worker's hash table and the table of seen positions. `parent` is the process whose
// end ends the worker, 0 for none. False without memory.
bool start_selfplay_worker(int parent, SeenPositions *seen);
// Searches the master position with these limits; nodes are added to `records`.
Labelled search_and_label(i64 nodes, i64 max_nodes, int min_depth, GameRecords *records);
// False for a position seen before; else true, and it is seen from now on.
bool take_position(SeenPositions *seen, const Position *position);
// The record of the master position: `score` as both scores, `result` as gr_score.
TrainRecord make_record(int score, int result);

// Plays one game from a start that `random` chooses. False when it was stopped, or no balanced start
// was found: then there are no records.
bool play_selfplay_game(const SelfplayOptions &options, const std::vector<std::string> &openings, Random *random,
                        SeenPositions *seen, GameRecords *records);
