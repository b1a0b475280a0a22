// Keys, placing and removing pieces.
#include "board/position.h"

#include "board/fen.h"
#include "gtest/gtest.h"
#include "support/engine.h"
#include "support/positions.h"

namespace {

class PositionTest : public testing::Test {
protected:
    void SetUp() override { start_engine(); }
};

TEST_F(PositionTest, KeysHaveCastlingAlwaysAndTheSideNever) {
    const u64 white = set_up("4k3/8/8/8/8/8/8/4K3 w - -")->key;
    EXPECT_EQ(white, zobrist[KING * 64 + 4] ^ zobrist[(BLACK_CODE + KING) * 64 + 60] ^ zobrist[0]);
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/4K3 b - -")->key, white);
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/4K3 b - -")->pawn_key, 0u);
}

TEST_F(PositionTest, KeysAreTheSameInEveryRun) {
    EXPECT_EQ(zobrist[0], 0xe708e34f294dde49ULL);
    EXPECT_EQ(zobrist[1], 0x6338ab3e8b29b46dULL);
    const Position *position = set_up(STARTPOS_FEN);
    EXPECT_EQ(position->key, 0xdfe6bd55a65b1fa3ULL);
    EXPECT_EQ(position->pawn_key, 0xa8e7818476aefdd2ULL);
    EXPECT_EQ(set_up("r5k1/ppqn1r1p/2p2np1/4p1N1/8/2BP4/PPP2PPP/R2QKB1R b KQ -")->key, 0xbe643d73ffe4349dULL);
    EXPECT_EQ(set_up("8/6k1/7p/4K3/8/p7/5P1r/1B6 w - -")->pawn_key, 0x49dc7910fe1bb603ULL);
}

TEST_F(PositionTest, RemovePieceFallsBackToAnotherKing) {
    Position *position = set_up("4k3/8/8/8/8/8/8/K3K3 w - -");
    remove_piece(position, position->king_sq[WHITE]);
    EXPECT_EQ(popcount(position->pieces[KING]), 1);
    EXPECT_EQ(position->king_sq[WHITE], lowest(position->pieces[KING]));
    remove_piece(position, position->king_sq[WHITE]);
    EXPECT_EQ(position->king_sq[WHITE], NO_SQUARE);
    remove_piece(position, 30);  // an empty square stays one
    EXPECT_EQ(popcount(occupied(*position)), 1);
}

TEST_F(PositionTest, PlacedPiecesAreInEveryFieldButTheKeys) {
    Position *position = set_up("4k3/8/8/8/8/8/8/4K3 w - -");
    const u64 key = position->key;
    place_piece(position, BLACK_CODE + ROOK, square_of("a8"));
    place_piece(position, PAWN, square_of("e2"));
    EXPECT_EQ(fen_of(position), "r3k3/8/8/8/8/8/4P3/4K3 w - -");
    EXPECT_EQ(position->pieces[BLACK_CODE + ROOK], bit(square_of("a8")));
    EXPECT_EQ(position->pieces[0], bit(square_of("e1")) | bit(square_of("e2")));
    EXPECT_EQ(position->material[BLACK], 0x1000);
    EXPECT_EQ(position->material[WHITE], 1);
    EXPECT_EQ(position->key, key);
    compute_keys(position);
    EXPECT_EQ(position->key,
              key ^ zobrist[(BLACK_CODE + ROOK) * 64 + square_of("a8")] ^ zobrist[PAWN * 64 + square_of("e2")]);
    EXPECT_EQ(position->pawn_key, zobrist[PAWN * 64 + square_of("e2")]);
}

TEST_F(PositionTest, ClearKeepsTheSideToMove) {
    Position *position = set_up("r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 5 9");
    clear_position(position);
    EXPECT_EQ(fen_of(position), "8/8/8/8/8/8/8/8 b - -");
    EXPECT_EQ(position->fifty, 0);
    EXPECT_EQ(position->material[WHITE], 0);
    EXPECT_EQ(position->king_sq[BLACK], NO_SQUARE);
}

TEST_F(PositionTest, AnEnPassantVictimIsAnEnemyPawnInFrontOfTheTarget) {
    EXPECT_TRUE(has_en_passant_victim(set_up("4k3/8/8/3pP3/8/8/8/4K3 w - d6"), WHITE));
    EXPECT_FALSE(has_en_passant_victim(set_up("4k3/8/8/4P3/8/8/8/4K3 w - d6"), WHITE));
    EXPECT_FALSE(has_en_passant_victim(set_up("4k3/8/8/3PP3/8/8/8/4K3 w - d6"), WHITE));    // its own pawn
    EXPECT_FALSE(has_en_passant_victim(set_up("4k3/8/3n4/3pP3/8/8/8/4K3 w - d6"), WHITE));  // target not empty
    EXPECT_FALSE(has_en_passant_victim(set_up("4k3/8/8/3pP3/8/8/8/4K3 w - -"), WHITE));
    EXPECT_TRUE(has_en_passant_victim(set_up("4k3/8/8/8/3Pp3/8/8/4K3 b - d3"), BLACK));
}

}  // namespace
