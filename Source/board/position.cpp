// The position record: keys, placing and removing pieces.
#include "board/position.h"

#include <cstring>

#include "base/output.h"
#include "board/game.h"

// clang-format off
const char SQUARE_NAMES[64][3] = {
    "a1", "b1", "c1", "d1", "e1", "f1", "g1", "h1", "a2", "b2", "c2", "d2", "e2", "f2", "g2", "h2",
    "a3", "b3", "c3", "d3", "e3", "f3", "g3", "h3", "a4", "b4", "c4", "d4", "e4", "f4", "g4", "h4",
    "a5", "b5", "c5", "d5", "e5", "f5", "g5", "h5", "a6", "b6", "c6", "d6", "e6", "f6", "g6", "h6",
    "a7", "b7", "c7", "d7", "e7", "f7", "g7", "h7", "a8", "b8", "c8", "d8", "e8", "f8", "g8", "h8"};
// clang-format on

u64 zobrist[1024];

// Marsaglia's two-word multiply-with-carry generator with a fixed seed: the keys are the same in every run. Words with
// fewer than 24 one-bits are skipped.
void init_zobrist() {
    static bool done = false;
    if (done) return;
    done = true;
    u32 z = 1, w = 1;
    for (int i = 0; i < 1024; ++i) {
        u64 candidate;
        do {
            const u32 z1 = (z & 0xFFFF) * 36969 + (z >> 16), w1 = (w & 0xFFFF) * 18000 + (w >> 16);
            const u32 z2 = (z1 & 0xFFFF) * 36969 + (z1 >> 16), w2 = (w1 & 0xFFFF) * 18000 + (w1 >> 16);
            candidate = static_cast<u64>((z1 << 16) + w1) << 32 | ((z2 << 16) + w2);
            z = z2;
            w = w2;
        } while (popcount(candidate) < 24);
        zobrist[i] = candidate;
        for (int j = 0; j < i; ++j)
            if (popcount(candidate ^ zobrist[j]) < 6) {
                print_line("bad hashcode");
                break;
            }
    }
}

void clear_position(Position *position) {
    std::memset(position->board, 0, sizeof position->board);
    std::memset(position->pieces, 0, sizeof position->pieces);
    position->touched = 0;
    position->material[0] = position->material[1] = 0;
    position->fifty = 0;
    position->castling = 0;
    position->king_sq[0] = position->king_sq[1] = NO_SQUARE;
    position->ep_square = NO_SQUARE;
    Game *game = position->game;
    game->game_ply = 0;
    game->ply = 1;
    game->last_move = 0;
}

void place_piece(Position *position, int code, Square square) {
    position->board[square] = static_cast<u8>(code);
    position->pieces[code] |= bit(square);
    position->pieces[code & BLACK_CODE] |= bit(square);
    position->material[colour_of(code)] += MATERIAL_STEP[type_of(code)];
    if (type_of(code) == KING) position->king_sq[colour_of(code)] = static_cast<u8>(square);
}

void remove_piece(Position *position, Square square) {
    const int code = position->board[square], side = colour_of(code);
    if (!code) return;
    position->board[square] = 0;
    position->pieces[code] &= ~bit(square);
    position->pieces[code & BLACK_CODE] &= ~bit(square);
    position->material[side] -= MATERIAL_STEP[type_of(code)];
    if (type_of(code) == KING && position->king_sq[side] == square)
        position->king_sq[side] = static_cast<u8>(position->pieces[code] ? lowest(position->pieces[code]) : NO_SQUARE);
}

void compute_keys(Position *position) {
    position->key = position->pawn_key = 0;
    for (Square square = 0; square < 64; ++square) {
        const int code = position->board[square];
        if (!code) continue;
        position->key ^= zobrist[code * 64 + square];
        if (type_of(code) == PAWN) position->pawn_key ^= zobrist[code * 64 + square];
    }
    if (position->ep_square != NO_SQUARE) position->key ^= zobrist[position->ep_square];
    position->key ^= zobrist[position->castling];
}
