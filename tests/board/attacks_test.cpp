// Geometry tables, sliding attacks, attackers, pins.
#include "board/attacks.h"
#include "board/fen.h"
#include "gtest/gtest.h"
#include "support/engine.h"
#include "support/positions.h"

namespace {

class AttacksTest : public testing::Test {
protected:
    void SetUp() override { start_engine(); }
};

// A slider's reach square by square, the slow way.
Bitboard walk(Square from, Bitboard occupancy, bool diagonal) {
    static const int STRAIGHT[4][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};
    static const int DIAGONAL[4][2] = {{1, 1}, {-1, 1}, {1, -1}, {-1, -1}};
    Bitboard reach = 0;
    for (const auto &step : diagonal ? DIAGONAL : STRAIGHT)
        for (int file = file_of(from) + step[0], rank = rank_of(from) + step[1];
             file >= 0 && file < 8 && rank >= 0 && rank < 8; file += step[0], rank += step[1]) {
            reach |= bit(rank * 8 + file);
            if (occupancy & bit(rank * 8 + file)) break;
        }
    return reach;
}

TEST_F(AttacksTest, SlidersAgreeWithAWalk) {
    u64 state = 1;
    for (int round = 0; round < 300; ++round) {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        const Bitboard occupancy = state & (state << 23 | state >> 41) & (round % 2 ? ~0ULL : state << 7);
        for (Square square = 0; square < 64; ++square) {
            ASSERT_EQ(rook_attacks(square, occupancy), walk(square, occupancy, false));
            ASSERT_EQ(bishop_attacks(square, occupancy), walk(square, occupancy, true));
        }
    }
}

TEST_F(AttacksTest, EmptyBoardAndCorners) {
    EXPECT_EQ(rook_attacks(0, bit(0)), rook_mask[0]);
    EXPECT_EQ(rook_attacks(63, 0), rook_mask[63]);
    EXPECT_EQ(rook_mask[63], walk(63, 0, false));
    // A blocker on the last square of a ray is attacked, and changes nothing else.
    EXPECT_EQ(rook_attacks(7, bit(63)), rook_attacks(7, 0));
    EXPECT_TRUE(rook_attacks(7, bit(63)) & bit(63));
    EXPECT_EQ(bishop_attacks(0, bit(63)), bishop_mask[0]);
    for (const Bitboard *ray : {ray_north, ray_east, ray_north_east, ray_north_west}) EXPECT_EQ(ray[63], 0u);
    for (const Bitboard *ray : {ray_south, ray_west, ray_south_west, ray_south_east}) EXPECT_EQ(ray[0], 0u);
}

TEST_F(AttacksTest, Between) {
    EXPECT_EQ(between[0][63], bit(9) | bit(18) | bit(27) | bit(36) | bit(45) | bit(54));
    EXPECT_EQ(between[0][17], 0u);  // a1 and b3 are on no line
    EXPECT_EQ(between[0][0], 0u);
    EXPECT_EQ(between[0][1], 0u);
    EXPECT_EQ(between[63][0], between[0][63]);
    EXPECT_EQ(between[4][6], bit(5));
}

TEST_F(AttacksTest, StepTables) {
    EXPECT_EQ(pawn_attacks[WHITE][8], bit(17));
    EXPECT_EQ(pawn_attacks[WHITE][15], bit(22));
    EXPECT_EQ(pawn_attacks[WHITE][60], 0u);
    EXPECT_EQ(pawn_attacks[BLACK][4], 0u);
    EXPECT_EQ(pawn_attacks[BLACK][12], bit(3) | bit(5));
    EXPECT_EQ(knight_attacks[0], bit(10) | bit(17));
    EXPECT_EQ(king_attacks[7], bit(6) | bit(14) | bit(15));
    for (Square square = 0; square < 64; ++square) EXPECT_FALSE(king_attacks[square] & bit(square));
}

TEST_F(AttacksTest, BatteryAppearsWhenTheFrontPieceLeaves) {
    const Position *position = set_up("4k3/8/8/8/8/8/4R3/K3Q3 w - -");
    const Bitboard occupancy = occupied(*position);
    EXPECT_EQ(attacker_of_square(position, square_of("e8"), WHITE, occupancy), 12);
    EXPECT_EQ(attacker_of_square(position, square_of("e8"), WHITE, occupancy ^ bit(12)), 4);
    EXPECT_EQ(attacker_of_square(position, square_of("e8"), WHITE, occupancy ^ bit(12) ^ bit(4)), NO_SQUARE);
}

TEST_F(AttacksTest, TheLeastValuableComesFirst) {
    const Position *position = set_up("7k/8/8/2q5/3p4/4K3/3N1n2/8 w - -");
    const Bitboard all = occupied(*position);
    EXPECT_EQ(attacker_of_square(position, square_of("e5"), WHITE, all), NO_SQUARE);
    EXPECT_EQ(attacker_of_square(position, square_of("e4"), WHITE, all), 11);  // e4: knight before king
    EXPECT_EQ(attacker_of_square(position, square_of("e4"), WHITE, all ^ bit(11)), 20);
    EXPECT_EQ(attacker_of_square(position, square_of("e3"), BLACK, all), 27);  // e3: pawn
    // King and pawn defend the same square: the pawn answers.
    position = set_up("7k/8/8/8/8/3PK3/8/8 w - -");
    EXPECT_EQ(attacker_of_square(position, square_of("e4"), WHITE, occupied(*position)), 19);
    // Two of a kind: the lower square.
    position = set_up("7k/8/8/8/8/2N1N3/8/4K3 w - -");
    EXPECT_EQ(attacker_of_square(position, square_of("d5"), WHITE, occupied(*position)), 18);
}

// What the piece on a square attacks, the slow way.
Bitboard reach_of(int code, Square square, Bitboard occupancy) {
    switch (type_of(code)) {
        case PAWN: return pawn_attacks[colour_of(code)][square];
        case KNIGHT: return knight_attacks[square];
        case BISHOP: return walk(square, occupancy, true);
        case ROOK: return walk(square, occupancy, false);
        case QUEEN: return walk(square, occupancy, true) | walk(square, occupancy, false);
        case KING: return king_attacks[square];
        default: return 0;
    }
}

TEST_F(AttacksTest, AttackersAgreeWithAWalkFromEveryPiece) {
    for (const char *fen : {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -", STARTPOS_FEN,
                            "4k3/8/8/2qN4/3p4/4K3/3N1n2/8 w - -", "3rk3/pp1q3b/8/1B1p4/Q7/2R5/P2R2PP/4K3 b - -"}) {
        const Position *position = set_up(fen);
        // The whole board, and boards without one of its pieces.
        for (Square lifted = 0; lifted <= 64; ++lifted) {
            if (lifted < 64 && !position->board[lifted]) continue;
            const Bitboard all = occupied(*position), occupancy = lifted < 64 ? all ^ bit(lifted) : all;
            for (int side = WHITE; side <= BLACK; ++side) {
                Bitboard attacked = 0;
                for (Square square = 0; square < 64; ++square) {
                    Bitboard attackers = 0;
                    for (Square from = 0; from < 64; ++from)
                        if (occupancy >> from & 1 && colour_of(position->board[from]) == side &&
                            reach_of(position->board[from], from, occupancy) >> square & 1)
                            attackers |= bit(from);
                    ASSERT_EQ(attackers_of(position, square, side, occupancy), attackers) << fen << " " << square;
                    ASSERT_EQ(attacker_of_square(position, square, side, occupancy) != NO_SQUARE, attackers != 0);
                    if (attackers) attacked |= bit(square);
                    if (lifted == 64) {
                        ASSERT_EQ(is_square_attacked(position, square, side), attackers != 0) << fen << " " << square;
                    }
                }
                if (lifted == 64) {
                    EXPECT_EQ(attacked_squares(position, side), attacked) << fen;
                }
            }
        }
    }
}

TEST_F(AttacksTest, PinsToKingAndQueen) {
    // Knight pinned to the king by the rook; pawn d5 in front of the queen, pinned by the bishop.
    const Position *position = set_up("4r2k/1b6/8/3P4/4Q3/8/4N3/4K3 w - -");
    EXPECT_EQ(pinned_pieces(position, WHITE), bit(35));  // the queen stands on the king's line too: two in between
    position = set_up("4r2k/8/8/8/8/8/4N3/4K3 w - -");
    EXPECT_EQ(pinned_pieces(position, WHITE), bit(12));
    // An enemy piece alone on the line drops out; so does an enemy queen against the queen.
    position = set_up("4r2k/8/8/8/4n3/8/8/4K3 w - -");
    EXPECT_EQ(pinned_pieces(position, WHITE), 0u);
    position = set_up("3q3k/8/8/3N4/8/8/3Q4/6K1 w - -");
    EXPECT_EQ(pinned_pieces(position, WHITE), 0u);
    // Only the lowest queen is looked at.
    position = set_up("3r3k/8/8/3N4/8/8/Q2Q4/6K1 w - -");
    EXPECT_EQ(pinned_pieces(position, WHITE), 0u);
}

}  // namespace
