// Training positions for the network as packed records, and their scores. The format is described in
// docs/training-record.md.
#pragma once

#include "board/position.h"

// One position in 40 bytes, little-endian; a .bin file is nothing but these.
struct TrainRecord {
    u8 squares[32];   // piece codes: low four bits square 2i, high four bits square 2i + 1
    u8 stm_castling;  // low four bits castling rights, high four bits side to move
    u8 ep;            // en-passant square, 64 if none
    i16 gr_score;     // the game's result as a score for the side to move, -3000..3000
    i16 ce;           // evaluation from the game, centipawns, wrapped to 16 bits
    i16 sc;           // evaluation from a search, -3000..3000
};
static_assert(sizeof(TrainRecord) == 40);

constexpr int TRAIN_SCORE_LIMIT = 3000;

// Probability 0..1 that the side with `score` centipawns wins.
float score_to_win_prob(int score);
// Its inverse: a result 0..1 as a score, -3000..3000.
int result_to_score(float result);
// The score kept within -3000..3000.
int cut_train_score(int score);

// Packs the position's board, side, rights and en-passant square; the three scores are zero.
void pack_train_record(const Position *position, TrainRecord *record);
// Unpacks a record; keys are not computed. `target` gets the training target 0..1. False when a king
// is missing.
bool set_position_from_record(const TrainRecord *record, Position *position, float *target);
