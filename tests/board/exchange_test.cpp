// Exchange values.
#include "board/exchange.h"

#include "base/random.h"
#include "board/fen.h"
#include "board/make_move.h"
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

// The test against a limit says what the full value says, for every pseudo-legal move of random games.
TEST_F(ExchangeTest, LimitsAgreeWithTheFullValue) {
    u32 seed = 20260704;
    int reached = 0, missed = 0;
    for (const char *fen : {STARTPOS_FEN, "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
                            "r3k2r/1P4P1/8/8/8/8/1p4p1/R3K2R w KQkq -"}) {
        Position *position = set_up(fen);
        for (int step = 0; step < 300; ++step) {
            const int side = position->stm;
            for (const MoveEntry &entry : pseudo_legal_moves(position)) {
                const Square from = from_of(entry.move), to = to_of(entry.move);
                const int value = see(position, side, from, to);
                for (const int limit : {SEE_OK_MARGIN, -49, 0, 100, 350}) {
                    ASSERT_EQ(see_reaches(position, side, from, to, limit), value >= limit)
                        << fen_of(position) << " " << text_of(position, entry.move) << " " << limit;
                    ++(value >= limit ? reached : missed);
                }
            }
            const std::vector<Move> legal = legal_moves(position);
            if (legal.empty() || position->fifty > 40) position = set_up(fen);
            else make_game_move(position, legal[(next_random(&seed) >> 8) % legal.size()]);
        }
    }
    EXPECT_GT(reached, 1000);
    EXPECT_GT(missed, 1000);
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
