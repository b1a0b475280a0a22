// Results and distances from tables and captures together.
#include "support/table_directory.h"

class Values : public SolvedTables {
protected:
    // Adds tables of one value each: the name's left side to move, then its right side.
    void add_table(const std::string &name, int left, int right) {
        ASSERT_TRUE(write_file(extra.file(name + ".rtbw"), table_bytes(constant_wdl_plan(name, left, right))));
    }
    void use_all() { use_tables(extra.path + ";" + directory->path); }
    ScratchDirectory extra;
};

TEST_F(Values, ACaptureThatWins) {
    add_table("KQvKR", 2, 2);
    use_all();
    // The table would say draw: it may leave out what a capture gives anyhow.
    EXPECT_EQ(wdl_of(tb_position_of("8/8/4k3/8/8/8/r6Q/K7 w - - 0 1")), (Answer{2, TB_ZEROING}))
        << "king or queen takes the rook";
    EXPECT_EQ(dtz_of(tb_position_of("8/8/4k3/8/8/8/r6Q/K7 w - - 0 1")), (Answer{1, TB_ZEROING}));
}

TEST_F(Values, ACaptureAsGoodAsTheTable) {
    add_table("KQvKR", 0, 2);
    use_all();
    // Black's king may take the queen and win; without that, the table's draw.
    EXPECT_EQ(wdl_of(tb_position_of("8/8/4k3/4Q3/8/8/r7/7K b - - 0 1")), (Answer{2, TB_ZEROING}));
    // White has only losing table values, and a capture that draws by stalemate.
    EXPECT_EQ(wdl_of(tb_position_of("8/8/8/8/8/1K6/7Q/kr6 w - - 0 1")).status, TB_VALUE);
}

// The tables know nothing of en passant: all values below come from the capture.
TEST_F(Values, EnPassantWins) {
    add_table("KPvKP", 0, 0);
    use_all();
    EXPECT_EQ(wdl_of(tb_position_of("8/8/8/K2pP3/8/8/8/7k w - d6 0 1")), (Answer{2, TB_ZEROING}));
    EXPECT_EQ(dtz_of(tb_position_of("8/8/8/K2pP3/8/8/8/7k w - d6 0 1")), (Answer{1, TB_ZEROING}));
    EXPECT_EQ(wdl_of(tb_position_of("8/8/8/K2pP3/8/8/8/7k w - - 0 1")), (Answer{-2, TB_VALUE})) << "without it";
    EXPECT_EQ(wdl_of(mirrored(tb_position_of("8/8/8/K2pP3/8/8/8/7k w - d6 0 1"))), (Answer{2, TB_ZEROING}));
}

TEST_F(Values, EnPassantIsTheOnlyMoveThatDoesNotLose) {
    add_table("KPvKP", 0, 0);
    use_all();
    const TbPosition pos = tb_position_of("8/4k3/8/3pP3/8/8/8/K7 w - d6 0 1");
    EXPECT_EQ(wdl_of(pos), (Answer{0, TB_ZEROING}));
    EXPECT_EQ(dtz_of(pos).value, 0);
}

TEST_F(Values, EnPassantNoBetterThanTheTable) {
    add_table("KPvKP", 2, 2);
    use_all();
    EXPECT_EQ(wdl_of(tb_position_of("8/4k3/8/3pP3/8/8/8/K7 w - d6 0 1")), (Answer{0, TB_VALUE}));
}

// The table calls it a draw, being stalemate as far as it sees, but the pawn must take.
TEST_F(Values, StalemateButForEnPassant) {
    add_table("KQPvKP", 4, 2);
    add_table("KQvKP", 4, 0);
    use_all();
    const char *forced = "8/8/8/8/3pP3/1Q1K4/8/k7 b - e3 0 1";
    ASSERT_EQ(legal_moves(set_up(forced)).size(), 1u);
    EXPECT_EQ(wdl_of(tb_position_of(forced)), (Answer{-2, TB_ZEROING}));
    EXPECT_EQ(dtz_of(tb_position_of(forced)), (Answer{-1, TB_ZEROING}));
    // There is another move: it stays a draw.
    const char *free = "8/2Q5/8/8/3pP3/3K4/k7/8 b - e3 0 1";
    ASSERT_GT(legal_moves(set_up(free)).size(), 1u);
    EXPECT_EQ(wdl_of(tb_position_of(free)), (Answer{0, TB_VALUE}));
}

TEST_F(Values, ChecksAreNoStalemate) {
    add_table("KQPvKP", 4, 2);
    add_table("KQvKP", 4, 0);
    use_all();
    // A king checked by the pawn's double step, with en passant as its only legal move.
    bool found = false;
    for (int queen = 0; queen < 64 && !found; ++queen)
        for (int king = 0; king < 64; ++king) {
            TbPosition pos{};
            const Bitboard black_king = bit(35), pawn = bit(28), black_pawn = bit(27);  // d5, e4, d4
            if (((bit(queen) | bit(king)) & (black_king | pawn | black_pawn | bit(20) | bit(12))) || queen == king)
                continue;
            pos.white = bit(queen) | bit(king) | pawn;
            pos.black = black_king | black_pawn;
            pos.kings = bit(king) | black_king;
            pos.queens = bit(queen);
            pos.pawns = pawn | black_pawn;
            pos.turn = 1;
            if (tb_in_check(pos)) continue;
            pos.turn = 0;
            pos.ep = 20;
            TbMove moves[TB_MAX_MOVES];
            if (!tb_in_check(pos) || tb_gen_legal(pos, moves) != moves + 1 || !tb_is_en_passant(pos, moves[0]))
                continue;
            found = true;
            EXPECT_EQ(wdl_of(pos), (Answer{0, TB_VALUE}));
            break;
        }
    EXPECT_TRUE(found);
}

// A FEN may name an en-passant square without a pawn to take.
TEST_F(Values, NoPawnToTakeEnPassant) {
    EXPECT_EQ(tb_from_position(set_up("8/8/8/K3P3/8/8/8/7k w - d6 0 1"), 0).ep, 0);
    EXPECT_EQ(tb_from_position(set_up("8/8/8/K2pP3/8/8/8/7k w - d6 0 1"), 0).ep, 43);
    EXPECT_EQ(wdl_of(tb_position_of("8/8/8/K3P3/8/8/8/7k w - d6 0 1")), (Answer{2, TB_VALUE}));
}

TEST_F(Values, DistancesOfKnownPositions) {
    EXPECT_EQ(dtz_of(tb_position_of("8/8/8/8/8/3k4/8/3K3Q w - - 0 1")).value, 11);
    EXPECT_EQ(dtz_of(tb_position_of("8/8/8/8/8/3k4/8/3K3Q b - - 0 1")).value, -16);
    EXPECT_EQ(dtz_of(tb_position_of("k7/8/1K6/8/8/8/8/7R w - - 0 1")).value, 1);
    EXPECT_EQ(dtz_of(tb_position_of("4k3/8/4K3/4P3/8/8/8/8 w - - 0 1")).value, 3);
    EXPECT_EQ(dtz_of(tb_position_of("8/8/8/8/8/k1K5/p7/8 w - - 0 1")).value, -2);
    EXPECT_EQ(dtz_of(tb_position_of("8/8/8/8/8/k1K5/p7/8 b - - 0 1")).value, 1);
    EXPECT_EQ(dtz_of(tb_position_of("8/8/8/8/8/2k5/1p6/1K6 w - - 0 1")).value, -4);
    EXPECT_EQ(dtz_of(tb_position_of("k6R/8/1K6/8/8/8/8/8 b - - 0 1")).value, -1) << "mated";
    EXPECT_EQ(dtz_of(tb_position_of("7k/5Q2/8/8/8/8/8/K7 b - - 0 1")).value, 0) << "stalemate";
}
