// Set-up and reading of a compressed stream. The set-up makes sure that symbols consist of symbols and
// that sizes make sense; the read checks block numbers, symbols and the end of the file.
#include "tablebase/tb_stream.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <new>  // IWYU pragma: keep (placement new)

#include "platform/process.h"

constexpr int LEAF = 4095;             // right half of a symbol that is a value
constexpr int MAX_SYMBOL_DEPTH = 255;  // a symbol stands for at most 256 values
constexpr int MAX_CODE_LENGTH = 32;    // what a refill of the bit buffer gives
constexpr int MAX_SHIFT = 32;          // of block size and index spacing; real ones are below 20
constexpr u8 CONSTANT_STREAM = 0x80;

const u8 *tb_take(TbCursor *cursor, u64 bytes) {
    if (bytes > cursor->size - cursor->at) return nullptr;
    const u8 *const start = cursor->data + cursor->at;
    cursor->at += bytes;
    return start;
}

bool tb_align(TbCursor *cursor, u64 step) {
    const u64 rest = cursor->at % step;
    return rest == 0 || tb_take(cursor, step - rest);
}

static u16 left_symbol(const u8 *pattern) { return static_cast<u16>((pattern[1] & 15) << 8 | pattern[0]); }
static u16 right_symbol(const u8 *pattern) { return static_cast<u16>(pattern[2] << 4 | pattern[1] >> 4); }

// Fills sym_len of a symbol and of all it is made of. False when a part doesn't exist, when it holds
// more values than a symbol can, or when it contains itself.
static bool tb_calc_symlen(TbPairsData *pairs, int symbol, u8 *done, int depth) {
    if (depth > MAX_SYMBOL_DEPTH) return false;
    const u8 *pattern = pairs->sym_pat + 3 * symbol;
    const int right = right_symbol(pattern), left = left_symbol(pattern);
    if (right == LEAF) {
        pairs->sym_len[symbol] = 0;
    } else {
        if (left >= pairs->symbol_count || right >= pairs->symbol_count) return false;
        for (const int part : {left, right})
            if (!done[part] && !tb_calc_symlen(pairs, part, done, depth + 1)) return false;
        const int length = pairs->sym_len[left] + pairs->sym_len[right] + 1;
        if (length > MAX_SYMBOL_DEPTH) return false;
        pairs->sym_len[symbol] = static_cast<u8>(length);
    }
    done[symbol] = 1;
    return true;
}

static bool fill_symbol_lengths(TbPairsData *pairs) {
    u8 done[TB_MAX_SYMS] = {};
    for (int symbol = 0; symbol < pairs->symbol_count; ++symbol)
        if (!done[symbol] && !tb_calc_symlen(pairs, symbol, done, 0)) return false;
    return true;
}

// The lowest code of each length, from the longest (all zeros) up: codes of a length begin where the
// longer ones, two to a code, have ended. False when the lengths make no code.
static bool fill_bases(TbPairsData *pairs, int lengths) {
    u64 *const base = pairs->base;
    base[lengths - 1] = 0;
    for (int i = lengths - 2; i >= 0; --i) {
        const u64 upper = base[i + 1] + tb_read_u16(pairs->offset + 2 * i);
        const u64 lower = tb_read_u16(pairs->offset + 2 * (i + 1));
        if (upper < lower) return false;
        base[i] = (upper - lower) / 2;
    }
    for (int i = 0; i < lengths; ++i) {
        const int length = pairs->min_len + i;
        if (base[i] >> length) return false;
        base[i] <<= 64 - length;
    }
    return true;
}

// One block: the record, then the bases, then the symbol lengths.
static TbPairsData *allocate_pairs(int lengths, int symbol_count) {
    const std::size_t bases = sizeof(u64) * static_cast<std::size_t>(lengths);
    void *const block = std::malloc(sizeof(TbPairsData) + bases + static_cast<std::size_t>(symbol_count));
    if (!block) {
        std::fprintf(stderr, "Out of memory.\n");
        end_process(1);
    }
    TbPairsData *const pairs = new (block) TbPairsData{};
    pairs->base = reinterpret_cast<u64 *>(pairs + 1);
    pairs->sym_len = reinterpret_cast<u8 *>(pairs->base + lengths);
    return pairs;
}

static TbPairsData *setup_constant(const u8 *header, TbType type) {
    TbPairsData *const pairs = allocate_pairs(0, 0);
    pairs->const_value[0] = type == TB_WDL ? header[1] : 0;
    return pairs;
}

// Header: flags, block size, index spacing, padding blocks, u32 blocks, longest and shortest code,
// first symbol by length, number of symbols, the symbols, a byte of padding when their number is odd.
TbPairsData *tb_setup_pairs(TbCursor *cursor, u64 table_size, TbStreamSizes *sizes, u8 *flags, TbType type) {
    *sizes = {0, 0, 0};
    const u8 *const header = tb_take(cursor, 2);
    if (!header) return nullptr;
    *flags = header[0];
    if (header[0] & CONSTANT_STREAM) return setup_constant(header, type);

    if (!tb_take(cursor, 8)) return nullptr;
    const int block_size = header[1], idx_bits = header[2], max_len = header[8], min_len = header[9];
    if (block_size > MAX_SHIFT || idx_bits == 0 || idx_bits > MAX_SHIFT) return nullptr;
    if (min_len == 0 || min_len > max_len || max_len > MAX_CODE_LENGTH) return nullptr;
    const int lengths = max_len - min_len + 1;
    const u8 *const offset = tb_take(cursor, 2 * static_cast<u64>(lengths));
    const u8 *const count = offset ? tb_take(cursor, 2) : nullptr;
    if (!count) return nullptr;
    const int symbol_count = tb_read_u16(count);
    if (symbol_count >= TB_MAX_SYMS) return nullptr;
    const u8 *const sym_pat = tb_take(cursor, 3 * static_cast<u64>(symbol_count) + (symbol_count & 1));
    if (!sym_pat) return nullptr;

    TbPairsData *const pairs = allocate_pairs(lengths, symbol_count);
    pairs->offset = offset;
    pairs->sym_pat = sym_pat;
    pairs->file_end = cursor->data + cursor->size;
    pairs->block_size = static_cast<u8>(block_size);
    pairs->idx_bits = static_cast<u8>(idx_bits);
    pairs->min_len = static_cast<u8>(min_len);
    pairs->symbol_count = static_cast<u16>(symbol_count);
    pairs->block_count = tb_read_u32(header + 4);
    pairs->size_count = pairs->block_count + header[3];
    pairs->index_count = (table_size + (u64{1} << idx_bits) - 1) >> idx_bits;
    *sizes = {6 * pairs->index_count, 2 * (static_cast<u64>(pairs->block_count) + header[3]),
              static_cast<u64>(pairs->block_count) << block_size};
    if (pairs->size_count < pairs->block_count || !fill_bases(pairs, lengths) || !fill_symbol_lengths(pairs)) {
        tb_free_pairs(pairs);
        return nullptr;
    }
    return pairs;
}

void tb_free_pairs(TbPairsData *pairs) { std::free(pairs); }

static u32 read_big_u32(const u8 *at) {
    u32 word;
    std::memcpy(&word, at, sizeof word);
    return __builtin_bswap32(word);
}

static u64 read_big_u64(const u8 *at) {
    u64 word;
    std::memcpy(&word, at, sizeof word);
    return __builtin_bswap64(word);
}

// Finds the block of the value and makes *rest its number within. False when there is no such block.
static bool find_block(const TbPairsData *pairs, u64 index, u64 *block, i64 *rest) {
    const u64 entry = index >> pairs->idx_bits;
    if (entry >= pairs->index_count) return false;
    const u64 spacing = u64{1} << pairs->idx_bits;
    const u8 *const sparse = pairs->index_table + 6 * entry;
    u64 number = tb_read_u32(sparse);
    if (number >= pairs->size_count) return false;
    // An index entry locates the middle of its stretch.
    i64 left = static_cast<i64>(index & (spacing - 1)) - static_cast<i64>(spacing / 2) + tb_read_u16(sparse + 4);
    while (left < 0) {
        if (number == 0) return false;
        left += tb_read_u16(pairs->size_table + 2 * --number) + 1;
    }
    for (i64 size; left > (size = tb_read_u16(pairs->size_table + 2 * number));) {
        left -= size + 1;
        if (++number >= pairs->size_count) return false;
    }
    *block = number;
    *rest = left;
    return number < pairs->block_count;
}

// Walks the symbols of a block up to the one that covers the value, then down to the value.
const u8 *tb_decompress(const TbPairsData *pairs, u64 index) {
    if (pairs->idx_bits == 0) return pairs->const_value;
    u64 block = 0;
    i64 rest = 0;
    if (!find_block(pairs, index, &block, &rest)) return nullptr;

    const u8 *next = pairs->data + (block << pairs->block_size);
    if (pairs->file_end - next < 8) return nullptr;
    u64 code = read_big_u64(next);
    next += 8;
    const u8 *const sym_len = pairs->sym_len;
    int used = 0;
    u64 symbol;
    for (;;) {
        int i = 0;
        while (code < pairs->base[i]) ++i;  // ends: the base of the longest codes is 0
        const int length = pairs->min_len + i;
        symbol = tb_read_u16(pairs->offset + 2 * i) + ((code - pairs->base[i]) >> (64 - length));
        if (symbol >= pairs->symbol_count) return nullptr;
        if (rest <= sym_len[symbol]) break;
        rest -= sym_len[symbol] + 1;
        code <<= length;
        used += length;
        if (used >= 32) {
            if (pairs->file_end - next < 4) return nullptr;
            used -= 32;
            code |= static_cast<u64>(read_big_u32(next)) << used;
            next += 4;
        }
    }
    while (const u8 length = sym_len[symbol]) {
        const u8 *const pattern = pairs->sym_pat + 3 * symbol;
        u64 part = left_symbol(pattern);
        if (part < pairs->symbol_count && rest > sym_len[part]) {
            rest -= sym_len[part] + 1;
            part = right_symbol(pattern);
        }
        // Not as it was at set-up: a page of the file was lost since.
        if (part >= pairs->symbol_count || sym_len[part] >= length) return nullptr;
        symbol = part;
    }
    return pairs->sym_pat + 3 * symbol;
}
