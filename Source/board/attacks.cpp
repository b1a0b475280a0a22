// The geometry tables and the look-ups over them.
#include "board/attacks.h"

Bitboard pawn_attacks[2][64];
Bitboard knight_attacks[64];
Bitboard king_attacks[64];
Bitboard ray_north[64], ray_south[64], ray_east[64], ray_west[64];
Bitboard ray_north_east[64], ray_north_west[64], ray_south_west[64], ray_south_east[64];
Bitboard bishop_mask[64], rook_mask[64];
Bitboard between[64][64];
SliderLookup bishop_lookup[64], rook_lookup[64];

// Room for the sets of all squares, one for each choice of blockers.
static Bitboard bishop_sets[5248], rook_sets[102400];

// Found by trying random numbers with few bits set: with these all choices of blockers that differ in the squares
// reached get different places.
// clang-format off
static constexpr u64 BISHOP_FACTORS[64] = {
    0x4004100400408200ULL, 0x0198010504290402ULL, 0x1010308200400080ULL, 0x8004440880180000ULL,
    0x0004504012430010ULL, 0x0108440220801006ULL, 0x10140402031000D4ULL, 0x00C2044200906800ULL,
    0x0800400401042100ULL, 0x0080E04204410024ULL, 0x0000308C0080A990ULL, 0x0029024081002084ULL,
    0x0100020210208098ULL, 0x800006050D602104ULL, 0x10804C0202022080ULL, 0x000102440C040304ULL,
    0x8040020B10010201ULL, 0x00100A20210204A1ULL, 0x2142121404021202ULL, 0x022404080210A200ULL,
    0x02C1040820080042ULL, 0x0000200202100208ULL, 0x00A3204480882012ULL, 0x0080428021080818ULL,
    0xC028208508210100ULL, 0x0021082810108102ULL, 0x0004208804080080ULL, 0x0228080000202120ULL,
    0x0081004004004044ULL, 0x0050802022021022ULL, 0x0008120080808400ULL, 0x3284088000260940ULL,
    0x00082008D0D08280ULL, 0x0204222802200104ULL, 0x1084440200502020ULL, 0x0092008020120200ULL,
    0x1100408020060200ULL, 0x0142008202910044ULL, 0x001000B500022300ULL, 0x2409012502020046ULL,
    0x000084102920420AULL, 0x0002111088000200ULL, 0x2000210440400800ULL, 0x020004420080280AULL,
    0x0410880100404404ULL, 0x1810200800400020ULL, 0x0220020401100044ULL, 0x0010120220410022ULL,
    0x00A2540209400000ULL, 0x1202020082090002ULL, 0x404B004210900000ULL, 0x2E00002084044000ULL,
    0x0048000405041012ULL, 0x80210810811A00C8ULL, 0x0404043886040040ULL, 0x1050010101021040ULL,
    0x0040910C100C0404ULL, 0x0000408228020200ULL, 0x00A8000080982108ULL, 0x1110180001040900ULL,
    0x0460003014618200ULL, 0x1010422024012A00ULL, 0x0001100248010404ULL, 0x8204010409320200ULL,
};
static constexpr u64 ROOK_FACTORS[64] = {
    0x0080002150824004ULL, 0x08400940E0021000ULL, 0x0680100080082000ULL, 0x0100210010000804ULL,
    0x0A00200410020008ULL, 0xC900040078050002ULL, 0x0200480891040A00ULL, 0x2200020081004024ULL,
    0x08028002A1400080ULL, 0x1010C000A0005000ULL, 0x0004801000200480ULL, 0x8001001001000820ULL,
    0x0202002010060008ULL, 0x0200800400020080ULL, 0x0849001600041B00ULL, 0x0001002200804100ULL,
    0x0020828000624000ULL, 0x0000404010002000ULL, 0x8000110041002002ULL, 0x0010808008001000ULL,
    0x0421828008004400ULL, 0x2270808004000200ULL, 0x0000010100020004ULL, 0x21050200090050A4ULL,
    0xA000802080004000ULL, 0x2000400080200080ULL, 0x0081001100402000ULL, 0x0400080080801000ULL,
    0x0C08000980040080ULL, 0x0004010040400200ULL, 0x0920100400010248ULL, 0x8000032A0000C48CULL,
    0x0000400028800081ULL, 0x1000804000802000ULL, 0x4440802006801004ULL, 0x2008100080800800ULL,
    0x1020800401802800ULL, 0x0C00020080800400ULL, 0x180202102C000108ULL, 0x80024D0392001944ULL,
    0x4040002041818000ULL, 0x0280200050004002ULL, 0x0020040200101000ULL, 0x6642001008420020ULL,
    0x8001003800050050ULL, 0x0492000400028080ULL, 0x0005001200A90044ULL, 0x50C4006081020004ULL,
    0x2200400080003080ULL, 0x0044200C80400080ULL, 0x8003200010018480ULL, 0x0400080080100080ULL,
    0x4200802401080280ULL, 0x0000800200040080ULL, 0x1080304108020400ULL, 0x6000088844010200ULL,
    0x4005081200A08242ULL, 0x0009211041020082ULL, 0x0000910508200041ULL, 0x0000289000210015ULL,
    0x0201000800500205ULL, 0x0009000802040001ULL, 0x0204101802009144ULL, 0x2082002084010042ULL,
};
// clang-format on

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

// What the look-up gives afterwards. One bit scan per ray finds the nearest blocker, whose own ray is then removed. A
// corner square, whose ray is empty, serves as sentinel for "no blocker".
static Bitboard scan_lines(bool diagonal, Square square, Bitboard occupancy) {
    const Bitboard *up1 = diagonal ? ray_north_west : ray_north, *up2 = diagonal ? ray_north_east : ray_east;
    const Bitboard *down1 = diagonal ? ray_south_west : ray_south, *down2 = diagonal ? ray_south_east : ray_west;
    return (diagonal ? bishop_mask : rook_mask)[square] ^ up1[lowest((up1[square] & occupancy) | bit(63))] ^
           up2[lowest((up2[square] & occupancy) | bit(63))] ^ down1[highest((down1[square] & occupancy) | bit(0))] ^
           down2[highest((down2[square] & occupancy) | bit(0))];
}

// Fills one square's record and its part of `sets`; returns the end of that part.
static Bitboard *fill_lookup(SliderLookup *lookup, bool diagonal, Square square, u64 factor, Bitboard *sets) {
    // The end of a line at the edge is reached or not, whatever is on it.
    const Bitboard edges = ((RANK_1 | RANK_1 << 56) & ~(RANK_1 << (square & 56))) |
                           ((FILE_A | FILE_A << 7) & ~(FILE_A << file_of(square)));
    lookup->lines = (diagonal ? bishop_mask : rook_mask)[square] & ~edges;
    lookup->factor = factor;
    lookup->sets = sets;
    lookup->shift = 64 - popcount(lookup->lines);
    // All subsets of the lines, in rising order.
    Bitboard blockers = 0;
    do {
        sets[blockers * factor >> lookup->shift] = scan_lines(diagonal, square, blockers);
        blockers = (blockers - lookup->lines) & lookup->lines;
    } while (blockers);
    return sets + (1ULL << popcount(lookup->lines));
}

// Fills jumps and rays square by square; fill_ray also fills `between`. The look-ups need all rays.
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
    Bitboard *bishops = bishop_sets, *rooks = rook_sets;
    for (Square s = 0; s < 64; ++s) {
        bishops = fill_lookup(&bishop_lookup[s], true, s, BISHOP_FACTORS[s], bishops);
        rooks = fill_lookup(&rook_lookup[s], false, s, ROOK_FACTORS[s], rooks);
    }
}

// Lines are checked against `occupancy`, not against the board, so that X-ray attackers count once the piece in front is
// removed.
Square attacker_of_square(const Position *position, Square square, int side, Bitboard occupancy) {
    const Bitboard attackers = attackers_of(position, square, side, occupancy);
    if (!attackers) return NO_SQUARE;
    const Bitboard *own = position->pieces + side * BLACK_CODE;
    int type = PAWN;
    while (!(own[type] & attackers)) ++type;
    return lowest(own[type] & attackers);
}

bool is_square_attacked(const Position *position, Square square, int side) {
    return attackers_of(position, square, side, occupied(*position)) != 0;
}

Bitboard attacked_squares(const Position *position, int side) {
    const Bitboard *own = position->pieces + side * BLACK_CODE;
    const Bitboard occupancy = occupied(*position), pawns = own[PAWN];
    Bitboard attacked = side == WHITE ? (pawns << 7 & NOT_FILE_H) | (pawns << 9 & NOT_FILE_A)
                                      : (pawns >> 9 & NOT_FILE_H) | (pawns >> 7 & NOT_FILE_A);
    for (Bitboard set = own[KNIGHT]; set;) attacked |= knight_attacks[pop_lowest(set)];
    for (Bitboard set = own[BISHOP] | own[QUEEN]; set;) attacked |= bishop_attacks(pop_lowest(set), occupancy);
    for (Bitboard set = own[ROOK] | own[QUEEN]; set;) attacked |= rook_attacks(pop_lowest(set), occupancy);
    for (Bitboard set = own[KING]; set;) attacked |= king_attacks[pop_lowest(set)];
    return attacked;
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
