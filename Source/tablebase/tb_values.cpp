// Results and distances, with captures resolved by a small search.
#include "tablebase/tb_values.h"

#include <cassert>
#include <climits>
#include <cstddef>

#include "tablebase/tb_table.h"

const int TB_DTZ_BEFORE_ZERO[5] = {-1, -101, 0, 101, 1};
constexpr int NONE = -3;  // below every result

int tb_probe_ab(const TbPosition &pos, int alpha, int beta, int *success) {
    assert(pos.ep == 0);
    TbMove moves[TB_MAX_MOVES];
    TbMove *const end = tb_gen_captures(pos, moves);
    TbPosition next;
    for (const TbMove *move = moves; move != end; ++move) {
        if (!tb_is_capture(pos, *move) || !tb_do_move(&next, pos, *move)) continue;
        const int v = -tb_probe_ab(next, -beta, -alpha, success);
        if (*success == 0) return 0;
        if (v <= alpha) continue;
        if (v >= beta) return v;
        alpha = v;
    }
    const int v = tb_probe_table(pos, 0, success, TB_WDL);
    return alpha > v ? alpha : v;
}

// True when the side to move has a legal move other than taking en passant.
static bool has_other_move(const TbPosition &pos) {
    TbMove moves[TB_MAX_MOVES];
    TbMove *const end = tb_gen_legal(pos, moves);
    for (const TbMove *move = moves; move != end; ++move)
        if (!tb_is_en_passant(pos, *move)) return true;
    return false;
}

// The tables take the best capture into account or hold any value that isn't better, and know
// nothing of en passant; so each capture is tried, en passant apart.
int tb_wdl_raw(const TbPosition &pos, int *success) {
    *success = 1;
    TbMove moves[TB_MAX_MOVES];
    TbMove *const end = tb_gen_captures(pos, moves);
    TbPosition next;
    int best = NONE, best_ep = NONE;
    for (const TbMove *move = moves; move != end; ++move) {
        if (!tb_is_capture(pos, *move) || !tb_do_move(&next, pos, *move)) continue;
        const int v = -tb_probe_ab(next, -2, -best, success);
        if (*success == 0) return 0;
        if (v <= best) continue;
        if (v == 2) {
            *success = 2;
            return 2;
        }
        if (!tb_is_en_passant(pos, *move)) best = v;
        else if (v > best_ep) best_ep = v;
    }
    const int v = tb_probe_table(pos, 0, success, TB_WDL);
    if (*success == 0) return 0;
    if (best_ep > best) {
        if (best_ep > v) {
            *success = 2;
            return best_ep;
        }
        best = best_ep;
    }
    if (best >= v) {
        *success = best < 1 ? 1 : 2;
        return best;
    }
    if (best_ep == NONE || v != 0) return v;
    // A draw by the table with a worse en passant: it may be the stalemate of a position in which
    // the table doesn't see that capture.
    if (has_other_move(pos) || tb_in_check(pos)) return 0;
    *success = 2;
    return best_ep;
}

// The distance when the table holds the other side to move: one move ahead over the moves that don't
// zero. `moves` are the legal ones. *success is 0 without an answer.
static int dtz_one_move_ahead(const TbPosition &pos, int wdl, const TbMove *moves, const TbMove *end, int *success) {
    assert(end != NULL);
    *success = 1;
    TbPosition next;
    int best = wdl > 0 ? INT_MAX : TB_DTZ_BEFORE_ZERO[wdl + 2];
    for (const TbMove *move = moves; move != end; ++move) {
        if (tb_is_capture(pos, *move) || tb_is_pawn_move(pos, *move) || !tb_do_move(&next, pos, *move)) continue;
        const int v = -tb_probe_dtz(next, success);
        if (*success == 0) return 0;
        if (v == 1 && tb_is_mate(next)) best = 1;
        else if (wdl > 0 && v > 0 && v + 1 < best) best = v + 1;
        else if (wdl < 0 && v - 1 < best) best = v - 1;
    }
    if (best == INT_MAX) *success = 0;  // a won position without a winning move: the tables disagree
    return *success ? best : 0;
}

// A win by a capture or a pawn move zeroes at once; all else stands in the distance table, or one move
// further on.
int tb_probe_dtz(const TbPosition &pos, int *success) {
    const int wdl = tb_wdl_raw(pos, success);
    if (*success == 0 || wdl == 0) return 0;
    if (*success == 2) return TB_DTZ_BEFORE_ZERO[wdl + 2];

    TbMove moves[TB_MAX_MOVES];
    TbMove *end = nullptr;
    if (wdl > 0) {
        end = tb_gen_legal(pos, moves);
        TbPosition next;
        for (const TbMove *move = moves; move != end; ++move) {
            if (!tb_is_pawn_move(pos, *move) || tb_is_capture(pos, *move)) continue;
            tb_do_move(&next, pos, *move);
            const int v = -tb_wdl_raw(next, success);
            if (*success == 0) return 0;
            if (v == wdl) {
                assert(wdl < 3);
                return TB_DTZ_BEFORE_ZERO[wdl + 2];
            }
        }
    }

    *success = 1;
    const int distance = tb_probe_table(pos, wdl, success, TB_DTZ);
    if (*success == 0) return 0;
    if (*success > 0) return TB_DTZ_BEFORE_ZERO[wdl + 2] + (wdl > 0 ? distance : -distance);
    if (wdl < 0) end = tb_gen_legal(pos, moves);
    return dtz_one_move_ahead(pos, wdl, moves, end, success);
}
