// The small move generator of the table probes. Internal to this folder.
#pragma once

#include "tablebase/tb_position.h"

using TbMove = u16;  // bits 0-5 to, bits 6-11 from, bits 12-14 promotion

enum TbPromotion { TB_NO_PROMOTION, TB_QUEEN, TB_ROOK, TB_BISHOP, TB_KNIGHT };

constexpr TbMove tb_move_word(Square from, Square to, int promotion = TB_NO_PROMOTION) {
    return static_cast<TbMove>(promotion << 12 | from << 6 | to);
}
constexpr Square tb_to(TbMove move) { return move & 63; }
constexpr Square tb_from(TbMove move) { return (move >> 6) & 63; }
constexpr int tb_promotion(TbMove move) { return (move >> 12) & 7; }

// More than any position of up to 7 men has: five queens and a king stay below 5 * 27 + 8.
constexpr int TB_MAX_MOVES = 256;

// Pseudo-legal moves of the side to move, king first, then straight sliders, diagonal sliders (a
// queen comes in both), knights and pawns. A pawn that reaches the last rank gives four moves:
// queen, knight, rook, bishop. Both return the end of the list.
TbMove *tb_gen_captures(const TbPosition &pos, TbMove *moves);  // en passant included
TbMove *tb_gen_moves(const TbPosition &pos, TbMove *moves);

// The position after a pseudo-legal move. False when the mover's king is left in check.
bool tb_do_move(TbPosition *out, const TbPosition &pos, TbMove move);

bool tb_is_pawn_move(const TbPosition &pos, TbMove move);
// A pawn move onto the en-passant square.
bool tb_is_en_passant(const TbPosition &pos, TbMove move);
bool tb_is_capture(const TbPosition &pos, TbMove move);  // en passant included

// The legal ones of tb_gen_moves, in its order; returns the end of the list.
TbMove *tb_gen_legal(const TbPosition &pos, TbMove *moves);
// True when the side to move is in check and has no legal move.
bool tb_is_mate(const TbPosition &pos);
