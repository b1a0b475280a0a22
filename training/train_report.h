// What a run tells: one line a measurement, a table (CSV) and a drawing (SVG).
#pragma once

#include <string>
#include <vector>

#include "trainer.h"

// One measurement; a row of the table.
struct ReportRow {
    u64 visits;
    double seconds;
    double rate;           // learning rate
    double training_loss;  // mean since the last measurement; 0 before the first batch
    double held_out_loss;
    double head_loss[HEADS];
    double quantised_loss;  // of the network of 16-bit words
    double rounding_mean;   // centipawns between float and quantised output
    double rounding_max;
    double largest_accumulator;  // of 32767
    double largest_output;       // of 2^31 - 1
    double clamped;              // hidden values that an addition beyond 16 bits has changed
    double speed;                // training positions a second since the last measurement
};

ReportRow report_row(const HeldOutResult &result);
// "seconds_left" below 0: not known.
void print_report(const ReportRow &row, double share_done, double seconds_left);

// Rows of the table, up to `visits`; later rows come from a run that was stopped before its checkpoint.
std::vector<ReportRow> read_report_table(const std::string &path, u64 visits);
// Both return false, with a line, when the file can't be written.
bool write_report_table(const std::vector<ReportRow> &rows, const std::string &path);
bool write_loss_plot(const std::vector<ReportRow> &rows, const std::string &path);
