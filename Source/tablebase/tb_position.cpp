// The position record of the table probes: made from the engine's, and its attack test.
#include "tablebase/tb_position.h"

#include <cassert>

#include "board/attacks.h"

TbPosition tb_from_position(const Position *position, int rule50) {
    const Bitboard *white = position->pieces;
    const Bitboard *black = position->pieces + BLACK_CODE;
    TbPosition pos;
    pos.white = white[0];
    pos.black = black[0];
    pos.kings = white[KING] | black[KING];
    pos.queens = white[QUEEN] | black[QUEEN];
    pos.rooks = white[ROOK] | black[ROOK];
    pos.bishops = white[BISHOP] | black[BISHOP];
    pos.knights = white[KNIGHT] | black[KNIGHT];
    pos.pawns = white[PAWN] | black[PAWN];
    pos.rule50 = static_cast<u8>(rule50);
    // A set-up text may name a square that no pawn has passed; nothing can be taken there.
    pos.ep = has_en_passant_victim(position, position->stm) ? position->ep_square : 0;
    pos.turn = position->stm == WHITE;
    return pos;
}

Bitboard tb_men_of_type(const TbPosition &pos, int type) {
    assert(PAWN <= type && type <= KING);
    switch (type) {
        case PAWN: return pos.pawns;
        case KNIGHT: return pos.knights;
        case BISHOP: return pos.bishops;
        case ROOK: return pos.rooks;
        case QUEEN: return pos.queens;
        default: return pos.kings;
    }
}

bool tb_is_attacked(const TbPosition &pos, Square square, int by_turn) {
    const Bitboard attackers = by_turn ? pos.white : pos.black;
    const Bitboard occupancy = tb_occupied(pos);
    // A pawn attacks the square when a pawn of the other colour, standing there, would attack it.
    const int attacked_colour = by_turn ? BLACK : WHITE;
    if (pawn_attacks[attacked_colour][square] & attackers & pos.pawns) return true;
    if (knight_attacks[square] & attackers & pos.knights) return true;
    if (king_attacks[square] & attackers & pos.kings) return true;
    const Bitboard straight = attackers & (pos.rooks | pos.queens);
    if ((rook_mask[square] & straight) && (rook_attacks(square, occupancy) & straight)) return true;
    const Bitboard diagonal = attackers & (pos.bishops | pos.queens);
    return (bishop_mask[square] & diagonal) && (bishop_attacks(square, occupancy) & diagonal);
}

bool tb_in_check(const TbPosition &pos) {
    const Bitboard king = pos.kings & tb_own(pos);
    return king && tb_is_attacked(pos, lowest(king), !pos.turn);
}
