// Material: the men of a table's name, their key, and the hash of tables by key. Internal to this
// folder.
#pragma once

#include "tablebase/tb_records.h"

constexpr int TB_HASH_BITS = 12;
constexpr int TB_HASH_SIZE = 1 << TB_HASH_BITS;
constexpr int TB_NAME_SIZE = TB_MAX_MEN + 2;  // characters of a table's name: men, 'v' and the final 0

struct TbHashSlot {
    u64 key;                           // 0 for an empty slot
    std::atomic<TbBaseEntry *> entry;  // null when empty, or dropped as unusable
};
extern TbHashSlot tb_hash[TB_HASH_SIZE];

// The material key of the position; `mirrored` counts black as white. Kings don't count.
u64 tb_material_key(const TbPosition &pos, bool mirrored);

// The slot of the key, or the empty slot that ends its chain.
TbHashSlot *tb_find_slot(u64 key);
// Enters the table under its key and the mirrored one.
void tb_enter_entry(TbBaseEntry *entry);
void tb_clear_hash();

// Fills all that the name (without suffix) says of a table: men, keys, symmetry, leading group.
void tb_set_material(TbBaseEntry *entry, const char *name);
// The reverse: writes the name, at most TB_NAME_SIZE characters.
void tb_table_name(const TbBaseEntry *entry, char *name);
