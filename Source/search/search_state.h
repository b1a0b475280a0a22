// What the driver and the search threads share: the state of the search under way, the result it has
// published so far, and the clocks of the game.
// Written by the master search thread (or under search_lock where said) and, between searches, by the main
// thread; read by the driver, the time management and the tools.
#pragma once

#include "platform/threads.h"
#include "search/thread_state.h"
#include "tablebase/tablebase.h"

constexpr int SCORE_INFINITE = 10001;
constexpr int MATE_SCORE = 10000;  // mated at ply p scores p - 10000
constexpr int MATE_BOUND = 9799;   // scores at or beyond it are mate distances
constexpr int MAX_DEPTH = 80;
constexpr int DEPTH_RECORDS = 128;  // per-depth accounts; a tablebase answer publishes depth 99

// Guards PublishedResult::depth_nodes and `rand`.
extern SpinLock search_lock;

// What the driver is doing. Search threads only add SEARCH_DONE. Loads acquire and stores release, so whoever
// sees SEARCH_DONE also sees the results of the finished search.
enum SearchStateBit : u16 {
    SEARCH_RUN = 1,         // a timed search is running
    SEARCH_PONDER = 2,      // a ponder search is running
    SEARCH_BENCH = 4,       // a search that the program started for itself
    SEARCH_GO = 16,         // "go" was read, its search has not started
    SEARCH_GO_PONDER = 32,  // likewise "go ponder"
    SEARCH_DONE = 64,       // the search is over and its result has not been printed
    SEARCH_STOP = 128,      // a stop was requested
};
u16 read_search_state();
void write_search_state(u16 state);
void add_search_state(u16 bits);
void clear_search_state(u16 bits);

// What bounds a search, and what it prints. Filled from the settings when a search starts and not changed by it, so
// that a search with limits of its own leaves the settings alone.
struct SearchLimits {
    i64 node_limit;        // nodes of the master thread
    i64 soft_node_limit;   // nodes; counts once min_depth is completed
    i16 min_depth;         // plies
    i16 max_depth;         // plies, at most MAX_DEPTH
    i16 time_mode;         // 0 sudden death, 1 fixed time per move, n moves per control
    float move_time;       // seconds
    float time_increment;  // seconds per move
    float move_overhead;   // seconds
    u8 ponder;             // pondering is on: a quarter more time
    i16 threads;           // search threads, 0..160
    u8 multipv;            // lines
    u8 limit_strength;     // play at uci_elo
    i16 uci_elo;           // 0 not set, else 1500..3300
    float info_min_time;   // seconds of search before information lines; INFO_NEVER for none
};
extern SearchLimits search_limits;  // of the search under way, or of the last one

SearchLimits limits_of_settings();

// The search under way. search_setup fills it.
struct SearchRun {
    Relaxed<u8> stop;            // raised by any thread; every search function returns on it
    u8 root_side;                // side to move at the root
    u8 throttled;                // the master sleeps to keep to target_nps
    Relaxed<u8> single_reply;    // the root has one legal move
    Relaxed<i16> depth;          // the master's iteration depth
    Relaxed<u16> fallback_move;  // answers a search stopped before its first score; 0 before the root list is made
    u16 tb_move;                 // chosen by the tablebases, 0 for none
    Relaxed<i32> tb_wdl;         // TbWdl of the root
    float target_nps;            // node-rate cap, nodes per second
    double start_time;           // monotonic seconds
    Relaxed<float> elapsed;      // seconds since start_time
    Relaxed<float> target_time;  // seconds
};
extern SearchRun search_run;

// Totals over all search threads.
struct SearchTotals {
    Relaxed<u64> nodes, tb_hits, hash_probes, hash_hits;
    Relaxed<i16> seldepth;
};

constexpr int MAX_LINES = 256;

// The result of the search under way, or of the last one.
struct PublishedResult {
    Relaxed<u16> pv[PV_SIZE];  // word 1 the best move, 2 the ponder move
    Relaxed<i16> score;        // centipawns, or a mate score
    Relaxed<i16> depth;
    Relaxed<i16> change_depth;                    // depth at which the best move changed last
    Relaxed<i16> iteration_score[DEPTH_RECORDS];  // by depth; -10001 where none
    Relaxed<u16> iteration_move[DEPTH_RECORDS];
    double depth_nodes[DEPTH_RECORDS];  // sums of the threads' running totals, by depth
    i32 quiescence_score;               // of the root, before the first iteration
    i32 static_eval;                    // of the root
    u16 line_move[MAX_LINES];           // moves and scores of the last MultiPV iteration, by line
    i16 line_score[MAX_LINES];
    SearchTotals totals;
};
extern PublishedResult published;

struct GameClock {
    float remaining[2];        // seconds, by colour
    Relaxed<i16> moves_to_go;  // moves to the next time control
};
extern GameClock game_clock;

// Start values of the records above; called with set_start_values.
void reset_search_state();
