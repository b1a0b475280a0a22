// The forward pass: which rows the position needs, which of them an earlier pass already holds, the output head and
// the score. Called by evaluate; the console's trace and the pruning tool look at what it leaves.
//
// Make and unmake know nothing of it. Each thread keeps its last passes with the sums of both perspectives, and a pass
// applies only the pieces that differ, whatever moves lie between.
//
// The result is defined by saturating additions from the last pass, or from the biases. As long as nothing can
// saturate, every way to a position gives the same sums, and a pass starts from the nearest one that is kept.
#include "eval/network/forward.h"

#include <cmath>
#include <cstring>
#include <new>

#include "base/output.h"
#include "eval/network/activation.h"
#include "eval/network/file.h"
#include "eval/network/rows.h"
#include "platform/large_memory.h"

constexpr int ENEMY_ROWS = 384;  // rows of the perspective's own pieces come first
constexpr int BUCKET_ROWS = 768;
constexpr int MAX_CHANGED = 6;           // changed squares of a side up to which the difference pays
constexpr int CLEAN_PLIES = 2;           // first plies of a search always start from the biases
constexpr int MAX_STEPS = 128;           // every square emptied and filled again
constexpr float ROUNDING = 0.49999997f;  // the last float below one half
constexpr std::align_val_t BUFFER_ALIGNMENT{64};

// How squares and kings select rows, by perspective.
struct Frame {
    u16 mirror[2];  // xor on squares: files so that the own king is on e..h, ranks for black
    i32 bucket[2];  // 0, or BUCKET_ROWS once the own king has left its first three ranks
};

// The rows to apply, by perspective.
struct RowLists {
    const i16 *first_layer;  // the shared one or the thread's copy
    RowStep steps[2][MAX_STEPS];
    int count[2];
};

static i16 *allocate_words(int count) {
    const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(i16);
    void *block = ::operator new(bytes, BUFFER_ALIGNMENT, std::nothrow);
    if (block) std::memset(block, 0, bytes);
    return static_cast<i16 *>(block);
}

static void free_rows(EvalState *state) {
    free_large(state->own_rows, state->own_rows_bytes);
    state->own_rows = nullptr;
    state->own_rows_bytes = 0;
    state->own_rows_generation = 0;
}

// Copies the first layer of the network that is loaded now. Tried once for each load.
static void copy_rows(EvalState *state) {
    free_rows(state);
    const u64 bytes = static_cast<u64>(network.first_layer_count) * sizeof(i16);
    state->own_rows = static_cast<i16 *>(allocate_large(bytes));
    state->own_rows_generation = network.generation;
    if (!state->own_rows) return;
    state->own_rows_bytes = bytes;
    std::memcpy(state->own_rows, network.first_layer, bytes);
}

static void free_words(i16 *words) { ::operator delete(words, BUFFER_ALIGNMENT); }

void free_network_buffers(EvalState *state) {
    if (!state) return;
    free_words(state->accumulator);
    if (state->acc_snapshots) free_words(state->acc_snapshots[0].white_acc);
    delete[] state->acc_snapshots;
    state->accumulator = nullptr;
    state->acc_snapshots = state->acc_cache = nullptr;
    state->acc_hidden_size = 0;
    free_rows(state);
}

// Makes the thread's buffers fit the network's size. False when memory runs out.
static bool make_buffers(EvalState *state) {
    free_network_buffers(state);
    state->accumulator = allocate_words(network.hidden_size);
    state->acc_snapshots = new (std::nothrow) AccumulatorCache[ACC_SNAPSHOTS]();
    i16 *sums = allocate_words(ACC_SNAPSHOTS * network.hidden_size);
    if (!state->accumulator || !state->acc_snapshots || !sums) {
        free_words(sums);
        free_network_buffers(state);
        return false;
    }
    for (int i = 0; i < ACC_SNAPSHOTS; ++i, sums += network.hidden_size) {
        state->acc_snapshots[i].white_acc = sums;
        state->acc_snapshots[i].black_acc = sums + network.hidden_size / 2;
    }
    state->acc_cache = state->acc_snapshots;
    state->acc_generation = 0;
    state->acc_hidden_size = network.hidden_size;
    return true;
}

static Frame frame_of(const Position &position) {
    constexpr int FILES_E_TO_H = 4;
    const int white_king = position.king_sq[WHITE];
    const int black_king = position.king_sq[BLACK];
    const bool buckets = network.king_buckets == 2;
    Frame frame;
    frame.mirror[WHITE] = white_king & FILES_E_TO_H ? 0 : 7;
    frame.mirror[BLACK] = black_king & FILES_E_TO_H ? 56 : 63;
    frame.bucket[WHITE] = buckets && white_king >= 24 ? BUCKET_ROWS : 0;
    frame.bucket[BLACK] = buckets && black_king < 40 ? BUCKET_ROWS : 0;
    return frame;
}

// Appends the rows of a set of equal pieces to the lists of the perspectives in `wanted` (bit by colour), lowest
// square first.
static inline void append_rows(RowLists &lists, const Frame &frame, unsigned wanted, int colour, int type,
                               Bitboard squares, bool subtract) {
    const std::size_t row_length = static_cast<std::size_t>(network.hidden_size / 2);
    for (int perspective = WHITE; perspective <= BLACK; ++perspective) {
        if (!(wanted >> perspective & 1)) continue;
        const int first = frame.bucket[perspective] + 64 * (type - 1) + (colour == perspective ? 0 : ENEMY_ROWS);
        const i16 *rows = lists.first_layer + row_length * static_cast<std::size_t>(first);
        RowStep *step = lists.steps[perspective] + lists.count[perspective];
        for (Bitboard rest = squares; rest; ++step) {
            const std::size_t square = static_cast<std::size_t>(pop_lowest(rest) ^ frame.mirror[perspective]);
            *step = {rows + row_length * square, subtract};
        }
        lists.count[perspective] = static_cast<int>(step - lists.steps[perspective]);
    }
}

// True when the difference from the last pass defines the result: the pass is of this network, seen from the same
// frames, and near enough. Otherwise the biases are the start.
static bool last_pass_serves(const EvalState *state, const Position &position, const Frame &frame) {
    const AccumulatorCache &cache = *state->acc_cache;
    return state->acc_generation == network.generation && frame.mirror[WHITE] == cache.mirror[WHITE] &&
           frame.mirror[BLACK] == cache.mirror[BLACK] && frame.bucket[WHITE] == cache.king_bucket[WHITE] &&
           frame.bucket[BLACK] == cache.king_bucket[BLACK] &&
           popcount(position.pieces[0] ^ cache.white_sets[0]) <= MAX_CHANGED &&
           popcount(position.pieces[BLACK_CODE] ^ cache.black_sets[0]) <= MAX_CHANGED && state->eval_ply > CLEAN_PLIES;
}

// True if each side has one king and no more pieces of a type than at the start of a game. Network::never_saturates
// holds for such positions.
static bool has_plain_material(const Position &position) {
    for (int colour = WHITE; colour <= BLACK; ++colour) {
        const Bitboard *sets = position.pieces + colour * BLACK_CODE;
        const i32 material = position.material[colour];  // four bits per type, from the pawns up
        const bool one_king = sets[KING] != 0 && (sets[KING] & (sets[KING] - 1)) == 0;
        const bool plain =
            (material & 15) <= 8 && (material & ~0x1333F) == 0 && (material & material >> 1 & 0x1110) == 0;
        // More than 16 pieces could carry from one type's bits into the next.
        if (!one_king || !plain || popcount(sets[0]) > 16) return false;
    }
    return true;
}

// Rows that lead from a pass to the position. The order (by type; white before black; gone before new) is part of the
// result when additions saturate.
static void list_changes(const Position &position, const AccumulatorCache &cache, const Frame &frame, unsigned wanted,
                         RowLists &lists) {
    // One bit per type and colour first, so that there is a branch only for sets that differ.
    unsigned changed = 0;
    for (int type = PAWN; type <= KING; ++type) {
        changed |= static_cast<unsigned>(position.pieces[type] != cache.white_sets[type]) << 2 * type;
        changed |= static_cast<unsigned>(position.pieces[BLACK_CODE + type] != cache.black_sets[type])
                   << (2 * type + 1);
    }
    for (; changed; changed &= changed - 1) {
        const int type = lowest(changed) >> 1, colour = lowest(changed) & 1;
        const Bitboard before = colour == WHITE ? cache.white_sets[type] : cache.black_sets[type];
        const Bitboard now = position.pieces[piece_code(colour, type)];
        append_rows(lists, frame, wanted, colour, type, before & ~now, true);
        append_rows(lists, frame, wanted, colour, type, now & ~before, false);
    }
}

// Rows of all pieces, for a start from the biases.
static void list_all(const Position &position, const Frame &frame, unsigned wanted, RowLists &lists) {
    for (int type = PAWN; type <= KING; ++type)
        for (int colour = WHITE; colour <= BLACK; ++colour)
            append_rows(lists, frame, wanted, colour, type, position.pieces[piece_code(colour, type)], false);
}

// Where each perspective starts from; null for the biases.
struct Starts {
    const AccumulatorCache *pass[2];
    bool exact;  // the sums will depend on the position alone
};

// For each perspective, the exact pass with the fewest changed squares among those seen from the same frame.
static void choose_nearest(const EvalState *state, const Position &position, const Frame &frame, Starts &starts) {
    int fewest[2];
    starts.pass[WHITE] = starts.pass[BLACK] = nullptr;
    fewest[WHITE] = fewest[BLACK] = popcount(occupied(position));  // the cost of a start from the biases
    for (int i = 0; i < ACC_SNAPSHOTS; ++i) {
        const AccumulatorCache &cache = state->acc_snapshots[i];
        if (!cache.exact) continue;
        const int changed = popcount(position.pieces[0] ^ cache.white_sets[0]) +
                            popcount(position.pieces[BLACK_CODE] ^ cache.black_sets[0]);
        for (int perspective = WHITE; perspective <= BLACK; ++perspective) {
            if (changed >= fewest[perspective] || frame.mirror[perspective] != cache.mirror[perspective] ||
                frame.bucket[perspective] != cache.king_bucket[perspective])
                continue;
            fewest[perspective] = changed;
            starts.pass[perspective] = &cache;
        }
    }
}

static Starts choose_starts(EvalState *state, const Position &position, const Frame &frame) {
    if (state->acc_generation != network.generation)
        for (int i = 0; i < ACC_SNAPSHOTS; ++i) state->acc_snapshots[i].exact = false;
    Starts starts;
    const bool can_be_exact = network.never_saturates && has_plain_material(position);
    const bool from_last = (!can_be_exact || !state->acc_cache->exact) && last_pass_serves(state, position, frame);
    starts.exact = can_be_exact && !from_last;
    if (starts.exact) choose_nearest(state, position, frame, starts);
    else starts.pass[WHITE] = starts.pass[BLACK] = from_last ? state->acc_cache : nullptr;
    return starts;
}

static void record_pass(EvalState *state, const Position &position, const Frame &frame, AccumulatorCache &cache,
                        bool exact) {
    std::memcpy(cache.white_sets, position.pieces, sizeof cache.white_sets);
    std::memcpy(cache.black_sets, position.pieces + BLACK_CODE, sizeof cache.black_sets);
    for (int colour = WHITE; colour <= BLACK; ++colour) {
        cache.mirror[colour] = frame.mirror[colour];
        cache.king_bucket[colour] = frame.bucket[colour];
    }
    cache.exact = exact;
    state->acc_cache = &cache;
    state->acc_generation = network.generation;
}

// Unpacks the counts and picks the output row: networks of five heads have one for each stage of the
// game, chosen by the stronger side's material without pawns.
static void select_head(EvalState *state, const Position &position) {
    constexpr int TYPES = 5;
    for (int colour = WHITE; colour <= BLACK; ++colour) {
        i16 *counts = state->piece_counts + TYPES * colour;
        for (int i = 0; i < TYPES; ++i) counts[i] = static_cast<i16>(position.material[colour] >> (4 * i) & 15);
        const int queens = counts[QUEEN - 1];
        int value = 3 * (counts[KNIGHT - 1] + counts[BISHOP - 1]) + 5 * counts[ROOK - 1];
        value = value ? value + 9 * queens : 5 * queens;  // queens alone count as rooks
        state->net_material[colour] = static_cast<i16>(value);
    }
    const int value = state->net_material[0] > state->net_material[1] ? state->net_material[0] : state->net_material[1];
    if (network.output_count != TYPES) state->output_head = 0;
    else state->output_head = value >= 19 ? 0 : value >= 12 ? 1 : value >= 6 ? 2 : value >= 3 ? 3 : 4;
}

// The first half of a row belongs to the side to move.
void network_output_rows(const EvalState *state, int stm, const i16 **white_row, const i16 **black_row) {
    const i16 *row = network.output_rows + static_cast<std::size_t>(state->output_head) * network.hidden_size;
    const i16 *other = row + network.hidden_size / 2;
    *white_row = stm == WHITE ? row : other;
    *black_row = stm == WHITE ? other : row;
}

// All in single precision. The bounds come before the conversion, which could not hold what a strange
// network may give.
static int score_of_sum(EvalState *state, i32 sum) {
    const float scale = static_cast<float>(network.activation_scale);
    state->raw_net_score = static_cast<float>(sum) / (scale * scale);
    const float scaled = static_cast<float>(network.output_scale) * state->raw_net_score;
    const float rounded = scaled + std::copysign(ROUNDING, scaled);
    if (rounded >= static_cast<float>(EVAL_LIMIT)) return EVAL_LIMIT;
    if (rounded <= static_cast<float>(-EVAL_LIMIT)) return -EVAL_LIMIT;
    return static_cast<int>(rounded);
}

// Lists the rows of both perspectives, in one go if they start from the same pass.
static void list_rows(const Position &position, const Frame &frame, const Starts &starts, RowLists &lists) {
    constexpr unsigned BOTH = 3;
    lists.count[WHITE] = lists.count[BLACK] = 0;
    const bool same = starts.pass[WHITE] == starts.pass[BLACK];
    for (int perspective = WHITE; perspective <= (same ? WHITE : BLACK); ++perspective) {
        const unsigned wanted = same ? BOTH : 1u << perspective;
        if (starts.pass[perspective]) list_changes(position, *starts.pass[perspective], frame, wanted, lists);
        else list_all(position, frame, wanted, lists);
    }
}

bool network_eval(EvalState *state, const Position &position, int *score) {
    if (state->acc_hidden_size != network.hidden_size && !make_buffers(state)) {
        print_line("error initializing NN!");
        return false;
    }
    if (state->own_rows_wanted && state->own_rows_generation != network.generation) copy_rows(state);
    const Frame frame = frame_of(position);
    select_head(state, position);
    state->occupancy = occupied(position);

    const Starts starts = choose_starts(state, position, frame);
    AccumulatorCache &cache = state->acc_snapshots[state->eval_ply & (ACC_SNAPSHOTS - 1)];
    const i16 *white_row;
    const i16 *black_row;
    network_output_rows(state, position.stm, &white_row, &black_row);
    RowLists lists;
    lists.first_layer = state->own_rows ? state->own_rows : network.first_layer;
    list_rows(position, frame, starts, lists);
    const int half = network.hidden_size / 2;
    const i16 *white_start = starts.pass[WHITE] ? starts.pass[WHITE]->white_acc : network.hidden_biases;
    const i16 *black_start = starts.pass[BLACK] ? starts.pass[BLACK]->black_acc : network.hidden_biases + half;
    const u32 sum = pass_half({white_start, lists.steps[WHITE], lists.count[WHITE], cache.white_acc, white_row}, half) +
                    pass_half({black_start, lists.steps[BLACK], lists.count[BLACK], cache.black_acc, black_row}, half);
    record_pass(state, position, frame, cache, starts.exact);
    *score = score_of_sum(state, static_cast<i32>(sum));
    return true;
}

bool fill_accumulator(EvalState *state) {
    if (!state->acc_cache) return false;
    const int half = state->acc_hidden_size / 2;
    for (int node = 0; node < half; ++node) {
        state->accumulator[node] = static_cast<i16>(activate(state->acc_cache->white_acc[node]));
        state->accumulator[half + node] = static_cast<i16>(activate(state->acc_cache->black_acc[node]));
    }
    return true;
}
