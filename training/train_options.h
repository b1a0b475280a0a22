// The command line of tarn-train.
#pragma once

#include <string>
#include <vector>

#include "platform/integers.h"

struct DataPath {
    std::string path;
    bool has_result;
};

struct TrainOptions {
    std::vector<DataPath> data;
    std::string network = "embedded";  // "embedded", "random" or a network file
    std::string out = "trained.bin";
    std::string checkpoint;     // default: out + ".checkpoint"
    u64 positions = 0;          // length of the schedule in position visits; 0: by minutes
    double minutes = 0;         // length of the schedule in minutes of training; 0: by positions
    double rate = 6e-4;         // highest learning rate
    double last_rate = 4e-6;    // learning rate at the end of the schedule
    u64 warm_up = 2'000'000;    // visits over which the rate rises to the highest
    double score_share = 0.75;  // lambda
    float first_limit = 1.3f;   // clipping of first-layer weights, in units of the activation scale
    float output_limit = 8.0f;  // clipping of output weights, likewise
    int batch = 16384;          // positions of one step
    int hidden = 2560;          // hidden nodes of a random network, both perspectives
    int threads = 0;            // default: all cores
    u64 seed = 1;               // of the order of positions and of a random network
    u64 report = 8'000'000;     // visits between measurements
    u64 held_out = 131072;      // positions of a measurement at most
    double save_minutes = 10;   // between checkpoints
    bool restart = false;       // a checkpoint is not resumed from but replaced
    bool help = false;
};

// Fills the options from the command line. False, with a line that says what is wrong, on an unknown
// option, a missing or unreadable value, or when data or the length of the schedule are missing.
bool parse_train_options(int count, char **words, TrainOptions *options);
void print_train_help();
