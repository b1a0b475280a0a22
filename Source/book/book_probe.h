// Opening books in the Polyglot format: asking a book file for a move.
#pragma once

#include "board/position.h"
#include "book/book_record.h"

constexpr int BOOK_LIST_SIZE = 127;  // records of one key that are looked at; further ones are not seen

// Generator of the weighted draw; the first probe that finds its file seeds it with the time of day,
// after that it lives as long as the process. A caller that wants a known draw sets both.
extern u32 book_seed;
extern u8 book_seeded;

// One book move of the position, or 0: no path, no readable file, position not in the book, only
// moves of weight 0, or the draw fell on a move that is not legal. Prints the list of book moves in
// the form of the mode. The file is opened for the call only. Main thread, while no search runs.
Move book_probe(Position *position, const char *path);

// The steps of a probe.

// The records of a key in file order, at most BOOK_LIST_SIZE; returns how many. Needs a sorted file;
// in any other it may miss records.
int book_find_records(std::FILE *file, u64 key, BookRecord *list);
// Sum of the weights, at most BOOK_LIST_SIZE * 65535.
i32 book_total_weight(const BookRecord *list, int count);
// Weights in parts of 10000 of `total` (not 0), with a share of the first record's weight added
// (variety over 25) or taken off (under 25, down to 0). Returns their sum, which is above 0.
i32 book_adjust_weights(const BookRecord *list, int count, i32 total, int variety, i32 *adjusted);
// Steps the generator and returns a threshold, 0 or more and below `sum`.
i32 book_draw_threshold(u32 *seed, i32 sum);
// The entry that the threshold falls on: the last one of those with a weight whose predecessors'
// adjusted weights stay below it, the first of them for a threshold of 0; -1 when none has a weight.
int book_choose_entry(const BookRecord *list, const i32 *adjusted, int count, i32 threshold);
