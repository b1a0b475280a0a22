// The registry of endgame tables: which files exist, by material. Filled by tb_init; the decoder
// (tb_table.h) adds what it maps. Internal to this folder and its tests; everyone else includes tablebase.h.
#pragma once

#include <atomic>

#include "platform/mapped_file.h"
#include "tablebase/tb_position.h"

constexpr int TB_MAX_MEN = 7;
constexpr int TB_PIECE_TABLES = 650;  // names without a pawn
constexpr int TB_PAWN_TABLES = 861;   // names with a pawn
constexpr int TB_HASH_BITS = 12;
constexpr int TB_HASH_SIZE = 1 << TB_HASH_BITS;

enum TB_TYPE { TB_WDL, TB_DTM, TB_DTZ, TB_TYPES };
extern const char *const TB_SUFFIX[TB_TYPES];  // ".rtbw", ".rtbm", ".rtbz"

struct TbPairsData;  // one compressed stream, see tb_table.h

// How the men of one side and file group become an index into a stream of values.
struct TbEncInfo {
    TbPairsData *precomp;    // the value stream
    u64 factor[TB_MAX_MEN];  // multiplier of the group that starts at a place
    u8 pieces[TB_MAX_MEN];   // the table's order of men, piece codes; colours as in the file's name
    u8 norm[TB_MAX_MEN];     // men in the group that starts at a place, 0 inside a group
};

// The head that tables with and without pawns share.
struct TbBaseEntry {
    u64 key;                          // material key with the name's left side as white
    MappedFile mapping[TB_TYPES];     // the mapped files
    std::atomic<u8> ready[TB_TYPES];  // set last, when that type is mapped and decoded
    u8 num;                           // men, kings included
    bool symmetric;                   // both sides have the same material
    bool has_pawns;
    bool has_dtm, has_dtz;  // a usable file of that type exists
    bool kk_enc;            // without pawns: the kings alone lead the index, not three men
    u8 pawns[2];            // with pawns: of the leading side, of the other (0 if none)
    u8 counts[2][KING];     // men by side of the name and type, PAWN to QUEEN
};

struct TbPieceEntry {
    TbBaseEntry base;
    TbEncInfo wdl[2];  // by side
    TbEncInfo dtz[1];
    const u8 *dtz_map;  // value map, of four parts by result
    u16 map_offset[4];  // of a part's first value, in values of its width
    u8 dtz_flags;
};

// The four file groups hold the positions whose leading pawn stands on files a to d.
struct TbPawnEntry {
    TbBaseEntry base;
    TbEncInfo wdl[8];  // group + 4 * side
    TbEncInfo dtz[4];
    const u8 *dtz_map;
    u16 map_offset[4][4];
    u8 dtz_flags[4];  // by group
};

struct TbHashSlot {
    u64 key;                           // 0 for an empty slot
    std::atomic<TbBaseEntry *> entry;  // null when empty, or dropped as unusable
};

extern TbPieceEntry *tb_piece_entries;  // TB_PIECE_TABLES, allocated on first use, kept
extern TbPawnEntry *tb_pawn_entries;    // TB_PAWN_TABLES
extern int tb_piece_count, tb_pawn_count;
extern TbHashSlot tb_hash[TB_HASH_SIZE];
extern int tb_wdl_file_count, tb_dtm_file_count, tb_dtz_file_count;

// The material key of the position; `mirrored` counts black as white. Kings don't count.
u64 tb_material_key(const TbPosition &pos, bool mirrored);
// The slot of the key, or the empty slot that ends its chain.
TbHashSlot *tb_find_slot(u64 key);

// Tries each directory in order with this table name (without suffix); handle -1 when none has it.
FileHandle tb_open_file(const char *name, TB_TYPE type);
// Registers the table when its WDL file is good; prints the "Incomplete" lines when it is cut off.
void tb_test_name(const char *name);
// Calls `visit(name)` for every table name of three to seven men, in the order of registration.
void tb_for_each_name(void (*visit)(const char *name));
// Unmaps every type of the entry and frees its streams. No thread may probe.
void tb_unmap_table(TbBaseEntry *entry);
