// The terms of pieces, kings and threats, each on a board made for it.
#include "eval/handcrafted/pieces.h"

#include "board/attacks.h"
#include "eval/handcrafted/hand_eval_fixture.h"
#include "eval/handcrafted/parameters.h"

using Pieces = HandEval;

TEST_F(Pieces, KnightMobilityAndOutpost) {
    // Eight safe squares, on an outpost without a pawn behind.
    EXPECT_EQ(term("4k3/8/8/8/3N4/8/8/4K3 w - -", TRACE_KNIGHTS, WHITE),
              packed(388 + 21 + 29 + 22, 392 + 20 + 30 + 20));
    // None: both squares hold own pawns.
    EXPECT_EQ(term("4k3/8/8/8/8/1P6/2P5/N3K3 w - -", TRACE_KNIGHTS, WHITE), packed(388 - 43 - 32, 392 - 23 - 33));
    // With a pawn behind, the whole of it.
    const i32 held = term("4k3/8/8/8/3N4/8/8/4K3 w - -", TRACE_KNIGHTS, WHITE);
    const i32 defended = term("4k3/8/8/8/3N4/2P5/8/4K3 w - -", TRACE_KNIGHTS, WHITE);
    EXPECT_EQ(defended - held, packed(34 - 22, 30 - 20));
    // From d3 it only eyes b4, c5, e5 and f4.
    const i32 eyes = term("4k3/8/8/8/8/3N4/8/4K3 w - -", TRACE_KNIGHTS, WHITE);
    EXPECT_EQ(eyes, packed(388 + 17 + 29 + 11, 392 + 20 + 30 + 9));
}

TEST_F(Pieces, BishopsSeeThroughQueens) {
    const Bitboard behind = bit(44);  // e6, from b3 past d5
    for (const char *fen : {"4k3/8/8/3Q4/8/1B6/8/4K3 w - -", "4k3/8/8/3q4/8/1B6/8/4K3 w - -"}) {
        score(fen);
        EXPECT_TRUE(scratch.attacks[WHITE][BISHOP] & behind) << fen;
    }
    for (const char *fen : {"4k3/8/8/3N4/8/1B6/8/4K3 w - -", "4k3/8/8/3r4/8/1B6/8/4K3 w - -"}) {
        score(fen);
        EXPECT_FALSE(scratch.attacks[WHITE][BISHOP] & behind) << fen;
    }
    // Mobility counts the squares behind the queen on b2, c3..h8, but not the queen's own: six.
    const i32 through = term("4k3/8/8/8/8/8/1Q6/B3K3 w - -", TRACE_BISHOPS, WHITE);
    const i32 alone = term("4k3/8/8/8/8/8/8/B3K3 w - -", TRACE_BISHOPS, WHITE);
    EXPECT_EQ(through - alone, packed(11 - 13, 31 - 36));
}

TEST_F(Pieces, BishopPairAndRams) {
    const i32 one = term("4k3/8/8/8/8/8/8/2B1K3 w - -", TRACE_BISHOPS, WHITE);
    const i32 other = term("4k3/8/8/8/8/8/8/4KB2 w - -", TRACE_BISHOPS, WHITE);
    EXPECT_EQ(term("4k3/8/8/8/8/8/8/2B1KB2 w - -", TRACE_BISHOPS, WHITE) - one - other, packed(30, 72));
    // Rams on a4 and e4 (light) and h4 (dark); the bishops can't move, so that mobility stays out of it.
    const i32 apart = term("4k3/8/p3p2p/8/P3P2P/8/1P1PP1P1/2B1KB2 w - -", TRACE_BISHOPS, WHITE);
    const i32 rammed = term("4k3/8/8/p3p2p/P3P2P/8/1P1PP1P1/2B1KB2 w - -", TRACE_BISHOPS, WHITE);
    EXPECT_EQ(rammed - apart, 3 * packed(-8, -18));
    const i32 light_only = term("4k3/8/8/p3p2p/P3P2P/8/1P1PP1P1/4KB2 w - -", TRACE_BISHOPS, WHITE);
    const i32 light_apart = term("4k3/8/p3p2p/8/P3P2P/8/1P1PP1P1/4KB2 w - -", TRACE_BISHOPS, WHITE);
    EXPECT_EQ(light_only - light_apart, 2 * packed(-8, -18));
    // Two bishops of one colour see its rams once.
    const i32 twins = term("4k3/8/8/p3p2p/P3P2P/8/1P1PP1P1/1B2KB2 w - -", TRACE_BISHOPS, WHITE);
    const i32 twins_apart = term("4k3/8/p3p2p/8/P3P2P/8/1P1PP1P1/1B2KB2 w - -", TRACE_BISHOPS, WHITE);
    const i32 twin_b1 = term("4k3/8/8/p3p2p/P3P2P/8/1P1PP1P1/1B2K3 w - -", TRACE_BISHOPS, WHITE);
    const i32 twin_b1_apart = term("4k3/8/p3p2p/8/P3P2P/8/1P1PP1P1/1B2K3 w - -", TRACE_BISHOPS, WHITE);
    EXPECT_EQ(twins - twins_apart, twin_b1 - twin_b1_apart);
}

TEST_F(Pieces, RooksSeeThroughOwnRooks) {
    score("4k3/8/8/8/R2R2r1/8/8/4K3 w - -");
    EXPECT_EQ(scratch.attacks[WHITE][ROOK] & 0xFF000000ULL, 0x7F000000ULL);  // b4..g4 and a4, not h4
    score("4k3/8/8/8/R2r4/8/8/4K3 w - -");
    EXPECT_EQ(scratch.attacks[WHITE][ROOK] & 0xFF000000ULL, 0x0E000000ULL);  // b4..d4
    score("4k3/8/8/8/R2Q4/8/8/4K3 w - -");
    EXPECT_TRUE(scratch.attacks[WHITE][ROOK] & bit(31));
}

TEST_F(Pieces, RookFilesAndSeventh) {
    // The open file and three squares of it in the enemy half, against a file with a pawn of either side.
    const i32 open = term("4k3/8/8/8/8/8/P7/1R2K3 w - -", TRACE_ROOKS, WHITE);
    const i32 half = term("4k3/1p6/8/8/8/8/P7/1R2K3 w - -", TRACE_ROOKS, WHITE);
    EXPECT_EQ(open - half, packed(17 + 5, -2 + 6));  // b8 is cut off too; mobility stays at its top
    const i32 behind = term("4k3/1R6/8/8/8/8/8/4K3 w - -", TRACE_ROOKS, WHITE);
    const i32 ahead = term("8/1R6/4k3/8/8/8/8/4K3 w - -", TRACE_ROOKS, WHITE);
    EXPECT_EQ(behind - ahead, packed(7, 25));
}

TEST_F(Pieces, QueenBatteriesCountAsDoubleAttacks) {
    score("4k3/8/8/8/Q2R4/8/8/4K3 w - -");
    EXPECT_FALSE(scratch.attacks[WHITE][QUEEN] & bit(29));  // f4 lies behind the rook
    EXPECT_TRUE(scratch.double_attacks[WHITE] & bit(29));
}

// ---- Kings ----

TEST_F(Pieces, KingWithoutHeavyEnemies) {
    // No shield and no danger without an enemy rook or queen: table, and one step to the pawns' path.
    EXPECT_EQ(term("4k3/8/8/8/8/8/PPP5/K7 w - -", TRACE_KING, WHITE), packed(7, -79 - 20));
    EXPECT_EQ(scratch.king_zone[WHITE], king_attacks[9] | bit(9));  // a1 has its zone around b2
    // With a rook: a full shield gives nothing, the safe check on h1 counts.
    EXPECT_EQ(term("4k2r/8/8/8/8/8/PPP5/K7 w - -", TRACE_KING, WHITE), packed(7 - 43, -79 - 20 - 10));
    // Without the pawn on b2 three squares of the shield are missing, and b1..h1 stays as it was.
    EXPECT_EQ(term("4k2r/8/8/8/8/8/P1P5/K7 w - -", TRACE_KING, WHITE), packed(7 - 43 - 12, -79 - 20 - 10 + 1));
}

TEST_F(Pieces, KingDanger) {
    // Black king g8 without a shield, both rooks at its zone, one safe check on g1. The danger is
    // 2 * 4 - 2 + 4 * 7 = 34, of which 34 * 34 * 0.0015 of king_danger2 counts.
    EXPECT_EQ(term("6k1/8/8/8/8/8/PPP5/1K3R1R w - -", TRACE_KING, BLACK),
              packed(10 - 37 - 43 - 178 + 2, -50 + 4 - 10 + 34 - 60));
    EXPECT_EQ(scratch.king_attack[BLACK], 8);
    // A queen that attacks nothing makes it king_danger1.
    EXPECT_EQ(term("6k1/8/8/8/8/8/PPP5/QK3R1R w - -", TRACE_KING, BLACK),
              packed(10 - 37 - 43 - 447 + 2, -50 + 4 - 10 + 109 - 60));
    // A pawn one step from the zone counts from the start, and cuts the rook off.
    score("6k1/8/8/5P2/8/8/1PP5/1K3R1R w - -");
    EXPECT_EQ(scratch.king_attack[BLACK], 2 + 4);
}

TEST_F(Pieces, TrappedKing) {
    // a1 behind own pieces only, then with a free square.
    const i32 trapped = term("4k3/8/8/8/8/8/BN6/KB6 w - -", TRACE_KING, WHITE);
    const i32 mobile = term("4k3/8/8/8/8/8/B7/KB6 w - -", TRACE_KING, WHITE);
    EXPECT_EQ(trapped - mobile, packed(-6, -41));
}

TEST_F(Pieces, KingFarFromAllPawns) {
    EXPECT_EQ(term("4k3/8/8/8/8/8/8/4KN2 w - -", TRACE_KING, WHITE), packed(-13, -50));  // no pawns: nothing
    // The black pawn's path is a6..a1: three steps from the neighbours of e1.
    EXPECT_EQ(term("4k3/p7/8/8/8/8/8/4KN2 w - -", TRACE_KING, WHITE), packed(-13 + 2, -50 - 60));
    // A pawn on the last rank, as only an editor can put it, has no path at all: no endless search.
    EXPECT_EQ(term("P3k3/8/8/8/8/8/8/4KN2 w - -", TRACE_KING, WHITE), packed(-13 + 4, -50 - 101));
}

// ---- Threats ----

TEST_F(Pieces, HungMajors) {
    EXPECT_EQ(term("4k3/8/8/8/3p4/2R1R3/8/4K3 w - -", TRACE_THREATS, WHITE), 2 * packed(-68, -31));
    EXPECT_EQ(scratch.hung_pieces, bit(18) | bit(20));
    EXPECT_EQ(term("r3k3/8/8/8/8/8/8/R3K3 w - -", TRACE_THREATS, WHITE), 0);  // by a rook only
    EXPECT_EQ(scratch.hung_pieces, 0u);
}

TEST_F(Pieces, AttackedPawnsAndMinors) {
    // The rook attacks a pawn that a king covers, then one that nothing covers.
    EXPECT_EQ(term("4k3/8/8/4r3/8/8/4P3/4K3 w - -", TRACE_THREATS, WHITE), packed(0, -24));
    EXPECT_EQ(term("4k3/8/8/4r3/8/8/4P3/1K6 w - -", TRACE_THREATS, WHITE), packed(-14, -53));
    EXPECT_EQ(scratch.hung_pieces, bit(12));
    // A bishop that a king covers and a pawn attacks is both.
    EXPECT_EQ(term("4k3/8/8/8/6p1/5B2/5K2/8 w - -", TRACE_THREATS, WHITE), packed(-64 - 8, -57 - 31));
    // Covered by a pawn: not hung, not attacked.
    EXPECT_EQ(term("1r2k3/8/8/8/8/1N6/P7/6K1 w - -", TRACE_THREATS, WHITE), 0);
}

TEST_F(Pieces, PushThreats) {
    EXPECT_EQ(term("4k3/8/8/3n4/8/8/4P3/4K3 w - -", TRACE_THREATS, BLACK), packed(-17, -23));  // e2-e4
    EXPECT_EQ(term("4k3/8/8/3n4/8/4b3/4P3/4K3 w - -", TRACE_THREATS, BLACK), 0);               // e3 must be empty too
    EXPECT_EQ(term("4k3/8/8/3n1p2/8/8/4P3/4K3 w - -", TRACE_THREATS, BLACK), 0);  // e4 is guarded by a pawn
    // A piece that hangs already is not counted again.
    EXPECT_EQ(term("4k3/8/8/3n4/8/8/B3P3/4K3 w - -", TRACE_THREATS, BLACK), packed(-64, -57));
}

TEST_F(Pieces, PinnedPieces) {
    // The rook covers nothing and is attacked, but only the pin counts.
    EXPECT_EQ(term("4k3/4r3/8/8/8/8/4R3/4K3 w - -", TRACE_THREATS, WHITE), packed(-48, -83));
}

// ---- Endings ----
