// Material keys and the open-addressing hash of tables.
#include "tablebase/tb_material.h"

#include <cstring>

TbHashSlot tb_hash[TB_HASH_SIZE];

// What each man of a side adds to the key, PAWN to QUEEN: of the name's left side, then the right.
static const u64 MATERIAL_KEYS[2][KING] = {
    {0, 0xEC0ADE190C0F6003, 0xD2FB81862830191F, 0xAADC1A2BE446234D, 0x985DEB9FC49333F9, 0xA3EC1ABC71E90863},
    {0, 0xA24F0F571BB202E7, 0xBAEB854CD3259441, 0xD5A4C95928F2FBE3, 0xFD7866B439B94495, 0xD6E4E47D24962951},
};
static constexpr char LETTERS[] = "?PNBRQK";  // by piece type

u64 tb_material_key(const TbPosition &pos, bool mirrored) {
    u64 key = 0;
    const Bitboard sides[2] = {mirrored ? pos.black : pos.white, mirrored ? pos.white : pos.black};
    for (int side = 0; side < 2; ++side)
        for (int type = PAWN; type <= QUEEN; ++type)
            key += MATERIAL_KEYS[side][type] * static_cast<u64>(popcount(tb_men_of_type(pos, type) & sides[side]));
    return key;
}

static u64 key_of_counts(const u8 (*counts)[KING], bool mirrored) {
    u64 key = 0;
    for (int side = 0; side < 2; ++side)
        for (int type = PAWN; type <= QUEEN; ++type) key += MATERIAL_KEYS[side ^ mirrored][type] * counts[side][type];
    return key;
}

TbHashSlot *tb_find_slot(u64 key) {
    u64 index = key >> (64 - TB_HASH_BITS);
    while (tb_hash[index].key != key && tb_hash[index].key != 0) index = (index + 1) & (TB_HASH_SIZE - 1);
    return &tb_hash[index];
}

static void enter_under_key(TbBaseEntry *entry, u64 key) {
    u64 index = key >> (64 - TB_HASH_BITS);
    while (tb_hash[index].entry.load(std::memory_order_relaxed)) index = (index + 1) & (TB_HASH_SIZE - 1);
    tb_hash[index].key = key;
    tb_hash[index].entry.store(entry, std::memory_order_relaxed);
}

void tb_enter_entry(TbBaseEntry *entry) {
    enter_under_key(entry, entry->key);
    if (!entry->symmetric) enter_under_key(entry, key_of_counts(entry->counts, true));
}

void tb_clear_hash() {
    for (TbHashSlot &slot : tb_hash) {
        slot.key = 0;
        slot.entry.store(nullptr, std::memory_order_relaxed);
    }
}

static void count_men(TbBaseEntry *entry, const char *name) {
    std::memset(entry->counts, 0, sizeof entry->counts);
    entry->num = 0;
    int side = 0;
    for (; *name; ++name) {
        if (*name == 'v') side = 1;
        const char *letter = std::strchr(LETTERS + 1, *name);
        if (!letter) continue;
        ++entry->num;
        const int type = static_cast<int>(letter - LETTERS);
        if (type < KING) ++entry->counts[side][type];
    }
}

// The men that lead the index. With pawns: the pawns of the side that has fewer of them, if it has
// any. Without: the two kings if no other man is single, else three single men.
static void choose_leading_group(TbBaseEntry *entry) {
    const u8 left = entry->counts[0][PAWN], right = entry->counts[1][PAWN];
    const bool right_leads = right && (!left || left > right);
    entry->pawns[0] = right_leads ? right : left;
    entry->pawns[1] = right_leads ? left : right;
    int singles = 2;
    for (int side = 0; side < 2; ++side)
        for (int type = PAWN; type <= QUEEN; ++type) singles += entry->counts[side][type] == 1;
    entry->kk_enc = !entry->has_pawns && singles == 2;
}

void tb_set_material(TbBaseEntry *entry, const char *name) {
    count_men(entry, name);
    entry->key = key_of_counts(entry->counts, false);
    entry->symmetric = entry->key == key_of_counts(entry->counts, true);
    entry->has_pawns = entry->counts[0][PAWN] || entry->counts[1][PAWN];
    choose_leading_group(entry);
}

void tb_table_name(const TbBaseEntry *entry, char *name) {
    for (int side = 0; side < 2; ++side) {
        if (side == 1) *name++ = 'v';
        *name++ = 'K';
        for (int type = QUEEN; type >= PAWN; --type)
            for (int i = 0; i < entry->counts[side][type]; ++i) *name++ = LETTERS[type];
    }
    *name = 0;
}
