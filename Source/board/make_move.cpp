// Making and unmaking moves. All redundant fields of the position are kept consistent.
#include "board/make_move.h"

#include <cstring>

#include "base/debug_check.h"
#include "board/check_position.h"
#include "board/game.h"

// These steps update board, sets and material; the callers update the keys.
static inline void lift_piece(Position *position, int code, Square square) {
    position->board[square] = 0;
    position->pieces[code] &= ~bit(square);
    position->pieces[code & BLACK_CODE] &= ~bit(square);
    position->material[colour_of(code)] -= MATERIAL_STEP[type_of(code)];
}

static inline void put_piece(Position *position, int code, Square square) {
    position->board[square] = static_cast<u8>(code);
    position->pieces[code] |= bit(square);
    position->pieces[code & BLACK_CODE] |= bit(square);
    position->material[colour_of(code)] += MATERIAL_STEP[type_of(code)];
}

static inline void slide_piece(Position *position, int code, Square from, Square to) {
    if (from == to) return;
    const Bitboard change = bit(from) | bit(to);
    position->board[to] = static_cast<u8>(code);
    position->board[from] = 0;
    position->pieces[code] ^= change;
    position->pieces[code & BLACK_CODE] ^= change;
}

// A right is lost once its king or rook square has been touched; this includes the capture of the rook.
static inline void update_rights(Position *position) {
    const int old = position->castling;
    if (!old) return;
    int rights = old;
    for (int i = 0; i < 4; ++i)
        if (position->touched & position->castle_mask[i]) rights &= ~(1 << i);
    if (rights == old) return;
    position->castling = static_cast<u8>(rights);
    position->key ^= zobrist[rights] ^ zobrist[old];
}

// Completes a pawn move: double step, en passant or promotion. En passant is a diagonal step onto the target square
// that captures nothing there; the generators offer it only if the victim exists.
static inline void finish_pawn_move(Position *position, GameRecord *record, int us, Square from, Square to) {
    const int pawn = piece_code(us, PAWN), step = PAWN_STEP[us];
    position->fifty = 0;
    if (from + 2 * step == to) {
        position->ep_square = static_cast<u8>(from + step);
        position->key ^= zobrist[position->ep_square];
    } else if (to == record->undo >> 8 && !(record->undo & 7) && file_of(from) != file_of(to)) {
        const int victim = piece_code(us ^ 1, PAWN);
        lift_piece(position, victim, to - step);
        position->key ^= zobrist[victim * 64 + to - step];
        position->pawn_key ^= zobrist[victim * 64 + to - step];
    } else if (rank_of(to) == 0 || rank_of(to) == 7) {
        // A promotion without a flag is to a queen; it is recorded as such for unmake_move.
        if (!flags_of(record->move)) record->move = position->game->last_move = record->move | PROMO_QUEEN;
        const int promoted = piece_code(us, promotion_type(flags_of(record->move)));
        lift_piece(position, pawn, to);
        put_piece(position, promoted, to);
        position->key ^= zobrist[pawn * 64 + to] ^ zobrist[promoted * 64 + to];
        position->pawn_key ^= zobrist[pawn * 64 + to];
    }
}

// Writes the record, then updates rights and clocks, then the pieces, each with its part of the keys.
void make_move(Position *position, Move move) {
    if constexpr (DEBUG_CHECKS) require_sound_move(position, move, "make_move");
    const KeyDifference before = DEBUG_CHECKS ? key_difference(position) : KeyDifference{};
    Game *game = position->game;
    const Square from = from_of(move);
    Square to = to_of(move);
    const Move flags = flags_of(move);
    const int piece = position->board[from], us = position->stm, old_ep = position->ep_square;
    GameRecord *record = &game->game_stack[game->game_ply];
    ++game->ply;
    ++game->game_ply;

    // Castling may be given as king takes rook; it is recorded with the king's target square.
    const bool castling = flags && type_of(piece) == KING;
    int captured = 0;
    if (castling) {
        to = (from & 56) + (flags & CASTLE_KINGSIDE ? 6 : 2);
        move = make_word(from, to, flags);
    } else {
        captured = position->board[to];
    }
    game->last_move = move;
    record->key = position->key;
    record->pawn_key = position->pawn_key;
    record->move = move;
    record->undo = static_cast<u16>(type_of(captured) | old_ep << 8);
    record->touched = position->touched;
    record->rights = static_cast<u16>(position->fifty | position->castling << 8);

    position->touched |= bit(from) | bit(to);
    position->ep_square = NO_SQUARE;
    ++position->fifty;
    position->stm ^= 1;
    if (old_ep != NO_SQUARE) position->key ^= zobrist[old_ep];
    update_rights(position);

    if (castling) {
        // Lift the rook, move the king, put the rook down: correct even if one's target is the other's origin.
        const int kingside = (flags & CASTLE_KINGSIDE) != 0, rook = piece_code(us, ROOK);
        const Square rook_from = position->castle_rook[2 * us + !kingside], rook_to = kingside ? to - 1 : to + 1;
        lift_piece(position, rook, rook_from);
        slide_piece(position, piece, from, to);
        put_piece(position, rook, rook_to);
        position->fifty = 0;  // castling resets the clock, other king moves do not
        position->key ^= zobrist[piece * 64 + from] ^ zobrist[piece * 64 + to] ^ zobrist[rook * 64 + rook_from] ^
                         zobrist[rook * 64 + rook_to];
        position->king_sq[us] = static_cast<u8>(to);
        if constexpr (DEBUG_CHECKS) require_sound_position(position, before, "make_move");
        return;
    }
    if (captured) {
        lift_piece(position, captured, to);
        position->key ^= zobrist[captured * 64 + to];
        if (type_of(captured) == PAWN) position->pawn_key ^= zobrist[captured * 64 + to];
        position->fifty = 0;
    }
    slide_piece(position, piece, from, to);
    const u64 step_key = zobrist[piece * 64 + from] ^ zobrist[piece * 64 + to];
    position->key ^= step_key;
    if (type_of(piece) == PAWN) {
        position->pawn_key ^= step_key;
        finish_pawn_move(position, record, us, from, to);
    } else if (type_of(piece) == KING) {
        position->king_sq[us] = static_cast<u8>(to);
    }
    if constexpr (DEBUG_CHECKS) require_sound_position(position, before, "make_move");
}

// Reverses the piece moves and restores the other fields from the record.
void unmake_move(Position *position) {
    const KeyDifference before = DEBUG_CHECKS ? key_difference(position) : KeyDifference{};
    Game *game = position->game;
    --game->game_ply;
    --game->ply;
    const GameRecord *record = &game->game_stack[game->game_ply];
    game->last_move = game->game_ply ? record[-1].move : static_cast<u16>(0);
    position->touched = record->touched;
    position->stm ^= 1;
    position->ep_square = static_cast<u8>(record->undo >> 8);
    position->fifty = static_cast<u8>(record->rights);
    position->castling = static_cast<u8>(record->rights >> 8);
    const int us = position->stm;
    const Square from = from_of(record->move), to = to_of(record->move);
    const Move flags = flags_of(record->move);
    int piece = position->board[to];

    if (flags && type_of(piece) == KING) {
        const int kingside = (flags & CASTLE_KINGSIDE) != 0, rook = piece_code(us, ROOK);
        lift_piece(position, rook, kingside ? to - 1 : to + 1);
        slide_piece(position, piece, to, from);
        put_piece(position, rook, position->castle_rook[2 * us + !kingside]);
        position->king_sq[us] = static_cast<u8>(from);
    } else {
        if (flags) {
            lift_piece(position, piece, to);
            piece = piece_code(us, PAWN);
            put_piece(position, piece, from);
        } else {
            slide_piece(position, piece, to, from);
        }
        if (const int type = record->undo & 7) {
            const int victim = piece_code(us ^ 1, type);
            put_piece(position, victim, to);
            if (type == KING) position->king_sq[us ^ 1] = static_cast<u8>(to);
        }
        if (type_of(piece) == KING) {
            position->king_sq[us] = static_cast<u8>(from);
        } else if (type_of(piece) == PAWN && to == position->ep_square && !(record->undo & 7) &&
                   file_of(from) != file_of(to)) {
            put_piece(position, piece_code(us ^ 1, PAWN), to - PAWN_STEP[us]);
        }
    }
    position->key = record->key;
    position->pawn_key = record->pawn_key;
    if constexpr (DEBUG_CHECKS) require_sound_position(position, before, "unmake_move");
}

void make_game_move(Position *position, Move move) {
    Game *game = position->game;
    if (game->game_ply >= GAME_STACK_LIMIT) {
        // A repetition is at most 100 plies back. An even number keeps record parity and side to move aligned.
        constexpr int DROPPED = 400;
        std::memmove(game->game_stack, game->game_stack + DROPPED,
                     static_cast<std::size_t>(game->game_ply - DROPPED) * sizeof(GameRecord));
        game->game_ply = static_cast<i16>(game->game_ply - DROPPED);
    }
    make_move(position, move);
    game->game_stack[game->game_ply].move = 0;
    game->ply = 1;
}

bool is_game_drawn(const Position *position) {
    if (position->fifty >= 100) return true;
    if (position->fifty < 4) return false;
    const Game *game = position->game;
    int matches = 0;
    for (int i = game->game_ply - 2; i >= 0 && game->game_stack[i].move; i -= 2)
        if (game->game_stack[i].key == position->key && ++matches == 2) return true;
    return false;
}
