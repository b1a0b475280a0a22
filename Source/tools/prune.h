// Network pruning: keeping the hidden nodes that contribute most (-prune_nn).
#pragma once

#include "tools/training_data.h"

constexpr int PRUNED_PAIRS = 1536;  // node pairs (white and black half) of the smaller network

// Measures the loaded network's hidden nodes over the records, by the forward pass on the master
// position, and writes the strongest pairs, strongest first, as a network file. A network of at most
// 3073 hidden nodes, or no usable record, writes nothing. The network in memory keeps its weights and
// takes the new counts, so it can no longer be used.
// False, with a line on standard error, when the file can't be written.
bool prune_to_file(const TrainRecord *records, i64 count, const char *output_path);
// The tool: its input has a fixed name (see the README), its output is "pruned.bin".
bool prune_network();
