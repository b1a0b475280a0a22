// The transposition table: one block for all threads, no locks, two tables (one per side to move,
// since the position key has no side term).
//
// An entry is two 64-bit words, each read and written as a whole:
//   low word:   bits 0-31 key, the low half of the position key;
//               bits 32-63 check = (score + (move << 16) + 12000) XOR the key's high half
//   high word:  bits 0-15 move, 16-31 static evaluation, 32-47 score, 48-55 depth, 56-63 flags
//               (bits 5-7 bound: 1 upper, 2 lower, 3 exact; bits 0-4 age stamp)
// The check word ties score and move to the key, so that a mix of two writers' words is not taken.
#pragma once

#include <atomic>

#include "search/thread_state.h"

struct HashEntry {
    std::atomic<u64> low;
    std::atomic<u64> high;
};
static_assert(sizeof(HashEntry) == 16);

enum HashBound { BOUND_UPPER = 1, BOUND_LOWER = 2, BOUND_EXACT = 3 };

enum HashMode : u8 {
    HASH_OFF,
    HASH_ON,
    HASH_KEPT,  // on, and not cleared between the console's searches
};

struct HashTable {
    HashEntry *sides[2];  // one table per side to move
    u64 mask;             // of a bucket's index
    HashEntry *memory;    // the block that holds both; null without a table
    i64 entries;          // 16-byte units in the requested size
    HashMode mode = HASH_ON;
    i16 age;              // stamp of the current search, 1..31; 0 before the first
    Relaxed<float> fill;  // share of current entries, 0..1
};
extern HashTable hash_table;

// Allocates and clears the table of settings.hash_mb megabytes and returns 1. When memory can't hold it,
// says so in one line, sets settings.hash_mb to the size that was there before (at the first call: to the
// largest of its halves that fits), makes that table, and returns 0. The first call fills the hash keys.
int allocate_hash_table();
void free_hash_table();
// Zeroes hash_table.fill and, if the table exists and is enabled, the table. No search may run.
void clear_hash_table();
// Steps the age stamp, once per search.
void step_hash_age();
// True when the position has a usable entry; then the outputs are its fields, the score as stored
// (mate distances count from the node). On false they stay as they were.
bool hash_probe(Position *position, int *score, int *eval, int *depth, Move *move, int *bound);
// Stores a result; a move of 0 stores nothing.
void hash_store(const Position *position, int ply, int depth, Move move, int eval, int score, int bound);
// Recounts hash_table.fill from the first 1000 entries.
void count_hashfull();

// Prefetches the key's bucket. A bucket may straddle two cache lines.
// Always inlined: as a function that only prefetches, the compiler takes it to do nothing.
[[gnu::always_inline]] inline void prefetch_bucket(int side, u64 key) {
    const HashEntry *bucket = hash_table.sides[side] + (key & hash_table.mask);
    __builtin_prefetch(bucket, 0, 3);
    __builtin_prefetch(bucket + 4, 0, 3);
}
// The same for the position after a move, before the move is tested. The key is
// right for plain moves, captures and double steps; a miss costs nothing but the line.
[[gnu::always_inline]] inline void prefetch_child(const Position *position, const MoveEntry *entry) {
    if (!hash_table.memory) return;
    const Square from = from_of(entry->move), to = to_of(entry->move);
    u64 key = position->key ^ zobrist[entry->piece * 64 + from] ^ zobrist[entry->piece * 64 + to];
    if (entry->captured) key ^= zobrist[entry->captured * 64 + to];
    if (position->ep_square != NO_SQUARE) key ^= zobrist[position->ep_square];
    if (type_of(entry->piece) == PAWN && (from ^ to) == 16) key ^= zobrist[(from + to) / 2];
    prefetch_bucket(position->stm ^ 1, key);
}
