// Training positions as files: packing EPD text into records and unpacking it (-epd2bin, -bin2epd).
#pragma once

#include "formats/training_record.h"

constexpr i64 TRAIN_RECORD_LIMIT = 449999999;

// Records in memory: one block that grows as it is filled. Starts zeroed.
struct TrainRecords {
    TrainRecord *block;
    i64 count;
    i64 capacity;  // records that the block holds
};

// Reads the records of a ".bin" file into `records`, at most TRAIN_RECORD_LIMIT; an incomplete
// record at the end is ignored. Also seeds `rand` and the master's thread_rand. 0, or -1 on any
// failure, with a line on standard error.
int load_train_records(const char *path, TrainRecords *records);
void free_train_records(TrainRecords *records);
// The record of an EPD line, set up on the master position: 1, or 0 when the line has neither score,
// when score and result contradict each other, or without exactly one king a side.
int record_from_epd_line(const char *line, TrainRecord *record);

// -epd2bin: settings.in_file ".epd" to ".bin". -bin2epd: settings.data_file ".bin" to ".epd".
// False, with a line on standard error, when something could not be read or written.
bool epd_to_records();
bool records_to_epd();
