// The state of a run between two batches, and the file that keeps it.
#pragma once

#include <string>

#include "train_model.h"

// Where a run is. Together with the weights and moments this decides all that follows.
struct RunState {
    u64 seed;
    u64 visits;      // positions drawn so far
    u64 steps;       // Adam steps so far
    u64 pass;        // walk through the training records, from 0; each has an order of its own
    u64 pass_place;  // records of the pass drawn so far
    u64 pass_count;  // training records the pass was begun with
    double seconds;  // spent training
};

// Writes state, weights and moments beside the path and renames the file. False, with a line, on failure.
bool write_checkpoint(const Model &model, const RunState &state, const std::string &path);
// Makes the model and reads all three back. False, with a line, when the file is damaged or can't be read.
bool read_checkpoint(Model *model, RunState *state, const std::string &path);
