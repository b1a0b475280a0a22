// Quiescence: captures, promotions and, on its first ply, quiet checks, until nothing hangs.
#include "search/quiescence.h"

#include <algorithm>

#include "base/settings.h"
#include "board/attacks.h"
#include "board/exchange.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/moves.h"
#include "search/hash_table.h"
#include "search/interior.h"
#include "search/move_picker.h"
#include "search/search_state.h"

static constexpr int CHECK_GAIN = 20000;  // beyond every margin: checks are never delta-pruned
static constexpr int PAWN_GAIN = 2000;    // a promotion, or a pawn's step next to it

// What a move can gain at most, for delta pruning.
static int move_gain(const MoveTests *tests, Position *position, int side, const MoveEntry *entry) {
    const Square from = from_of(entry->move), to = to_of(entry->move);
    const bool is_pawn = type_of(entry->piece) == PAWN, promotes = is_pawn && flags_of(entry->move);
    const int type = promotes ? promotion_type(flags_of(entry->move)) : type_of(entry->piece);
    if (from != to && attacks_king_with(tests, position, side, type, entry)) return CHECK_GAIN;
    return is_pawn && relative_rank(side, to) >= 6 ? PAWN_GAIN : SEE_VALUE[type_of(entry->captured)];
}

// True when the exchange that the move begins loses more than the search allows. Captures of
// something worth at least the mover, and en passant, are not looked at.
static bool loses_exchange(const Position *position, int side, Move move) {
    const Square from = from_of(move), to = to_of(move);
    const int mover = type_of(position->board[from]);
    if (SEE_WORTH[mover] <= SEE_WORTH[type_of(position->board[to])]) return false;
    if (mover == PAWN && to == position->ep_square) return false;
    return see(position, side, from, to) < SEE_OK_MARGIN;
}

// The loop has no recursion of its own: its children are nodes, which come back here when they are
// quiet enough. Returns the static evaluation where no move does better.
int quiesce_moves(Position *position, int side, int ply, int depth, int alpha, int beta, int node_type, u16 *pv) {
    ThreadState *thread = thread_of(position);
    PlyRecord *record = &thread->plies[ply];
    // 1-2. Stand pat, fail-hard at beta.
    const int eval = record->static_eval;
    if (eval >= beta) return beta;
    int best = eval;
    alpha = std::max(eval, alpha);
    Move best_move = 0;

    // 3. Delta margin: wide when the opponent has little left, since endings turn on single pawns.
    const Bitboard *enemy = position->pieces + (side ^ 1) * BLACK_CODE;
    const int enemy_pieces = popcount(enemy[KNIGHT] | enemy[BISHOP] | enemy[ROOK] | enemy[QUEEN]);
    const int margin = enemy_pieces > 2 ? (depth > 0 ? 500 : 150) : 1500;

    // 4. Captures; checks as well from depth 0 up.
    record->alpha = static_cast<i16>(alpha);
    record->beta = static_cast<i16>(beta);
    record->move_count = 0;
    record->picker_stage = depth < 0 ? PICK_QUIESCE : PICK_QUIESCE_CHECKS;
    MoveTests tests;
    tests.ready = false;
    int examined = 0;
    u16 child_pv[PV_SIZE];

    while (const MoveEntry *entry = next_move(position)) {
        if (++examined == 2) prepare_move_tests(position, side, false, &tests);
        // 5a-e. Delta pruning, exchange, legality.
        const int gain = move_gain(&tests, position, side, entry);
        if (gain + eval <= alpha - margin) continue;
        if (loses_exchange(position, side, entry->move)) continue;
        if (gain == CHECK_GAIN || depth > 0) prefetch_child(position, entry);  // others don't probe
        if (!is_move_legal_with(&tests, position, side, entry->move)) continue;

        make_move(position, entry->move);
        const int score = -search_node(position, side ^ 1, ply + 1, depth - 1, -beta, -alpha, -node_type, child_pv);
        unmake_move(position);
        if (search_run.stop) return 0;
        ++record->move_count;
        // Alpha is not raised here: the last move that beats it is the best move, even when an
        // earlier one scored more.
        if (score <= alpha) continue;
        best_move = entry->move;
        best = std::max(best, score);
        pv[ply] = best_move;
        pv[ply + 1] = 0;
        if (best >= beta) break;
        if (ply < MAX_PLY) copy_line(pv, child_pv, ply + 1);
    }
    // 6-7. Only a cut-off is stored, as a lower bound of depth 0.
    if (best >= beta && depth >= 0) hash_store(position, ply, 0, best_move, eval, best, BOUND_LOWER);
    return best;
}
