// Piece geometry: constant tables filled once at start, and who attacks which square.
#pragma once

#include "board/position.h"

extern Bitboard pawn_attacks[2][64];
extern Bitboard knight_attacks[64];
extern Bitboard king_attacks[64];
extern Bitboard ray_north[64], ray_south[64], ray_east[64], ray_west[64];
extern Bitboard ray_north_east[64], ray_north_west[64], ray_south_west[64], ray_south_east[64];
extern Bitboard bishop_mask[64], rook_mask[64];  // attacks on an empty board
extern Bitboard between[64][64];                 // strictly between two aligned squares, else empty

// Fills every table. Called once, before a position is set up.
void init_attack_tables();

// Squares that a slider reaches, including the first blocker of either colour. One bit scan per ray finds the nearest
// blocker, whose own ray is then removed. A corner square, whose ray is empty, serves as sentinel for "no blocker".
inline Bitboard rook_attacks(Square square, Bitboard occupancy) {
    const Square north = lowest((ray_north[square] & occupancy) | bit(63));
    const Square east = lowest((ray_east[square] & occupancy) | bit(63));
    const Square south = highest((ray_south[square] & occupancy) | bit(0));
    const Square west = highest((ray_west[square] & occupancy) | bit(0));
    return rook_mask[square] ^ ray_north[north] ^ ray_east[east] ^ ray_south[south] ^ ray_west[west];
}
inline Bitboard bishop_attacks(Square square, Bitboard occupancy) {
    const Square north_west = lowest((ray_north_west[square] & occupancy) | bit(63));
    const Square north_east = lowest((ray_north_east[square] & occupancy) | bit(63));
    const Square south_west = highest((ray_south_west[square] & occupancy) | bit(0));
    const Square south_east = highest((ray_south_east[square] & occupancy) | bit(0));
    return bishop_mask[square] ^ ray_north_west[north_west] ^ ray_north_east[north_east] ^ ray_south_west[south_west] ^
           ray_south_east[south_east];
}

// Returns the square of the least valuable piece of `side` that attacks `square`, or NO_SQUARE. Only pieces in
// `occupancy` count, as attackers and as blockers. Among pieces of one type the lowest square is chosen.
Square attacker_of_square(const Position *position, Square square, int side, Bitboard occupancy);
// True if a piece of `side` attacks `square` in the position as it is.
bool is_square_attacked(const Position *position, Square square, int side);
// Pieces of `side` that are pinned to their king or to their first queen.
Bitboard pinned_pieces(const Position *position, int side);

// Pieces that are the only one between `target` and one of `sliders`; each slider must be aligned with it.
inline Bitboard lone_blockers(Bitboard sliders, Square target, Bitboard occupancy) {
    Bitboard lone = 0;
    for (; sliders; sliders &= sliders - 1) {
        const Bitboard blockers = between[target][lowest(sliders)] & occupancy;
        if (!(blockers & (blockers - 1))) lone |= blockers;
    }
    return lone;
}

// The larger of rank and file distance: king steps.
inline int square_distance(Square a, Square b) {
    const int ranks = rank_of(a) - rank_of(b), files = file_of(a) - file_of(b);
    const int rank_distance = ranks < 0 ? -ranks : ranks, file_distance = files < 0 ? -files : files;
    return rank_distance > file_distance ? rank_distance : file_distance;
}
