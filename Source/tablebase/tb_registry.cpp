// Finding the table files of settings.syzygy_path and entering them by material.
#include "tablebase/tb_registry.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

#include "control/output.h"
#include "control/settings.h"
#include "platform/process.h"
#include "tablebase/tablebase.h"
#include "tablebase/tb_table.h"

int TB_LARGEST;
TbPieceEntry *tb_piece_entries;
TbPawnEntry *tb_pawn_entries;
int tb_piece_count, tb_pawn_count;
TbHashSlot tb_hash[TB_HASH_SIZE];
int tb_wdl_file_count, tb_dtm_file_count, tb_dtz_file_count;
Mutex tb_mutex;
const char *const TB_SUFFIX[TB_TYPES] = {".rtbw", ".rtbm", ".rtbz"};

// A path text holds at most this many directories: each needs a character and a separator.
constexpr int MAX_PATHS = PATH_LENGTH / 2;
static char path_text[PATH_LENGTH];  // the option's text, cut up in place
static const char *tb_paths[MAX_PATHS];
static int path_count;
static int largest_all, largest_dtm;  // men of the largest table; of the largest with a DTM file

// A complete table file is a number of 64-byte lines and a 16-byte checksum.
constexpr u64 FILE_SIZE_STEP = 64;
constexpr u64 FILE_SIZE_REST = 16;

// What each man of a side adds to the key, PAWN to QUEEN: of the name's left side, then the right.
static const u64 MATERIAL_KEYS[2][KING] = {
    {0, 0xEC0ADE190C0F6003, 0xD2FB81862830191F, 0xAADC1A2BE446234D, 0x985DEB9FC49333F9, 0xA3EC1ABC71E90863},
    {0, 0xA24F0F571BB202E7, 0xBAEB854CD3259441, 0xD5A4C95928F2FBE3, 0xFD7866B439B94495, 0xD6E4E47D24962951},
};

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

static void enter_in_hash(TbBaseEntry *entry, u64 key) {
    u64 index = key >> (64 - TB_HASH_BITS);
    while (tb_hash[index].entry.load(std::memory_order_relaxed)) index = (index + 1) & (TB_HASH_SIZE - 1);
    tb_hash[index].key = key;
    tb_hash[index].entry.store(entry, std::memory_order_relaxed);
}

FileHandle tb_open_file(const char *name, TB_TYPE type) {
    char path[PATH_LENGTH + 32];
    for (int i = 0; i < path_count; ++i) {
        std::snprintf(path, sizeof path, "%s%c%s%s", tb_paths[i], DIRECTORY_SEPARATOR, name, TB_SUFFIX[type]);
        const FileHandle file = open_read_only(path);
        if (file.handle != -1) return file;
    }
    return {-1};
}

enum FileState { FILE_ABSENT, FILE_GOOD, FILE_INCOMPLETE };

// Looks a table file up and tests its size; an incomplete one is reported.
static FileState test_file(const char *name, TB_TYPE type) {
    const FileHandle file = tb_open_file(name, type);
    if (file.handle == -1) return FILE_ABSENT;
    u64 size = 0;
    const bool good = file_size(file, &size) && size % FILE_SIZE_STEP == FILE_SIZE_REST;
    close_file(file);
    if (good) return FILE_GOOD;
    std::fprintf(stderr, "Incomplete tablebase file %s.%s\n", name, TB_SUFFIX[type]);
    print_plain("info string Incomplete tablebase file %s.%s\n", name, TB_SUFFIX[type]);
    return FILE_INCOMPLETE;
}

static void count_men(TbBaseEntry *entry, const char *name) {
    static const char LETTERS[] = "?PNBRQK";
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

// What leads the index. With pawns: the side with fewer of them, if it has any. Without: the two
// kings when nothing else stands single, else three single men.
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

// Takes the next free record for a table whose WDL file is good, looks for its other files and
// enters it under both keys.
static void tb_register(const char *name) {
    const bool has_pawns = std::strchr(name, 'P') != nullptr;
    TbBaseEntry *entry = has_pawns ? &tb_pawn_entries[tb_pawn_count++].base : &tb_piece_entries[tb_piece_count++].base;
    count_men(entry, name);
    entry->key = key_of_counts(entry->counts, false);
    const u64 mirrored_key = key_of_counts(entry->counts, true);
    entry->has_pawns = has_pawns;
    entry->symmetric = entry->key == mirrored_key;
    ++tb_wdl_file_count;
    entry->has_dtm = test_file(name, TB_DTM) == FILE_GOOD;
    tb_dtm_file_count += entry->has_dtm;
    entry->has_dtz = test_file(name, TB_DTZ) == FILE_GOOD;
    tb_dtz_file_count += entry->has_dtz;
    largest_all = std::max<int>(largest_all, entry->num);
    if (entry->has_dtm) largest_dtm = std::max<int>(largest_dtm, entry->num);
    for (std::atomic<u8> &ready : entry->ready) ready.store(0, std::memory_order_relaxed);
    choose_leading_group(entry);
    enter_in_hash(entry, entry->key);
    if (!entry->symmetric) enter_in_hash(entry, mirrored_key);
}

void tb_test_name(const char *name) {
    if (test_file(name, TB_WDL) == FILE_GOOD) tb_register(name);
}

// The form of a family of names: how many men beside the kings stand left and right, and for each
// the index of the man whose letter it starts from, so that equal men stand in one order only.
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

// The first letter, as a number in "QRBNP", of the man at `place` behind the letters chosen so far.
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

void tb_unmap_table(TbBaseEntry *entry) {
    for (int type = 0; type < TB_TYPES; ++type) {
        if (!entry->ready[type].load(std::memory_order_relaxed)) continue;
        tb_unmap_file(&entry->mapping[type]);
        tb_free_streams(entry, static_cast<TB_TYPE>(type));
        entry->ready[type].store(0, std::memory_order_relaxed);
    }
}

static void split_path() {
    copy_text(path_text, settings.syzygy_path, sizeof path_text);
    path_count = 0;
    for (char *at = path_text; *at;) {
        char *const end = at + std::strcspn(at, ";");
        const bool last = !*end;
        *end = 0;
        if (end != at) tb_paths[path_count++] = at;
        at = last ? end : end + 1;
    }
}

static void forget_tables() {
    TB_LARGEST = 0;
    for (int i = 0; i < tb_piece_count; ++i) tb_unmap_table(&tb_piece_entries[i].base);
    for (int i = 0; i < tb_pawn_count; ++i) tb_unmap_table(&tb_pawn_entries[i].base);
    tb_piece_count = tb_pawn_count = 0;
    tb_wdl_file_count = tb_dtm_file_count = tb_dtz_file_count = 0;
    largest_all = largest_dtm = 0;
    path_count = 0;
    if (tb_mutex.handle) destroy_mutex(&tb_mutex);
    for (TbHashSlot &slot : tb_hash) {
        slot.key = 0;
        slot.entry.store(nullptr, std::memory_order_relaxed);
    }
}

// Starts over: forgets all tables, then tries every name in the directories of the path.
void tb_init() {
    forget_tables();
    if (!settings.syzygy_path[0] || std::strcmp(settings.syzygy_path, "<empty>") == 0) return;
    split_path();
    const bool has_mutex = create_mutex(&tb_mutex) == 0;
    if (!tb_piece_entries) tb_piece_entries = new (std::nothrow) TbPieceEntry[TB_PIECE_TABLES]{};
    if (!tb_pawn_entries) tb_pawn_entries = new (std::nothrow) TbPawnEntry[TB_PAWN_TABLES]{};
    if (!has_mutex || !tb_piece_entries || !tb_pawn_entries) {
        std::fprintf(stderr, "Out of memory.\n");
        end_process(1);
    }
    tb_for_each_name(tb_test_name);
    TB_LARGEST = std::max(largest_all, largest_dtm);
    // Written here and not by print_line: the log doesn't get this line.
    print_plain("info string Found %d WDL, %d DTM and %d DTZ tablebase files. Largest %d-men\n", tb_wdl_file_count,
                tb_dtm_file_count, tb_dtz_file_count, TB_LARGEST);
}

void tb_free() {
    forget_tables();
    delete[] tb_piece_entries;
    delete[] tb_pawn_entries;
    tb_piece_entries = nullptr;
    tb_pawn_entries = nullptr;
}
