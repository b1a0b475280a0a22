// The choice of a root move by distance, when the half-move clock begins to matter.
#include "tablebase/tablebase.h"
#include "tablebase/tb_material.h"
#include "tablebase/tb_values.h"

constexpr int CLOCK_LIMIT = 100;  // half-moves without capture or pawn move that make a draw

struct RankedMove {
    TbMove move;
    int value;  // half-moves to the next zeroing move: above 0 for wins, below for losses, 0 draw
};

// What the move is worth to the side that plays it; `dtz` is the value before it. *status
// is TB_NO_VALUE without an answer.
static int value_of_move(const TbPosition &next, int dtz, TbStatus *status) {
    if (dtz > 0 && tb_is_mate(next)) {
        *status = TB_VALUE;
        return 1;
    }
    if (next.rule50 == 0) return TB_DTZ_BEFORE_ZERO[2 - tb_wdl_raw(next, status)];
    const int distance = tb_probe_dtz(next, status);
    if (distance == 0) return 0;
    return distance < 0 ? 1 - distance : -distance - 1;
}

// Ranks all legal moves in the generator's order. -1 without an answer, else their number.
static int rank_moves(const TbPosition &pos, int dtz, RankedMove *ranked) {
    TbMove moves[TB_MAX_MOVES];
    TbMove *const end = tb_gen_legal(pos, moves);
    TbPosition next;
    int count = 0;
    TbStatus status = TB_NO_VALUE;
    for (const TbMove *move = moves; move != end; ++move) {
        tb_do_move(&next, pos, *move);
        const int value = value_of_move(next, dtz, &status);
        if (status == TB_NO_VALUE) return -1;
        ranked[count++] = {*move, value};
    }
    return count;
}

// Won: the shortest win. Lost: the longest resistance. The first of equals; null when there is none.
static const RankedMove *best_by_distance(const RankedMove *ranked, int count, bool winning) {
    const RankedMove *best = nullptr;
    for (const RankedMove *entry = ranked; entry != ranked + count; ++entry) {
        if (winning ? entry->value < 1 : entry->value >= 0) continue;
        if (!best || entry->value < best->value) best = entry;
    }
    return best;
}

// One of the drawing moves, the same each time in the same material.
static const RankedMove *some_draw(const TbPosition &pos, const RankedMove *ranked, int count) {
    u64 draws = 0;
    for (int i = 0; i < count; ++i) draws += ranked[i].value == 0;
    if (draws == 0) return nullptr;
    u64 wanted = tb_material_key(pos, !pos.turn) % draws;
    for (int i = 0;; ++i)
        if (ranked[i].value == 0 && wanted-- == 0) return &ranked[i];
}

static Move engine_move(TbMove move) {
    static const Move PROMOTION_FLAGS[5] = {0, PROMO_QUEEN, PROMO_ROOK, PROMO_BISHOP, PROMO_KNIGHT};
    return make_word(tb_from(move), tb_to(move), PROMOTION_FLAGS[tb_promotion(move)]);
}

bool tb_root_distance(const Position *position, int *distance) {
    if (position->castling || popcount(occupied(*position)) > TB_LARGEST) return false;
    TbStatus status = TB_NO_VALUE;
    *distance = tb_probe_dtz(tb_from_position(position, position->fifty), &status);
    return status != TB_NO_VALUE;
}

// A win that comes too late for the clock is TB_CURSED_WIN, such a loss TB_BLESSED_LOSS.
bool tb_root_rank(const Position *position, Move *move, TbWdl *result) {
    int dtz;
    if (!tb_root_distance(position, &dtz)) return false;
    const TbPosition pos = tb_from_position(position, position->fifty);
    RankedMove ranked[TB_MAX_MOVES];
    const int count = rank_moves(pos, dtz, ranked);
    if (count < 0) return false;
    const RankedMove *const chosen =
        dtz == 0 ? some_draw(pos, ranked, count) : best_by_distance(ranked, count, dtz > 0);
    if (!chosen) return false;
    const int clock = position->fifty;
    if (dtz > 0) *result = clock + dtz <= CLOCK_LIMIT ? TB_WIN : TB_CURSED_WIN;
    else if (dtz < 0) *result = clock - dtz > CLOCK_LIMIT ? TB_BLESSED_LOSS : TB_LOSS;
    else *result = TB_DRAW;
    *move = engine_move(chosen->move);
    return true;
}
