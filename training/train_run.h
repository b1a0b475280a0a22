// A run: its data, its trainer, its place in the schedule.
#pragma once

#include "train_checkpoint.h"
#include "train_data.h"
#include "train_options.h"
#include "train_report.h"
#include "trainer.h"

struct TrainRun {
    TrainOptions options;
    DataSet data;
    Trainer trainer;
    RunState state;
    std::vector<DataItem> held_out;  // positions of a measurement
    std::vector<ReportRow> rows;
    double start_clock;   // clock reading at which state.seconds was 0
    LossSum loss;         // since the last measurement
    u64 last_report;      // state.visits then
    double report_clock;  // clock reading after the last measurement
    double save_clock;    // clock reading after the last checkpoint
};

// Reads data and network or checkpoint, starts the threads. False, with a line, when that fails.
bool start_run(TrainRun *run);
// Draws the next batch, follows its gradient and moves the state on.
void train_batch(TrainRun *run);
// Learning rate at the present state: a linear rise, then half a cosine wave down to the last rate.
double learning_rate(const TrainRun &run);
// Done part of the schedule, 0 to 1.
double share_done(const TrainRun &run);
// Measures, prints and logs.
bool report_run(TrainRun *run);
// Writes the checkpoint and the network.
bool save_run(TrainRun *run);
// Compares the written network with the engine's evaluation of held-out positions; one line.
bool check_with_engine(TrainRun *run);
void end_run(TrainRun *run);
