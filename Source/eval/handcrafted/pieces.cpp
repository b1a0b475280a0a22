// Knights to queens, king safety, and threats. Every stage runs per colour; `own` and `enemy` are
// the piece sets of that colour by type, [0] all.
#include "eval/handcrafted/pieces.h"

#include "board/attacks.h"
#include "eval/handcrafted/pawns.h"
#include "eval/handcrafted/weights.h"

constexpr Bitboard CENTRE_BOX = 0x00003C3C3C3C0000ULL;  // c3..f6
constexpr Bitboard ENEMY_HALF[2] = {0xFFFFFFFF00000000ULL, 0x00000000FFFFFFFFULL};
constexpr Bitboard LAST_RANKS[2] = {0xFFFF000000000000ULL, 0x000000000000FFFFULL};

// Danger units against a king when a piece of the type reaches its zone.
constexpr int ZONE_UNITS[7] = {0, 0, 4, 3, 4, 5, 0};

template <int US>
static const Bitboard *sets_of(const Position &position) {
    return position.pieces + US * BLACK_CODE;
}

// The attack sets of one side while its pieces of one type are gone through.
struct AttackSum {
    Bitboard all, twice, type;
};

template <int US>
static AttackSum start_sum(const EvalScratch &scratch) {
    return {scratch.attacks[US][0], scratch.double_attacks[US], 0};
}

static void add_attacks(AttackSum &sum, Bitboard reach) {
    sum.twice |= reach & sum.all;
    sum.all |= reach;
    sum.type |= reach;
}

template <int US>
static void store_sum(EvalScratch &scratch, const AttackSum &sum, int type) {
    scratch.attacks[US][0] = sum.all;
    scratch.attacks[US][type] = sum.type;
    scratch.double_attacks[US] = sum.twice;
}

// Standing on an outpost counts more than looking at one, most with a pawn behind.
template <int US>
static OutpostState outpost_state(const EvalScratch &scratch, Square square, Bitboard reach) {
    const Bitboard area = scratch.outpost_area[US];
    if (area >> square & 1) return scratch.attacks[US][PAWN] >> square & 1 ? OUTPOST_DEFENDED : OUTPOST_HELD;
    return reach & area ? OUTPOST_EYED : OUTPOST_NONE;
}

// Knights: mobility to squares that no enemy pawn attacks, place, outposts, and attacks on the king's zone.
template <int US>
static void knights_of(const Position &position, EvalScratch &scratch) {
    constexpr int THEM = US ^ 1;
    const Bitboard *own = sets_of<US>(position);
    const Bitboard safe = ~(own[0] | scratch.attacks[THEM][PAWN]), zone = scratch.king_zone[THEM];
    const int mirror = scratch.mirror[US];
    AttackSum sum = start_sum<US>(scratch);
    u32 score = 0;
    int units = 0;
    for (Bitboard set = own[KNIGHT]; set;) {
        const Square square = pop_lowest(set);
        const Bitboard reach = knight_attacks[square];
        add_attacks(sum, reach);
        units += reach & zone ? ZONE_UNITS[KNIGHT] : 0;
        score += eval_weights.knight_mobility[popcount(reach & safe)];
        score += eval_weights.piece_square[KNIGHT][square ^ mirror];
        score += eval_weights.knight_outpost[outpost_state<US>(scratch, square, reach)];
    }
    store_sum<US>(scratch, sum, KNIGHT);
    scratch.king_attack[THEM] += units;
    add_score(scratch, US, score);
}

void evaluate_knights(const Position &position, EvalScratch &scratch) {
    knights_of<WHITE>(position, scratch);
    knights_of<BLACK>(position, scratch);
}

// Bishops see through queens.
template <int US>
static void bishops_of(const Position &position, EvalScratch &scratch, Bitboard occupancy) {
    constexpr int THEM = US ^ 1;
    const Bitboard *own = sets_of<US>(position), *enemy = sets_of<THEM>(position);
    const Bitboard safe = ~(own[0] | scratch.attacks[THEM][PAWN]), zone = scratch.king_zone[THEM];
    const int mirror = scratch.mirror[US];
    AttackSum sum = start_sum<US>(scratch);
    u32 score = 0;
    int units = 0;
    for (Bitboard set = own[BISHOP]; set;) {
        const Square square = pop_lowest(set);
        const Bitboard reach = bishop_attacks(square, occupancy);
        add_attacks(sum, reach);
        units += reach & zone ? ZONE_UNITS[BISHOP] : 0;
        score += eval_weights.bishop_mobility[popcount(reach & safe)];
        score += eval_weights.piece_square[BISHOP][square ^ mirror];
        score += packed_times(popcount(reach & CENTRE_BOX), bishop_infiltration);
        score += eval_weights.bishop_outpost[outpost_state<US>(scratch, square, reach)];
    }
    store_sum<US>(scratch, sum, BISHOP);
    scratch.low_attacks[US] = scratch.attacks[US][PAWN] | scratch.attacks[US][KNIGHT] | sum.type;
    scratch.king_attack[THEM] += units;

    // The pair, and own pawns rammed against enemy pawns on the squares that a bishop needs.
    const Bitboard dark = own[BISHOP] & COLOUR_OF_A1, light = own[BISHOP] & COLOUR_OF_H1;
    if (dark && light) score += packed_times(1, bishop_pair);
    const Bitboard rams = own[PAWN] & ahead<THEM>(enemy[PAWN]);
    if (dark) score += packed_times(popcount(rams & COLOUR_OF_A1), bishop_rampawns);
    if (light) score += packed_times(popcount(rams & COLOUR_OF_H1), bishop_rampawns);
    add_score(scratch, US, score);
}

void evaluate_bishops(const Position &position, EvalScratch &scratch) {
    const Bitboard queens = position.pieces[QUEEN] | position.pieces[BLACK_CODE + QUEEN];
    const Bitboard occupancy = occupied(position) ^ queens;
    bishops_of<WHITE>(position, scratch, occupancy);
    bishops_of<BLACK>(position, scratch, occupancy);
}

// Rooks see through queens and through rooks of their side.
template <int US>
static void rooks_of(const Position &position, EvalScratch &scratch, Bitboard occupancy) {
    constexpr int THEM = US ^ 1;
    const Bitboard *own = sets_of<US>(position), *enemy = sets_of<THEM>(position);
    const Bitboard safe = ~(own[0] | scratch.low_attacks[THEM]), zone = scratch.king_zone[THEM];
    const Bitboard pawns = own[PAWN] | enemy[PAWN], seen = occupancy ^ own[ROOK];
    const bool king_behind = enemy[KING] & LAST_RANKS[US];
    const int mirror = scratch.mirror[US];
    AttackSum sum = start_sum<US>(scratch);
    u32 score = 0;
    int units = 0;
    for (Bitboard set = own[ROOK]; set;) {
        const Square square = pop_lowest(set);
        const Bitboard reach = rook_attacks(square, seen), file = FILE_A << file_of(square);
        add_attacks(sum, reach);
        units += reach & zone ? ZONE_UNITS[ROOK] : 0;
        score += eval_weights.rook_mobility[popcount(reach & safe)];
        score += eval_weights.piece_square[ROOK][square ^ mirror];
        score += packed_times(popcount(reach & file & ENEMY_HALF[US]), rook_infiltration);
        if (!(file & pawns)) score += packed_times(1, rook_openfile);  // half-open earns nothing
        if (king_behind && relative_rank(US, square) == 6) score += packed_times(1, rook_7th);
    }
    store_sum<US>(scratch, sum, ROOK);
    scratch.mid_attacks[US] = scratch.low_attacks[US] | sum.type;
    scratch.king_attack[THEM] += units;
    add_score(scratch, US, score);
}

void evaluate_rooks(const Position &position, EvalScratch &scratch) {
    const Bitboard queens = position.pieces[QUEEN] | position.pieces[BLACK_CODE + QUEEN];
    const Bitboard occupancy = occupied(position) ^ queens;
    rooks_of<WHITE>(position, scratch, occupancy);
    rooks_of<BLACK>(position, scratch, occupancy);
}

// Queens: batteries with own bishops and rooks count for double attacks and king danger, but not as
// attacked squares.
template <int US>
static void queens_of(const Position &position, EvalScratch &scratch) {
    constexpr int THEM = US ^ 1;
    const Bitboard *own = sets_of<US>(position);
    const Bitboard all = occupied(position);
    const Bitboard safe = ~(own[0] | scratch.mid_attacks[THEM]), zone = scratch.king_zone[THEM];
    const int mirror = scratch.mirror[US];
    AttackSum sum = start_sum<US>(scratch);
    u32 score = 0;
    int units = 0;
    for (Bitboard set = own[QUEEN]; set;) {
        const Square square = pop_lowest(set);
        const Bitboard diagonal = bishop_attacks(square, all), straight = rook_attacks(square, all);
        const Bitboard reach = diagonal | straight;
        Bitboard through = reach;
        if (diagonal & own[BISHOP]) through |= bishop_attacks(square, all ^ own[BISHOP]);
        if (straight & own[ROOK]) through |= rook_attacks(square, all ^ own[ROOK]);
        sum.twice |= through & sum.all;
        sum.all |= reach;
        sum.type |= reach;
        units += through & zone ? ZONE_UNITS[QUEEN] : 0;
        score += eval_weights.queen_mobility[popcount(reach & safe)];
        score += eval_weights.piece_square[QUEEN][square ^ mirror];
    }
    store_sum<US>(scratch, sum, QUEEN);
    scratch.high_attacks[US] = scratch.mid_attacks[US] | sum.type;
    scratch.king_attack[THEM] += units;
    add_score(scratch, US, score);
}

void evaluate_queens(const Position &position, EvalScratch &scratch) {
    queens_of<WHITE>(position, scratch);
    queens_of<BLACK>(position, scratch);
}

// Shield, safe checks and danger to the king of `US` from an enemy with rooks or queens.
template <int US>
static u32 king_safety(const Position &position, const EvalScratch &scratch) {
    constexpr int THEM = US ^ 1;
    const Bitboard *own = sets_of<US>(position), *enemy = sets_of<THEM>(position);
    const Bitboard *own_attacks = scratch.attacks[US], *enemy_attacks = scratch.attacks[THEM];
    const Bitboard all = occupied(position), zone = scratch.king_zone[US];
    const Square king = position.king_sq[US];

    // Shield pawns may be at their place or have one or two steps to go to the zone's front.
    const Bitboard step = ahead<US>(own[PAWN]), cover = own[PAWN] | step | ahead<US>(step);
    const int shield = popcount(cover & ahead<US>(zone));
    u32 score = eval_weights.pawn_shield[shield];

    // Squares that we cover and the enemy attacks only once are no place for a check, nor are those
    // that the enemy occupies.
    const Bitboard open = ~((~scratch.double_attacks[THEM] & own_attacks[0]) | enemy[0]);
    const Bitboard knights = enemy_attacks[KNIGHT] & ~scratch.low_attacks[US];
    const Bitboard bishops = enemy_attacks[BISHOP] & ~scratch.low_attacks[US];
    const Bitboard rooks = enemy_attacks[ROOK] & ~scratch.mid_attacks[US];
    const Bitboard queens = enemy_attacks[QUEEN] & ~scratch.high_attacks[US];
    const Bitboard jump_checks = open & knight_attacks[king];
    const Bitboard diagonal_checks = open & bishop_attacks(king, all);
    const Bitboard straight_checks = open & rook_attacks(king, all);
    const int queen_checks = ((queens & diagonal_checks) != 0) + ((queens & straight_checks) != 0);
    const int checks =
        queen_checks + popcount((knights & jump_checks) | (bishops & diagonal_checks) | (rooks & straight_checks));
    score += packed_times(checks, enemy_checks);

    const int danger = scratch.king_attack[US] - shield - 2 +
                       popcount(zone & enemy_attacks[PAWN] & ~own_attacks[PAWN]) +
                       3 * popcount((diagonal_checks | zone) & bishops) + 4 * popcount((jump_checks | zone) & knights) +
                       4 * popcount((straight_checks | zone) & rooks) + 5 * (queen_checks + popcount(zone & queens));
    if (danger > 0) {
        const float share = static_cast<float>(danger * danger) * 0.0015f;
        score += packed_share(enemy[QUEEN] ? king_danger1 : king_danger2, share);
    }
    return score;
}

// King steps from `king` to the nearest square that a pawn of either side can still pass over: 0..7.
static int pawn_distance(Square king, Bitboard pawn_paths) {
    Bitboard reach = bit(king) | king_attacks[king];
    int steps = 0;
    while (!(reach & pawn_paths) && steps < 7) {
        reach |= reach << 8 | reach >> 8;
        reach |= beside(reach);
        ++steps;
    }
    return steps;
}

template <int US>
static void king_of(const Position &position, EvalScratch &scratch) {
    constexpr int THEM = US ^ 1;
    const Bitboard *own = sets_of<US>(position), *enemy = sets_of<THEM>(position);
    const Square king = position.king_sq[US];
    u32 score = eval_weights.piece_square[KING][king ^ scratch.mirror[US]];
    if (enemy[ROOK] | enemy[QUEEN]) score += king_safety<US>(position, scratch);
    if (!(king_attacks[king] & ~own[0] & ~scratch.attacks[THEM][0])) score += packed_times(1, king_trapped);
    if (own[PAWN] | enemy[PAWN]) {
        const Bitboard pawn_paths = scratch.pawn_fill[WHITE] | scratch.pawn_fill[BLACK];
        score += eval_weights.king_pawn_distance[pawn_distance(king, pawn_paths)];
    }
    add_score(scratch, US, score);
}

void evaluate_kings(const Position &position, EvalScratch &scratch) {
    king_of<WHITE>(position, scratch);
    king_of<BLACK>(position, scratch);
}

// Pieces and pawns of `US` under attack, to its own score; joins hung_pieces.
template <int US>
static void attacked_men(const Position &position, EvalScratch &scratch) {
    constexpr int THEM = US ^ 1;
    const Bitboard *own = sets_of<US>(position);
    const Bitboard own_all = scratch.attacks[US][0], enemy_all = scratch.attacks[THEM][0];
    const Bitboard own_pawns = scratch.attacks[US][PAWN], enemy_pawns = scratch.attacks[THEM][PAWN];
    // Squares where the enemy attacks more often than we can answer.
    const Bitboard weak =
        (~(own_pawns | scratch.double_attacks[US]) & scratch.double_attacks[THEM]) | (~own_all & enemy_all);

    const Bitboard pawns = own[PAWN] & enemy_all & ~own_pawns & ~enemy_pawns;
    const Bitboard lost_pawns = pawns & weak;
    const Bitboard minors = (own[KNIGHT] | own[BISHOP]) & enemy_all;
    const Bitboard lost_minors = minors & (weak | enemy_pawns);
    const Bitboard lost_majors = (own[ROOK] | own[QUEEN]) & scratch.low_attacks[THEM];
    u32 score = packed_times(popcount(lost_pawns), hung_pawn);
    score += packed_times(popcount(pawns & ~weak), attacked_pawn);
    score += packed_times(popcount(lost_minors), hung_minor);
    score += packed_times(popcount(minors & ~weak & ~own_pawns), attacked_minor);
    score += packed_times(popcount(lost_majors), hung_major);
    scratch.hung_pieces |= lost_pawns | lost_minors | lost_majors;

    const Bitboard officers = own[0] & ~own[PAWN];
    score += packed_times(popcount(pinned_pieces(&position, US) & officers), pinned_piece);
    add_score(scratch, US, score);
}

// Pieces of the enemy that a safe pawn push of `US` would attack; the threatened side pays.
template <int US>
static void push_threats(const Position &position, EvalScratch &scratch) {
    constexpr int THEM = US ^ 1;
    constexpr Bitboard RANK_3 = US == WHITE ? RANK_1 << 16 : RANK_1 << 40;
    const Bitboard *own = sets_of<US>(position), *enemy = sets_of<THEM>(position);
    const Bitboard empty = ~occupied(position);
    const Bitboard single = ahead<US>(own[PAWN]) & empty;
    const Bitboard pushes = single | (ahead<US>(single & RANK_3) & empty);
    const Bitboard safe =
        pushes & ~scratch.attacks[THEM][PAWN] & ~(scratch.attacks[THEM][0] & ~scratch.attacks[US][PAWN]);
    const Bitboard targets = ahead<US>(beside(safe)) & enemy[0] & ~enemy[PAWN] & ~scratch.hung_pieces;
    add_score(scratch, THEM, packed_times(popcount(targets), ppush_threat));
}

void evaluate_threats(const Position &position, EvalScratch &scratch) {
    attacked_men<WHITE>(position, scratch);
    attacked_men<BLACK>(position, scratch);
    push_threats<WHITE>(position, scratch);
    push_threats<BLACK>(position, scratch);
}
