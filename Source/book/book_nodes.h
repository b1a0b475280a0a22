// What the book maker counts: one node for each distinct position and move, found by key.
#pragma once

#include "board/types.h"

struct BookNode {
    u64 key;         // book_key before the move
    u32 wins;        // games won by the side that made the move
    u32 losses;      // games lost by it
    u32 draws;       // drawn games
    u16 move;        // engine's coding
    BookNode *next;  // next node of the chain
};

struct NodeBlock;  // nodes are taken from the heap in blocks

// Chains of nodes, indexed by the highest bits of the key; each chain in rising key order, the moves
// of one key in the order in which they came. Walking the chains in order is therefore walking the
// keys in rising order. The number of chains doubles as the nodes grow, so that chains stay short.
struct BookTable {
    BookNode **heads;  // 1 << head_bits chains
    int head_bits;
    u32 nodes;          // nodes in all chains
    NodeBlock *blocks;  // newest first
};

// False when memory runs out; then the table holds nothing and needs no freeing.
bool open_book_table(BookTable *table);
void free_book_table(BookTable *table);
// Counts one game for a move: outcome 1 a win of the mover, -1 a loss, 0 a draw. False when memory
// for a new node ran out.
bool count_book_move(BookTable *table, u64 key, Move move, int outcome);
