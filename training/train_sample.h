// A training position as the network sees it: rows of the first layer, output head and target.
#pragma once

#include "train_data.h"

constexpr int MAX_MEN = 32;
constexpr int ROWS_PER_BUCKET = 768;

struct Sample {
    u16 rows[2][MAX_MEN];  // first-layer rows of the white and of the black perspective
    u8 count;              // men on the board; 0 for a damaged record, which counts for nothing
    u8 stm;                // 0 white, 1 black
    u8 head;               // 0..4
    float target;          // win probability for the side to move
};

// Win probabilities P(s) = 1 / (1 + exp(-0.006 s)) of all scores a record can hold.
struct TargetTable {
    float probability[2 * TRAIN_SCORE_LIMIT + 1];
    float score_share;  // lambda: the target is lambda P(score) + (1 - lambda) P(result)
};

constexpr double SCORE_SLOPE = 0.006;  // of the win probability, per centipawn

void fill_target_table(TargetTable *table, float score_share);

// Sets the sample up from the record. `king_buckets` as in the network file; the rows come in the
// engine's order (by type, white before black, lowest square first). With `one_head` the head is 0.
void fill_sample(const DataItem &item, const TargetTable &table, int king_buckets, bool one_head, Sample *sample);
