// One training step over all threads, and the measurement of a network on held-out positions.
#pragma once

#include <atomic>
#include <thread>
#include <vector>

#include "train_kernels.h"

constexpr int HEADS = 5;

// What the threads do together. Each phase is cut into items that the threads take one by one.
enum class Phase {
    DECODE,    // records into samples; an item is DECODE_ITEM samples
    LIST,      // users of each row; an item is a chunk
    TILES,     // backward pass of the last chunk and forward pass of the next; an item is a tile
    ADAM,      // an item is a tile
    QUANTISE,  // integer network against float network; an item is QUANTISE_ITEM samples
    STOP,      // threads end
};
constexpr int DECODE_ITEM = 256;
constexpr int QUANTISE_ITEM = 64;

// Sums of squared errors, in total and by head.
struct LossSum {
    double error[HEADS];
    u64 count[HEADS];
};
void merge_loss(LossSum *into, const LossSum &from);
double mean_loss(const LossSum &sum);            // over all heads; 0 without positions
double mean_loss(const LossSum &sum, int head);  // 0 without positions

// What the network of 16-bit words does on held-out positions.
struct QuantisedResult {
    LossSum loss;
    i32 largest_accumulator;  // largest absolute value of any partial sum of a hidden node
    i64 largest_output;       // largest absolute output sum
    u64 clamped;              // hidden values that an addition beyond 16 bits has changed
    double rounding_sum;      // absolute differences to the float network, centipawns
    double rounding_max;
    u64 count;  // positions
};

struct HeldOutResult {
    LossSum loss;  // of the float network
    QuantisedResult quantised;
};

// What all threads see. The main thread sets the fields, starts a phase and takes part in it.
struct Trainer {
    Model model;
    TargetTable targets;
    float output_slope;  // P(output): 1 / (1 + exp(-output_slope * output))

    std::vector<Sample> samples;         // the batch
    std::vector<DataItem> items;         // its records
    int backward_first, backward_count;  // chunk whose slopes are known
    int forward_first, forward_count;    // chunk to run next
    float *hidden;                       // of each tile: CHUNK samples of 2 TILE floats
    std::vector<float> outputs;          // of each tile: CHUNK floats
    std::vector<RowUsers> row_users;     // of each chunk of the batch
    std::vector<float> slopes;           // of the chunk between its two passes
    AdamStep step;

    const std::vector<i16> *words;           // QUANTISE: the network file's weights
    std::vector<float> float_outputs;        // QUANTISE: the float network's, one a sample
    std::vector<QuantisedResult> quantised;  // QUANTISE: of each item

    std::vector<std::thread> threads;  // helpers of the main thread
    Phase phase;
    int phase_items;
    std::atomic<int> next_item;
    std::atomic<int> working;  // helpers that have not finished the phase
    std::atomic<u32> round;    // counts phases; helpers wait for it to change
};

// Makes buffers and starts threads - 1 helpers. The model must have been made. False, with a line, when
// memory runs out.
bool start_trainer(Trainer *trainer, int threads, float score_share);
void stop_trainer(Trainer *trainer);  // ends the helpers and frees the buffers, not the model

// Decodes trainer->items into trainer->samples.
void decode_items(Trainer *trainer);
// Adds the gradient of the mean squared error of trainer->samples to the model's gradient. Returns the
// errors' sums.
LossSum add_gradient(Trainer *trainer);
// One step of Adam; `number` counts the steps from 1 for the bias correction.
void adam_step(Trainer *trainer, double learning_rate, u64 number, float first_limit, float output_limit);
// Measures the float network on `items`, and the quantised one on every `quantised_one_in`-th of them.
HeldOutResult measure(Trainer *trainer, const std::vector<DataItem> &items, int quantised_one_in);

// The output sum of the network of words in the engine's arithmetic; adds what it saw to `result`.
i32 quantised_sum(const Model &model, const std::vector<i16> &words, const Sample &sample, QuantisedResult *result);
