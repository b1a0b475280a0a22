// Which endings are recognised, and the symmetries of their scores. Their values are tested with the evaluation.
#include "eval/endings.h"

#include <algorithm>
#include <vector>

#include "base/random.h"
#include "gtest/gtest.h"
#include "support/engine.h"
#include "support/positions.h"

namespace {

struct Endings : ::testing::Test {
    Endings() { start_engine(); }
};

// Puts the pieces on random squares, pawns on ranks 2 to 7; `flip` changes the colours and mirrors the ranks.
void place_at_random(Position *position, const std::vector<int> &codes, u32 seed, bool flip) {
    clear_position(position);
    for (const int code : codes) {
        Square square;
        do square = (next_random(&seed) >> 8) % 64;
        while (position->board[flip ? square ^ 56 : square] ||
               (type_of(code) == PAWN && (rank_of(square) == 0 || rank_of(square) == 7)));
        place_piece(position, flip ? code ^ BLACK_CODE : code, flip ? square ^ 56 : square);
    }
}

}  // namespace

TEST_F(Endings, CountsInAMaterialWord) {
    const Position *position = set_up("4k3/8/8/8/8/8/PPP5/NNBRQK2 w - -");
    EXPECT_EQ(count_of(position->material[WHITE], PAWN), 3);
    EXPECT_EQ(count_of(position->material[WHITE], KNIGHT), 2);
    EXPECT_EQ(count_of(position->material[WHITE], QUEEN), 1);
    EXPECT_EQ(minors_of(position->material[WHITE]), 3);
    EXPECT_EQ(minors_of(position->material[BLACK]), 0);
}

TEST_F(Endings, OtherPositionsAreLeftToTheEvaluators) {
    for (const char *fen :
         {"4k3/4p3/8/8/8/8/8/3NKN2 w - -", "4k3/8/8/8/8/8/8/2BBK3 w - -", "4k2n/8/8/8/8/8/8/3NKN2 b - -",
          "4k3/8/8/8/8/8/PP6/4K3 b - -", "4k3/7p/8/8/8/8/8/R3K3 w - -", "4k3/8/8/8/8/8/P7/4KB2 w - -"}) {
        int score = 4321;
        EXPECT_FALSE(recognise_ending(*set_up(fen), WHITE, &score)) << fen;
        EXPECT_EQ(score, 4321) << fen;
    }
}

// A score is the other side's negated, and the same after a change of colours.
TEST_F(Endings, ScoresAreSymmetric) {
    constexpr int WHITE_KING = KING, BLACK_KING = BLACK_CODE + KING;
    const std::vector<std::vector<int>> endings = {
        {WHITE_KING, BLACK_KING, ROOK},        {WHITE_KING, BLACK_KING, QUEEN},
        {WHITE_KING, BLACK_KING, PAWN},        {WHITE_KING, BLACK_KING, BISHOP, KNIGHT},
        {WHITE_KING, BLACK_KING, QUEEN, ROOK}, {WHITE_KING, BLACK_KING, KNIGHT, KNIGHT}};
    Position *position = set_up("4k3/8/8/8/8/8/8/4K3 w - -");
    for (const std::vector<int> &codes : endings)
        for (u32 seed = 1; seed <= 200; ++seed) {
            int white = 0, black = 0, flipped = 0;
            place_at_random(position, codes, seed, false);
            ASSERT_TRUE(recognise_ending(*position, WHITE, &white));
            const std::string where = fen_of(position);
            if (codes.size() != 3 || codes[2] != PAWN) {  // who moves decides in a pawn ending
                ASSERT_TRUE(recognise_ending(*position, BLACK, &black));
                ASSERT_EQ(black, -white) << where;
            }
            place_at_random(position, codes, seed, true);
            ASSERT_TRUE(recognise_ending(*position, BLACK, &flipped));
            ASSERT_EQ(flipped, white) << where;
        }
}

TEST_F(Endings, OppositeBishops) {
    EXPECT_TRUE(has_opposite_bishops(*set_up("2b1k3/4p3/8/8/8/8/4P3/2B1K3 w - -")));  // c8 and c1
    EXPECT_FALSE(has_opposite_bishops(*set_up("4kb2/4p3/8/8/8/8/4P3/2B1K3 w - -")));  // f8 and c1
    EXPECT_FALSE(has_opposite_bishops(*set_up("2b1k3/8/8/8/8/8/8/R1B1K3 w - -")));    // with a rook
    EXPECT_FALSE(has_opposite_bishops(*set_up("2b1kb2/8/8/8/8/8/8/2B1K3 w - -")));    // two against one
    EXPECT_TRUE(has_opposite_bishops(*set_up("2b1kn2/8/8/8/8/8/8/2B1KN2 w - -")));    // knights do not matter
}
