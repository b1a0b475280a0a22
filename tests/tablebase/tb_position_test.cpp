// The probes' own position: made from the game's, and its attacks.
#include "board/attacks.h"
#include "support/table_directory.h"

class TbPositions : public testing::Test {
protected:
    void SetUp() override { start_engine(); }
};

TEST_F(TbPositions, SetsOfMen) {
    const TbPosition pos = tb_position_of("k7/p7/1n6/2b5/3r4/4Q3/5P2/6K1 b - - 42 60");
    EXPECT_EQ(pos.white, bit(20) | bit(13) | bit(6));  // e3, f2, g1
    EXPECT_EQ(pos.black, bit(56) | bit(48) | bit(41) | bit(34) | bit(27));
    EXPECT_EQ(pos.kings, bit(6) | bit(56));
    EXPECT_EQ(tb_men_of_type(pos, PAWN), bit(13) | bit(48));
    EXPECT_EQ(tb_men_of_type(pos, KNIGHT), bit(41));
    EXPECT_EQ(tb_men_of_type(pos, BISHOP), bit(34));
    EXPECT_EQ(tb_men_of_type(pos, ROOK), bit(27));
    EXPECT_EQ(tb_men_of_type(pos, QUEEN), bit(20));
    EXPECT_EQ(tb_men_of_type(pos, KING), pos.kings);
    EXPECT_EQ(pos.rule50, 42);
    EXPECT_EQ(pos.turn, 0);
    EXPECT_EQ(tb_own(pos), pos.black);
    EXPECT_EQ(tb_enemy(pos), pos.white);
    EXPECT_EQ(tb_occupied(pos), pos.white | pos.black);
}

TEST_F(TbPositions, EnPassantOnlyWithAPawnToTake) {
    EXPECT_EQ(tb_position_of("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1").ep, 43);
    EXPECT_EQ(tb_position_of("4k3/8/8/4P3/8/8/8/4K3 w - d6 0 1").ep, 0);
}

// Every square, by the side to move and the other, against the game's attack test.
TEST_F(TbPositions, AttacksAgreeWithTheGame) {
    for (const char *fen : {"k7/p7/1n6/2b5/3r4/4Q3/5P2/6K1 b - - 0 1", "4k3/8/8/3pP3/8/8/8/R3K2R w - - 0 1",
                            "8/1q6/3k4/2N5/4b3/8/PP4K1/8 w - - 0 1"}) {
        const Position *position = set_up(fen);
        const TbPosition pos = tb_from_position(position, 0);
        for (Square square = 0; square < 64; ++square)
            for (const int side : {WHITE, BLACK})
                EXPECT_EQ(tb_is_attacked(pos, square, side == WHITE), is_square_attacked(position, square, side))
                    << fen << " " << square;
        const Square king = lowest(pos.kings & tb_own(pos));
        EXPECT_EQ(tb_in_check(pos), is_square_attacked(position, king, position->stm ^ 1)) << fen;
    }
    EXPECT_TRUE(tb_in_check(tb_position_of("4k3/8/8/8/8/8/8/4RK2 b - - 0 1")));
    EXPECT_FALSE(tb_in_check(tb_position_of("4k3/4p3/8/8/8/8/8/4RK2 b - - 0 1")));
}
