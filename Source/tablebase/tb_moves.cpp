// Move generation and making of moves on a TbPosition.
#include "tablebase/tb_moves.h"

#include "board/attacks.h"

static TbMove *add_moves(TbMove *moves, Square from, Bitboard targets) {
    while (targets) *moves++ = tb_move_word(from, pop_lowest(targets));
    return moves;
}

// A pawn's moves: on the last rank each target becomes the four promotions.
static TbMove *add_pawn_moves(TbMove *moves, Square from, Bitboard targets) {
    static const int ORDER[4] = {TB_QUEEN, TB_KNIGHT, TB_ROOK, TB_BISHOP};
    if (!(targets & (RANK_1 | RANK_1 << 56))) return add_moves(moves, from, targets);
    while (targets) {
        const Square to = pop_lowest(targets);
        for (const int promotion : ORDER) *moves++ = tb_move_word(from, to, promotion);
    }
    return moves;
}

// The free squares that a pawn can step to.
static Bitboard pawn_pushes(Square from, int side, Bitboard occupancy) {
    const Square one = from + PAWN_STEP[side];
    if (one < 0 || one > 63 || (occupancy & bit(one))) return 0;
    const Square two = one + PAWN_STEP[side];
    if (relative_rank(side, from) != 1 || (occupancy & bit(two))) return bit(one);
    return bit(one) | bit(two);
}

// All moves to `targets`. Pawns take enemies and en passant only; they push only
// when `pushes` is set.
static TbMove *generate(const TbPosition &pos, TbMove *moves, Bitboard targets, bool pushes) {
    const int side = pos.turn ? WHITE : BLACK;
    const Bitboard own = tb_own(pos), occupancy = tb_occupied(pos);
    const Bitboard pawn_targets = tb_enemy(pos) | (pos.ep ? bit(pos.ep) : 0);
    for (Bitboard set = pos.kings & own; set;) {
        const Square from = pop_lowest(set);
        moves = add_moves(moves, from, king_attacks[from] & targets);
    }
    for (Bitboard set = (pos.rooks | pos.queens) & own; set;) {
        const Square from = pop_lowest(set);
        moves = add_moves(moves, from, rook_attacks(from, occupancy) & targets);
    }
    for (Bitboard set = (pos.bishops | pos.queens) & own; set;) {
        const Square from = pop_lowest(set);
        moves = add_moves(moves, from, bishop_attacks(from, occupancy) & targets);
    }
    for (Bitboard set = pos.knights & own; set;) {
        const Square from = pop_lowest(set);
        moves = add_moves(moves, from, knight_attacks[from] & targets);
    }
    for (Bitboard set = pos.pawns & own; set;) {
        const Square from = pop_lowest(set);
        Bitboard reached = pawn_attacks[side][from] & pawn_targets;
        if (pushes) reached |= pawn_pushes(from, side, occupancy);
        moves = add_pawn_moves(moves, from, reached);
    }
    return moves;
}

TbMove *tb_gen_captures(const TbPosition &pos, TbMove *moves) { return generate(pos, moves, tb_enemy(pos), false); }

TbMove *tb_gen_moves(const TbPosition &pos, TbMove *moves) { return generate(pos, moves, ~tb_own(pos), true); }

bool tb_is_pawn_move(const TbPosition &pos, TbMove move) { return pos.pawns & bit(tb_from(move)); }

bool tb_is_en_passant(const TbPosition &pos, TbMove move) {
    return pos.ep && tb_to(move) == pos.ep && tb_is_pawn_move(pos, move);
}

bool tb_is_capture(const TbPosition &pos, TbMove move) {
    return (tb_enemy(pos) & bit(tb_to(move))) || tb_is_en_passant(pos, move);
}

// One set of men after the move: what stood on the cleared squares is gone, and the mover arrives
// when it belongs to the set.
static Bitboard moved(Bitboard set, Bitboard from, Bitboard to, Bitboard cleared) {
    const Bitboard arrival = (set & from) ? to : 0;
    return (set & ~cleared) | arrival;
}

static void add_promoted(TbPosition *pos, Bitboard square, int promotion) {
    pos->pawns &= ~square;
    switch (promotion) {
        case TB_QUEEN: pos->queens |= square; break;
        case TB_ROOK: pos->rooks |= square; break;
        case TB_BISHOP: pos->bishops |= square; break;
        default: pos->knights |= square; break;
    }
}

// Moves the man in every set it belongs to and clears what it takes, then sets the clocks.
bool tb_do_move(TbPosition *out, const TbPosition &pos, TbMove move) {
    const int side = pos.turn ? WHITE : BLACK;
    const Square from_square = tb_from(move), to_square = tb_to(move);
    const Bitboard from = bit(from_square), to = bit(to_square);
    Bitboard cleared = from | to;
    if (tb_is_en_passant(pos, move)) cleared |= bit(pos.ep - PAWN_STEP[side]);

    out->white = moved(pos.white, from, to, cleared);
    out->black = moved(pos.black, from, to, cleared);
    out->kings = moved(pos.kings, from, to, cleared);
    out->queens = moved(pos.queens, from, to, cleared);
    out->rooks = moved(pos.rooks, from, to, cleared);
    out->bishops = moved(pos.bishops, from, to, cleared);
    out->knights = moved(pos.knights, from, to, cleared);
    out->pawns = moved(pos.pawns, from, to, cleared);
    if (tb_promotion(move)) add_promoted(out, to, tb_promotion(move));

    out->turn = !pos.turn;
    out->ep = 0;
    const bool pawn_move = tb_is_pawn_move(pos, move);
    if (pawn_move || tb_is_capture(pos, move)) out->rule50 = 0;
    else out->rule50 = pos.rule50 < 255 ? static_cast<u8>(pos.rule50 + 1) : pos.rule50;
    if (pawn_move && (from_square ^ to_square) == 16) {
        const Square passed = (from_square + to_square) / 2;
        if (pawn_attacks[side][passed] & pos.pawns & tb_enemy(pos)) out->ep = static_cast<u8>(passed);
    }

    const Bitboard king = out->kings & tb_enemy(*out);
    return king && !tb_is_attacked(*out, lowest(king), out->turn);
}

TbMove *tb_gen_legal(const TbPosition &pos, TbMove *moves) {
    TbMove *const end = tb_gen_moves(pos, moves);
    TbMove *kept = moves;
    TbPosition next;
    for (const TbMove *move = moves; move != end; ++move)
        if (tb_do_move(&next, pos, *move)) *kept++ = *move;
    return kept;
}

bool tb_is_mate(const TbPosition &pos) {
    TbMove moves[TB_MAX_MOVES];
    return tb_in_check(pos) && tb_gen_legal(pos, moves) == moves;
}
