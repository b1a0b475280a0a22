// The set-up of a mapped table file, and looking a value up in it.
#include "tablebase/tb_table.h"

#include <cstdio>
#include <initializer_list>

#include "base/output.h"
#include "platform/process.h"
#include "platform/threads.h"
#include "tablebase/tb_files.h"
#include "tablebase/tb_index.h"
#include "tablebase/tb_material.h"
#include "tablebase/tb_stream.h"

// Held while a file is opened and set up, never while a value is read.
static Mutex setup_lock;

static const u32 MAGIC[TB_TYPES] = {0x5D23E871, 0x88AC504B, 0xA50C66D7};
constexpr u64 HEADER_SIZE = 5;  // magic and a flag byte; the order of men follows
constexpr u8 SPLIT_FILE = 1;    // of that byte: a WDL file with both sides to move
constexpr u64 BLOCK_ALIGNMENT = 64;
constexpr int HIGHEST_WDL = 4;       // WDL values are stored as 0 to 4, from a loss to a win
constexpr int NO_STORED_VALUE = -1;  // any negative number

// Flags of a DTZ stream.
enum TbDtzFlag : u8 {
    DTZ_BLACK_TO_MOVE = 1,
    DTZ_MAPPED = 2,        // the stream holds places in the value map
    DTZ_WIN_IN_PLIES = 4,  // else in moves, to be doubled
    DTZ_LOSS_IN_PLIES = 8,
    DTZ_WIDE_MAP = 16,  // map values are u16
};
static const int WDL_TO_MAP[5] = {1, 3, 0, 2, 0};  // part of the value map, by result + 2
static const u8 WDL_PLIES_FLAG[5] = {DTZ_LOSS_IN_PLIES, 0, 0, 0, DTZ_WIN_IN_PLIES};

// The records of one type of an entry, in one view for tables with and without pawns.
struct TypeView {
    TbEncInfo *info;      // group + groups * side
    TbDtzFormat *format;  // by group
    int groups;           // file groups, 1 without pawns
    int sides;            // 2 for WDL, 1 for DTZ
};

static TypeView view_of(TbBaseEntry *entry, TbType type) {
    const int sides = type == TB_WDL ? 2 : 1;
    if (entry->has_pawns) {
        TbPawnEntry *const pawns = reinterpret_cast<TbPawnEntry *>(entry);
        return {type == TB_WDL ? pawns->wdl : pawns->dtz, pawns->dtz_format, TB_FILE_GROUPS, sides};
    }
    TbPieceEntry *const pieces = reinterpret_cast<TbPieceEntry *>(entry);
    return {type == TB_WDL ? pieces->wdl : pieces->dtz, pieces->dtz_format, 1, sides};
}

bool tb_make_lock() { return create_mutex(&setup_lock) == 0; }

void tb_destroy_lock() {
    if (setup_lock.handle) destroy_mutex(&setup_lock);
}

static void unmap_table_file(MappedFile *mapping) {
    unsigned long error = 0;
    if (!unmap_file(mapping, &error)) std::fprintf(stderr, "unmap failed, error code %lu\n", error);
}

static void free_streams(TbBaseEntry *entry, TbType type) {
    const TypeView view = view_of(entry, type);
    for (int i = 0; i < view.groups * view.sides; ++i) {
        tb_free_pairs(view.info[i].precomp);
        view.info[i].precomp = nullptr;
    }
}

static void unmap_type(TbBaseEntry *entry, TbType type) {
    if (!entry->ready[type].load(std::memory_order_relaxed)) return;
    unmap_table_file(&entry->mapping[type]);
    free_streams(entry, type);
    entry->ready[type].store(0, std::memory_order_relaxed);
}

void tb_unmap_table(TbBaseEntry *entry) {
    for (const TbType type : {TB_WDL, TB_DTZ}) unmap_type(entry, type);
}

static void report_cut_file(const char *name, TbType type) {
    print_format("info string Tablebase file %s%s is no longer complete and not used", name, TB_SUFFIX[type]);
}

// The table is not found again until the next tb_init.
static void forget_entry(const TbBaseEntry *entry) {
    for (TbHashSlot &slot : tb_hash)
        if (slot.entry.load(std::memory_order_relaxed) == entry) slot.entry.store(nullptr, std::memory_order_relaxed);
}

void tb_check_mappings(TbBaseEntry *entry) {
    for (const TbType type : {TB_WDL, TB_DTZ}) {
        if (!entry->ready[type].load(std::memory_order_relaxed)) continue;
        char name[TB_NAME_SIZE];
        tb_table_name(entry, name);
        const FileHandle file = tb_open_file(name, type);
        if (file.handle == -1) continue;
        u64 size = 0;
        const bool known = file_size(file, &size);
        close_file(file);
        if (known && size == entry->mapping[type].size) continue;
        unmap_type(entry, type);
        if (known && tb_is_complete(size)) continue;
        report_cut_file(name, type);
        forget_entry(entry);
    }
}

// Maps the file for good. False when it can't be opened or isn't complete any more; the process ends
// when a complete file can't be mapped.
static bool map_table(const TbBaseEntry *entry, TbType type, MappedFile *mapping) {
    char name[TB_NAME_SIZE];
    tb_table_name(entry, name);
    const FileHandle file = tb_open_file(name, type);
    if (file.handle == -1) return false;
    u64 size = 0;
    if (!file_size(file, &size) || !tb_is_complete(size)) {
        close_file(file);
        report_cut_file(name, type);
        return false;
    }
    unsigned long error = 0;
    const MapResult result = map_file(file, mapping, &error);
    close_file(file);
    if (result == MAP_OK) return true;
    if (result == MAP_NO_MAPPING) std::fprintf(stderr, "CreateFileMapping() failed, error = %lu.\n", error);
    else std::fprintf(stderr, "MapViewOfFile() failed, error = %lu.\n", error);
    std::fprintf(stderr, "Could not map %s%s into memory.\n", name, TB_SUFFIX[type]);
    end_process(1);
}

struct Stream {
    TbEncInfo *info;
    u64 table_size;
    TbStreamSizes sizes;
};
constexpr int MAX_STREAMS = 2 * TB_FILE_GROUPS;

// Reads the orders of men of all groups and lists the streams in the file's order: by group, in a
// group by side. 0 when something doesn't fit, else the number of streams.
static int read_orders(TbBaseEntry *entry, const TypeView &view, TbCursor *cursor, Stream *streams) {
    const int more_pawns = entry->has_pawns && entry->pawns[1] > 0;
    const TbEncoding encoding = entry->has_pawns ? TB_ENCODE_FILES : TB_ENCODE_PIECES;
    int count = 0;
    for (int group = 0; group < view.groups; ++group) {
        const u8 *const bytes = tb_take(cursor, static_cast<u64>(entry->num) + 1 + static_cast<u64>(more_pawns));
        if (!bytes) return 0;
        for (int side = 0; side < view.sides; ++side) {
            TbEncInfo *const info = &view.info[group + view.groups * side];
            const u64 size = tb_init_enc_info(info, entry, bytes, 4 * side, group, encoding);
            // The same pawn must lead every record: the first record decides where to look.
            if (size == 0 || (entry->has_pawns && info->pieces[0] != view.info[0].pieces[0])) return 0;
            streams[count++] = {info, size, {0, 0, 0}};
        }
    }
    return tb_align(cursor, 2) ? count : 0;
}

// The value map of one group: four parts by result, each a length and as many values.
static bool read_group_map(TbCursor *cursor, const u8 *map, bool wide, u16 *offsets) {
    const u64 width = wide ? 2 : 1;
    if (wide && !tb_align(cursor, 2)) return false;
    for (int part = 0; part < 4; ++part) {
        const u8 *const length = tb_take(cursor, width);
        if (!length) return false;
        const u64 offset = static_cast<u64>(length - map) / width + 1;
        const u64 values = wide ? tb_read_u16(length) : *length;
        if (offset > 0xFFFF || !tb_take(cursor, values * width)) return false;
        offsets[part] = static_cast<u16>(offset);
    }
    return true;
}

static bool read_maps(TbBaseEntry *entry, const TypeView &view, TbCursor *cursor) {
    const u8 *const map = cursor->data + cursor->at;
    for (int group = 0; group < view.groups; ++group) {
        TbDtzFormat *const format = &view.format[group];
        const bool wide = format->flags & DTZ_WIDE_MAP;
        if ((format->flags & DTZ_MAPPED) && !read_group_map(cursor, map, wide, format->map_offset)) return false;
    }
    entry->dtz_map = map;
    return tb_align(cursor, 2);
}

// The three sections, each of all streams in their order.
static bool place_sections(TbCursor *cursor, Stream *streams, int count) {
    for (int i = 0; i < count; ++i) {
        TbPairsData *const pairs = streams[i].info->precomp;
        if (!(pairs->index_table = tb_take(cursor, streams[i].sizes.index))) return false;
    }
    for (int i = 0; i < count; ++i) {
        TbPairsData *const pairs = streams[i].info->precomp;
        if (!(pairs->size_table = tb_take(cursor, streams[i].sizes.sizes))) return false;
    }
    for (int i = 0; i < count; ++i) {
        TbPairsData *const pairs = streams[i].info->precomp;
        if (!tb_align(cursor, BLOCK_ALIGNMENT)) return false;
        if (!(pairs->data = tb_take(cursor, streams[i].sizes.data))) return false;
    }
    return true;
}

// Reads all of a mapped file but its blocks. False when it can't be a table of this material.
static bool read_table(TbBaseEntry *entry, TbType type, const MappedFile &mapping) {
    TbCursor cursor = {mapping.data, mapping.size, 0};
    const u8 *const header = tb_take(&cursor, HEADER_SIZE);
    if (!header || tb_read_u32(header) != MAGIC[type]) return false;
    TypeView view = view_of(entry, type);
    if (type == TB_WDL && !(header[4] & SPLIT_FILE)) {
        if (!entry->symmetric) return false;
        view.sides = 1;
    }
    Stream streams[MAX_STREAMS];
    const int count = read_orders(entry, view, &cursor, streams);
    if (count == 0) return false;
    for (int i = 0; i < count; ++i) {
        u8 flags = 0;
        streams[i].info->precomp = tb_setup_pairs(&cursor, streams[i].table_size, &streams[i].sizes, &flags, type);
        if (!streams[i].info->precomp) return false;
        if (type == TB_DTZ) view.format[i].flags = flags;
    }
    if (type == TB_DTZ && !read_maps(entry, view, &cursor)) return false;
    return place_sections(&cursor, streams, count);
}

// The table is not found under this key again until the next tb_init. The lock is held.
static void drop_as_corrupted(TbHashSlot *slot) {
    std::fprintf(stderr, "Corrupted table.\n");
    slot->entry.store(nullptr, std::memory_order_relaxed);
}

// Makes the type ready, for the first thread that needs it; others wait. False when it can't be.
static bool make_ready(TbHashSlot *slot, TbBaseEntry *entry, TbType type) {
    lock_mutex(&setup_lock);
    bool ready = entry->ready[type].load(std::memory_order_relaxed);
    if (!ready && slot->entry.load(std::memory_order_relaxed)) {
        MappedFile mapping = {};
        if (!map_table(entry, type, &mapping)) {
            slot->entry.store(nullptr, std::memory_order_relaxed);
        } else if (const bool read = read_table(entry, type, mapping); !read || lost_pages(mapping)) {
            drop_as_corrupted(slot);
            free_streams(entry, type);
            unmap_table_file(&mapping);
        } else {
            entry->mapping[type] = mapping;
            entry->ready[type].store(1, std::memory_order_release);
            ready = true;
        }
    }
    unlock_mutex(&setup_lock);
    return ready;
}

// A value cannot be read although the header was sound: report once and drop the table.
static int no_value(TbHashSlot *slot, TbStatus *status) {
    lock_mutex(&setup_lock);
    if (slot->entry.load(std::memory_order_relaxed)) drop_as_corrupted(slot);
    unlock_mutex(&setup_lock);
    *status = TB_NO_VALUE;
    return 0;
}

// A page of the file was lost during the search: reports it once and drops the table. It stays mapped, as other
// threads may be reading it.
static int lost_value(TbBaseEntry *entry, TbHashSlot *slot, TbType type, TbStatus *status) {
    lock_mutex(&setup_lock);
    if (slot->entry.load(std::memory_order_relaxed)) {
        char name[TB_NAME_SIZE];
        tb_table_name(entry, name);
        report_cut_file(name, type);
        forget_entry(entry);
    }
    unlock_mutex(&setup_lock);
    *status = TB_NO_VALUE;
    return 0;
}

// Writes the squares of the men from place `first` to place `last` - 1 of the order, like men in
// rising order. `colour_flip` is BLACK_CODE when the name's left side is black on the board, else 0;
// `square_flip` turns the board over. False when the men are not those of the table.
static bool fill_squares(const TbPosition &pos, const TbEncInfo *info, int first, int last, int colour_flip,
                         int square_flip, int *squares) {
    for (int i = first; i < last;) {
        const int code = info->pieces[i] ^ colour_flip;
        Bitboard set = tb_men_of_type(pos, type_of(code)) & (colour_of(code) == WHITE ? pos.white : pos.black);
        if (!set || i + popcount(set) > last) return false;
        while (set) squares[i++] = pop_lowest(set) ^ square_flip;
    }
    return true;
}

// The distance that a stored DTZ value means, in half-moves; negative if the value map has no such
// value.
static int unpack_dtz(const u8 *stored, const u8 *map, const TbDtzFormat &format, int wdl) {
    int value = stored[0] | (stored[1] & 15) << 8;
    if (format.flags & DTZ_MAPPED) {
        const int offset = format.map_offset[WDL_TO_MAP[wdl + 2]];
        const bool wide = format.flags & DTZ_WIDE_MAP;
        const int length = wide ? tb_read_u16(map + 2 * (offset - 1)) : map[offset - 1];
        if (value >= length) return -1;
        value = wide ? tb_read_u16(map + 2 * (offset + value)) : map[offset + value];
    }
    const bool in_plies = format.flags & WDL_PLIES_FLAG[wdl + 2];
    const bool is_spoilt = wdl == TB_RESULT_CURSED_WIN || wdl == TB_RESULT_BLESSED_LOSS;
    return in_plies && !is_spoilt ? value : 2 * value;
}

static int no_answer(TbStatus *status, TbStatus why) {
    *status = why;
    return 0;
}

// True if the table of this slot has the position and its file is set up.
static bool is_usable(TbHashSlot *slot, TbBaseEntry *entry, const TbPosition &pos, TbType type) {
    if (!entry || (type == TB_DTZ && !entry->has_dtz)) return false;
    // No table has a pawn on the first or last rank; only a position set up by hand can have one.
    if (pos.pawns & (RANK_1 | RANK_1 << 56)) return false;
    return entry->ready[type].load(std::memory_order_acquire) || make_ready(slot, entry, type);
}

// Reads the value of a numbered position: a result from -2 to 2, or half-moves.
static int read_value(TbHashSlot *slot, TbBaseEntry *entry, const TbEncInfo *info, const TbDtzFormat &format, u64 index,
                      int wdl, TbStatus *status, TbType type) {
    const u8 *const stored = tb_decompress(info->precomp, index);
    const int value = !stored          ? NO_STORED_VALUE
                      : type == TB_DTZ ? unpack_dtz(stored, entry->dtz_map, format, wdl)
                                       : static_cast<int>(stored[0]);
    if (lost_pages(entry->mapping[type])) return lost_value(entry, slot, type, status);
    if (value < 0 || (type == TB_WDL && value > HIGHEST_WDL)) return no_value(slot, status);
    return type == TB_WDL ? value + TB_RESULT_LOSS : value;
}

// Finds the table, turns the position the way the table sees it, numbers it and reads its value. Only
// the last step touches the file's blocks.
int tb_probe_table(const TbPosition &pos, int wdl, TbStatus *status, TbType type) {
    const u64 key = tb_material_key(pos, false);
    if (type == TB_WDL && key == 0) return TB_RESULT_DRAW;  // two bare kings

    TbHashSlot *const slot = tb_find_slot(key);
    TbBaseEntry *const entry = slot->entry.load(std::memory_order_relaxed);
    if (!is_usable(slot, entry, pos, type)) return no_answer(status, TB_NO_VALUE);

    // Black plays the name's left side, or is to move where both sides are alike: see it mirrored.
    const bool flip = entry->symmetric ? !pos.turn : key != entry->key;
    const int side = entry->symmetric ? 0 : flip == (pos.turn == 1);
    const int colour_flip = flip ? BLACK_CODE : 0;
    const TypeView view = view_of(entry, type);
    const TbEncInfo *info = view.info;
    int squares[TB_MAX_MEN];
    int group = 0, placed = 0, square_flip = 0;
    if (entry->has_pawns) {
        square_flip = flip ? 0x38 : 0;
        placed = entry->pawns[0];
        if (!fill_squares(pos, info, 0, placed, colour_flip, square_flip, squares))
            return no_answer(status, TB_NO_VALUE);
        group = tb_put_leading_pawn_first(squares, placed);
        info = &view.info[group];
    }
    if (type == TB_WDL) info += view.groups * side;
    else if ((view.format[group].flags & DTZ_BLACK_TO_MOVE) != side && !entry->symmetric)
        return no_answer(status, TB_OTHER_SIDE);

    u64 index = TB_NO_INDEX;
    if (fill_squares(pos, info, placed, entry->num, colour_flip, square_flip, squares))
        index = entry->has_pawns ? tb_encode_pawn(squares, info, entry) : tb_encode_piece(squares, info, entry);
    if (index == TB_NO_INDEX) return no_answer(status, TB_NO_VALUE);

    return read_value(slot, entry, info, view.format[group], index, wdl, status, type);
}
