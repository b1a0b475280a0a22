// The interior node: search_node settles a node without trying its moves where it can, search_moves
// tries them.
#include "search/node.h"

#include <algorithm>

#include "base/debug_check.h"
#include "board/attacks.h"
#include "board/check_position.h"
#include "board/exchange.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/moves.h"
#include "eval/evaluate.h"
#include "platform/clock.h"
#include "search/hash_table.h"
#include "search/line.h"
#include "search/move_picker.h"
#include "search/pruning_tables.h"
#include "search/search_state.h"
#include "search/time_check.h"
#include "tablebase/tablebase.h"

// Pruning before any move is made: scores and material in centipawns.
static constexpr int MAX_RAZOR_ALPHA = 2000;      // razoring needs a lower alpha
static constexpr int MIN_STATIC_BETA = -1999;     // static null-move pruning needs at least this beta
static constexpr int MIN_PRUNING_MATERIAL = 500;  // side to move; with less, zugzwang is likely
static constexpr int NULL_MOVE_MARGIN = 14;       // the evaluation must exceed beta by more
static constexpr int NULL_MOVE_CUT_DEPTH = 5;     // deeper nodes are only reduced, by this many plies
static constexpr int IID_DEPTH = 4;               // least depth of internal iterative deepening

// Tablebases.
static constexpr int TB_SCORE_LIMIT = 4999;  // windows beyond it look for mates, not for table results
static constexpr int TB_EVAL_SHIFT = 4000;   // added to the evaluation of a won position
static constexpr int TB_MUST_PROBE = 256;    // depth that passes every probe-depth limit

// The move loop.
static constexpr int LOST_MATE_BOUND = -9499;  // below it a move may be the only one that delays mate
static constexpr int GOOD_CAPTURE = 200;       // order score from which a capture keeps material
static constexpr u32 HISTORY_SCALE = 0x40000;  // a history cell stays below it

// State shared by the steps of one search_node call.
struct NodeState {
    Position *position;
    ThreadState *thread;
    PlyRecord *record;
    int side, ply, depth, alpha, beta;
    NodeType node_type;
    u16 *pv;
    int static_eval;
    int hash_depth;              // -99 without an entry
    bool fails_low, fails_high;  // the hash entry's score is at or outside that end of the window
    int result;                  // the node's value, once a step has settled it
};

// Step 2. Limits, tested by the master alone. A limited strength sleeps to keep its node rate; node limits wait while
// the root is failing low, so that a refuted move is not played.
static void check_node_limits(const ThreadState *thread) {
    if (search_run.throttled) {
        while (search_run.depth >= 2 && !search_run.stop &&
               static_cast<float>(thread->nodes) / (search_run.elapsed + 0.0001f) > search_run.target_nps) {
            sleep_milliseconds(1);
            time_check();
        }
    }
    if (thread->root_fail == ROOT_FAILS_LOW) return;
    const i64 nodes = static_cast<i64>(thread->nodes);
    if (nodes >= search_limits.node_limit) search_run.stop = 1;
    if (nodes >= search_limits.soft_node_limit && thread->completed_depth >= search_limits.min_depth)
        search_run.stop = 1;
}

// Step 11. Extensions by one ply: in check; in a pawn ending, after the capture of a piece; below depth 3, after a pawn
// move to the seventh rank. Only search_moves and the root write move_flags: below a quiescence node or a null move the
// ply above still holds an older value.
static void extend_depth(NodeState *node) {
    const PlyRecord *above = node->record - 1;
    if (node->record->in_check) {
        node->depth = std::max(node->depth + 1, 0);
        return;
    }
    const int captured = node->thread->game.game_stack[node->thread->game.game_ply - 1].undo & 7;
    const bool only_pawns = node->position->material[node->side] < 16;
    if (only_pawns && captured > PAWN) node->depth += 1;
    else if (above->move_flags & MOVE_SEVENTH && node->depth < 3) node->depth += 1;
}

// Step 12. True if the hash entry settles the node. Otherwise its move, score and evaluation are kept for later steps.
static bool probe_hash(NodeState *node, int *hash_eval) {
    PlyRecord *record = node->record;
    int score, eval, depth, bound;
    Move move;
    if (!hash_probe(node->position, &score, &eval, &depth, &move, &bound)) return false;
    // Stored mate scores count from the node, the search's from the root.
    if (score < -MATE_BOUND) score += node->ply;
    else if (score >= MATE_BOUND) score -= node->ply;
    node->hash_depth = depth;
    node->fails_low = score <= node->alpha && bound != BOUND_LOWER;
    node->fails_high = score >= node->beta && bound != BOUND_UPPER;
    // Cut-off outside PV nodes, by an entry of at least this depth. Near the fifty-move limit a stored score is not
    // trusted: the moves it rests on may come too late. Bounds return the window's end, not the score.
    if (node->node_type != NODE_PV && depth >= node->depth && depth + node->position->fifty <= 99) {
        if (bound == BOUND_EXACT) {
            node->result = score;
            return true;
        }
        if (node->fails_low || node->fails_high) {
            node->result = node->fails_low ? node->alpha : node->beta;
            return true;
        }
    }
    *hash_eval = eval;
    record->hash_move = move;
    record->hash_score = static_cast<i16>(score);
    return false;
}

// Step 13. True if a tablebase settles the node. Probed after a capture or pawn move and, below a position that was in
// the tables, at every node. A win or loss cuts off with the window's end, unless the window looks for mates.
static bool probe_tablebase(NodeState *node) {
    const int parent = node->record[-1].tb_wdl;
    if (parent == TB_NO_ANSWER && node->position->fifty != 0) return false;
    const int wdl = tb_probe_wdl(node->position, parent == TB_NO_ANSWER ? node->depth : TB_MUST_PROBE);
    node->record->tb_wdl = wdl;
    if (wdl == TB_NO_ANSWER) return false;
    node->thread->tb_hits += 1;
    if (parent != TB_NO_ANSWER && tb_reversed(parent) < wdl) {  // the last move gave a result away
        node->result = node->beta;
        return true;
    }
    if (wdl == TB_WIN && node->beta <= TB_SCORE_LIMIT) {
        node->result = node->beta;
        return true;
    }
    if (wdl == TB_LOSS && node->alpha >= -TB_SCORE_LIMIT) {
        node->result = node->alpha;
        return true;
    }
    return false;
}

// Step 14. Static evaluation, shifted by the table result: it stays below mate scores and keeps the order of positions.
static int evaluate_node(const NodeState *node) {
    const int eval =
        evaluate(&node->thread->eval, node->thread->position, node->side, node->ply, node->record->in_check);
    switch (node->record->tb_wdl) {
        case TB_LOSS: return eval - TB_EVAL_SHIFT;
        case TB_DRAW: return eval / 4;
        case TB_WIN: return eval + TB_EVAL_SHIFT;
        default: return eval;
    }
}

// Material of the side to move for the pruning conditions, in centipawns.
static int pruning_material(i32 packed) {
    return 1000 * (packed >> 16 & 15) + 550 * (packed >> 12 & 15) + 335 * ((packed >> 8 & 15) + (packed >> 4 & 15)) +
           100 * (packed & 15);
}

// True if the opponent threatens to fall below beta by a capture, or to push a pawn safely to its seventh or eighth
// rank.
static bool has_threat(const NodeState *node) {
    const Position *position = node->position;
    const int side = node->side, enemy = side ^ 1;
    const Bitboard occupancy = occupied(*position);
    // Captures of attacked pieces: exchanges are computed only for those whose full value would be enough.
    for (Bitboard own = position->pieces[side * BLACK_CODE] & attacked_squares(position, enemy); own;) {
        const Square square = pop_lowest(own);
        const int type = type_of(position->board[square]);
        if (node->static_eval - SEE_VALUE[type] >= node->beta) continue;
        if (node->static_eval - see_on_square(position, enemy, square, type, occupancy) < node->beta) return true;
    }
    // Pawns on the opponent's sixth and seventh rank.
    const Bitboard advanced = enemy == WHITE ? 0x00FFFF0000000000ULL : 0x0000000000FFFF00ULL;
    for (Bitboard pawns = position->pieces[piece_code(enemy, PAWN)] & advanced; pawns;) {
        const Square from = pop_lowest(pawns), to = from + PAWN_STEP[enemy];
        if (!position->board[to] && see(position, enemy, from, to) >= 0) return true;
    }
    return false;
}

// Passes the turn, searches `reduction` plies less deep and takes the pass back; returns the score for the
// node's side. Not by make_move: the half-move clock is kept, and the key has no side term, since each side has its own
// hash table.
static int search_null_move(const NodeState *node, int reduction) {
    Position *position = node->position;
    ThreadState *thread = node->thread;
    PlyRecord *record = node->record;
    // The null move is the ply's only list entry.
    record->current_move = record->move_list;
    record->move_list->move = 0;
    close_move_list(thread, record->move_list + 1);

    // Make: save what the pass changes, then change sides.
    const KeyDifference before = DEBUG_CHECKS ? key_difference(position) : KeyDifference{};
    GameRecord *saved = &thread->game.game_stack[thread->game.game_ply];
    saved->key = position->key;
    saved->move = 0;  // the search for repetitions ends here
    saved->undo = static_cast<u16>(position->ep_square << 8);
    saved->rights = static_cast<u16>((saved->rights & 0xFF00) | position->fifty);
    if (position->ep_square != NO_SQUARE) position->key ^= zobrist[position->ep_square];
    position->ep_square = NO_SQUARE;
    position->stm ^= 1;
    thread->game.last_move = 0;
    ++thread->game.game_ply;
    ++thread->game.ply;
    if constexpr (DEBUG_CHECKS) require_sound_position(position, before, "search_null_move");

    u16 child_pv[PV_SIZE];
    const int score = -search_node(position, node->side ^ 1, node->ply + 1, node->depth - reduction - 1, -node->beta,
                                   -node->alpha, NODE_ALL, child_pv);
    // Unmake.
    --thread->game.game_ply;
    --thread->game.ply;
    position->fifty = static_cast<u8>(saved->rights);
    position->ep_square = static_cast<u8>(saved->undo >> 8);
    position->key = saved->key;
    position->stm ^= 1;
    thread->game.last_move = thread->game.game_ply ? saved[-1].move : static_cast<u16>(0);
    if constexpr (DEBUG_CHECKS) require_sound_position(position, before, "search_null_move");
    return score;
}

// Step 18. Razoring (PV and depth limits aside): the evaluation is so far below alpha that only captures could help, so
// quiescence decides. True if it confirms that the node fails low.
static bool try_razoring(NodeState *node) {
    if (node->depth > fp_depth ||                                     //
        node->alpha - fp_margins[node->depth] < node->static_eval ||  //
        node->fails_high ||                                           //
        node->alpha >= MAX_RAZOR_ALPHA)
        return false;
    const int score = quiesce_moves(node->position, node->side, node->ply, node->depth - 1, node->alpha, node->beta,
                                    node->node_type, node->pv);
    if (!search_run.stop && score > node->alpha) return false;
    node->result = search_run.stop ? 0 : node->alpha;
    return true;
}

// Step 19. Static null-move pruning (reverse futility pruning): the evaluation exceeds beta by a margin that grows with
// the depth, and the opponent has no threat. True if the node fails high.
static bool try_static_null_move(NodeState *node, int material) {
    if (node->depth > sep_depth ||                                    //
        sep_margins[node->depth] + node->beta > node->static_eval ||  //
        node->fails_low ||                                            //
        node->beta < MIN_STATIC_BETA ||                               //
        material < MIN_PRUNING_MATERIAL ||                            //
        has_threat(node))
        return false;
    node->result = node->beta;
    return true;
}

// Step 20. Null-move pruning: the evaluation exceeds beta, so if the side still fails high after passing, a real move
// would as well. Not with little material (zugzwang), nor within two plies of another null move. At depth 5 and below
// it cuts off; deeper, a verification is wanted and the node is searched 5 plies less deep instead. True if the node is
// settled.
static bool try_null_move(NodeState *node, int material) {
    const PlyRecord *record = node->record;
    if (node->depth < nmp_depth ||                             //
        node->beta + NULL_MOVE_MARGIN >= node->static_eval ||  //
        node->fails_low ||                                     //
        material < MIN_PRUNING_MATERIAL ||                     //
        !record[-1].current_move->move ||                      //
        !record[-2].current_move->move)
        return false;
    const int reduction = std::min(node->depth >= 16 ? 5 : node->depth / 8 + 3, node->depth - 1);
    const int score = search_null_move(node, reduction);
    if (search_run.stop) {
        node->result = 0;
        return true;
    }
    if (score < node->beta) return false;
    // Beta and not the score: a mate found after a pass is not proved.
    if (node->depth <= NULL_MOVE_CUT_DEPTH) {
        node->result = node->beta;
        return true;
    }
    node->depth -= NULL_MOVE_CUT_DEPTH;
    return false;
}

// Step 6. Resets the ply's record, and the killers of the next ply.
static void enter_node(const NodeState *node) {
    PlyRecord *record = node->record;
    record->node_type = node->node_type;
    record->alpha = static_cast<i16>(node->alpha);
    record->beta = static_cast<i16>(node->beta);
    record->in_check = 0;
    record->check_square = NO_SQUARE;
    record->tb_wdl = TB_NO_ANSWER;
    record->move_count = 0;
    record->hash_move = 0;
    record->improving = 0;
    record[1].killer1 = record[1].killer2 = record[1].evasion_killer = 0;
    node->pv[node->ply] = node->pv[node->ply + 1] = 0;
}

// Internal iterative deepening: if the hash entry is missing or too shallow, a search of half the depth (in PV nodes)
// or a quarter finds the move to try first. False if it was stopped.
static bool deepen_internally(const NodeState *node) {
    const int iid_depth = node->depth / (node->node_type == NODE_PV ? 2 : 4);
    if (node->hash_depth >= iid_depth) return true;
    search_moves(node->position, node->side, node->ply, iid_depth, node->alpha, node->beta, node->node_type, node->pv);
    if (search_run.stop) return false;
    node->record->hash_move = node->pv[node->ply];
    return true;
}

// The steps are in the order in which they can settle the node, the cheap ones first. What cuts off returns a bound of
// the window; what searches moves returns their score.
int search_node(Position *position, int side, int ply, int depth, int alpha, int beta, NodeType node_type, u16 *pv) {
    ThreadState *thread = thread_of(position);
    // 1-3. Node count; limits, by the master alone; stop.
    thread->nodes += 1;
    if (thread->thread_id == 0) check_node_limits(thread);
    if (search_run.stop) return 0;

    // 4-5. Selective depth, the longest line so far; prefetch of the hash bucket, well before step 12 reads it.
    if (thread->seldepth < ply) thread->seldepth = static_cast<i16>(ply);
    if (depth >= 0 && hash_table.memory) prefetch_bucket(side, position->key);

    // 6. The ply's record.
    PlyRecord *record = &thread->plies[ply];
    NodeState node = {position, thread, record, side, ply, depth, alpha, beta, node_type, pv, 0, -99, false, false, 0};
    enter_node(&node);

    // 7. Mate distance pruning: no line from here can be better than mate at the next ply, nor worse than mate now.
    node.alpha = std::max(ply - MATE_SCORE, alpha);
    node.beta = std::min(MATE_SCORE - 1 - ply, beta);
    if (node.alpha >= node.beta) return node.alpha;

    // 8. Check.
    record->check_square =
        static_cast<u8>(attacker_of_square(position, position->king_sq[side], side ^ 1, occupied(*position)));
    record->in_check = record->check_square != NO_SQUARE;

    // 9. Draw by fifty moves or repetition; even if the side to move is mated.
    if (is_search_draw(position, ply)) return 0;

    // 10. Maximum ply: the records end here.
    if (ply > MAX_PLY - 1) return record->in_check ? 0 : evaluate(&thread->eval, thread->position, side, ply, 0);

    // 11. Extensions.
    extend_depth(&node);
    record->depth = static_cast<i16>(node.depth);
    record->hash_score = -SCORE_INFINITE;

    // 12. Transposition table, unless quiescence is below its first ply.
    int hash_eval = -SCORE_INFINITE;
    if ((record->in_check || node.depth >= 0) && probe_hash(&node, &hash_eval)) return node.result;

    // 13. Tablebases.
    if (TB_LARGEST && probe_tablebase(&node)) return node.result;

    // 14. Static evaluation, from the hash entry if there is one; that one is not shifted by a table result.
    node.static_eval = hash_eval != -SCORE_INFINITE ? hash_eval : evaluate_node(&node);
    record->static_eval = static_cast<i16>(node.static_eval);

    // 15. In check nothing is pruned here: on to the moves.
    if (record->in_check) return search_moves(position, side, ply, node.depth, node.alpha, node.beta, node_type, pv);

    // 16. Improving: the evaluation is better than at our last move.
    record->improving = record->static_eval > record[-2].static_eval;

    // 17. Quiescence search below depth 1.
    if (node.depth < 1) return quiesce_moves(position, side, ply, node.depth, node.alpha, node.beta, node_type, pv);

    // 18. Razoring, outside PV nodes.
    if (node_type != NODE_PV && try_razoring(&node)) return node.result;

    // 19-20. Static null-move pruning and null-move pruning, in expected cut nodes.
    if (node_type == NODE_CUT) {
        const int material = pruning_material(position->material[side]);
        if (try_static_null_move(&node, material)) return node.result;
        if (try_null_move(&node, material)) return node.result;
    }

    // 21. Internal iterative deepening, from depth 4.
    if (node.depth >= IID_DEPTH && !deepen_internally(&node)) return 0;

    // 22. The moves.
    return search_moves(position, side, ply, node.depth, node.alpha, node.beta, node_type, pv);
}

// State that the move loop keeps from move to move.
struct LoopState {
    Position *position;
    ThreadState *thread;
    PlyRecord *record;
    int side, ply, depth;
    NodeType node_type;
    int alpha;  // raised by better moves
    int best;   // score of best_move; fail-soft, so it may be below alpha
    Move best_move;
    u16 *pv;
};

static bool is_quiet(u8 move_flags) { return (move_flags & 63) == 0; }

// What the pruning of step 4 decides about a move.
enum MoveVerdict {
    MOVE_SKIP,         // pruned
    MOVE_SKIP_LATE,    // pruned as a late move: the quiet moves after it will be as well
    MOVE_FULL_WINDOW,  // searched at full depth with the full window
    MOVE_SCOUT,        // searched by steps 5 and 6
};

// Whether a move's exchange loses material, once it has been computed.
enum ExchangeLoss { LOSS_UNKNOWN = -1, LOSS_NO, LOSS_YES };

static ExchangeLoss exchange_loss(const Position *position, Move move) {
    return see_ok(position, move) ? LOSS_NO : LOSS_YES;
}

// Step 4. Pruning of single moves near the leaves. Late-move pruning: quiet moves beyond a number that grows with
// the depth, the move's order score and an improving evaluation. Exchange pruning: quiet moves, and at depth 1 captures
// of low order score, that lose material.
static MoveVerdict judge_move(const LoopState *loop, const MoveEntry *entry, int late_limit, ExchangeLoss *loses) {
    const PlyRecord *record = loop->record;
    if (is_quiet(record->move_flags)) {
        const int limit = late_limit + entry->score / 16 + (record->improving ? 3 : 0);
        if (record->move_count >= limit) return MOVE_SKIP_LATE;
        *loses = exchange_loss(loop->position, entry->move);
        return *loses == LOSS_YES ? MOVE_SKIP : MOVE_SCOUT;
    }
    if (loop->depth < 2 && entry->score < GOOD_CAPTURE) {
        *loses = exchange_loss(loop->position, entry->move);
        if (*loses == LOSS_YES) return MOVE_SKIP;
    }
    // Tactical moves too shallow for reductions are not scouted.
    return loop->depth < lmr_depth ? MOVE_FULL_WINDOW : MOVE_SCOUT;
}

// True if, after a late quiet move has been pruned, only quiet moves are left: they come in falling order and would all
// be pruned, so the loop can end. Asked once the good captures have been handed out.
static bool only_quiets_left(const LoopState *loop, const MoveTests *tests) {
    if ((loop->record->picker_stage & STAGE_MASK) < STAGE_ORDERED_REST) return false;
    for (const MoveEntry *entry = loop->record->current_move + 1; entry->move != END_OF_LIST; ++entry)
        if (entry->move != loop->record->hash_move &&
            !is_quiet(classify_move_with(tests, loop->position, loop->side, entry)))
            return false;
    return true;
}

// Step 5. Late-move reduction in plies: by depth and number of moves searched, from a table. Tactical moves are reduced
// only late in the list, in non-PV nodes, and without a good order score; a losing exchange costs one ply more.
static int move_reduction(const LoopState *loop, const MoveEntry *entry, ExchangeLoss loses) {
    if (loop->depth < lmr_depth) return 0;
    const PlyRecord *record = loop->record;
    const int row = std::min(loop->depth, 30), count = record->move_count;
    const int column = std::min(count, 30);
    const bool is_pv = loop->node_type == NODE_PV;
    int reduction = is_pv ? lmr_pv[row][column] : lmr_nonpv[row][column];
    if (!is_quiet(record->move_flags) && (entry->score >= GOOD_CAPTURE || count < 4 || is_pv)) reduction = 0;
    if (loses == LOSS_UNKNOWN) loses = exchange_loss(loop->position, entry->move);
    reduction += loses;
    return reduction < row ? reduction : row - 1;
}

// Takes a move as the best so far; its line ends here until the child's is copied.
static void take_best(LoopState *loop, Move move, int score) {
    loop->best = score;
    loop->best_move = move;
    loop->pv[loop->ply] = move;
    loop->pv[loop->ply + 1] = 0;
}

// Rewards a quiet move that raised alpha: history, killers, counter moves and the follow-up move. The follow-up is
// stored if the two moves before are real ones, even when the counter move stays as it is.
static void reward_quiet(LoopState *loop, const MoveEntry *entry, u32 weight) {
    ThreadState *thread = loop->thread;
    PlyRecord *record = loop->record;
    const u16 move = entry->move;
    u32 *cell = &thread->history[entry->piece][to_of(move)];
    *cell += weight * (HISTORY_SCALE - *cell) / 256;
    // Killers: the last two in this node's sisters, or one for evasions.
    if (record->in_check) {
        record->evasion_killer = move;
    } else if (record->killer1 != move) {
        record->killer2 = record->killer1;
        record->killer1 = move;
    }
    // Counter moves: the last two answers to the previous move.
    const MoveEntry *previous = record[-1].current_move;
    if (!previous->move) return;
    u16 *counter1 = &thread->counter_move1[previous->piece][to_of(previous->move)];
    if (*counter1 != move) {
        thread->counter_move2[previous->piece][to_of(previous->move)] = *counter1;
        *counter1 = move;
    }
    // Follow-up: a good move after our own last one.
    const MoveEntry *before = record[-2].current_move;
    if (before->move) thread->follow_move[before->piece][to_of(before->move)] = move;
}

// Step 9. Updates history and killers (quiet moves, from depth 1) and the best move. True if the score raises alpha.
static bool account_score(LoopState *loop, const MoveEntry *entry, int score) {
    const bool raises = score > loop->alpha;
    if (!(loop->record->move_flags & MOVE_CAPTURE) && loop->depth >= 1) {
        const u32 weight = static_cast<u32>(std::min(loop->depth, 16));
        if (raises) {
            reward_quiet(loop, entry, weight);
        } else {
            u32 *cell = &loop->thread->history[entry->piece][to_of(entry->move)];
            *cell -= weight * *cell / 512;
        }
    }
    if (score > loop->best) take_best(loop, entry->move, score);
    return raises;
}

// Step 7. Principal variation search: a null-window scout at reduced depth, and if that raises alpha a search of full
// depth and window; without `scout` the latter at once.
static int search_child(const LoopState *loop, int beta, int reduction, bool scout, u16 *child_pv) {
    Position *position = loop->position;
    const int enemy = loop->side ^ 1, ply = loop->ply + 1, depth = loop->depth, alpha = loop->alpha;
    if (!scout)
        return -search_node(position, enemy, ply, depth - 1, -beta, -alpha, child_type(loop->node_type), child_pv);
    const int score = -search_node(position, enemy, ply, depth - reduction - 1, -alpha - 1, -alpha, NODE_CUT, child_pv);
    if (score <= alpha || search_run.stop) return score;
    const NodeType type = loop->node_type == NODE_PV ? NODE_PV : NODE_ALL;
    return -search_node(position, enemy, ply, depth - 1, -beta, -alpha, type, child_pv);
}

// Fail-soft. Each step has its own function above; `loop` is what they share. Killers, history and the hash entry are
// written on the way.
int search_moves(Position *position, int side, int ply, int depth, int alpha, int beta, NodeType node_type, u16 *pv) {
    ThreadState *thread = thread_of(position);
    PlyRecord *record = &thread->plies[ply];
    LoopState loop = {position, thread, record, side, ply, depth, node_type, alpha, -SCORE_INFINITE, 0, pv};
    pv[ply] = 0;
    record->alpha = static_cast<i16>(alpha);
    record->beta = static_cast<i16>(beta);
    record->picker_stage = PICK_SEARCH;
    record->move_count = 0;
    const int late_limit = 2 * std::max(depth, 1) + 1;
    const bool may_prune = depth <= lmp_depth && node_type != NODE_PV && alpha >= LOST_MATE_BOUND;
    bool hash_move_seen = false;
    MoveTests tests;
    tests.ready = false;
    int examined = 0;
    bool look_ahead = true;  // look at the rest of the list at the next pruned late move
    u16 child_pv[PV_SIZE];

    while (MoveEntry *entry = next_move(position)) {
        // 1. The hash move is searched once: it comes again among the generated moves.
        if (entry->move == record->hash_move) {
            if (hash_move_seen) continue;
            hash_move_seen = true;
        }

        // 2. Legality. The child's hash bucket is fetched meanwhile.
        prefetch_child(position, entry);
        if (++examined == 2) prepare_move_tests(position, side, record->in_check, &tests);
        if (!is_move_legal_with(&tests, position, side, entry->move)) continue;

        // 3. Class: capture, check, promotion, advanced pawn.
        record->move_flags = classify_move_with(&tests, position, side, entry);

        // 4. Pruning of single moves, in non-PV nodes near the leaves that aren't being mated.
        ExchangeLoss loses = LOSS_UNKNOWN;
        const MoveVerdict verdict = may_prune ? judge_move(&loop, entry, late_limit, &loses) : MOVE_SCOUT;
        if (verdict == MOVE_SKIP_LATE && look_ahead) {
            if (only_quiets_left(&loop, &tests)) break;
            look_ahead = false;
        }
        if (verdict == MOVE_SKIP || verdict == MOVE_SKIP_LATE) continue;
        look_ahead = true;

        // 5. Late-move reduction, for moves after the first at depth 2 and more.
        const bool scout = verdict == MOVE_SCOUT && record->move_count && depth > 1;
        const int reduction = scout ? move_reduction(&loop, entry, loses) : 0;

        // 6-7. Make, principal variation search, unmake.
        make_move(position, entry->move);
        const int score = search_child(&loop, beta, reduction, scout, child_pv);
        unmake_move(position);
        if (search_run.stop) return 0;

        // 8. Count of the moves searched.
        ++record->move_count;

        // 9. History, killers, best move.
        if (!account_score(&loop, entry, score)) continue;

        // 10. Beta cut-off.
        if (score >= beta) {
            loop.best = score;
            break;
        }

        // 11. The new principal variation, and alpha.
        if (ply < MAX_PLY) copy_line(pv, child_pv, ply + 1);
        loop.best = loop.alpha = score;
    }

    // 12. Mate or stalemate. Pruned moves count as not there, so this score can also come from pruning all of them.
    if (!loop.best_move) loop.best = record->in_check ? ply - MATE_SCORE : 0;

    // 13. Transposition table.
    if (depth >= 0) {
        const int bound = loop.best <= record->alpha ? BOUND_UPPER : loop.best < beta ? BOUND_EXACT : BOUND_LOWER;
        hash_store(position, ply, depth, loop.best_move, record->static_eval, loop.best, bound);
    }
    return loop.best;
}
