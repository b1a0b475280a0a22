// Tries every table name in the directories and registers the tables that are there.
#include "tablebase/tb_registry.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

#include "platform/process.h"
#include "tablebase/tb_files.h"
#include "tablebase/tb_material.h"
#include "tablebase/tb_table.h"

TbRegistry tb_registry;

// Registers the table if its WDL file is good, and looks for its other files.
static void try_name(const char *name) {
    if (tb_test_file(name, TB_WDL) != TbFileState::GOOD) return;
    TbRegistry *const registry = &tb_registry;
    TbBaseEntry *const entry = std::strchr(name, 'P') ? &registry->pawn_entries[registry->pawn_count++].base
                                                      : &registry->piece_entries[registry->piece_count++].base;
    tb_set_material(entry, name);
    entry->has_dtm = tb_test_file(name, TB_DTM) == TbFileState::GOOD;
    entry->has_dtz = tb_test_file(name, TB_DTZ) == TbFileState::GOOD;
    registry->wdl_files += 1;
    registry->dtm_files += entry->has_dtm;
    registry->dtz_files += entry->has_dtz;
    registry->largest = std::max<int>(registry->largest, entry->num);
    for (std::atomic<u8> &ready : entry->ready) ready.store(0, std::memory_order_relaxed);
    tb_enter_entry(entry);
}

// The form of a family of names: the number of men besides the kings on the left and on the right, and
// for each the index of the man whose letter it starts from, so that equal men come in one order only.
constexpr int MAX_LETTERS = TB_MAX_MEN - 2;
constexpr int PAWN_LETTER = 4;  // the last of "QRBNP"
struct NameForm {
    int left, right;
    int start[MAX_LETTERS];
};
constexpr int FROM_QUEEN = -1;
constexpr int LAST_OF_TWO_PAIRS = -2;  // right pair: not below the left pair
static const NameForm NAME_FORMS[] = {
    {1, 0, {FROM_QUEEN}},
    {1, 1, {FROM_QUEEN, 0}},
    {2, 0, {FROM_QUEEN, 0}},
    {2, 1, {FROM_QUEEN, 0, FROM_QUEEN}},
    {3, 0, {FROM_QUEEN, 0, 1}},
    {2, 2, {FROM_QUEEN, 0, 0, LAST_OF_TWO_PAIRS}},
    {3, 1, {FROM_QUEEN, 0, 1, FROM_QUEEN}},
    {4, 0, {FROM_QUEEN, 0, 1, 2}},
    {5, 0, {FROM_QUEEN, 0, 1, 2, 3}},
    {4, 1, {FROM_QUEEN, 0, 1, 2, FROM_QUEEN}},
    {3, 2, {FROM_QUEEN, 0, 1, FROM_QUEEN, 3}},
};

// The first letter, as a number in "QRBNP", of the man at `place` after the letters chosen so far.
static int first_letter(const NameForm &form, int place, const int *letters) {
    const int rule = form.start[place];
    if (rule >= 0) return letters[rule];
    if (rule == LAST_OF_TWO_PAIRS) return letters[2] == letters[0] ? letters[1] : letters[2];
    return 0;
}

// Counts through all names of a form, the last man's letter fastest.
static void visit_names(const NameForm &form, void (*visit)(const char *name)) {
    int letters[MAX_LETTERS] = {};
    const int count = form.left + form.right;
    for (int place = 0; place >= 0;) {
        for (int i = place + 1; i < count; ++i) letters[i] = first_letter(form, i, letters);
        char text[2][MAX_LETTERS + 1] = {};
        for (int i = 0; i < form.left; ++i) text[0][i] = "QRBNP"[letters[i]];
        for (int i = form.left; i < count; ++i) text[1][i - form.left] = "QRBNP"[letters[i]];
        char name[16];
        std::snprintf(name, sizeof name, "K%svK%s", text[0], text[1]);
        visit(name);
        for (place = count - 1; place >= 0 && letters[place] == PAWN_LETTER; --place) {}
        if (place >= 0) ++letters[place];
    }
}

void tb_for_each_name(void (*visit)(const char *name)) {
    for (const NameForm &form : NAME_FORMS) visit_names(form, visit);
}

void tb_register_all(const char *path) {
    TbRegistry *const registry = &tb_registry;
    tb_set_directories(path);
    const bool has_lock = tb_make_lock();
    if (!registry->piece_entries) registry->piece_entries = new (std::nothrow) TbPieceEntry[TB_PIECE_TABLES]{};
    if (!registry->pawn_entries) registry->pawn_entries = new (std::nothrow) TbPawnEntry[TB_PAWN_TABLES]{};
    if (!has_lock || !registry->piece_entries || !registry->pawn_entries) {
        std::fprintf(stderr, "Out of memory.\n");
        end_process(1);
    }
    tb_for_each_name(try_name);
}

static void for_each_table(void (*visit)(TbBaseEntry *entry)) {
    for (int i = 0; i < tb_registry.piece_count; ++i) visit(&tb_registry.piece_entries[i].base);
    for (int i = 0; i < tb_registry.pawn_count; ++i) visit(&tb_registry.pawn_entries[i].base);
}

void tb_forget_all() {
    for_each_table(tb_unmap_table);
    tb_registry = {tb_registry.piece_entries, tb_registry.pawn_entries, 0, 0, 0, 0, 0, 0};
    tb_destroy_lock();
    tb_clear_hash();
}

void tb_free_registry() {
    tb_forget_all();
    delete[] tb_registry.piece_entries;
    delete[] tb_registry.pawn_entries;
    tb_registry = {};
}

void tb_check_all_mappings() { for_each_table(tb_check_mappings); }
