// Training data for the network: positions made by self-play, as EPD text and as packed records.
// The record format is described in docs/training-record.md.
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

constexpr i64 TRAIN_RECORD_LIMIT = 449999999;
constexpr int TRAIN_SCORE_LIMIT = 3000;

// The records in memory: one block that grows with what is read.
extern TrainRecord *train_records;
extern i64 train_record_count;

// Reads the records of a ".bin" file into train_records, at most TRAIN_RECORD_LIMIT; a piece of a
// record at the end is left out. Also seeds `rand` and the master's thread_rand. 0, or -1 on any
// failure.
int load_train_records(const char *path);
void free_train_records();
// Packs the position's board, side, rights and en-passant square; the three scores are zero.
void pack_train_record(const Position *position, TrainRecord *record);
// The record of an EPD line, set up on the master position: 1, or 0 when the line has neither score
// or when score and result contradict each other.
int record_from_epd_line(const char *line, TrainRecord *record);
// Decisive result g (0..1) as a score, -3000..3000.
int result_to_score(float result);

// -epd2bin: settings.in_file ".epd" to ".bin". -bin2epd: settings.data_file ".bin" to ".epd".
void epd_to_records();
void records_to_epd();
