// Results and distances, with captures resolved by a small search.
#include "tablebase/tb_values.h"

#include <cassert>
#include <climits>

#include "tablebase/tb_table.h"

const int TB_DTZ_BEFORE_ZERO[5] = {-1, -101, 0, 101, 1};
constexpr int NONE = TB_RESULT_LOSS - 1;

int tb_probe_ab(const TbPosition &pos, int alpha, int beta, TbStatus *status) {
    assert(pos.ep == 0);
    TbMove moves[TB_MAX_MOVES];
    TbMove *const end = tb_gen_captures(pos, moves);
    TbPosition next;
    for (const TbMove *move = moves; move != end; ++move) {
        if (!tb_is_capture(pos, *move) || !tb_do_move(&next, pos, *move)) continue;
        const int v = -tb_probe_ab(next, -beta, -alpha, status);
        if (*status == TB_NO_VALUE) return 0;
        if (v <= alpha) continue;
        if (v >= beta) return v;
        alpha = v;
    }
    const int v = tb_probe_table(pos, 0, status, TB_WDL);
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
int tb_wdl_raw(const TbPosition &pos, TbStatus *status) {
    *status = TB_VALUE;
    TbMove moves[TB_MAX_MOVES];
    TbMove *const end = tb_gen_captures(pos, moves);
    TbPosition next;
    int best = NONE, best_ep = NONE;
    for (const TbMove *move = moves; move != end; ++move) {
        if (!tb_is_capture(pos, *move) || !tb_do_move(&next, pos, *move)) continue;
        const int v = -tb_probe_ab(next, TB_RESULT_LOSS, -best, status);
        if (*status == TB_NO_VALUE) return 0;
        if (v <= best) continue;
        if (v == TB_RESULT_WIN) {
            *status = TB_ZEROING;
            return v;
        }
        if (!tb_is_en_passant(pos, *move)) best = v;
        else if (v > best_ep) best_ep = v;
    }
    const int v = tb_probe_table(pos, 0, status, TB_WDL);
    if (*status == TB_NO_VALUE) return 0;
    if (best_ep > best) {
        if (best_ep > v) {
            *status = TB_ZEROING;
            return best_ep;
        }
        best = best_ep;
    }
    if (best >= v) {
        *status = best < TB_RESULT_CURSED_WIN ? TB_VALUE : TB_ZEROING;
        return best;
    }
    if (best_ep == NONE || v != TB_RESULT_DRAW) return v;
    // A draw by the table with a worse en passant: it may be the stalemate of a position in which
    // the table doesn't see that capture.
    if (has_other_move(pos) || tb_in_check(pos)) return TB_RESULT_DRAW;
    *status = TB_ZEROING;
    return best_ep;
}

// The distance when the table holds the other side to move: one move ahead over the moves that don't
// zero. `moves` are the legal ones. *status is TB_NO_VALUE without an
// answer.
static int dtz_one_move_ahead(const TbPosition &pos, int wdl, const TbMove *moves, const TbMove *end,
                              TbStatus *status) {
    assert(end != NULL);
    *status = TB_VALUE;
    TbPosition next;
    int best = wdl > 0 ? INT_MAX : TB_DTZ_BEFORE_ZERO[wdl + 2];
    for (const TbMove *move = moves; move != end; ++move) {
        if (tb_is_capture(pos, *move) || tb_is_pawn_move(pos, *move) || !tb_do_move(&next, pos, *move)) continue;
        const int v = -tb_probe_dtz(next, status);
        if (*status == TB_NO_VALUE) return 0;
        if (v == 1 && tb_is_mate(next)) best = 1;
        else if (wdl > 0 && v > 0 && v + 1 < best) best = v + 1;
        else if (wdl < 0 && v - 1 < best) best = v - 1;
    }
    if (best == INT_MAX) *status = TB_NO_VALUE;  // a won position without a winning move: the tables disagree
    return *status == TB_NO_VALUE ? 0 : best;
}

// A win by a capture or a pawn move zeroes at once; all else is in the distance table, or one move
// further on.
int tb_probe_dtz(const TbPosition &pos, TbStatus *status) {
    const int wdl = tb_wdl_raw(pos, status);
    if (*status == TB_NO_VALUE || wdl == 0) return 0;
    if (*status == TB_ZEROING) return TB_DTZ_BEFORE_ZERO[wdl + 2];

    TbMove moves[TB_MAX_MOVES];
    TbMove *end = nullptr;
    if (wdl > 0) {
        end = tb_gen_legal(pos, moves);
        TbPosition next;
        for (const TbMove *move = moves; move != end; ++move) {
            if (!tb_is_pawn_move(pos, *move) || tb_is_capture(pos, *move)) continue;
            tb_do_move(&next, pos, *move);
            const int v = -tb_wdl_raw(next, status);
            if (*status == TB_NO_VALUE) return 0;
            if (v == wdl) {
                assert(wdl < 3);
                return TB_DTZ_BEFORE_ZERO[wdl + 2];
            }
        }
    }

    *status = TB_VALUE;
    const int distance = tb_probe_table(pos, wdl, status, TB_DTZ);
    if (*status == TB_NO_VALUE) return 0;
    if (*status != TB_OTHER_SIDE) return TB_DTZ_BEFORE_ZERO[wdl + 2] + (wdl > 0 ? distance : -distance);
    if (wdl < 0) end = tb_gen_legal(pos, moves);
    return dtz_one_move_ahead(pos, wdl, moves, end, status);
}
