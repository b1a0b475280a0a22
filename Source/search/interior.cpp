// The interior node: search_node decides what a node is worth before its moves are tried,
// search_moves tries them. A raised search_run.stop makes every function return 0 at once; the value is
// never used, since the root asks the flag after every child.
#include "search/interior.h"

#include <algorithm>

#include "base/settings.h"
#include "board/attacks.h"
#include "board/exchange.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/moves.h"
#include "eval/evaluate.h"
#include "platform/clock.h"
#include "search/hash_table.h"
#include "search/move_picker.h"
#include "search/pruning_tables.h"
#include "search/quiescence.h"
#include "search/search_state.h"
#include "search/time_check.h"
#include "tablebase/tablebase.h"

static constexpr int LOST_MATE_BOUND = -9499;     // below it a move may be the only one that delays mate
static constexpr int NULL_MOVE_MARGIN = 14;       // the evaluation must exceed beta by more
static constexpr int NULL_MOVE_CUT_DEPTH = 5;     // deeper nodes are only shortened by this
static constexpr int MIN_PRUNING_MATERIAL = 500;  // side to move; below it zugzwang is near
static constexpr int MAX_RAZOR_ALPHA = 2000;
static constexpr int MIN_STATIC_BETA = -1999;
static constexpr int TB_SCORE_LIMIT = 4999;  // windows beyond it look for mates, not for table results
static constexpr int TB_EVAL_SHIFT = 4000;
static constexpr int TB_MUST_PROBE = 256;  // depth that passes every probe-depth limit
static constexpr int IID_DEPTH = 4;
static constexpr u32 HISTORY_SCALE = 0x40000;

// What one node passes between its steps.
struct NodeState {
    Position *position;
    ThreadState *thread;
    PlyRecord *record;
    int side, ply, depth, alpha, beta, node_type;
    u16 *pv;
    int static_eval;
    int hash_depth;              // -99 without an entry
    bool fails_low, fails_high;  // what the hash entry says of the window
    int result;                  // the node's value, when a step settles it
};

// Master only: keep to the node rate of a limited strength, and to node limits, which wait while
// the root is failing low.
static void check_node_limits(const ThreadState *thread) {
    if (search_run.throttled) {
        while (search_run.depth >= 2 && !search_run.stop &&
               static_cast<float>(thread->nodes) / (search_run.elapsed + 0.0001f) > search_run.target_nps) {
            sleep_milliseconds(1);
            time_check();
        }
    }
    if (thread->root_fail == 1) return;
    const i64 nodes = static_cast<i64>(thread->nodes);
    if (nodes >= settings.node_limit) search_run.stop = 1;
    if (nodes >= settings.soft_node_limit && thread->completed_depth >= settings.min_depth) search_run.stop = 1;
}

bool is_search_draw(const Position *position, int ply) {
    if (position->fifty <= 3) return false;
    if (position->fifty > 99) return true;
    const ThreadState *thread = thread_of(position);
    const GameRecord *stack = thread->game.game_stack;
    int matches = 0;
    for (int i = thread->game.game_ply - 2; i >= 0 && stack[i].move; i -= 2)
        if (stack[i].key == position->key && (i > thread->game.game_ply - ply || ++matches == 2)) return true;
    return false;
}

// Extensions: check; in a pawn ending, the capture of the last piece; a pawn that has just reached
// the seventh rank, near the leaves. move_flags of the ply above is read as it stands: only
// search_moves and the root write it, so below a quiescence node or a null move it is what the last
// of these left there.
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

// Step 10. True when the hash entry settles the node. Otherwise its move and evaluation are kept.
static bool probe_hash(NodeState *node, int *hash_eval) {
    PlyRecord *record = node->record;
    int score, eval, depth, bound;
    Move move;
    if (!hash_probe(node->position, &score, &eval, &depth, &move, &bound)) return false;
    // Stored mate scores count from the node, ours from the root.
    if (score < -MATE_BOUND) score += node->ply;
    else if (score >= MATE_BOUND) score -= node->ply;
    node->hash_depth = depth;
    node->fails_low = score <= node->alpha && bound != BOUND_LOWER;
    node->fails_high = score >= node->beta && bound != BOUND_UPPER;
    // Near the fifty-move limit a stored score may rest on moves that are no longer there.
    if (node->node_type != 0 && depth >= node->depth && depth + node->position->fifty <= 99) {
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

// Step 11. True when a tablebase settles the node. Below a position that was in the tables every
// node is probed; else only where a capture or pawn move has just been made.
static bool probe_tablebase(NodeState *node) {
    const int parent = node->record[-1].tb_wdl;
    if (parent == TB_NO_ANSWER && node->position->fifty != 0) return false;
    const int wdl = tb_probe_wdl(node->position, parent == TB_NO_ANSWER ? node->depth : TB_MUST_PROBE);
    node->record->tb_wdl = wdl;
    if (wdl == TB_NO_ANSWER) return false;
    node->thread->tb_hits += 1;
    if (parent != TB_NO_ANSWER && tb_reversed(parent) < wdl) {  // the move here gave something away
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

// Does the opponent threaten to win back enough by a capture, or to push a pawn safely to its
// seventh or eighth rank?
static bool has_threat(const NodeState *node) {
    const Position *position = node->position;
    const int side = node->side, enemy = side ^ 1;
    const Bitboard occupancy = occupied(*position);
    for (Bitboard own = position->pieces[side * BLACK_CODE]; own;) {
        const Square square = pop_lowest(own);
        const int type = type_of(position->board[square]);
        if (node->static_eval - SEE_VALUE[type] >= node->beta) continue;
        if (node->static_eval - see_on_square(position, enemy, square, type, occupancy) < node->beta) return true;
    }
    const Bitboard advanced = enemy == WHITE ? 0x00FFFF0000000000ULL : 0x0000000000FFFF00ULL;
    for (Bitboard pawns = position->pieces[piece_code(enemy, PAWN)] & advanced; pawns;) {
        const Square from = pop_lowest(pawns), to = from + PAWN_STEP[enemy];
        if (!position->board[to] && see(position, enemy, from, to) >= 0) return true;
    }
    return false;
}

// Step 20: the side passes, made here and not by make_move. fifty is kept, and the key has no side
// term, since each side has its own hash table. Returns the score of passing.
static int search_null_move(const NodeState *node, int reduction) {
    Position *position = node->position;
    ThreadState *thread = node->thread;
    PlyRecord *record = node->record;
    record->current_move = record->move_list;
    record->move_list->move = 0;
    close_move_list(thread, record->move_list + 1);

    GameRecord *saved = &thread->game.game_stack[thread->game.game_ply];
    saved->key = position->key;
    saved->move = 0;  // stops the repetition walk here
    saved->undo = static_cast<u16>(position->ep_square << 8);
    saved->rights = static_cast<u16>((saved->rights & 0xFF00) | position->fifty);
    if (position->ep_square != NO_SQUARE) position->key ^= zobrist[position->ep_square];
    position->ep_square = NO_SQUARE;
    position->stm ^= 1;
    thread->game.last_move = 0;
    ++thread->game.game_ply;
    ++thread->game.ply;

    u16 child_pv[PV_SIZE];
    const int score = -search_node(position, node->side ^ 1, node->ply + 1, node->depth - reduction - 1, -node->beta,
                                   -node->alpha, -1, child_pv);
    --thread->game.game_ply;
    --thread->game.ply;
    position->fifty = static_cast<u8>(saved->rights);
    position->ep_square = static_cast<u8>(saved->undo >> 8);
    position->key = saved->key;
    position->stm ^= 1;
    thread->game.last_move = thread->game.game_ply ? saved[-1].move : static_cast<u16>(0);
    return score;
}

// Steps 17 to 21: razoring, static pruning, null move. True when one of them settles the node; else
// `iid_depth` is set, and the null move may have lowered the depth.
static bool prune_before_moves(NodeState *node, int *iid_depth) {
    const PlyRecord *record = node->record;
    const int eval = node->static_eval, beta = node->beta;
    const int material = pruning_material(node->position->material[node->side]);

    // 17. Razoring: so far below alpha that only captures could help; then see whether they do.
    if (node->depth <= FP_depth && node->alpha - FP_margins[node->depth] >= eval && !node->fails_high &&
        node->alpha < MAX_RAZOR_ALPHA) {
        if (node->node_type == 0) {
            *iid_depth = node->depth / 2;
            return false;
        }
        const int score = quiesce_moves(node->position, node->side, node->ply, node->depth - 1, node->alpha, beta,
                                        node->node_type, node->pv);
        if (search_run.stop || node->alpha >= score) {
            node->result = search_run.stop ? 0 : node->alpha;
            return true;
        }
    }

    // 18. Static pruning (reverse futility): so far above beta that the opponent would need a threat.
    *iid_depth = node->depth / 4;
    if (node->depth <= SEP_depth && SEP_margins[node->depth] + beta <= eval && !node->fails_low &&
        beta >= MIN_STATIC_BETA && material >= MIN_PRUNING_MATERIAL && node->node_type == 1) {
        if (!has_threat(node)) {
            node->result = beta;
            return true;
        }
        if (node->depth < NMP_depth || beta + NULL_MOVE_MARGIN >= eval) return false;
    } else {
        // 19. The null move's own conditions.
        if (node->depth < NMP_depth || node->node_type != 1) {
            if (node->node_type == 0) *iid_depth = node->depth / 2;
            return false;
        }
        if (beta + NULL_MOVE_MARGIN >= eval || node->fails_low || material < MIN_PRUNING_MATERIAL) return false;
    }

    // 20. Null move: never two in a row, nor one two plies after another.
    if (!record[-1].current_move->move || !record[-2].current_move->move) return false;
    const int reduction = std::min(node->depth >= 16 ? 5 : node->depth / 8 + 3, node->depth - 1);
    const int score = search_null_move(node, reduction);
    if (search_run.stop) {
        node->result = 0;
        return true;
    }
    // 21. It cuts near the leaves only; higher up it shortens the node.
    if (score >= beta) {
        if (node->depth <= NULL_MOVE_CUT_DEPTH) {
            node->result = beta;
            return true;
        }
        node->depth -= NULL_MOVE_CUT_DEPTH;
    }
    *iid_depth = node->depth / 4;
    return false;
}

static void enter_node(const NodeState *node) {
    PlyRecord *record = node->record;
    record->node_type = static_cast<i16>(node->node_type);
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

// The frame of every node. The steps stand in the order in which they may settle it, the cheap ones
// first; what cuts returns a bound of the window, what searches moves returns their score.
int search_node(Position *position, int side, int ply, int depth, int alpha, int beta, int node_type, u16 *pv) {
    ThreadState *thread = thread_of(position);
    // 1-3. Count the node, ask the limits (master only), leave when stopped.
    thread->nodes += 1;
    if (thread->thread_id == 0) check_node_limits(thread);
    if (search_run.stop) return 0;

    // 4-6. Selective depth, prefetch of the hash bucket, the ply's record.
    if (thread->seldepth < ply) thread->seldepth = static_cast<i16>(ply);
    if (depth >= 0 && hash_table.memory) prefetch_bucket(side, position->key);
    PlyRecord *record = &thread->plies[ply];
    NodeState node = {position, thread, record, side, ply, depth, alpha, beta, node_type, pv, 0, -99, false, false, 0};
    enter_node(&node);

    // 7. Mate distance: no line from here can beat a mate already found, nor lose faster than now.
    node.alpha = std::max(ply - MATE_SCORE, alpha);
    node.beta = std::min(MATE_SCORE - 1 - ply, beta);
    if (node.alpha >= node.beta) return node.alpha;

    // 8. Check, draws by rule, the end of the line.
    record->check_square =
        static_cast<u8>(attacker_of_square(position, position->king_sq[side], side ^ 1, occupied(*position)));
    record->in_check = record->check_square != NO_SQUARE;
    if (is_search_draw(position, ply)) return 0;
    if (ply > MAX_PLY - 1) return record->in_check ? 0 : evaluate(&thread->eval, thread->position, side, ply, 0);

    // 9. Extensions.
    extend_depth(&node);
    record->depth = static_cast<i16>(node.depth);
    record->hash_score = -SCORE_INFINITE;

    // 10. Hash table; not in quiescence below its first ply.
    int hash_eval = -SCORE_INFINITE;
    if ((record->in_check || node.depth >= 0) && probe_hash(&node, &hash_eval)) return node.result;

    // 11. Tablebases.
    if (TB_LARGEST && probe_tablebase(&node)) return node.result;

    // 12. Static evaluation; the one from the hash is not shifted by a table result.
    node.static_eval = hash_eval != -SCORE_INFINITE ? hash_eval : evaluate_node(&node);
    record->static_eval = static_cast<i16>(node.static_eval);

    // 13. In check all moves are tried.
    if (record->in_check) return search_moves(position, side, ply, node.depth, node.alpha, node.beta, node_type, pv);

    // 14-15. Improving; quiescence below depth one.
    record->improving = record->static_eval > record[-2].static_eval;
    if (node.depth < 1) return quiesce_moves(position, side, ply, node.depth, node.alpha, node.beta, node_type, pv);

    // 16-21. Pruning before any move is made.
    int iid_depth;
    if (prune_before_moves(&node, &iid_depth)) return node.result;

    // 22. Internal iterative deepening: find a first move where the hash knows none deep enough.
    if (node.depth >= IID_DEPTH && node.hash_depth < iid_depth) {
        search_moves(position, side, ply, iid_depth, node.alpha, node.beta, node_type, pv);
        if (search_run.stop) return 0;
        record->hash_move = pv[ply];
    }
    // 23. The moves.
    return search_moves(position, side, ply, node.depth, node.alpha, node.beta, node_type, pv);
}

// What the move loop keeps from move to move.
struct LoopState {
    Position *position;
    ThreadState *thread;
    PlyRecord *record;
    int side, ply, depth, node_type;
    int alpha;  // running
    int best;
    Move best_move;
    u16 *pv;
};

static bool is_quiet(u8 move_flags) { return (move_flags & 63) == 0; }

enum MoveVerdict { MOVE_SKIP, MOVE_SKIP_LATE, MOVE_FULL_WINDOW, MOVE_SCOUT };

// Step 4: late-move and exchange pruning near the leaves. `loses` is -1 until the exchange is known.
static MoveVerdict judge_move(const LoopState *loop, const MoveEntry *entry, int late_limit, int *loses) {
    const PlyRecord *record = loop->record;
    if (is_quiet(record->move_flags)) {
        const int limit = late_limit + entry->score / 16 + (record->improving ? 3 : 0);
        if (record->move_count >= limit) return MOVE_SKIP_LATE;
        *loses = !see_ok(loop->position, entry->move);
        return *loses ? MOVE_SKIP : MOVE_SCOUT;
    }
    if (loop->depth < 2 && entry->score < 200) {
        *loses = !see_ok(loop->position, entry->move);
        if (*loses) return MOVE_SKIP;
    }
    return loop->depth < LMR_depth ? MOVE_FULL_WINDOW : MOVE_SCOUT;
}

// After a late quiet move has been skipped: is every move left quiet too? They come in falling order
// and so would all be skipped, and the loop may end. Lists behind the good captures only.
static bool only_quiets_left(const LoopState *loop, const MoveTests *tests) {
    if ((loop->record->picker_stage & 15) < 6) return false;
    for (const MoveEntry *entry = loop->record->current_move + 1; entry->move != END_OF_LIST; ++entry)
        if (entry->move != loop->record->hash_move &&
            !is_quiet(classify_move_with(tests, loop->position, loop->side, entry)))
            return false;
    return true;
}

// Step 5: late-move reduction in plies.
static int move_reduction(const LoopState *loop, const MoveEntry *entry, int loses) {
    if (loop->depth < LMR_depth) return 0;
    const PlyRecord *record = loop->record;
    const int row = std::min(loop->depth, 30), count = record->move_count;
    const int column = std::min(count, 30);
    int reduction = loop->node_type ? lmr_nonpv[row][column] : lmr_pv[row][column];
    if (!is_quiet(record->move_flags) && (entry->score > 199 || count < 4 || loop->node_type == 0)) reduction = 0;
    if (loses < 0) loses = !see_ok(loop->position, entry->move);
    reduction += loses;
    return reduction < row ? reduction : row - 1;
}

// Takes a move as the best so far.
static void take_best(LoopState *loop, Move move, int score) {
    loop->best = score;
    loop->best_move = move;
    loop->pv[loop->ply] = move;
    loop->pv[loop->ply + 1] = 0;
}

// A quiet move that raised alpha: history, killers, counter moves. The follow-up is stored whenever
// the two moves before are real ones, also when the counter move stays as it is.
static void reward_quiet(LoopState *loop, const MoveEntry *entry, u32 weight) {
    ThreadState *thread = loop->thread;
    PlyRecord *record = loop->record;
    const u16 move = entry->move;
    u32 *cell = &thread->history[entry->piece][to_of(move)];
    *cell += weight * (HISTORY_SCALE - *cell) / 256;
    if (record->in_check) {
        record->evasion_killer = move;
    } else if (record->killer1 != move) {
        record->killer2 = record->killer1;
        record->killer1 = move;
    }
    const MoveEntry *previous = record[-1].current_move;
    if (!previous->move) return;
    u16 *counter1 = &thread->counter_move1[previous->piece][to_of(previous->move)];
    if (*counter1 != move) {
        thread->counter_move2[previous->piece][to_of(previous->move)] = *counter1;
        *counter1 = move;
    }
    const MoveEntry *before = record[-2].current_move;
    if (before->move) thread->follow_move[before->piece][to_of(before->move)] = move;
}

// Steps 10 and 11: what the score means for best move, history and killers. True when it is above alpha.
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

// Steps 6 and 7: scout with a null window and search again when it holds, or search at once.
static int search_child(const LoopState *loop, int beta, int reduction, bool scout, u16 *child_pv) {
    Position *position = loop->position;
    const int enemy = loop->side ^ 1, ply = loop->ply + 1, depth = loop->depth, alpha = loop->alpha;
    if (!scout) return -search_node(position, enemy, ply, depth - 1, -beta, -alpha, -loop->node_type, child_pv);
    const int score = -search_node(position, enemy, ply, depth - reduction - 1, -alpha - 1, -alpha, 1, child_pv);
    if (score <= alpha || search_run.stop) return score;
    return -search_node(position, enemy, ply, depth - 1, -beta, -alpha, loop->node_type ? -1 : 0, child_pv);
}

void copy_line(u16 *pv, const u16 *child_pv, int ply) {
    do pv[ply] = child_pv[ply];
    while (pv[ply] && ++ply <= MAX_PLY);
}

// The move loop, fail-soft. Each step has its own function above; `loop` is what they share. Killers,
// history and the hash entry are written on the way.
int search_moves(Position *position, int side, int ply, int depth, int alpha, int beta, int node_type, u16 *pv) {
    ThreadState *thread = thread_of(position);
    PlyRecord *record = &thread->plies[ply];
    LoopState loop = {position, thread, record, side, ply, depth, node_type, alpha, -SCORE_INFINITE, 0, pv};
    pv[ply] = 0;
    record->alpha = static_cast<i16>(alpha);
    record->beta = static_cast<i16>(beta);
    record->picker_stage = PICK_SEARCH;
    record->move_count = 0;
    const int late_limit = 2 * std::max(depth, 1) + 1;
    const bool may_prune = depth <= LMP_depth && node_type != 0 && alpha >= LOST_MATE_BOUND;
    bool hash_move_seen = false;
    MoveTests tests;
    tests.ready = false;
    int examined = 0;
    bool look_ahead = true;  // the rest of the list has not been looked at since a move that wasn't quiet
    u16 child_pv[PV_SIZE];

    while (MoveEntry *entry = next_move(position)) {
        // 1. The hash move comes again among the generated moves.
        if (entry->move == record->hash_move) {
            if (hash_move_seen) continue;
            hash_move_seen = true;
        }
        // 2-3. Legality, class; meanwhile the child's hash bucket is on its way.
        prefetch_child(position, entry);
        if (++examined == 2) prepare_move_tests(position, side, record->in_check, &tests);
        if (!is_move_legal_with(&tests, position, side, entry->move)) continue;
        record->move_flags = classify_move_with(&tests, position, side, entry);

        // 4. Pruning of single moves.
        int loses = -1;
        const MoveVerdict verdict = may_prune ? judge_move(&loop, entry, late_limit, &loses) : MOVE_SCOUT;
        if (verdict == MOVE_SKIP_LATE && look_ahead) {
            if (only_quiets_left(&loop, &tests)) break;
            look_ahead = false;
        }
        if (verdict == MOVE_SKIP || verdict == MOVE_SKIP_LATE) continue;
        look_ahead = true;

        // 5-8. Reduction, the move and its search.
        const bool scout = verdict == MOVE_SCOUT && record->move_count && depth > 1;
        const int reduction = scout ? move_reduction(&loop, entry, loses) : 0;
        make_move(position, entry->move);
        const int score = search_child(&loop, beta, reduction, scout, child_pv);
        unmake_move(position);
        if (search_run.stop) return 0;

        // 9-13. Accounts, cut-off, the new line.
        ++record->move_count;
        if (!account_score(&loop, entry, score)) continue;
        if (score >= beta) {
            loop.best = score;
            break;
        }
        if (ply < MAX_PLY) copy_line(pv, child_pv, ply + 1);
        loop.best = loop.alpha = score;
    }
    // Mate or stalemate; a pruned move is not searched, so this can also stand for moves left out.
    if (!loop.best_move) loop.best = record->in_check ? ply - MATE_SCORE : 0;
    if (depth >= 0) {
        const int bound = loop.best <= record->alpha ? BOUND_UPPER : loop.best < beta ? BOUND_EXACT : BOUND_LOWER;
        hash_store(position, ply, depth, loop.best_move, record->static_eval, loop.best, bound);
    }
    return loop.best;
}
