// Checks of a whole position: every field that repeats the board, against the board.
#include "board/check_position.h"

#include <cstring>

#include "base/debug_check.h"
#include "board/attacks.h"
#include "board/fen.h"
#include "board/game.h"

KeyDifference key_difference(const Position *position) {
    Position fresh = *position;
    compute_keys(&fresh);
    return {fresh.key ^ position->key, fresh.pawn_key ^ position->pawn_key};
}

// Board codes, piece sets and material.
static const char *piece_fault(const Position *position) {
    Bitboard sets[16] = {};
    i32 material[2] = {};
    for (Square square = 0; square < 64; ++square) {
        const int code = position->board[square];
        if (!code) continue;
        if (code > 15 || type_of(code) < PAWN || type_of(code) > KING) return "no such piece code on the board";
        sets[code] |= bit(square);
        sets[code & BLACK_CODE] |= bit(square);
        material[colour_of(code)] += MATERIAL_STEP[type_of(code)];
    }
    if (position->board[NO_SQUARE]) return "a piece on NO_SQUARE";
    if (std::memcmp(sets, position->pieces, sizeof sets) != 0) return "a piece set differs from the board";
    for (int side = WHITE; side <= BLACK; ++side)
        if (material[side] != position->material[side]) return "material differs from the board";
    return nullptr;
}

// Boards that text can set up let kings be captured; make_move leaves the king square as it was then.
static bool has_captured_king(const Game *game) {
    for (int i = 0; i < game->game_ply; ++i)
        if ((game->game_stack[i].undo & 7) == KING) return true;
    return false;
}

// A side may have several kings: the king square is that of one of them.
static const char *king_fault(const Position *position) {
    for (int side = WHITE; side <= BLACK; ++side) {
        const Bitboard kings = position->pieces[piece_code(side, KING)];
        const Square square = position->king_sq[side];
        if (square > NO_SQUARE) return "a king square off the board";
        const bool is_king = square == NO_SQUARE ? kings == 0 : (kings & bit(square)) != 0;
        if (!is_king && !has_captured_king(position->game)) return "a king square without its king";
    }
    return nullptr;
}

// A right needs king and rook where they were at set-up, neither of them ever moved.
static const char *castling_fault(const Position *position) {
    if (position->castling > 15) return "a castling right that does not exist";
    for (int right = 0; right < 4; ++right) {
        if (!(position->castling & 1 << right)) continue;
        const int side = right >> 1;
        const Square king = position->king_sq[side], rook = position->castle_rook[right], first = side ? 56 : 0;
        if (king >= NO_SQUARE || rook >= NO_SQUARE) return "a castling right without a king or a rook";
        if (position->board[rook] != piece_code(side, ROOK)) return "a castling right without its rook";
        if (rank_of(king) != rank_of(first) || rank_of(rook) != rank_of(first))
            return "a castling right off the first rank";
        if (position->castle_mask[right] != (bit(king) | bit(rook))) return "a castling mask of other squares";
        if (position->castle_mask[right] & position->touched) return "a castling right of a piece that has moved";
        const Square king_goal = first + (right & 1 ? 2 : 6), rook_goal = first + (right & 1 ? 3 : 5);
        const Bitboard path = between[king][king_goal] | between[rook][rook_goal] | bit(king_goal) | bit(rook_goal);
        if (position->castle_path[right] != (path & ~position->castle_mask[right]))
            return "a castling path of other squares";
    }
    return nullptr;
}

const char *position_fault(const Position *position) {
    if (position->stm > BLACK) return "no such side to move";
    const Game *game = position->game;
    if (game->game_ply < 0 || game->game_ply > GAME_STACK_SIZE) return "the game stack is out of bounds";
    if (game->ply < 0 || game->ply > GAME_STACK_SIZE) return "the search ply is out of bounds";
    if (const char *fault = piece_fault(position)) return fault;
    if (const char *fault = king_fault(position)) return fault;
    return castling_fault(position);
}

const char *move_fault(const Position *position, Move move) {
    if (move == 0 || move == END_OF_LIST) return "no move";
    const int piece = position->board[from_of(move)];
    if (!piece || colour_of(piece) != position->stm) return "a move without a piece of the side to move";
    if (position->game->game_ply < 0 || position->game->game_ply >= GAME_STACK_SIZE) return "no room on the game stack";
    return nullptr;
}

static void end_on_position(const Position *position, const char *fault, const char *where) {
    char fen[FEN_SIZE];
    position_to_fen(position, fen, 1);
    end_on_fault(where, fault, fen);
}

void require_sound_move(const Position *position, Move move, const char *where) {
    if (const char *fault = move_fault(position, move)) end_on_position(position, fault, where);
}

void require_sound_position(const Position *position, const KeyDifference &before, const char *where) {
    if (const char *fault = position_fault(position)) end_on_position(position, fault, where);
    const KeyDifference after = key_difference(position);
    if (after.key != before.key) end_on_position(position, "the key differs from the board", where);
    if (after.pawn_key != before.pawn_key) end_on_position(position, "the pawn key differs from the board", where);
}
