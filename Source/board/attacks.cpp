// The geometry tables and the look-ups over them.
#include "board/attacks.h"

Bitboard pawn_attacks[2][64];
Bitboard knight_attacks[64];
Bitboard king_attacks[64];
Bitboard ray_north[64], ray_south[64], ray_east[64], ray_west[64];
Bitboard ray_north_east[64], ray_north_west[64], ray_south_west[64], ray_south_east[64];
Bitboard bishop_mask[64], rook_mask[64];
Bitboard between[64][64];

static bool on_board(int file, int rank) { return file >= 0 && file < 8 && rank >= 0 && rank < 8; }

// The squares from `square` on in one direction, up to the edge; also fills `between` along the way.
static Bitboard fill_ray(Square square, int file_step, int rank_step) {
    Bitboard ray = 0;
    int file = file_of(square) + file_step, rank = rank_of(square) + rank_step;
    for (; on_board(file, rank); file += file_step, rank += rank_step) {
        between[square][rank * 8 + file] = ray;
        ray |= bit(rank * 8 + file);
    }
    return ray;
}

static Bitboard fill_jumps(Square square, const int (*steps)[2], int count) {
    Bitboard jumps = 0;
    for (int i = 0; i < count; ++i) {
        const int file = file_of(square) + steps[i][0], rank = rank_of(square) + steps[i][1];
        if (on_board(file, rank)) jumps |= bit(rank * 8 + file);
    }
    return jumps;
}

// Fills jumps and rays square by square; fill_ray also fills `between`.
void init_attack_tables() {
    static const int KNIGHT_STEPS[8][2] = {{1, 2}, {2, 1}, {2, -1}, {1, -2}, {-1, -2}, {-2, -1}, {-2, 1}, {-1, 2}};
    static const int KING_STEPS[8][2] = {{1, 0}, {1, 1}, {0, 1}, {-1, 1}, {-1, 0}, {-1, -1}, {0, -1}, {1, -1}};
    static const int WHITE_PAWN_STEPS[2][2] = {{-1, 1}, {1, 1}};
    static const int BLACK_PAWN_STEPS[2][2] = {{-1, -1}, {1, -1}};
    for (Square s = 0; s < 64; ++s) {
        pawn_attacks[WHITE][s] = fill_jumps(s, WHITE_PAWN_STEPS, 2);
        pawn_attacks[BLACK][s] = fill_jumps(s, BLACK_PAWN_STEPS, 2);
        knight_attacks[s] = fill_jumps(s, KNIGHT_STEPS, 8);
        king_attacks[s] = fill_jumps(s, KING_STEPS, 8);
        ray_north[s] = fill_ray(s, 0, 1);
        ray_south[s] = fill_ray(s, 0, -1);
        ray_east[s] = fill_ray(s, 1, 0);
        ray_west[s] = fill_ray(s, -1, 0);
        ray_north_east[s] = fill_ray(s, 1, 1);
        ray_north_west[s] = fill_ray(s, -1, 1);
        ray_south_east[s] = fill_ray(s, 1, -1);
        ray_south_west[s] = fill_ray(s, -1, -1);
        rook_mask[s] = ray_north[s] | ray_south[s] | ray_east[s] | ray_west[s];
        bishop_mask[s] = ray_north_east[s] | ray_north_west[s] | ray_south_east[s] | ray_south_west[s];
    }
}

// Least valuable first: pawn, knight, bishop, rook, queen, king. Lines are checked against `occupancy`, not against the
// board, so that X-ray attackers count once the piece in front is removed.
Square attacker_of_square(const Position *position, Square square, int side, Bitboard occupancy) {
    const Bitboard *own = position->pieces + side * BLACK_CODE;
    if (const Bitboard set = own[PAWN] & occupancy & pawn_attacks[side ^ 1][square]) return lowest(set);
    if (const Bitboard set = own[KNIGHT] & occupancy & knight_attacks[square]) return lowest(set);
    const Bitboard *lines = between[square];
    for (Bitboard set = own[BISHOP] & occupancy & bishop_mask[square]; set; set &= set - 1)
        if (!(lines[lowest(set)] & occupancy)) return lowest(set);
    for (Bitboard set = own[ROOK] & occupancy & rook_mask[square]; set; set &= set - 1)
        if (!(lines[lowest(set)] & occupancy)) return lowest(set);
    for (Bitboard set = own[QUEEN] & occupancy & (bishop_mask[square] | rook_mask[square]); set; set &= set - 1)
        if (!(lines[lowest(set)] & occupancy)) return lowest(set);
    if (const Bitboard set = own[KING] & occupancy & king_attacks[square]) return lowest(set);
    return NO_SQUARE;
}

bool is_square_attacked(const Position *position, Square square, int side) {
    const Bitboard *own = position->pieces + side * BLACK_CODE;
    if (own[PAWN] & pawn_attacks[side ^ 1][square]) return true;
    if (own[KNIGHT] & knight_attacks[square]) return true;
    if (own[KING] & king_attacks[square]) return true;
    const Bitboard occupancy = occupied(*position);
    Bitboard sliders =
        ((own[BISHOP] | own[QUEEN]) & bishop_mask[square]) | ((own[ROOK] | own[QUEEN]) & rook_mask[square]);
    for (; sliders; sliders &= sliders - 1)
        if (!(between[square][lowest(sliders)] & occupancy)) return true;
    return false;
}

Bitboard pinned_pieces(const Position *position, int side) {
    const Bitboard *own = position->pieces + side * BLACK_CODE;
    const Bitboard *enemy = position->pieces + (side ^ 1) * BLACK_CODE;
    const Bitboard occupancy = occupied(*position);
    const Square king = position->king_sq[side];
    Bitboard pinned = lone_blockers(
        ((enemy[BISHOP] | enemy[QUEEN]) & bishop_mask[king]) | ((enemy[ROOK] | enemy[QUEEN]) & rook_mask[king]), king,
        occupancy);
    if (own[QUEEN]) {
        const Square queen = lowest(own[QUEEN]);
        pinned |=
            lone_blockers((enemy[BISHOP] & bishop_mask[queen]) | (enemy[ROOK] & rook_mask[queen]), queen, occupancy);
    }
    return pinned & own[0];
}
