// One compressed stream of table values: its header, checked against the file, and reading a value.
// Symbols stand for pairs of symbols down to single values; their codes have canonical lengths.
#pragma once

#include "platform/integers.h"
#include "tablebase/tb_records.h"

constexpr int TB_MAX_SYMS = 4096;

// All pointers but the last two lead into the mapped file and are not aligned.
struct TbPairsData {
    const u8 *index_table;  // 6 bytes an entry: block (u32), offset in it (u16)
    const u8 *size_table;   // u16 a block: its number of values - 1
    const u8 *data;         // the blocks
    const u8 *offset;       // u16 a code length from min_len on: first symbol of that length
    const u8 *sym_pat;      // 3 bytes a symbol
    const u8 *file_end;     // of the mapped file
    u64 index_count;        // entries of index_table
    u32 block_count;        // blocks with data
    u32 size_count;         // entries of size_table
    u16 symbol_count;       // below TB_MAX_SYMS
    u8 block_size;          // log2 of the bytes of a block
    u8 idx_bits;            // log2 of the positions an index entry covers; 0 for a constant stream
    u8 min_len;             // bits of the shortest code
    u8 const_value[2];      // the value of a constant stream
    u64 *base;              // by code length from min_len on: its lowest code, left-aligned
    u8 *sym_len;            // by symbol: number of values it stands for - 1
};

// A reading position in a mapped file. `at` never passes `size`.
struct TbCursor {
    const u8 *data;
    u64 size;
    u64 at;
};

// Moves on by `bytes` and returns where it stood; null, without moving, beyond the end of the file.
const u8 *tb_take(TbCursor *cursor, u64 bytes);
bool tb_align(TbCursor *cursor, u64 step);  // to the next multiple; false beyond the end

inline u16 tb_read_u16(const u8 *at) { return static_cast<u16>(at[0] | at[1] << 8); }
inline u32 tb_read_u32(const u8 *at) {
    return static_cast<u32>(tb_read_u16(at)) | static_cast<u32>(tb_read_u16(at + 2)) << 16;
}

// Lengths in bytes of a stream's three sections.
struct TbStreamSizes {
    u64 index, sizes, data;
};

// Reads a stream's header for a table of this many positions and moves past it. Null when the
// header can't be right; the process ends when memory runs out.
TbPairsData *tb_setup_pairs(TbCursor *cursor, u64 table_size, TbStreamSizes *sizes, u8 *flags, TbType type);
void tb_free_pairs(TbPairsData *pairs);
// The two bytes of the value with this number; null when the stream turns out to be damaged there.
const u8 *tb_decompress(const TbPairsData *pairs, u64 index);
