// Results and distances from tables and captures together, and when the search may ask at all.
#include "control/settings.h"
#include "support/table_directory.h"

class Probe : public SolvedTables {
protected:
    // Adds tables of one value each: the name's left side to move, then its right side.
    void add_table(const std::string &name, int left, int right) {
        ASSERT_TRUE(write_file(extra.file(name + ".rtbw"), table_bytes(constant_wdl_plan(name, left, right))));
    }
    void use_all() { use_tables(extra.path + ";" + directory->path); }
    ScratchDirectory extra;
};

TEST_F(Probe, CodesAreTheResultPlusTwo) {
    EXPECT_EQ(tb_probe_wdl(set_up("k7/8/1K6/8/8/8/8/7R w - - 0 1"), 80), 4);
    EXPECT_EQ(tb_probe_wdl(set_up("k7/8/1K6/8/8/8/8/7R b - - 0 1"), 80), 0);
    EXPECT_EQ(tb_probe_wdl(set_up("8/8/4k3/8/8/8/4P3/4K3 w - - 0 1"), 80), 2);
    EXPECT_EQ(tb_probe_wdl(set_up("8/8/4k3/8/8/4K3/8/8 w - - 0 1"), 80), 2);
    EXPECT_EQ(tb_probe_wdl(set_up("8/8/8/8/8/2K5/1R6/k7 b - - 0 1"), 80), 2) << "stalemate";
    EXPECT_EQ(tb_probe_wdl(set_up("8/8/8/4kR2/8/8/8/K7 b - - 0 1"), 80), 2) << "the rook hangs";
    // The half-move clock doesn't count here.
    EXPECT_EQ(tb_probe_wdl(set_up("k7/8/1K6/8/8/8/8/7R w - - 99 1"), 80), 4);
}

TEST_F(Probe, NeverWithCastlingRights) {
    EXPECT_EQ(tb_probe_wdl(set_up("4k3/8/8/8/8/8/8/4K2R w K - 0 1"), 256), -1);
    EXPECT_EQ(tb_probe_wdl(set_up("4k3/8/8/8/8/8/8/4K2R w - - 0 1"), 256), 4);
}

TEST_F(Probe, NeverWithMoreMenThanTheLargestTable) {
    EXPECT_EQ(tb_probe_wdl(set_up("8/8/4k3/8/8/8/RR6/K7 w - - 0 1"), 256), -1);
    use_tables("");
    EXPECT_EQ(tb_probe_wdl(set_up("k7/8/1K6/8/8/8/8/7R w - - 0 1"), 256), -1);
    EXPECT_EQ(tb_probe_wdl(set_up("8/8/4k3/8/8/4K3/8/8 w - - 0 1"), 256), -1);
}

TEST_F(Probe, DepthFloors) {
    add_table("KRRRRvK", 4, 0);
    add_table("KRRRRRvK", 4, 0);
    use_all();
    ASSERT_EQ(TB_LARGEST, 7);
    const auto six = [](int depth) { return tb_probe_wdl(set_up("7k/8/8/8/8/RRRR4/8/K7 w - - 0 1"), depth); };
    const auto seven = [](int depth) { return tb_probe_wdl(set_up("7k/8/8/8/8/RRRRR3/8/K7 w - - 0 1"), depth); };
    const auto three = [](int depth) { return tb_probe_wdl(set_up("k7/8/1K6/8/8/8/8/7R w - - 0 1"), depth); };
    settings.syzygy_depth6 = 1;
    settings.syzygy_depth7 = 7;
    EXPECT_EQ(six(0), -1);
    EXPECT_EQ(six(1), 4);
    EXPECT_EQ(seven(6), -1);
    EXPECT_EQ(seven(7), 4);
    EXPECT_EQ(three(-5), 4);
    settings.syzygy_depth6 = -5;
    EXPECT_EQ(six(-5), 4);
    EXPECT_EQ(seven(6), -1);
    settings.syzygy_depth6 = 9;
    settings.syzygy_depth7 = 9;
    EXPECT_EQ(six(8), -1);
    EXPECT_EQ(six(9), 4);
    EXPECT_EQ(seven(8), -1);
    EXPECT_EQ(seven(9), 4);
    EXPECT_EQ(three(-5), 4);
}

TEST_F(Probe, ACaptureThatWins) {
    add_table("KQvKR", 2, 2);
    use_all();
    // The table would say draw: it may leave out what a capture gives anyhow.
    EXPECT_EQ(wdl_of(tb_position_of("8/8/4k3/8/8/8/r6Q/K7 w - - 0 1")), (Answer{2, 2}))
        << "king or queen takes the rook";
    EXPECT_EQ(dtz_of(tb_position_of("8/8/4k3/8/8/8/r6Q/K7 w - - 0 1")), (Answer{1, 2}));
}

TEST_F(Probe, ACaptureAsGoodAsTheTable) {
    add_table("KQvKR", 0, 2);
    use_all();
    // Black's king may take the queen and win; without that, the table's draw.
    EXPECT_EQ(wdl_of(tb_position_of("8/8/4k3/4Q3/8/8/r7/7K b - - 0 1")), (Answer{2, 2}));
    // White has only losing table values, and a capture that draws by stalemate.
    EXPECT_EQ(wdl_of(tb_position_of("8/8/8/8/8/1K6/7Q/kr6 w - - 0 1")).success, 1);
}

// The tables know nothing of en passant: all values below come from the capture.
TEST_F(Probe, EnPassantWins) {
    add_table("KPvKP", 0, 0);
    use_all();
    EXPECT_EQ(wdl_of(tb_position_of("8/8/8/K2pP3/8/8/8/7k w - d6 0 1")), (Answer{2, 2}));
    EXPECT_EQ(dtz_of(tb_position_of("8/8/8/K2pP3/8/8/8/7k w - d6 0 1")), (Answer{1, 2}));
    EXPECT_EQ(wdl_of(tb_position_of("8/8/8/K2pP3/8/8/8/7k w - - 0 1")), (Answer{-2, 1})) << "without it";
    EXPECT_EQ(wdl_of(mirrored(tb_position_of("8/8/8/K2pP3/8/8/8/7k w - d6 0 1"))), (Answer{2, 2}));
}

TEST_F(Probe, EnPassantIsTheOnlyMoveThatDoesNotLose) {
    add_table("KPvKP", 0, 0);
    use_all();
    const TbPosition pos = tb_position_of("8/4k3/8/3pP3/8/8/8/K7 w - d6 0 1");
    EXPECT_EQ(wdl_of(pos), (Answer{0, 2}));
    EXPECT_EQ(dtz_of(pos).value, 0);
}

TEST_F(Probe, EnPassantNoBetterThanTheTable) {
    add_table("KPvKP", 2, 2);
    use_all();
    EXPECT_EQ(wdl_of(tb_position_of("8/4k3/8/3pP3/8/8/8/K7 w - d6 0 1")), (Answer{0, 1}));
}

// The table calls it a draw, being stalemate as far as it sees, but the pawn must take.
TEST_F(Probe, StalemateButForEnPassant) {
    add_table("KQPvKP", 4, 2);
    add_table("KQvKP", 4, 0);
    use_all();
    const char *forced = "8/8/8/8/3pP3/1Q1K4/8/k7 b - e3 0 1";
    ASSERT_EQ(legal_moves(set_up(forced)).size(), 1u);
    EXPECT_EQ(wdl_of(tb_position_of(forced)), (Answer{-2, 2}));
    EXPECT_EQ(dtz_of(tb_position_of(forced)), (Answer{-1, 2}));
    // Another move is there: the draw stands.
    const char *free = "8/2Q5/8/8/3pP3/3K4/k7/8 b - e3 0 1";
    ASSERT_GT(legal_moves(set_up(free)).size(), 1u);
    EXPECT_EQ(wdl_of(tb_position_of(free)), (Answer{0, 1}));
}

TEST_F(Probe, ChecksAreNoStalemate) {
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
            EXPECT_EQ(wdl_of(pos), (Answer{0, 1}));
            break;
        }
    EXPECT_TRUE(found);
}

// A text may name a square behind which no pawn stands.
TEST_F(Probe, NoPawnToTakeEnPassant) {
    EXPECT_EQ(tb_from_position(set_up("8/8/8/K3P3/8/8/8/7k w - d6 0 1"), 0).ep, 0);
    EXPECT_EQ(tb_from_position(set_up("8/8/8/K2pP3/8/8/8/7k w - d6 0 1"), 0).ep, 43);
    EXPECT_EQ(wdl_of(tb_position_of("8/8/8/K3P3/8/8/8/7k w - d6 0 1")), (Answer{2, 1}));
}

TEST_F(Probe, DistancesOfKnownPositions) {
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
