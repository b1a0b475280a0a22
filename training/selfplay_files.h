// The files of self-play: records are appended whole, and each run of the same output has a number.
#pragma once

#include <string>
#include <vector>

#include "tools/training_data.h"

// The state file beside an output, "data.bin.state": how many runs have written to it. It stays
// locked while a run lasts.
struct RunState {
    int file = -1;
    i64 run = 0;  // number of this run, from 0
};

// Locks the state file, takes the next run number and stores it before any game is played, so that a
// run that is killed is never played again. False after a line on standard error: the output is in
// use, or the file can't be written.
bool begin_run(const std::string &output, RunState *state);

// Opens a record file for appending, makes it when it isn't there, and cuts off a piece of a record
// at its end. The descriptor, or -1 after a line on standard error.
int open_records(const std::string &path);
// Whole records in a file that is open.
i64 count_records(int file);
// Appends all records or none. False after a line on standard error, as when the disk is full.
bool append_records(int file, const std::string &path, const std::vector<TrainRecord> &records);
