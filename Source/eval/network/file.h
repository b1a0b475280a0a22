// The network: its file format, where it comes from, and the block in memory that all threads may read.
#pragma once

#include <cstdio>

#include "platform/integers.h"

struct Network {
    int id;
    int activation_scale;  // Q: scale of hidden values and output weights; not 0
    int weight_scale;      // below 128 a file's weights are bytes
    int output_scale;      // centipawn factor
    int king_buckets;      // 1 or more; 2 selects rows by the own king's rank
    int flags;
    int hidden_size;        // H, both perspectives; even
    int output_count;       // 5: the head is chosen by material
    i32 weight_count;       // all weights in memory
    i32 first_layer_count;  // of these, first-layer weights
    u32 generation;         // number of loads so far: distinguishes sums of different networks
    // No sum leaves 16 bits, in whatever order rows are added, while each side has at most the pieces of each type that
    // it has at the start of a game.
    bool never_saturates;
    i16 *weights;        // one block of 16-bit words, 64-byte aligned
    i16 *first_layer;    // rows of H / 2, in feature order
    i16 *output_rows;    // eight rows of H
    i16 *hidden_biases;  // H: white half, black half
};

extern Network network;

// Loads what settings.nn_file names: "embedded", "new" or a file. Only while no search runs. A file
// that can't be opened ends the program with status 0; a damaged one is named in one line and the
// built-in network is loaded instead.
void load_network();
void free_network();

constexpr int NETWORK_DEFECT_SIZE = 160;  // holds the reason why a file is no network
// Fills the network, of which there must be none, from an open file. When that can't be done, returns false with the
// reason in `text` and no network loaded. The step of load_network that reads foreign bytes.
bool read_network(std::FILE *file, char text[NETWORK_DEFECT_SIZE]);
