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

// What a slider reaches from one square, by the blockers on its lines ("magic bitboards", published by Kannan and
// others): the product of the blockers and a suitable factor has in its highest bits a number that tells apart all
// blockers that make a difference.
struct SliderLookup {
    Bitboard lines;  // squares where a blocker makes a difference: the lines without their ends at the edge
    u64 factor;
    const Bitboard *sets;  // the squares reached, by the highest bits of the product
    int shift;             // 64 less the number of these bits
};
extern SliderLookup bishop_lookup[64], rook_lookup[64];

// Squares that a slider reaches, including the first blocker of either colour.
inline Bitboard slider_attacks(const SliderLookup &lookup, Bitboard occupancy) {
    return lookup.sets[(occupancy & lookup.lines) * lookup.factor >> lookup.shift];
}
inline Bitboard rook_attacks(Square square, Bitboard occupancy) {
    return slider_attacks(rook_lookup[square], occupancy);
}
inline Bitboard bishop_attacks(Square square, Bitboard occupancy) {
    return slider_attacks(bishop_lookup[square], occupancy);
}

// Pieces of `side` that attack `square`. Only pieces in `occupancy` count, as attackers and as blockers.
inline Bitboard attackers_of(const Position *position, Square square, int side, Bitboard occupancy) {
    const Bitboard *own = position->pieces + side * BLACK_CODE;
    return ((own[PAWN] & pawn_attacks[side ^ 1][square]) | (own[KNIGHT] & knight_attacks[square]) |
            (own[KING] & king_attacks[square]) | ((own[BISHOP] | own[QUEEN]) & bishop_attacks(square, occupancy)) |
            ((own[ROOK] | own[QUEEN]) & rook_attacks(square, occupancy))) &
           occupancy;
}
// Returns the square of the least valuable piece of `side` that attacks `square`, or NO_SQUARE. Only pieces in
// `occupancy` count, as attackers and as blockers. Among pieces of one type the lowest square is chosen.
Square attacker_of_square(const Position *position, Square square, int side, Bitboard occupancy);
// True if a piece of `side` attacks `square` in the position as it is.
bool is_square_attacked(const Position *position, Square square, int side);
// All squares that pieces of `side` attack.
Bitboard attacked_squares(const Position *position, int side);
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
