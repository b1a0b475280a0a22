// Exchange values.
#include "board/exchange.h"

#include "gtest/gtest.h"
#include "support/engine.h"
#include "support/positions.h"

namespace {

class ExchangeTest : public testing::Test {
protected:
    void SetUp() override { start_engine(); }
};

int value_of(const char *fen, const char *text) {
    Position *position = set_up(fen);
    const Move move = move_of(position, text);
    EXPECT_NE(move, 0) << text;
    return see(position, position->stm, from_of(move), to_of(move));
}

bool is_ok(const char *fen, const char *text) {
    Position *position = set_up(fen);
    const Move move = move_of(position, text);
    EXPECT_NE(move, 0) << text;
    return see_ok(position, move);
}

TEST_F(ExchangeTest, Captures) {
    EXPECT_EQ(value_of("4k3/8/8/3p4/4P3/8/8/4K3 w - -", "e4d5"), 100);
    EXPECT_EQ(value_of("4k3/8/4p3/3p4/4P3/8/8/4K3 w - -", "e4d5"), 0);
    EXPECT_EQ(value_of("4k3/8/4p3/3p4/8/8/8/3QK3 w - -", "d1d5"), 100 - 1060);
    EXPECT_EQ(value_of("4k3/8/4p3/3p4/8/4N3/8/4K3 w - -", "e3d5"), 100 - 350);
    // A defended pawn attacked by rook and queen in line: the queen stands behind the rook.
    EXPECT_EQ(value_of("4k3/8/4p3/3p4/8/8/3R4/3QK3 w - -", "d2d5"), 100 - 550 + 100);
    EXPECT_EQ(value_of("3rk3/8/8/3p4/8/8/3R4/3QK3 w - -", "d2d5"), 100);
}

TEST_F(ExchangeTest, QuietMovesCostWhatTheyLose) {
    EXPECT_EQ(value_of("4k3/8/4p3/8/3P4/8/8/4K3 w - -", "d4d5"), -100);
    EXPECT_EQ(value_of("4k3/8/4p3/8/2PP4/8/8/4K3 w - -", "d4d5"), 0);
    EXPECT_EQ(value_of("4k3/8/8/8/3P4/8/8/4K3 w - -", "d4d5"), 0);
}

TEST_F(ExchangeTest, AKingNeverTakesIntoADefendedSquare) {
    EXPECT_EQ(value_of("4k3/8/8/8/8/2b5/3r4/4K3 w - -", "e1d2"), 550 - 9999);
    EXPECT_FALSE(is_ok("4k3/8/8/8/8/2b5/3r4/4K3 w - -", "e1d2"));
    EXPECT_EQ(value_of("4k3/8/8/8/8/8/3r4/4K3 w - -", "e1d2"), 550);
    EXPECT_TRUE(is_ok("4k3/8/8/8/8/8/3r4/4K3 w - -", "e1d2"));
    // Only the king defends the pawn, and a second attacker keeps it off.
    EXPECT_EQ(value_of("8/8/3k4/3p4/8/2N5/8/3RK3 w - -", "c3d5"), 100);
}

TEST_F(ExchangeTest, BestExchangeOnASquare) {
    const Position *position = set_up("4k3/8/4p3/3p4/4P3/8/8/4K3 w - -");
    EXPECT_EQ(see(position, WHITE, NO_SQUARE, 35), 0);
    position = set_up("4k3/8/4p3/3n4/4P3/8/8/4K3 w - -");
    EXPECT_EQ(see(position, WHITE, NO_SQUARE, 35), 250);
    position = set_up("4k3/8/8/3n4/8/8/8/4K3 w - -");
    EXPECT_EQ(see(position, WHITE, NO_SQUARE, 35), 0);  // nobody to begin
    position = set_up("3qk3/8/8/8/8/8/8/3RK3 w - -");
    EXPECT_EQ(see_on_square(position, WHITE, 60, KING, occupied(*position)), 0);
    EXPECT_EQ(see_on_square(position, WHITE, 59, KING, occupied(*position)), KING_CAPTURE_VALUE);
}

TEST_F(ExchangeTest, GoodEnoughForTheSearch) {
    EXPECT_TRUE(is_ok("4k3/8/4p3/3q4/4P3/8/8/4K3 w - -", "e4d5"));
    EXPECT_FALSE(is_ok("4k3/8/4p3/3p4/8/8/8/3QK3 w - -", "d1d5"));
    EXPECT_TRUE(is_ok("4k3/8/4p3/3n4/8/4N3/8/4K3 w - -", "e3d5"));
    EXPECT_TRUE(is_ok("4k3/8/4p3/3n4/8/1B6/8/4K3 w - -", "b3d5"));
    EXPECT_FALSE(is_ok("4k3/8/4p3/3p4/8/4N3/8/4K3 w - -", "e3d5"));
    EXPECT_TRUE(is_ok("4k3/2p5/8/3pP3/8/8/8/4K3 w - d6", "e5d6"));  // en passant, whatever comes
    EXPECT_FALSE(is_ok("4k3/8/4p3/8/3P4/8/8/4K3 w - -", "d4d5"));
}

}  // namespace
