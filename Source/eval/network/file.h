// The network: its file format, where it comes from, and the one copy in memory that all threads read.
#pragma once

#include "platform/integers.h"

extern int net_id;
extern int net_activation_scale;  // Q: scale of hidden values and output weights
extern int net_weight_scale;      // below 128 a file's weights are bytes
extern int net_output_scale;      // centipawn factor
extern int net_king_buckets;
extern int net_flags;
extern int net_hidden_size;        // H, both perspectives
extern int net_output_count;       // 5: the head is chosen by material
extern i32 net_weight_count;       // all weights in memory
extern i32 net_first_layer_count;  // of these, first-layer weights

extern u32 net_generation;  // loads so far: tells sums of one network from those of another

extern i16 *net_weights;          // one block of 16-bit words, 64-byte aligned
extern i16 *first_layer_weights;  // rows of H / 2, in feature order
extern i16 *output_weights;       // eight rows of H
extern i16 *hidden_biases;        // H: white half, black half

// Loads what settings.nn_file names: "embedded", "new" or a file. Only while no search runs. A file
// that can't be opened ends the program with status 0; a damaged one is named in one line and the
// built-in network is loaded instead.
void load_network();
void free_network();
