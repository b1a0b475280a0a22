// The arithmetic of training, on one tile of hidden nodes: forward pass, gradient and Adam step.
// Compiled for the vector instructions of the build machine.
#pragma once

#include <vector>

#include "train_model.h"
#include "train_sample.h"

// Samples that go through the network together: their hidden sums of a tile fit into a core's cache.
constexpr int CHUNK = 512;
constexpr float NEGATIVE_SLOPE = 1.0f / 64.0f;  // of the activation

struct AdamStep {
    float rate;          // learning rate with both bias corrections
    float epsilon;       // corrected likewise
    float first_limit;   // clipping of first-layer weights and biases
    float output_limit;  // clipping of output weights
};

// Runs `count` samples. `hidden` gets the sums before activation, 2 TILE floats a sample (side to move
// first); `outputs` gets the tile's share of the network's output, one float a sample.
void forward_tile(const Model &model, int tile, const Sample *samples, int count, float *hidden, float *outputs);
// Which perspectives of a chunk's samples use a row of the first layer, row after row.
struct RowUsers {
    std::vector<int> first;  // by row: its first entry in `users`; one more at the end
    std::vector<u16> users;  // 2 * sample, + 1 for the side that is not to move; ascending for each row
};
void list_row_users(const Model &model, const Sample *samples, int count, RowUsers *list);

// Adds the samples' gradients to model.gradient. `slopes` has the derivative of the batch's loss by each
// sample's output; `hidden` is what forward_tile left, and is overwritten.
void backward_tile(const Model &model, int tile, const Sample *samples, int count, const RowUsers &row_users,
                   float *hidden, const float *slopes);
// One step of Adam (Kingma and Ba, 2015) on the tile's weights, clipped to the limits; clears its gradient.
void adam_tile(const Model &model, int tile, const AdamStep &step);
// Adam's decay of the two moments.
constexpr float ADAM_BETA1 = 0.9f, ADAM_BETA2 = 0.999f, ADAM_EPSILON = 1e-8f;
