// Recognisers of trivial endings, selected by the packed material words.
#include "eval/endings.h"

#include <algorithm>
#include <cstdlib>

#include "board/attacks.h"
#include "eval/kpk.h"

// The boards below show rank 1 in the first row.

// Manhattan distance to the four centre squares.
// clang-format off
static constexpr u8 CENTER_DISTANCE[64] = {
    6, 5, 4, 3, 3, 4, 5, 6,
    5, 4, 3, 2, 2, 3, 4, 5,
    4, 3, 2, 1, 1, 2, 3, 4,
    3, 2, 1, 0, 0, 1, 2, 3,
    3, 2, 1, 0, 0, 1, 2, 3,
    4, 3, 2, 1, 1, 2, 3, 4,
    5, 4, 3, 2, 2, 3, 4, 5,
    6, 5, 4, 3, 3, 4, 5, 6,
};
// clang-format on

// Mating with bishop and knight: where the strong king wants to be.
// clang-format off
static constexpr i16 BN_KING_RING[64] = {
    0, 0, 0, 0, 0, 0, 0, 0,
    0, 1, 1, 1, 1, 1, 1, 0,
    0, 1, 2, 2, 2, 2, 1, 0,
    0, 1, 2, 2, 2, 2, 1, 0,
    0, 1, 2, 2, 2, 2, 1, 0,
    0, 1, 2, 2, 2, 2, 1, 0,
    0, 1, 1, 1, 1, 1, 1, 0,
    0, 0, 0, 0, 0, 0, 0, 0,
};
// clang-format on

// Where the weak king is to be driven: the corners a1 and h8 of the bishop's colour.
// clang-format off
static constexpr i16 BN_CORNER[64] = {
    9, 8, 7, 6, 5, 4, 3, 2,
    8, 7, 6, 5, 4, 3, 2, 3,
    7, 6, 4, 3, 2, 1, 3, 4,
    6, 5, 3, 1, 0, 2, 4, 5,
    5, 4, 2, 0, 1, 3, 5, 6,
    4, 3, 1, 2, 3, 4, 6, 7,
    3, 2, 3, 4, 5, 6, 7, 8,
    2, 3, 4, 5, 6, 7, 8, 9,
};
// clang-format on

// Packed material of the endings with a recogniser.
constexpr i32 LONE_PAWN = MATERIAL_STEP[PAWN];
constexpr i32 TWO_KNIGHTS = 2 * MATERIAL_STEP[KNIGHT];
constexpr i32 BISHOP_AND_KNIGHT = MATERIAL_STEP[BISHOP] + MATERIAL_STEP[KNIGHT];
constexpr i32 MINORS_MASK = 0xFF0;
constexpr i32 HEAVY_MASK = ~0xFFF;  // rooks and queens

// A position can lack a king; its square is then taken as a1, which keeps table indices in range.
static Square king_of(const Position &position, int colour) { return position.king_sq[colour] & 63; }

// Heavy pieces against a bare king: the stronger side drives the other king to the edge and approaches. From white's
// point of view.
static int mate_drive(const Position &position) {
    const Square kings[2] = {king_of(position, WHITE), king_of(position, BLACK)};
    int value[2];
    for (int colour = WHITE; colour <= BLACK; ++colour) {
        const i32 material = position.material[colour];
        const int heavy = 256 * (count_of(material, ROOK) + 2 * count_of(material, QUEEN));
        value[colour] = std::min(heavy, 1500) - 16 * CENTER_DISTANCE[kings[colour]];
    }
    const int stronger = value[WHITE] > value[BLACK] ? WHITE : BLACK;
    value[stronger] += 1000 - 16 * square_distance(kings[WHITE], kings[BLACK]);
    return value[WHITE] - value[BLACK];
}

// Bishop and knight against a bare king, from the strong side's point of view.
static int bishop_and_knight(const Position &position, int strong) {
    const Square strong_king = king_of(position, strong);
    const Square weak_king = king_of(position, strong ^ 1);
    const bool colour_of_a1 = (position.pieces[piece_code(strong, BISHOP)] & COLOUR_OF_A1) != 0;
    return 900 + 16 * BN_CORNER[colour_of_a1 ? weak_king : weak_king ^ 7] + 8 * BN_KING_RING[strong_king] -
           8 * square_distance(strong_king, weak_king);
}

// A single pawn against a bare king, from the strong side's point of view: distances to the promotion square, and the
// solved table.
static int king_and_pawn(const Position &position, int strong, int side) {
    // For black the board is rotated by 180 degrees, which keeps file distances.
    const int turn = strong == WHITE ? 0 : 63;
    Square pawn = (lowest(position.pieces[piece_code(strong, PAWN)]) ^ turn);
    Square strong_king = king_of(position, strong) ^ turn;
    Square weak_king = king_of(position, strong ^ 1) ^ turn;
    const auto goal_distance = [pawn](Square king) {
        return std::max(7 - rank_of(king), std::abs(file_of(king) - file_of(pawn)));
    };
    int score = goal_distance(weak_king) + 4 * rank_of(pawn) - goal_distance(strong_king);
    if (file_of(pawn) > 3) {
        pawn ^= 7;
        strong_king ^= 7;
        weak_king ^= 7;
    }
    const int weak_to_move = side ^ strong;
    const int place = rank_of(pawn) * 4 + file_of(pawn);
    if (kpk_table[weak_to_move << 17 | place << 12 | strong_king << 6 | weak_king] == 2) score += 800;
    return score;
}

bool recognise_ending(const Position &position, int side, int *score) {
    const i32 white = position.material[WHITE];
    const i32 black = position.material[BLACK];
    const i32 both = white | black;
    if ((both & ~MINORS_MASK) == 0) {
        // Neither side can mate, or neither can force it.
        if ((minors_of(white) <= 1 && minors_of(black) <= 1) || (white == TWO_KNIGHTS && black == 0) ||
            (black == TWO_KNIGHTS && white == 0)) {
            *score = 0;
            return true;
        }
    }
    if (white && black) return false;
    if (both & HEAVY_MASK) {
        const int drive = mate_drive(position);
        *score = side == WHITE ? drive : -drive;
        return true;
    }
    // One side has a bare king: all material belongs to the other.
    const int strong = white ? WHITE : BLACK;
    int value;
    if (both == BISHOP_AND_KNIGHT) value = bishop_and_knight(position, strong);
    else if (both == LONE_PAWN) value = king_and_pawn(position, strong, side);
    else return false;
    *score = side == strong ? value : -value;
    return true;
}

bool has_opposite_bishops(const Position &position) {
    const i32 white = position.material[WHITE];
    const i32 black = position.material[BLACK];
    if ((white | black) & HEAVY_MASK) return false;
    if (count_of(white, BISHOP) != 1 || count_of(black, BISHOP) != 1) return false;
    const bool white_on_a1 = (position.pieces[piece_code(WHITE, BISHOP)] & COLOUR_OF_A1) != 0;
    const bool black_on_a1 = (position.pieces[piece_code(BLACK, BISHOP)] & COLOUR_OF_A1) != 0;
    return white_on_a1 != black_on_a1;
}
