// The network in single precision: its memory layout, where its weights come from, and the network file
// that it becomes.
//
// Values are in units of the activation scale Q: 1.0 is Q in the file. The hidden nodes are cut into tiles;
// a tile has all weights that belong to its nodes, and one thread works on one tile at a time. So a
// tile's weights and gradients stay in the core's own cache, threads never write to the same place, and
// the result does not depend on the number of threads.
#pragma once

#include <string>
#include <vector>

#include "platform/integers.h"

constexpr int TILE = 64;  // hidden nodes of each perspective in a tile
constexpr int OUTPUT_ROWS_STORED = 8;

// The fields of a network file's header that the weights don't tell.
struct NetworkFields {
    i16 id;
    i16 activation_scale;
    i16 weight_scale;
    i16 output_scale;
    i16 king_buckets;
    i16 output_count;
};

// One array of floats for each role, all of the same layout: tile after tile; in a tile first the rows of
// the first layer, then two rows of biases (white, black), then for each of eight heads a row for the side to
// move and one for the other side. Each row is TILE floats. Nodes past `half` in the last tile stay 0.
struct Model {
    NetworkFields fields;
    int half;  // hidden nodes of a perspective
    int tiles;
    int first_rows;  // rows of the first layer
    bool one_bias;   // both perspectives have the same biases, and keep them the same: colours are equal
    u64 floats;      // in each array
    float *weights;
    float *gradient;  // of the mean loss of a batch; zero between batches
    float *moment1;   // Adam: running mean of the gradient
    float *moment2;   // Adam: running mean of its square
};

inline int rows_in_tile(const Model &model) { return model.first_rows + 2 + 2 * OUTPUT_ROWS_STORED; }
inline u64 tile_floats(const Model &model) { return static_cast<u64>(rows_in_tile(model)) * TILE; }
inline int bias_row(const Model &model, int side) { return model.first_rows + (model.one_bias ? 0 : side); }
// `other` is 0 for the half of the side to move, 1 for the other side's.
inline int output_row(const Model &model, int head, int other) { return model.first_rows + 2 + 2 * head + other; }

// Makes zeroed arrays for the fields and hidden size; false when memory runs out.
bool create_model(Model *model, const NetworkFields &fields, int half);
void free_model(Model *model);
// Number of weights in the network file.
u64 file_weight_count(const Model &model);
// Position in the arrays of weight `index` of the network file.
u64 weight_place(const Model &model, u64 index);

// Loads "embedded" or a network file by the engine's own reader. False, with a line, on any defect.
bool load_model(Model *model, const std::string &source);
// A network of standard fields with random weights: first layer and outputs uniform, biases 0.
bool random_model(Model *model, int half, u64 seed);

// The weights as the network file holds them: times Q, rounded to the nearest word.
std::vector<i16> quantised_weights(const Model &model);
// Writes a network file of 16-bit words beside the path and renames it. False, with a line, on failure.
bool write_network(const Model &model, const std::string &path);
