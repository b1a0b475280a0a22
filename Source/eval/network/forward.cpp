// The forward pass: which rows the position needs, which of them the last pass already holds, the output
// head and the score. Called by evaluate; the console's trace and the pruning tool look at what it leaves.
//
// Make and unmake know nothing of it. Each thread keeps its last position with the sums of both
// perspectives, and a pass applies only the pieces that differ, whatever moves lie between.
#include "eval/network/forward.h"

#include <cmath>
#include <cstring>
#include <new>

#include "base/output.h"
#include "eval/network/file.h"
#include "eval/network/rows.h"

constexpr int ENEMY_ROWS = 384;  // rows of the perspective's own pieces come first
constexpr int BUCKET_ROWS = 768;
constexpr int MAX_CHANGED = 6;           // changed squares of a side up to which the difference pays
constexpr int CLEAN_PLIES = 2;           // first plies of a search always start from the biases
constexpr int MAX_STEPS = 128;           // every square emptied and filled again
constexpr float ROUNDING = 0.49999997f;  // the last float below one half
constexpr std::align_val_t BUFFER_ALIGNMENT{64};

// How squares and kings select rows, by perspective.
struct Frame {
    u16 mirror[2];  // xor on squares: files so that the own king stands on e..h, ranks for black
    i32 bucket[2];  // 0, or BUCKET_ROWS once the own king has left its first three ranks
};

// The rows to apply, the same pieces in the same order for both perspectives.
struct RowLists {
    RowStep steps[2][MAX_STEPS];
    int count;
};

static i16 *allocate_words(int count) {
    const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(i16);
    void *block = ::operator new(bytes, BUFFER_ALIGNMENT, std::nothrow);
    if (block) std::memset(block, 0, bytes);
    return static_cast<i16 *>(block);
}

static void free_words(i16 *words) { ::operator delete(words, BUFFER_ALIGNMENT); }

void free_network_buffers(ThreadState *thread) {
    if (!thread) return;
    free_words(thread->accumulator);
    if (thread->acc_cache) {
        free_words(thread->acc_cache->white_acc);
        free_words(thread->acc_cache->black_acc);
        delete thread->acc_cache;
    }
    thread->accumulator = nullptr;
    thread->acc_cache = nullptr;
    thread->acc_hidden_size = 0;
}

// Makes the thread's buffers fit the network's size. False when memory runs out.
static bool make_buffers(ThreadState *thread) {
    free_network_buffers(thread);
    thread->accumulator = allocate_words(network.hidden_size);
    thread->acc_cache = new (std::nothrow) AccumulatorCache();
    if (thread->acc_cache) {
        thread->acc_cache->white_acc = allocate_words(network.hidden_size / 2);
        thread->acc_cache->black_acc = allocate_words(network.hidden_size / 2);
    }
    if (!thread->accumulator || !thread->acc_cache || !thread->acc_cache->white_acc || !thread->acc_cache->black_acc) {
        free_network_buffers(thread);
        return false;
    }
    thread->acc_generation = 0;
    thread->acc_hidden_size = network.hidden_size;
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

// Appends the rows of a set of equal pieces, lowest square first.
static inline void append_rows(RowLists &lists, const Frame &frame, int colour, int type, Bitboard squares,
                               bool subtract) {
    const std::size_t row_length = static_cast<std::size_t>(network.hidden_size / 2);
    const int first = 64 * (type - 1);
    const i16 *white_rows =
        network.first_layer + row_length * (frame.bucket[WHITE] + first + (colour == WHITE ? 0 : ENEMY_ROWS));
    const i16 *black_rows =
        network.first_layer + row_length * (frame.bucket[BLACK] + first + (colour == BLACK ? 0 : ENEMY_ROWS));
    while (squares) {
        const Square square = pop_lowest(squares);
        lists.steps[WHITE][lists.count] = {white_rows + row_length * (square ^ frame.mirror[WHITE]), subtract};
        lists.steps[BLACK][lists.count] = {black_rows + row_length * (square ^ frame.mirror[BLACK]), subtract};
        ++lists.count;
    }
}

// The snapshot serves when it is of this network, seen from the same frames, and near enough.
static bool snapshot_serves(const ThreadState *thread, const Frame &frame) {
    const AccumulatorCache &cache = *thread->acc_cache;
    const Position &position = thread->position;
    return thread->acc_generation == network.generation && frame.mirror[WHITE] == cache.mirror[WHITE] &&
           frame.mirror[BLACK] == cache.mirror[BLACK] && frame.bucket[WHITE] == cache.king_bucket[WHITE] &&
           frame.bucket[BLACK] == cache.king_bucket[BLACK] &&
           popcount(position.pieces[0] ^ cache.white_sets[0]) <= MAX_CHANGED &&
           popcount(position.pieces[BLACK_CODE] ^ cache.black_sets[0]) <= MAX_CHANGED && thread->eval_ply > CLEAN_PLIES;
}

// Rows that lead from the snapshot to the position. The order (by type; white before black; gone before
// new) is part of the result, since the additions saturate.
static void list_changes(const Position &position, const AccumulatorCache &cache, const Frame &frame, RowLists &lists) {
    lists.count = 0;
    for (int type = PAWN; type <= KING; ++type) {
        const Bitboard white = position.pieces[type];
        const Bitboard black = position.pieces[BLACK_CODE + type];
        if (white != cache.white_sets[type]) {
            append_rows(lists, frame, WHITE, type, cache.white_sets[type] & ~white, true);
            append_rows(lists, frame, WHITE, type, white & ~cache.white_sets[type], false);
        }
        if (black != cache.black_sets[type]) {
            append_rows(lists, frame, BLACK, type, cache.black_sets[type] & ~black, true);
            append_rows(lists, frame, BLACK, type, black & ~cache.black_sets[type], false);
        }
    }
}

// Rows of all pieces, for a start from the biases.
static void list_all(const Position &position, const Frame &frame, RowLists &lists) {
    lists.count = 0;
    for (int type = PAWN; type <= KING; ++type) {
        append_rows(lists, frame, WHITE, type, position.pieces[type], false);
        append_rows(lists, frame, BLACK, type, position.pieces[BLACK_CODE + type], false);
    }
}

static void record_snapshot(ThreadState *thread, const Frame &frame) {
    AccumulatorCache &cache = *thread->acc_cache;
    const Position &position = thread->position;
    std::memcpy(cache.white_sets, position.pieces, sizeof cache.white_sets);
    std::memcpy(cache.black_sets, position.pieces + BLACK_CODE, sizeof cache.black_sets);
    cache.occupancy = thread->occupancy;
    cache.eval_ply = thread->eval_ply;
    for (int colour = WHITE; colour <= BLACK; ++colour) {
        cache.mirror[colour] = frame.mirror[colour];
        cache.king_bucket[colour] = frame.bucket[colour];
    }
    thread->acc_generation = network.generation;
}

// Unpacks the counts and picks the output row: networks of five heads have one for each stage of the
// game, told by the stronger side's material without pawns.
static void select_head(ThreadState *thread) {
    constexpr int TYPES = 5;
    for (int colour = WHITE; colour <= BLACK; ++colour) {
        i16 *counts = thread->piece_counts + TYPES * colour;
        for (int i = 0; i < TYPES; ++i) counts[i] = static_cast<i16>(thread->position.material[colour] >> (4 * i) & 15);
        const int queens = counts[QUEEN - 1];
        int value = 3 * (counts[KNIGHT - 1] + counts[BISHOP - 1]) + 5 * counts[ROOK - 1];
        value = value ? value + 9 * queens : 5 * queens;  // queens alone count as rooks
        thread->net_material[colour] = static_cast<i16>(value);
    }
    const int value =
        thread->net_material[0] > thread->net_material[1] ? thread->net_material[0] : thread->net_material[1];
    if (network.output_count != TYPES) thread->output_head = 0;
    else thread->output_head = value >= 19 ? 0 : value >= 12 ? 1 : value >= 6 ? 2 : value >= 3 ? 3 : 4;
}

// The first half of a row belongs to the side to move.
void network_output_rows(const ThreadState *thread, const i16 **white_row, const i16 **black_row) {
    const i16 *row = network.output_rows + static_cast<std::size_t>(thread->output_head) * network.hidden_size;
    const i16 *other = row + network.hidden_size / 2;
    *white_row = thread->position.stm == WHITE ? row : other;
    *black_row = thread->position.stm == WHITE ? other : row;
}

// All in single precision. The bounds come before the conversion, which could not hold what a strange
// network may give.
static int score_of_sum(ThreadState *thread, i32 sum) {
    const float scale = static_cast<float>(network.activation_scale);
    thread->raw_net_score = static_cast<float>(sum) / (scale * scale);
    const float scaled = static_cast<float>(network.output_scale) * thread->raw_net_score;
    const float rounded = scaled + std::copysign(ROUNDING, scaled);
    if (rounded >= static_cast<float>(EVAL_LIMIT)) return EVAL_LIMIT;
    if (rounded <= static_cast<float>(-EVAL_LIMIT)) return -EVAL_LIMIT;
    return static_cast<int>(rounded);
}

// Both perspectives from the snapshot or from the biases, the new snapshot, and the output.
bool network_eval(ThreadState *thread, int *score) {
    if (thread->acc_hidden_size != network.hidden_size && !make_buffers(thread)) {
        print_line("error initializing NN!");
        return false;
    }
    const Position &position = thread->position;
    AccumulatorCache &cache = *thread->acc_cache;
    const int half = network.hidden_size / 2;
    const Frame frame = frame_of(position);
    select_head(thread);
    thread->occupancy = occupied(position);

    RowLists lists;
    const i16 *white_start = cache.white_acc;
    const i16 *black_start = cache.black_acc;
    if (snapshot_serves(thread, frame)) {
        list_changes(position, cache, frame, lists);
    } else {
        list_all(position, frame, lists);
        white_start = network.hidden_biases;
        black_start = network.hidden_biases + half;
    }
    record_snapshot(thread, frame);

    const i16 *white_row;
    const i16 *black_row;
    network_output_rows(thread, &white_row, &black_row);
    const HalfPass white = {white_start, lists.steps[WHITE], lists.count, cache.white_acc, white_row};
    const HalfPass black = {black_start, lists.steps[BLACK], lists.count, cache.black_acc, black_row};
    const u32 sum = pass_half(white, half) + pass_half(black, half);
    *score = score_of_sum(thread, static_cast<i32>(sum));
    return true;
}

bool fill_accumulator(ThreadState *thread) {
    if (!thread->acc_cache) return false;
    const int half = thread->acc_hidden_size / 2;
    for (int node = 0; node < half; ++node) {
        thread->accumulator[node] = static_cast<i16>(activate(thread->acc_cache->white_acc[node]));
        thread->accumulator[half + node] = static_cast<i16>(activate(thread->acc_cache->black_acc[node]));
    }
    return true;
}
