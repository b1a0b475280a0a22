// The numbering of positions: symmetry, the leading group, and groups of like men as combinations.
#include "tablebase/tb_index.h"

#include <algorithm>
#include <array>

// All boards below start at a1; each line of numbers is a rank, the first rank first.

// Classes of the first man's square under the symmetries of the board: 0-5 inside the a1-d1-d4
// triangle, 6-9 on its diagonal.
// clang-format off
static constexpr i8 TRIANGLE[64] = {
    6, 0, 1, 2, 2, 1, 0, 6,
    0, 7, 3, 4, 4, 3, 7, 0,
    1, 3, 8, 5, 5, 8, 3, 1,
    2, 4, 5, 9, 9, 5, 4, 2,
    2, 4, 5, 9, 9, 5, 4, 2,
    1, 3, 8, 5, 5, 8, 3, 1,
    0, 7, 3, 4, 4, 3, 7, 0,
    6, 0, 1, 2, 2, 1, 0, 6,
};
// clang-format on
// A square below the a1-h8 diagonal (28 of them) or above it, as one number; 28 and more on it.
// clang-format off
static constexpr i8 LOWER[64] = {
    28,  0,  1,  2,  3,  4,  5,  6,
     0, 29,  7,  8,  9, 10, 11, 12,
     1,  7, 30, 13, 14, 15, 16, 17,
     2,  8, 13, 31, 18, 19, 20, 21,
     3,  9, 14, 18, 32, 22, 23, 24,
     4, 10, 15, 19, 22, 33, 25, 26,
     5, 11, 16, 20, 23, 25, 34, 27,
     6, 12, 17, 21, 24, 26, 27, 35,
};
// clang-format on
// Place on the a1-h8 diagonal 0-7, on the h1-a8 diagonal 8-15.
// clang-format off
static constexpr i8 DIAG[64] = {
     0,  0,  0,  0,  0,  0,  0,  8,
     0,  1,  0,  0,  0,  0,  9,  0,
     0,  0,  2,  0,  0, 10,  0,  0,
     0,  0,  0,  3, 11,  0,  0,  0,
     0,  0,  0, 12,  4,  0,  0,  0,
     0,  0, 13,  0,  0,  5,  0,  0,
     0, 14,  0,  0,  0,  0,  6,  0,
    15,  0,  0,  0,  0,  0,  0,  7,
};
// clang-format on
// Rank among the squares of the leading pawn: file by file from the edge, each from rank 2 up.
// clang-format off
static constexpr i8 FLAP[64] = {
    0,  0,  0,  0,  0,  0,  0, 0,
    0,  6, 12, 18, 18, 12,  6, 0,
    1,  7, 13, 19, 19, 13,  7, 1,
    2,  8, 14, 20, 20, 14,  8, 2,
    3,  9, 15, 21, 21, 15,  9, 3,
    4, 10, 16, 22, 22, 16, 10, 4,
    5, 11, 17, 23, 23, 17, 11, 5,
    0,  0,  0,  0,  0,  0,  0, 0,
};
// clang-format on
// Number of squares left for a further pawn of the leading group when the leading one is here: those
// that come later in the order above, on both halves of the board.
// clang-format off
static constexpr i8 PAWN_TWIST[64] = {
     0,  0,  0,  0,  0,  0,  0,  0,
    47, 35, 23, 11, 10, 22, 34, 46,
    45, 33, 21,  9,  8, 20, 32, 44,
    43, 31, 19,  7,  6, 18, 30, 42,
    41, 29, 17,  5,  4, 16, 28, 40,
    39, 27, 15,  3,  2, 14, 26, 38,
    37, 25, 13,  1,  0, 12, 24, 36,
     0,  0,  0,  0,  0,  0,  0,  0,
};
// clang-format on
static constexpr i8 FILE_TO_GROUP[8] = {0, 1, 2, 3, 3, 2, 1, 0};

// Sign of the side of the a1-h8 diagonal: -1 below (rank less than file), 0 on it, 1 above.
static constexpr int off_diag(Square square) {
    return (rank_of(square) > file_of(square)) - (rank_of(square) < file_of(square));
}
static constexpr Square flip_diag(Square square) { return file_of(square) * 8 + rank_of(square); }

// Positions of three different leading men; of two kings that may not touch.
constexpr u64 THREE_MEN_POSITIONS = 31332;
constexpr u64 TWO_KINGS_POSITIONS = 462;
constexpr int KINGS_OFF_DIAGONAL = 441;  // numbers from here on: both kings on the a1-h8 diagonal

// BINOMIAL[i][j]: ways to choose i of j things.
static constexpr auto BINOMIAL = [] {
    std::array<std::array<u64, 64>, 7> table{};
    for (int j = 0; j < 64; ++j) table[0][j] = 1;
    for (int i = 1; i < 7; ++i)
        for (int j = 1; j < 64; ++j) table[i][j] = table[i - 1][j - 1] + table[i][j - 1];
    return table;
}();

// KK_INDEX[class of the first king][square of the second]: number of the pair, -1 where none is.
static constexpr auto KK_INDEX = [] {
    constexpr Square FIRST_KING[10] = {1, 2, 3, 10, 11, 19, 0, 9, 18, 27};
    std::array<std::array<i16, 64>, 10> table{};
    i16 next = 0, next_on_diagonal = KINGS_OFF_DIAGONAL;
    for (int c = 0; c < 10; ++c)
        for (Square second = 0; second < 64; ++second) {
            const Square first = FIRST_KING[c];
            const int ranks = rank_of(first) - rank_of(second), files = file_of(first) - file_of(second);
            const bool touching = ranks >= -1 && ranks <= 1 && files >= -1 && files <= 1;
            table[c][second] = -1;
            if (touching || (off_diag(first) == 0 && off_diag(second) > 0)) continue;
            table[c][second] = off_diag(first) == 0 && off_diag(second) == 0 ? next_on_diagonal++ : next++;
        }
    return table;
}();

// For the leading group of c + 1 pawns: number of the first position with the leading pawn on the
// square with FLAP value j, counted within its file group; and the number of positions of a group.
struct PawnTables {
    u64 index[6][24];
    u64 factor_file[6][TB_FILE_GROUPS];
};
static constexpr PawnTables PAWN_TABLES = [] {
    PawnTables tables{};
    for (int c = 0; c < 6; ++c) {
        u64 sum = 0;
        for (int j = 0; j < 24; ++j) {
            tables.index[c][j] = sum;
            sum += BINOMIAL[c][PAWN_TWIST[(1 + j % 6) * 8 + j / 6]];
            if (j % 6 == 5) {
                tables.factor_file[c][j / 6] = sum;
                sum = 0;
            }
        }
    }
    return tables;
}();

// The men of the order must be those of the entry, like men in one run, and the leading ones what
// the encoding takes for granted; all later reading rests on it.
static bool order_fits_material(const TbEncInfo *info, const TbBaseEntry *entry) {
    u8 counts[2][KING + 1] = {};
    for (int i = 0; i < entry->num; ++i) {
        const int code = info->pieces[i], type = type_of(code);
        if (type < PAWN || type > KING) return false;
        if (counts[colour_of(code)][type]++ && info->pieces[i - 1] != code) return false;
    }
    for (int side = 0; side < 2; ++side) {
        if (counts[side][KING] != 1) return false;
        for (int type = PAWN; type <= QUEEN; ++type)
            if (counts[side][type] != entry->counts[side][type]) return false;
    }
    const auto count_of = [&](int place) {
        return counts[colour_of(info->pieces[place])][type_of(info->pieces[place])];
    };
    if (entry->has_pawns) {
        const int other = entry->pawns[0];  // the place after the leading pawns
        if (type_of(info->pieces[0]) != PAWN || count_of(0) != entry->pawns[0]) return false;
        return !entry->pawns[1] || type_of(info->pieces[other]) == PAWN;
    }
    if (entry->kk_enc) return type_of(info->pieces[0]) == KING && type_of(info->pieces[1]) == KING;
    return count_of(0) == 1 && count_of(1) == 1 && count_of(2) == 1;
}

// Cuts the order of men into groups and gives each group its multiplier. The leading group and the
// second pawn group take the turns that the first bytes name, the others follow in their order.
u64 tb_init_enc_info(TbEncInfo *info, const TbBaseEntry *entry, const u8 *bytes, int shift, int group,
                     TbEncoding encoding) {
    const bool by_files = encoding == TB_ENCODE_FILES;
    const int more_pawns = by_files && entry->pawns[1] > 0;
    for (int i = 0; i < entry->num; ++i) {
        info->pieces[i] = (bytes[i + 1 + more_pawns] >> shift) & 15;
        info->norm[i] = 0;
    }
    if (!order_fits_material(info, entry)) return 0;
    const int order = (bytes[0] >> shift) & 15;
    const int order2 = more_pawns ? (bytes[1] >> shift) & 15 : 15;

    int k = by_files ? entry->pawns[0] : entry->kk_enc ? 2 : 3;
    info->norm[0] = static_cast<u8>(k);
    const int second = k;
    if (more_pawns) {
        info->norm[k] = entry->pawns[1];
        k += entry->pawns[1];
    }
    for (int i = k; i < entry->num; i += info->norm[i])
        for (int j = i; j < entry->num && info->pieces[j] == info->pieces[i]; ++j) ++info->norm[i];

    int free_squares = 64 - k;
    bool leading_placed = false, second_placed = !more_pawns;
    u64 factor = 1;
    for (int i = 0; k < entry->num || i == order || i == order2; ++i) {
        if (i == order) {
            info->factor[0] = factor;
            factor *= by_files        ? PAWN_TABLES.factor_file[info->norm[0] - 1][group]
                      : entry->kk_enc ? TWO_KINGS_POSITIONS
                                      : THREE_MEN_POSITIONS;
            leading_placed = true;
        } else if (i == order2) {
            info->factor[second] = factor;
            factor *= BINOMIAL[info->norm[second]][48 - second];
            second_placed = true;
        } else {
            info->factor[k] = factor;
            factor *= BINOMIAL[info->norm[k]][free_squares];
            free_squares -= info->norm[k];
            k += info->norm[k];
        }
    }
    return leading_placed && second_placed ? factor : 0;
}

static void xor_all(int *squares, int count, int mask) {
    for (int i = 0; i < count; ++i) squares[i] ^= mask;
}

// Number of a group of `count` like men that follows `place` placed ones: a combination of the
// squares that those leave free, less `skipped` squares that these men never use.
static u64 combination(int *squares, int place, int count, int skipped) {
    std::sort(squares + place, squares + place + count);
    u64 sum = 0;
    for (int m = place; m < place + count; ++m) {
        int below = skipped;
        for (int i = 0; i < place; ++i) below += squares[i] < squares[m];
        sum += BINOMIAL[m - place + 1][squares[m] - below];
    }
    return sum;
}

static u64 remaining_groups(int *squares, int place, const TbEncInfo *info, int num) {
    u64 index = 0;
    for (int i = place; i < num; i += info->norm[i])
        index += combination(squares, i, info->norm[i], 0) * info->factor[i];
    return index;
}

// Number of three different men of which the first is in the a1-d1-d4 triangle. Men on the
// diagonal before the first one off it have fewer places, as that one is always below.
static u64 three_men_index(const int *p) {
    const int a = p[1] > p[0], b = (p[2] > p[0]) + (p[2] > p[1]);
    int index;
    if (off_diag(p[0])) index = TRIANGLE[p[0]] * 63 * 62 + (p[1] - a) * 62 + p[2] - b;
    else if (off_diag(p[1])) index = 23436 + DIAG[p[0]] * 28 * 62 + LOWER[p[1]] * 62 + p[2] - b;
    else if (off_diag(p[2])) index = 30380 + DIAG[p[0]] * 7 * 28 + (DIAG[p[1]] - a) * 28 + LOWER[p[2]];
    else index = 31164 + DIAG[p[0]] * 7 * 6 + (DIAG[p[1]] - a) * 6 + DIAG[p[2]] - b;
    return static_cast<u64>(index);
}

// Turns the board so that the first man is in the triangle and the first leading man off the
// diagonal is below it, then numbers the leading group and the rest.
u64 tb_encode_piece(int *squares, const TbEncInfo *info, const TbBaseEntry *entry) {
    const int num = entry->num, leading = entry->kk_enc ? 2 : 3;
    if (squares[0] & 4) xor_all(squares, num, 7);
    if (squares[0] & 0x20) xor_all(squares, num, 0x38);
    for (int i = 0; i < num; ++i) {
        if (off_diag(squares[i]) == 0) continue;
        if (off_diag(squares[i]) > 0 && i < leading)
            for (int j = 0; j < num; ++j) squares[j] = flip_diag(squares[j]);
        break;
    }
    u64 index;
    if (entry->kk_enc) {
        const int pair = KK_INDEX[TRIANGLE[squares[0]]][squares[1]];
        if (pair < 0) return TB_NO_INDEX;
        index = static_cast<u64>(pair);
    } else {
        index = three_men_index(squares);
    }
    return index * info->factor[0] + remaining_groups(squares, leading, info, num);
}

int tb_put_leading_pawn_first(int *squares, int count) {
    for (int i = 1; i < count; ++i)
        if (FLAP[squares[i]] < FLAP[squares[0]]) std::swap(squares[0], squares[i]);
    return FILE_TO_GROUP[file_of(squares[0])];
}

// Turns the leading pawn to the left half, then numbers the leading pawns, the other side's pawns
// (which have 48 squares) and the rest.
u64 tb_encode_pawn(int *squares, const TbEncInfo *info, const TbBaseEntry *entry) {
    const int num = entry->num, leading = info->norm[0];
    if (squares[0] & 4) xor_all(squares, num, 7);
    std::sort(squares + 1, squares + leading, [](int a, int b) { return PAWN_TWIST[a] > PAWN_TWIST[b]; });
    const int c = leading - 1;
    u64 index = PAWN_TABLES.index[c][FLAP[squares[0]]];
    for (int i = c; i > 0; --i) index += BINOMIAL[c - i + 1][PAWN_TWIST[squares[i]]];
    index *= info->factor[0];
    int place = leading;
    if (entry->pawns[1]) {
        index += combination(squares, place, info->norm[place], 8) * info->factor[place];
        place += info->norm[place];
    }
    return index + remaining_groups(squares, place, info, num);
}
