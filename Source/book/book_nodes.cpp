// The chains of counted moves.
#include "book/book_nodes.h"

#include <cstdlib>

static constexpr int FIRST_HEAD_BITS = 14;
static constexpr int MAX_HEAD_BITS = 28;
static constexpr int BLOCK_NODES = 2048;  // 64 KB

struct NodeBlock {
    NodeBlock *older;
    int used;
    BookNode nodes[BLOCK_NODES];
};

bool open_book_table(BookTable *table) {
    *table = BookTable{};
    table->heads = static_cast<BookNode **>(std::calloc(std::size_t{1} << FIRST_HEAD_BITS, sizeof(BookNode *)));
    table->head_bits = FIRST_HEAD_BITS;
    return table->heads != nullptr;
}

void free_book_table(BookTable *table) {
    std::free(table->heads);
    while (NodeBlock *block = table->blocks) {
        table->blocks = block->older;
        std::free(block);
    }
    *table = BookTable{};
}

// A zeroed node, or null.
static BookNode *new_node(BookTable *table) {
    NodeBlock *block = table->blocks;
    if (!block || block->used == BLOCK_NODES) {
        block = static_cast<NodeBlock *>(std::calloc(1, sizeof(NodeBlock)));
        if (!block) return nullptr;
        block->older = table->blocks;
        table->blocks = block;
    }
    return &block->nodes[block->used++];
}

// Twice as many chains. The next lower bit of the key decides which half a node goes to; since a
// chain is sorted by key, that cuts it in two at one place and both parts stay in order. Without the
// memory for it the chains merely stay longer.
static void double_heads(BookTable *table) {
    const std::size_t count = std::size_t{1} << table->head_bits;
    BookNode **heads = static_cast<BookNode **>(std::calloc(2 * count, sizeof(BookNode *)));
    if (!heads) return;
    const u64 deciding_bit = 1ULL << (63 - table->head_bits);
    for (std::size_t i = 0; i < count; ++i) {
        heads[2 * i] = table->heads[i];
        BookNode **place = &heads[2 * i];
        while (*place && !((*place)->key & deciding_bit)) place = &(*place)->next;
        heads[2 * i + 1] = *place;
        *place = nullptr;
    }
    std::free(table->heads);
    table->heads = heads;
    ++table->head_bits;
}

bool count_book_move(BookTable *table, u64 key, Move move, int outcome) {
    BookNode **place = &table->heads[key >> (64 - table->head_bits)];
    while (*place && ((*place)->key < key || ((*place)->key == key && (*place)->move != move))) place = &(*place)->next;
    BookNode *node = *place;
    const bool found = node && node->key == key;
    if (!found) {
        node = new_node(table);
        if (!node) return false;
        node->key = key;
        node->move = move;
        node->next = *place;
        *place = node;
        ++table->nodes;
    }
    if (outcome > 0) ++node->wins;
    else if (outcome < 0) ++node->losses;
    else ++node->draws;
    if (!found && table->nodes >> table->head_bits && table->head_bits < MAX_HEAD_BITS) double_heads(table);
    return true;
}
