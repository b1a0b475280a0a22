// Legality, check tests and classification, and the shortcut forms against the plain ones.
#include "board/move_tests.h"

#include "base/random.h"
#include "board/attacks.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "gtest/gtest.h"
#include "support/engine.h"
#include "support/positions.h"

namespace {

class MoveTestsTest : public testing::Test {
protected:
    void SetUp() override { start_engine(); }
};

bool is_legal(Position *position, const char *text) {
    const Move move = move_of(position, text);
    EXPECT_NE(move, 0) << text << " is not generated";
    return is_move_legal(position, position->stm, move);
}

TEST_F(MoveTestsTest, EnPassantThatUncoversTheKingOnTheRank) {
    Position *position = set_up("8/8/8/K1pP3r/8/8/8/7k w - c6");
    EXPECT_FALSE(is_legal(position, "d5c6"));
    position = set_up("8/8/8/K1pP4/8/8/8/7k w - c6");
    EXPECT_TRUE(is_legal(position, "d5c6"));
}

TEST_F(MoveTestsTest, EnPassantMayCaptureTheCheckingPawn) {
    EXPECT_TRUE(is_legal(set_up("8/8/8/2pP4/3K4/8/8/7k w - c6"), "d5c6"));
}

TEST_F(MoveTestsTest, CastlingThroughAttack) {
    EXPECT_FALSE(is_legal(set_up("4k1r1/8/8/8/8/8/8/R3K2R w KQ -"), "e1g1"));
    EXPECT_FALSE(is_legal(set_up("4kr2/8/8/8/8/8/8/R3K2R w KQ -"), "e1g1"));
    EXPECT_FALSE(is_legal(set_up("4r1k1/8/8/8/8/8/8/R3K2R w KQ -"), "e1g1"));  // out of check
    EXPECT_TRUE(is_legal(set_up("1r2k3/8/8/8/8/8/8/R3K2R w KQ -"), "e1c1"));   // b1 alone does not matter
    EXPECT_FALSE(is_legal(set_up("2r1k3/8/8/8/8/8/8/R3K2R w KQ -"), "e1c1"));
}

TEST_F(MoveTestsTest, CastlingThatUncoversItsOwnKing) {
    const Move castling = word_of("d1c1", CASTLE_QUEENSIDE);  // the rook b1 leaves for d1
    EXPECT_FALSE(is_generated_legal_move(set_up("4k3/8/8/8/8/8/8/qR1K4 w Q -"), castling));
    EXPECT_TRUE(is_generated_legal_move(set_up("4k3/8/8/8/8/8/8/1R1K4 w Q -"), castling));
    EXPECT_TRUE(is_generated_legal_move(set_up("4k3/8/8/8/8/8/8/bR1K4 w Q -"), castling));  // no slider on the rank
}

TEST_F(MoveTestsTest, NoMoveIsNotLegal) {
    Position *position = set_up(STARTPOS_FEN);
    EXPECT_FALSE(is_move_legal(position, WHITE, 0));
    EXPECT_FALSE(is_generated_legal_move(position, 0));
    EXPECT_FALSE(is_generated_legal_move(position, word_of("e1e4")));
    EXPECT_FALSE(is_generated_legal_move(position, END_OF_LIST));
    EXPECT_TRUE(is_generated_legal_move(position, word_of("e2e4")));
}

TEST_F(MoveTestsTest, LegalityLeavesThePositionAlone) {
    Position *position = set_up("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -");
    const Position before = *position;
    for (const MoveEntry &entry : pseudo_legal_moves(position)) {
        is_move_legal(position, WHITE, entry.move);
        classify_move(position, WHITE, &entry);
        for (int code = 0; code < 16; ++code) ASSERT_EQ(position->pieces[code], before.pieces[code]);
    }
}

u8 class_of(const char *fen, const char *text) {
    Position *position = set_up(fen);
    for (const MoveEntry &entry : pseudo_legal_moves(position))
        if (text_of(position, entry.move) == text) return classify_move(position, position->stm, &entry);
    ADD_FAILURE() << text << " is not generated";
    return 0;
}

TEST_F(MoveTestsTest, Classification) {
    EXPECT_EQ(class_of(STARTPOS_FEN, "e2e4"), 0);
    EXPECT_EQ(class_of("4k3/8/8/3pP3/8/8/8/4K3 w - d6", "e5d6"), MOVE_CAPTURE | MOVE_SIXTH);
    EXPECT_EQ(class_of("4k3/8/3p4/4P3/8/8/8/4K3 w - -", "e5e6"), MOVE_SIXTH);
    EXPECT_EQ(class_of("4k3/8/3p4/4P3/8/8/8/4K3 w - -", "e5d6"), MOVE_CAPTURE);
    EXPECT_EQ(class_of("7k/8/3P4/8/8/8/8/4K3 w - -", "d6d7"), MOVE_SEVENTH);
    EXPECT_EQ(class_of("4k3/8/3P4/8/8/8/8/4K3 w - -", "d6d7"), MOVE_SEVENTH | MOVE_CHECK);
    EXPECT_EQ(class_of("7k/3P4/8/8/8/8/8/4K3 w - -", "d7d8q"), MOVE_PROMOTION | MOVE_CHECK);
    EXPECT_EQ(class_of("7k/3P4/8/8/8/8/8/4K3 w - -", "d7d8n"), MOVE_PROMOTION);
    EXPECT_EQ(class_of("4r2k/3P4/8/8/8/8/8/4K3 w - -", "d7e8b"), MOVE_PROMOTION | MOVE_CAPTURE);
    EXPECT_EQ(class_of("4k3/8/8/8/8/8/4B3/4RK2 w - -", "e2d3"), MOVE_CHECK);  // discovered
    EXPECT_EQ(class_of("5k2/8/8/8/8/8/8/4K2R w K -", "e1g1"), 0);             // the rook's check does not count
    EXPECT_EQ(class_of("4k3/8/8/8/8/8/8/6KR w K -", "g1g1"), 0);              // the king stays where it is
}

// The shortcuts answer as the plain functions do for every pseudo-legal move of random games, in check and out of it.
TEST_F(MoveTestsTest, ShortcutsEqualThePlainTestsInRandomGames) {
    u32 seed = 20260101;
    int checks = 0, pinned = 0, discoveries = 0;
    for (const char *fen : {STARTPOS_FEN, "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
                            "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -", "r3k2r/1P4P1/8/8/8/8/1p4p1/R3K2R w KQkq -",
                            "nr1qkr1b/ppp1pp1p/4bn2/3p2p1/4P3/1Q6/PPPP1PPP/NRB1KRNB w FBfb -"}) {
        Position *position = set_up(fen);
        for (int step = 0; step < 400; ++step) {
            const int side = position->stm;
            const bool in_check = is_square_attacked(position, position->king_sq[side], side ^ 1);
            MoveTests tests, unprepared{};
            prepare_move_tests(position, side, in_check, &tests);
            std::vector<Move> legal;
            for (const MoveEntry &entry : pseudo_legal_moves(position)) {
                const bool plain = is_move_legal(position, side, entry.move);
                const u8 bits = classify_move(position, side, &entry);
                const std::string where = fen_of(position) + " " + text_of(position, entry.move);
                ASSERT_EQ(is_move_legal_with(&tests, position, side, entry.move), plain) << where;
                ASSERT_EQ(is_move_legal_with(&unprepared, position, side, entry.move), plain) << where;
                ASSERT_EQ(classify_move_with(&tests, position, side, &entry), bits) << where;
                ASSERT_EQ(classify_move_with(&unprepared, position, side, &entry), bits) << where;
                if (plain) legal.push_back(entry.move);
                pinned += !in_check && !plain && type_of(entry.piece) != KING;
                discoveries += (bits & MOVE_CHECK) && (tests.discoverers & bit(from_of(entry.move)));
            }
            checks += in_check;
            if (legal.empty() || position->fifty > 40) position = set_up(fen);
            else make_game_move(position, legal[(next_random(&seed) >> 8) % legal.size()]);
        }
    }
    EXPECT_GT(checks, 20);  // the games met every case
    EXPECT_GT(pinned, 20);
    EXPECT_GT(discoveries, 20);
}

TEST_F(MoveTestsTest, ALegalMoveOrNone) {
    EXPECT_TRUE(has_legal_move(set_up(STARTPOS_FEN)));
    EXPECT_FALSE(has_legal_move(set_up("7k/5Q2/6K1/8/8/8/8/8 b - -")));  // stalemate
    EXPECT_FALSE(has_legal_move(set_up("7k/6Q1/6K1/8/8/8/8/8 b - -")));  // mate
    EXPECT_TRUE(has_legal_move(set_up("7k/6Q1/8/8/8/8/8/K7 b - -")));    // the queen can be taken
}

}  // namespace
