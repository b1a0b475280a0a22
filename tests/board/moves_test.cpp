// The generators: which moves, and in which order.
#include "board/moves.h"

#include <algorithm>

#include "board/attacks.h"
#include "gtest/gtest.h"
#include "support/engine.h"
#include "support/positions.h"

namespace {

using Texts = std::vector<std::string>;

class MovesTest : public testing::Test {
protected:
    void SetUp() override { start_engine(); }

    // Texts of what a generator wrote between two entries of this list.
    MoveEntry list[512];
    Texts texts_to(const Position *position, const MoveEntry *end) {
        Texts texts;
        for (const MoveEntry *entry = list; entry != end; ++entry) texts.push_back(text_of(position, entry->move));
        return texts;
    }
};

bool contains(const Texts &texts, const char *text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

TEST_F(MovesTest, OrderOfTheGenerators) {
    Position *position = set_up("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -");
    EXPECT_EQ(texts_to(position, generate_captures(position, WHITE, list, NO_SQUARE)),
              (Texts{"g2h3", "d5e6", "e5g6", "e5d7", "e5f7", "e2a6", "f3h3", "f3f6"}));
    EXPECT_EQ(texts_to(position, generate_quiets(position, WHITE, list, NO_SQUARE)),
              (Texts{"a2a3", "b2b3", "g2g3", "d5d6", "a2a4", "g2g4", "c3b1", "c3d1", "c3a4", "c3b5",
                     "e5d3", "e5c4", "e5g4", "e5c6", "d2c1", "d2e3", "d2f4", "d2g5", "d2h6", "e2d1",
                     "e2f1", "e2d3", "e2c4", "e2b5", "a1b1", "a1c1", "a1d1", "h1f1", "h1g1", "f3d3",
                     "f3e3", "f3g3", "f3f4", "f3g4", "f3f5", "f3h5", "e1d1", "e1f1", "e1g1", "e1c1"}));
}

TEST_F(MovesTest, CapturesOfABlackPawnComeTowardTheLowerFileFirst) {
    Position *position = set_up("4k3/8/8/8/8/1p3p2/P1P1P1P1/4K3 b - -");
    EXPECT_EQ(texts_to(position, generate_captures(position, BLACK, list, NO_SQUARE)),
              (Texts{"b3a2", "f3e2", "b3c2", "f3g2"}));
}

TEST_F(MovesTest, EntriesHoldPieceAndCaptured) {
    Position *position = set_up("4k3/8/8/3pP3/4r3/3P4/8/4K3 w - d6");
    for (const MoveEntry &entry : pseudo_legal_moves(position)) {
        EXPECT_EQ(entry.piece, position->board[from_of(entry.move)]);
        EXPECT_EQ(entry.captured, position->board[to_of(entry.move)]);
    }
    EXPECT_NE(move_of(position, "e5d6"), 0);  // en passant, with captured 0
}

TEST_F(MovesTest, PushOntoTheSeventhRankIsOfNeitherMainGenerator) {
    Position *position = set_up("4k3/8/3P4/8/8/8/8/4K3 w - -");
    EXPECT_FALSE(contains(texts_to(position, generate_captures(position, WHITE, list, NO_SQUARE)), "d6d7"));
    EXPECT_FALSE(contains(texts_to(position, generate_quiets(position, WHITE, list, NO_SQUARE)), "d6d7"));
    EXPECT_EQ(texts_to(position, generate_seventh_rank_pushes(position, WHITE, list)), Texts{"d6d7"});
    EXPECT_NE(move_of(position, "d6d7"), 0);
    // The square ahead is occupied.
    position = set_up("4k3/3n4/3P4/8/8/8/8/4K3 w - -");
    EXPECT_EQ(generate_seventh_rank_pushes(position, WHITE, list), list);
}

TEST_F(MovesTest, APawnOnTheSeventhRankIsOnlyPromoted) {
    Position *position = set_up("1n2k3/P7/8/8/8/8/8/4K3 w - -");
    EXPECT_EQ(generate_pawn_pushes(position, WHITE, ~0ULL >> 8, occupied(*position), list), list);
    EXPECT_EQ(generate_captures(position, WHITE, list, NO_SQUARE), list);
    EXPECT_EQ(texts_to(position, generate_promotions(position, WHITE, true, list)),
              (Texts{"a7a8q", "a7a8n", "a7a8b", "a7a8r", "a7b8q", "a7b8n", "a7b8b", "a7b8r"}));
    EXPECT_EQ(texts_to(position, generate_promotions(position, WHITE, false, list)), (Texts{"a7a8q", "a7b8q"}));
}

TEST_F(MovesTest, BlackPromotions) {
    Position *position = set_up("4k3/8/8/8/8/8/p6p/1R2K1R1 b - -");
    EXPECT_EQ(texts_to(position, generate_promotions(position, BLACK, false, list)),
              (Texts{"a2a1q", "a2b1q", "h2h1q", "h2g1q"}));
}

TEST_F(MovesTest, EnPassantNeedsItsVictim) {
    // The target is set, but the pawn is not there: no such capture.
    Position *position = set_up("4k3/8/8/4P3/8/8/8/4K3 w - d6");
    EXPECT_EQ(move_of(position, "e5d6"), 0);
    position = set_up("4k3/8/8/4P3/8/8/8/4K3 w - d1");
    EXPECT_EQ(generate_captures(position, WHITE, list, NO_SQUARE), list);
}

TEST_F(MovesTest, CheckByAKnightIsCapturedAndNotBlocked) {
    Position *position = set_up("4k3/8/8/8/8/3n4/2P5/3QK3 w - -");
    EXPECT_EQ(texts_to(position, generate_captures(position, WHITE, list, square_of("d3"))), (Texts{"c2d3", "d1d3"}));
    EXPECT_EQ(texts_to(position, generate_quiets(position, WHITE, list, square_of("d3"))),
              (Texts{"e1f1", "e1d2", "e1e2", "e1f2"}));
}

TEST_F(MovesTest, InterpositionsAgainstASlider) {
    Position *position = set_up("4r2k/8/8/8/8/8/3P4/3RK2N w - -");
    EXPECT_EQ(texts_to(position, generate_quiets(position, WHITE, list, square_of("e8"))),
              (Texts{"e1f1", "e1e2", "e1f2"}));
    position = set_up("4r2k/8/8/8/8/6N1/8/3RK3 w - -");
    EXPECT_EQ(texts_to(position, generate_quiets(position, WHITE, list, square_of("e8"))),
              (Texts{"g3e2", "g3e4", "e1f1", "e1d2", "e1e2", "e1f2"}));
}

TEST_F(MovesTest, EnPassantStaysOnOfferUnderCheckByThePawn) {
    Position *position = set_up("8/8/8/8/2pPk3/8/8/4K3 b - d3");
    EXPECT_TRUE(contains(texts_to(position, generate_captures(position, BLACK, list, square_of("d4"))), "c4d3"));
    // c5 has just passed c6 and checks: d5c6 answers the check by capturing the checker.
    position = set_up("8/8/8/2pP4/3K4/8/8/7k w - c6");
    EXPECT_TRUE(contains(texts_to(position, generate_captures(position, WHITE, list, square_of("c5"))), "d5c6"));
}

TEST_F(MovesTest, KingCapturesAreNotBoundToTheTarget) {
    Position *position = set_up("4k3/8/8/8/8/8/3rr3/4K3 w - -");
    EXPECT_EQ(texts_to(position, generate_captures(position, WHITE, list, square_of("e2"))), (Texts{"e1d2", "e1e2"}));
}

TEST_F(MovesTest, StalemateStillHasPseudoLegalMoves) {
    Position *position = set_up("7k/5Q2/6K1/8/8/8/8/8 b - -");
    EXPECT_FALSE(pseudo_legal_moves(position).empty());
    EXPECT_TRUE(legal_moves(position).empty());
}

TEST_F(MovesTest, CastlingNeedsAnEmptyWay) {
    EXPECT_EQ(move_of(set_up("4k3/8/8/8/8/8/8/RN2K2R w KQ -"), "e1c1"), 0);
    EXPECT_EQ(move_of(set_up("4k3/8/8/8/8/8/8/R3KB1R w KQ -"), "e1g1"), 0);
}

}  // namespace
