// The positions that a run trains on: files of 40-byte records (docs/training-record.md), mapped into
// memory, checked, cut into blocks and split into training and held-out blocks.
#pragma once

#include <string>
#include <vector>

#include "platform/integers.h"
#include "platform/mapped_file.h"
#include "random.h"
#include "tools/training_data.h"

// Records that stay together when the held-out share is chosen. Neighbouring records come from the same
// game, so that single held-out records would have near twins in the training share.
constexpr int BLOCK_RECORDS = 1024;
constexpr int HELD_OUT_ONE_IN = 100;  // one block of this many is held out
// A file with a larger share of damaged records is refused: it is not a file of records.
constexpr double MAX_DAMAGED_SHARE = 0.05;

struct DataFile {
    std::string path;
    MappedFile view;
    bool has_result;  // false: gr_score says nothing, and the target is the score alone
};

// Consecutive records of one file.
struct DataBlock {
    const TrainRecord *records;
    int count;  // 1..BLOCK_RECORDS
    bool has_result;
};

struct DataSet {
    std::vector<DataFile> files;
    std::vector<DataBlock> training;  // whole blocks, then the shorter ones at the ends of files
    std::vector<DataBlock> held_out;
    u64 whole_training_blocks;
    u64 training_count;  // records
    u64 held_out_count;  // records
    u64 damaged_count;   // records that are skipped wherever they are
};

// A record and whether its result field counts.
struct DataItem {
    const TrainRecord *record;
    bool has_result;
};

// Why the record can't be a position of a game, or null for a sound one.
const char *record_defect(const TrainRecord &record);

// Adds a file, or all "*.bin" files of a directory in the order of their names. Damaged records are
// reported in one line a file and skipped when they are drawn. Returns false, with a line, when
// the path can't be read or is no file of records; an empty file is only reported.
bool add_data_path(DataSet *data, const std::string &path, bool has_result);
// Splits all files into blocks and holds out one block in HELD_OUT_ONE_IN, at least one. The choice
// depends on the block's first record, so that it stays the same when files are added or grow.
// Returns false, with a line, when fewer than two blocks are there.
bool split_data(DataSet *data);
void close_data(DataSet *data);

DataItem training_item(const DataSet &data, u64 index);  // index below training_count
DataItem held_out_item(const DataSet &data, u64 index);  // index below held_out_count

// Number `index` of a random order of 0..count - 1 that `key` selects: a Feistel network over the next
// power of four, walked until it lands below `count`. No table, so any place of the order is at hand.
u64 shuffled_index(u64 key, u64 index, u64 count);
// A well mixed 64-bit word of another one.
inline u64 mix_bits(u64 word) {
    Random random = {word};
    return next_random(&random);
}
