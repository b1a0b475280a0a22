// The registry of endgame tables: which of them exist. Filled from the directories of SyzygyPath.
// Internal to this folder.
#pragma once

#include "tablebase/tb_records.h"

constexpr int TB_PIECE_TABLES = 650;  // names without a pawn
constexpr int TB_PAWN_TABLES = 861;   // names with a pawn

struct TbRegistry {
    TbPieceEntry *piece_entries;          // TB_PIECE_TABLES, allocated on first use, then kept
    TbPawnEntry *pawn_entries;            // TB_PAWN_TABLES, likewise
    int piece_count, pawn_count;          // entries in use
    int wdl_files, dtm_files, dtz_files;  // files found
    int largest;                          // most men of any table, 0 without tables
};
extern TbRegistry tb_registry;

// Registers every table that the directories of `path` hold; prints the "Incomplete" lines for files
// of a wrong size. The registry must be empty. The process ends when memory runs out.
void tb_register_all(const char *path);
// Unmaps all tables and empties the registry.
void tb_forget_all();
void tb_free_registry();
// tb_check_mappings for every table.
void tb_check_all_mappings();

// Calls `visit(name)` for every table name of three to seven men, in the order of registration.
void tb_for_each_name(void (*visit)(const char *name));
