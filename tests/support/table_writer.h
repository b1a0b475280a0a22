// Writes endgame table files for tests: pairs of symbols, a length-limited prefix code, blocks, a
// sparse index. Made for small tables, without regard to size or speed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// One stream of values, in the order of the table's positions.
struct StreamPlan {
    std::vector<std::uint16_t> values;  // below 4095; for WDL 0 to 4
    int flags = 0;                      // of a DTZ stream; 0x80 is set for a constant stream by itself
    int block_bits = 6;                 // log2 of the bytes of a block
    int index_bits = 9;                 // log2 of the positions per sparse index entry
    int pair_rounds = 40;               // how many symbols are made of two others
    int padding = 3;                    // spare entries after the last block size
    bool constant = false;              // one value, the first; the size of the table is free
};

// One file. `orders` holds, for each file group (one without pawns), the bytes that tell the order
// of men; `streams` are in the file's order; `maps` holds a group's value map as four lists.
struct TablePlan {
    std::uint32_t magic = 0;
    int flag_byte = 0;  // 1: both sides to move
    std::vector<std::vector<std::uint8_t>> orders;
    std::vector<StreamPlan> streams;
    std::vector<std::vector<std::vector<std::uint16_t>>> maps;  // one per stream with flag 2
};

constexpr std::uint32_t WDL_MAGIC = 0x5D23E871;
constexpr std::uint32_t DTZ_MAGIC = 0xA50C66D7;
constexpr int MAPPED_FLAG = 2, WIN_PLIES_FLAG = 4, LOSS_PLIES_FLAG = 8, WIDE_MAP_FLAG = 16;

// The whole file, padded to 64 bytes, with the 16 bytes of the checksum.
std::string table_bytes(const TablePlan &plan);

// A table of these men whose every value is the same: `name` as in "KQvKP", WDL values 0 to 4 for the
// name's left side and its right side to move. Symmetric names use the first.
TablePlan constant_wdl_plan(const std::string &name, int left, int right);
// The same as a DTZ file: every value is 0.
TablePlan constant_dtz_plan(const std::string &name, int flags);
