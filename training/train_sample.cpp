// From record to network input. The definition of rows and heads is in docs/network-format.md.
#include "train_sample.h"

#include <algorithm>
#include <bit>
#include <cmath>

constexpr int BLACK_BIT = 8;      // of a piece code
constexpr int ENEMY_ROWS = 384;   // rows of the perspective's own pieces come first
constexpr int FILES_E_TO_H = 4;   // bit of a square
constexpr int HOME_SQUARES = 24;  // the three ranks nearest to a king's own edge

void fill_target_table(TargetTable *table, float score_share) {
    for (int score = -TRAIN_SCORE_LIMIT; score <= TRAIN_SCORE_LIMIT; ++score)
        table->probability[score + TRAIN_SCORE_LIMIT] =
            static_cast<float>(1.0 / (1.0 + std::exp(-SCORE_SLOPE * score)));
    table->score_share = score_share;
}

static float target_of(const DataItem &item, const TargetTable &table) {
    const float score = table.probability[item.record->sc + TRAIN_SCORE_LIMIT];
    if (!item.has_result) return score;
    const float result = table.probability[item.record->gr_score + TRAIN_SCORE_LIMIT];
    return table.score_share * score + (1.0f - table.score_share) * result;
}

// Material that selects the head: queens alone count as rooks.
static int head_value(const u64 *sets) {
    const int value = 3 * (std::popcount(sets[KNIGHT]) + std::popcount(sets[BISHOP])) + 5 * std::popcount(sets[ROOK]);
    const int queens = std::popcount(sets[QUEEN]);
    return value ? value + 9 * queens : 5 * queens;
}

static int head_of(const u64 sets[16]) {
    const int value = std::max(head_value(sets), head_value(sets + BLACK_BIT));
    return value >= 19 ? 0 : value >= 12 ? 1 : value >= 6 ? 2 : value >= 3 ? 3 : 4;
}

static void collect_sets(const TrainRecord &record, u64 sets[16]) {
    for (int byte = 0; byte < 32; ++byte) {
        const int pair = record.squares[byte];
        if (!pair) continue;
        sets[pair & 15] |= u64{1} << 2 * byte;
        sets[pair >> 4] |= u64{2} << 2 * byte;
    }
}

// How a perspective turns squares, and the bucket that its king selects.
struct BoardView {
    int turn;    // xor on squares
    int bucket;  // first row
};

static BoardView view_of(int king, bool black, int king_buckets) {
    const int own_king = black ? king ^ 56 : king;
    const int mirror = own_king & FILES_E_TO_H ? 0 : 7;
    return {black ? mirror ^ 56 : mirror, king_buckets == 2 && own_king >= HOME_SQUARES ? ROWS_PER_BUCKET : 0};
}

void fill_sample(const DataItem &item, const TargetTable &table, int king_buckets, bool one_head, Sample *sample) {
    *sample = {};
    if (record_defect(*item.record)) return;
    u64 sets[16] = {};
    collect_sets(*item.record, sets);
    const BoardView white = view_of(std::countr_zero(sets[KING]), false, king_buckets);
    const BoardView black = view_of(std::countr_zero(sets[BLACK_BIT + KING]), true, king_buckets);
    int count = 0;
    for (int type = PAWN; type <= KING; ++type) {
        const int block = 64 * (type - PAWN);
        for (int side = 0; side < 2; ++side) {
            const int white_row = white.bucket + block + (side ? ENEMY_ROWS : 0);
            const int black_row = black.bucket + block + (side ? 0 : ENEMY_ROWS);
            for (u64 left = sets[type + BLACK_BIT * side]; left; left &= left - 1, ++count) {
                const int square = std::countr_zero(left);
                sample->rows[0][count] = static_cast<u16>(white_row + (square ^ white.turn));
                sample->rows[1][count] = static_cast<u16>(black_row + (square ^ black.turn));
            }
        }
    }
    sample->count = static_cast<u8>(count);
    sample->stm = item.record->stm_castling >> 4;
    sample->head = static_cast<u8>(one_head ? 0 : head_of(sets));
    sample->target = target_of(item, table);
}
