// What a user can set, in one plain record. Written by the command line, the configuration file, UCI and
// console commands, always on the main thread while no search runs.
#pragma once

#include "platform/integers.h"
#include "platform/relaxed.h"

constexpr const char *PROGRAM_NAME = "Tarn 7.04";
constexpr const char *PROGRAM_AUTHOR = "Ilse Marrow";

constexpr int MAX_THREADS = 160;
constexpr int PATH_LENGTH = 4097;       // file names of 4096 characters, the most that systems accept
constexpr int SYZYGY_LENGTH = 32001;    // holds a list of directories
constexpr float INFO_NEVER = 99999.0f;  // info_min_time: print no information lines
constexpr i64 NO_NODE_LIMIT = 1000000000000000;

struct Settings {
    float info_min_time;   // seconds of search before information lines; INFO_NEVER for none
    float learn_rate;      // stored only
    i64 train_count;       // positions to generate
    i32 mini_batch;        // stored only
    float train_weight;    // stored only
    u8 numa;               // stored only
    u8 trace;              // console "trace"; nothing reads it
    u8 eval_debug;         // console "set debug": trace before the board
    Relaxed<u8> uci_mode;  // 1 UCI, 0 console; "uci" leaves the console
    i64 soft_node_limit;   // nodes; counts once min_depth is completed
    i64 node_limit;        // nodes
    i16 min_depth;         // plies
    i16 max_depth;         // plies, at most 80
    i16 time_mode;         // 0 sudden death, 1 fixed time per move, n moves per control
    float move_time;       // seconds
    float time_increment;  // seconds per move
    i32 hash_mb;           // megabytes, 0..32768
    i16 threads;           // search threads, 0..160
    u8 use_nn;             // 1 network, 0 hand-crafted evaluation
    i16 move_overhead;     // milliseconds, 0..1000
    u8 ponder;
    u8 chess960;  // castling is written as king takes rook
    u8 multipv;   // lines, 1..255
    u8 limit_strength;
    i16 uci_elo;  // 0 not set, else 1500..3300
    u8 log_on;
    u8 own_book;
    u8 book_variety;     // 0..100
    i8 book_depth;       // plies, 0..60
    i8 book2_depth;      // plies, 0..60
    i8 syzygy_depth6;    // lowest depth that probes 6 men, -5..100
    i8 syzygy_depth7;    // the same for 7 men, never below 7
    i16 opponent_elo;    // recorded, not read
    i16 contempt;        // centipawns, -150..150
    i16 selectivity;     // percent, 0..200
    i16 contempt_drift;  // centipawns; no option reaches it
    i16 sep_depth;
    i16 nmp_depth;
    i16 fp_depth;
    i16 lmp_depth;
    i16 lmr_depth;
    // Texts come last, so the numbers above share few cache lines.
    char in_file[PATH_LENGTH];
    char pgn_file[PATH_LENGTH];
    char out_file[PATH_LENGTH];
    char data_file[PATH_LENGTH];
    char param_file[PATH_LENGTH];
    char nn_file[PATH_LENGTH];
    char config_path[PATH_LENGTH];
    char book_file[PATH_LENGTH];
    char book2_file[PATH_LENGTH];
    char syzygy_path[SYZYGY_LENGTH];
};

extern Settings settings;
extern Settings default_settings;  // what "uci" prints as defaults

// Fills `settings` with its start values and copies it to `default_settings`.
void set_start_values();
