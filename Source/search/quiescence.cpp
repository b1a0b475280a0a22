// Quiescence search: captures, promotions and, on its first ply, quiet checks, until the position is quiet.
#include "search/node.h"

#include <algorithm>

#include "board/exchange.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/moves.h"
#include "search/hash_table.h"
#include "search/line.h"
#include "search/move_picker.h"
#include "search/search_state.h"

static constexpr int CHECK_GAIN = 20000;  // exceeds every margin: checks are never delta-pruned
static constexpr int PAWN_GAIN = 2000;    // a promotion, or a pawn move to the seventh rank

// Delta margins in centipawns.
static constexpr int DELTA_MARGIN = 150;
static constexpr int DELTA_MARGIN_RAZORING = 500;  // depth 1 and more
static constexpr int DELTA_MARGIN_ENDING = 1500;   // the opponent has at most two pieces: single pawns decide

// Upper bound on a move's gain in centipawns, for delta pruning.
static int move_gain(const MoveTests *tests, Position *position, int side, const MoveEntry *entry) {
    const Square from = from_of(entry->move), to = to_of(entry->move);
    const bool is_pawn = type_of(entry->piece) == PAWN, promotes = is_pawn && flags_of(entry->move);
    const int type = promotes ? promotion_type(flags_of(entry->move)) : type_of(entry->piece);
    if (from != to && attacks_king_with(tests, position, side, type, entry)) return CHECK_GAIN;
    return is_pawn && relative_rank(side, to) >= 6 ? PAWN_GAIN : SEE_VALUE[type_of(entry->captured)];
}

// The loop has no recursion of its own: its children are nodes, which come back here when they are
// not in check. Returns the static evaluation if no move does better.
int quiesce_moves(Position *position, int side, int ply, int depth, int alpha, int beta, NodeType node_type, u16 *pv) {
    ThreadState *thread = thread_of(position);
    PlyRecord *record = &thread->plies[ply];
    // 1. Stand pat: the side need not capture. Fail-hard at beta.
    const int eval = record->static_eval;
    if (eval >= beta) return beta;
    int best = eval;
    alpha = std::max(eval, alpha);
    Move best_move = 0;

    // 2. Delta margin.
    const Bitboard *enemy = position->pieces + (side ^ 1) * BLACK_CODE;
    const int enemy_pieces = popcount(enemy[KNIGHT] | enemy[BISHOP] | enemy[ROOK] | enemy[QUEEN]);
    const int margin = enemy_pieces <= 2 ? DELTA_MARGIN_ENDING : depth > 0 ? DELTA_MARGIN_RAZORING : DELTA_MARGIN;

    // 3. The moves: tactical ones; from depth 0 up quiet checks as well.
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
        // 4. Delta pruning: even the greatest gain leaves the score below alpha by the margin.
        const int gain = move_gain(&tests, position, side, entry);
        if (gain + eval <= alpha - margin) continue;

        // 5. Exchange pruning.
        if (!see_ok(position, entry->move)) continue;

        // 6. Legality. The bucket of a child that will probe is fetched meanwhile.
        if (gain == CHECK_GAIN || depth > 0) prefetch_child(position, entry);
        if (!is_move_legal_with(&tests, position, side, entry->move)) continue;

        // 7. Make, search, unmake.
        make_move(position, entry->move);
        const int score =
            -search_node(position, side ^ 1, ply + 1, depth - 1, -beta, -alpha, child_type(node_type), child_pv);
        unmake_move(position);
        if (search_run.stop) return 0;
        ++record->move_count;

        // 8. Best move. Alpha is not raised in this loop: the last move that beats it becomes the best move, even if an
        // earlier one scored more.
        if (score <= alpha) continue;
        best_move = entry->move;
        best = std::max(best, score);
        pv[ply] = best_move;
        pv[ply + 1] = 0;

        // 9. Beta cut-off.
        if (best >= beta) break;
        if (ply < MAX_PLY) copy_line(pv, child_pv, ply + 1);
    }

    // 10. Transposition table: only a cut-off is stored, as a lower bound of depth 0.
    if (best >= beta && depth >= 0) hash_store(position, ply, 0, best_move, eval, best, BOUND_LOWER);
    return best;
}
