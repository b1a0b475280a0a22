// What the search publishes and shares: the best line and its score, per-depth accounts, totals.
// Written by the master search thread (or under search_lock where said); read by the driver, the
// clock and the tools.
#pragma once

#include "platform/threads.h"
#include "search/thread_state.h"
#include "tablebase/tablebase.h"

constexpr int SCORE_INFINITE = 10001;
constexpr int MATE_SCORE = 10000;  // mated at ply p scores p - 10000
constexpr int MATE_BOUND = 9799;   // scores at or beyond it are mate distances
constexpr int MAX_DEPTH = 80;
constexpr int DEPTH_RECORDS = 128;  // per-depth accounts; a tablebase answer publishes depth 99

// Guards depth_nodes and `rand`.
extern SpinLock search_lock;

extern u8 root_side;                   // side to move at the root
extern Relaxed<u16> best_pv[PV_SIZE];  // word 1 the best move, 2 the ponder move
extern Relaxed<i16> best_score;
extern Relaxed<i16> best_depth;
extern Relaxed<i16> best_change_depth;               // depth at which the best move changed last
extern Relaxed<i16> iteration_score[DEPTH_RECORDS];  // by depth; -10001 where none
extern Relaxed<u16> iteration_move[DEPTH_RECORDS];
extern double depth_nodes[DEPTH_RECORDS];  // sums of the threads' running totals, by depth
extern Relaxed<i16> search_depth;          // the master's iteration depth
extern Relaxed<u8> single_reply;           // the root has one legal move
extern Relaxed<i32> tb_root_wdl;           // TbWdl
extern u16 tb_root_move;
extern double search_start_time;    // monotonic seconds
extern Relaxed<float> target_time;  // seconds
extern u8 nps_throttle;             // the master sleeps to keep to target_nps
extern i32 root_quiescence_score;   // of the last search's root, before its first iteration
extern i32 root_static_eval;        // likewise

// Lines of the last MultiPV iteration, for the tools: move and score by line.
constexpr int MAX_LINES = 256;
extern u16 line_move[MAX_LINES];
extern i16 line_score[MAX_LINES];

struct SearchTotals {
    Relaxed<u64> nodes, tb_hits, hash_probes, hash_hits;
    Relaxed<i16> seldepth;
};
extern SearchTotals search_totals;
