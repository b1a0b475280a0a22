// Reading tables: those that the tests write are read back value by value, whatever their format.
#include <thread>

#include "support/table_directory.h"
#include "tablebase/tb_table.h"

using Tables = SolvedTables;

static int result_of(int dtz) { return dtz > 0 ? 2 : dtz < 0 ? -2 : 0; }

// Every position of an ending, in both colours, against the solver.
static void check_ending(int type, int step) {
    int wins = 0, losses = 0, draws = 0;
    for_each_position(type, sparse_step(step), [&](int, const TbPosition &pos, int dtz) {
        (dtz > 0 ? wins : dtz < 0 ? losses : draws) += 1;
        for (const TbPosition &seen : {pos, mirrored(pos)}) {
            const Answer wdl = wdl_of(seen), distance = dtz_of(seen);
            ASSERT_EQ(wdl.value, result_of(dtz)) << ending_name(type);
            ASSERT_NE(wdl.status, TB_NO_VALUE);
            ASSERT_EQ(distance.value, dtz) << ending_name(type);
            ASSERT_NE(distance.status, TB_NO_VALUE);
        }
    });
    EXPECT_GT(wins, UNDER_SANITIZER ? 200 : 1000);
    EXPECT_GT(losses, UNDER_SANITIZER ? 200 : 1000);
    EXPECT_GT(draws, UNDER_SANITIZER ? 100 : 500);
}

TEST_F(Tables, QueenEnding) { check_ending(QUEEN, 7); }
TEST_F(Tables, RookEnding) { check_ending(ROOK, 7); }
TEST_F(Tables, PawnEnding) { check_ending(PAWN, 7); }

// Known lengths, so that the solver isn't its own judge: mate in 10 with a queen, 16 with a rook.
TEST_F(Tables, LongestWins) {
    const auto longest = [](int type) {
        int most = 0;
        for_each_position(type, 1, [&](int, const TbPosition &, int dtz) { most = std::max(most, dtz); });
        return most;
    };
    EXPECT_EQ(longest(QUEEN), 19);
    EXPECT_EQ(longest(ROOK), 31);
}

// Rook against king in one way of writing the distances; one position in `step`.
static void check_format(const EndingFormat &format, int step = 29) {
    ScratchDirectory directory;
    ASSERT_TRUE(write_file(directory.file("KRvK.rtbw"), table_bytes(ending_wdl_plan(ROOK, format))));
    ASSERT_TRUE(write_file(directory.file("KRvK.rtbz"), table_bytes(ending_dtz_plan(ROOK, format))));
    use_tables(directory.path);
    for_each_position(ROOK, sparse_step(step), [&](int, const TbPosition &pos, int dtz) {
        ASSERT_EQ(wdl_of(pos).value, result_of(dtz));
        ASSERT_EQ(dtz_of(pos).value, dtz);
    });
}

TEST_F(Tables, DistancesOfTheLosingSide) {
    EndingFormat format;
    format.dtz_turn = 0;
    check_format(format);
}

TEST_F(Tables, DistancesInMoves) {
    EndingFormat format;
    format.dtz_flags = 0;
    check_format(format);
}

TEST_F(Tables, DistancesByMap) {
    for (const int turn : {0, 1})
        for (const int wide : {0, WIDE_MAP_FLAG}) {
            EndingFormat format;
            format.dtz_turn = turn;
            format.dtz_flags = MAPPED_FLAG | WIN_PLIES_FLAG | LOSS_PLIES_FLAG | wide;
            check_format(format);
        }
}

TEST_F(Tables, BlockSizesAndIndexSpacings) {
    struct Sizes {
        int block_bits, index_bits, pair_rounds;
    };
    for (const Sizes sizes : {Sizes{4, 1, 0}, {4, 13, 3}, {5, 6, 60}, {10, 6, 0}, {14, 1, 3}, {14, 13, 60}}) {
        EndingFormat format;
        format.block_bits = sizes.block_bits;
        format.index_bits = sizes.index_bits;
        format.pair_rounds = sizes.pair_rounds;
        // A value is read from the start of its block: large blocks of small symbols take long.
        check_format(format, sizes.block_bits < 10 ? 29 : sizes.block_bits == 10 ? 97 : 769);
    }
}

TEST_F(Tables, PawnMapsByGroup) {
    for (const int wide : {0, WIDE_MAP_FLAG}) {
        ScratchDirectory other;
        EndingFormat format;
        format.dtz_flags = MAPPED_FLAG | WIN_PLIES_FLAG | LOSS_PLIES_FLAG | wide;
        ASSERT_TRUE(write_file(other.file("KPvK.rtbw"), table_bytes(ending_wdl_plan(PAWN, format))));
        ASSERT_TRUE(write_file(other.file("KPvK.rtbz"), table_bytes(ending_dtz_plan(PAWN, format))));
        use_tables(other.path + ";" + directory->path);
        check_ending(PAWN, 23);
    }
}

TEST_F(Tables, ResultsSpoiltByTheFiftyMoveRule) {
    EndingFormat format;
    format.cursed_from = 21;
    format.cursed_shift = 80;
    for (const int turn : {1, 0}) {
        ScratchDirectory other;
        format.dtz_turn = turn;
        ASSERT_TRUE(write_file(other.file("KRvK.rtbw"), table_bytes(ending_wdl_plan(ROOK, format))));
        ASSERT_TRUE(write_file(other.file("KRvK.rtbz"), table_bytes(ending_dtz_plan(ROOK, format))));
        use_tables(other.path);
        int cursed = 0;
        for_each_position(ROOK, 7, [&](int to_move, const TbPosition &pos, int dtz) {
            const int wdl = formatted_wdl(dtz, format);
            ASSERT_EQ(wdl_of(pos).value, wdl);
            cursed += wdl == 1 || wdl == -1;
            if (to_move != turn) return;
            // Beyond 100 the file counts in moves: an odd number of plies for either side.
            int expected = formatted_dtz(dtz, format);
            if (wdl == -1) expected += expected % 2 == 0;
            ASSERT_EQ(dtz_of(pos).value, expected);
        });
        EXPECT_GT(cursed, 10000);
    }
}

TEST_F(Tables, BareKingsNeedNoTable) {
    const TbPosition pos = tb_position_of("8/8/4k3/8/8/4K3/8/8 w - - 0 1");
    TbStatus status = TB_ZEROING;
    EXPECT_EQ(tb_probe_table(pos, 0, &status, TB_WDL), 0);
    EXPECT_EQ(status, TB_ZEROING) << "a good answer leaves it alone";
    EXPECT_EQ(tb_probe_table(pos, 0, &status, TB_DTZ), 0);
    EXPECT_EQ(status, TB_NO_VALUE);
}

TEST_F(Tables, TheOtherSideOfADistanceTable) {
    TbStatus status = TB_VALUE;
    tb_probe_table(tb_position_of("k7/8/1K6/8/8/8/8/7R b - - 0 1"), -2, &status, TB_DTZ);
    EXPECT_EQ(status, TB_OTHER_SIDE);
    status = TB_VALUE;
    tb_probe_table(tb_position_of("k7/8/1K6/8/8/8/8/7R w - - 0 1"), 2, &status, TB_DTZ);
    EXPECT_EQ(status, TB_VALUE);
}

TEST_F(Tables, ConstantTables) {
    ScratchDirectory other;
    ASSERT_TRUE(write_file(other.file("KRNvK.rtbw"), table_bytes(constant_wdl_plan("KRNvK", 4, 0))));
    ASSERT_TRUE(write_file(other.file("KRNvK.rtbz"), table_bytes(constant_dtz_plan("KRNvK", 0))));
    ASSERT_TRUE(write_file(other.file("KPvKP.rtbw"), table_bytes(constant_wdl_plan("KPvKP", 3, 3))));
    ASSERT_TRUE(write_file(other.file("KQPvKP.rtbw"), table_bytes(constant_wdl_plan("KQPvKP", 4, 1))));
    use_tables(other.path);
    const auto value = [](const char *fen, TbType type) {
        Answer answer{0, TB_VALUE};
        answer.value = tb_probe_table(tb_position_of(fen), 2, &answer.status, type);
        return answer;
    };
    EXPECT_EQ(value("8/8/4k3/8/8/8/RN6/K7 w - - 0 1", TB_WDL), (Answer{2, TB_VALUE}));
    EXPECT_EQ(value("8/8/4k3/8/8/8/RN6/K7 b - - 0 1", TB_WDL), (Answer{-2, TB_VALUE}));
    EXPECT_EQ(value("8/8/4K3/8/8/8/rn6/k7 b - - 0 1", TB_WDL), (Answer{2, TB_VALUE}));
    EXPECT_EQ(value("8/8/4k3/8/8/8/RN6/K7 w - - 0 1", TB_DTZ), (Answer{0, TB_VALUE}));
    EXPECT_EQ(value("8/8/4k3/8/8/8/RN6/K7 b - - 0 1", TB_DTZ), (Answer{0, TB_OTHER_SIDE}));
    // Both sides alike: one record serves both.
    EXPECT_EQ(value("8/4p3/4k3/8/8/4K3/4P3/8 w - - 0 1", TB_WDL), (Answer{1, TB_VALUE}));
    EXPECT_EQ(value("8/4p3/4k3/8/8/4K3/4P3/8 b - - 0 1", TB_WDL), (Answer{1, TB_VALUE}));
    EXPECT_EQ(value("8/4p3/4k3/8/8/4K3/4P3/Q7 b - - 0 1", TB_WDL), (Answer{-1, TB_VALUE}));
    EXPECT_EQ(value("q7/4p3/4k3/8/8/4K3/4P3/8 b - - 0 1", TB_WDL), (Answer{2, TB_VALUE}));
    EXPECT_EQ(value("8/4p3/4k3/8/8/4K3/4P3/Q7 b - - 0 1", TB_DTZ), (Answer{0, TB_NO_VALUE})) << "it has no such file";
}

TEST_F(Tables, MissingTablesGiveNoAnswer) {
    ScratchDirectory queen_only;
    ASSERT_TRUE(write_file(queen_only.file("KQvK.rtbw"), read_file(directory->path + "/KQvK.rtbw")));
    use_tables(queen_only.path);
    for (const char *fen :
         {"8/8/4k3/8/8/8/B7/K7 w - - 0 1", "8/8/4k3/8/8/8/4n3/K7 b - - 0 1", "8/8/4k3/8/8/8/4r3/K7 b - - 0 1"}) {
        EXPECT_EQ(tb_probe_wdl(set_up(fen), 80), TB_NO_ANSWER) << fen;
        EXPECT_EQ(wdl_of(tb_position_of(fen)).status, TB_NO_VALUE) << fen;
        EXPECT_EQ(dtz_of(tb_position_of(fen)).status, TB_NO_VALUE) << fen;
    }
    // A capture into a table that isn't there.
    ScratchDirectory other;
    ASSERT_TRUE(write_file(other.file("KRvKB.rtbw"), table_bytes(constant_wdl_plan("KRvKB", 4, 0))));
    use_tables(other.path);
    EXPECT_EQ(wdl_of(tb_position_of("8/8/4k3/8/8/8/b6R/K7 b - - 0 1")), (Answer{-2, TB_VALUE}));
    EXPECT_EQ(wdl_of(tb_position_of("8/8/4k3/8/8/8/b6R/K7 w - - 0 1")).status, TB_NO_VALUE);
    use_tables(other.path + ";" + directory->path);
    EXPECT_EQ(wdl_of(tb_position_of("8/8/4k3/8/8/8/b6R/K7 w - - 0 1")), (Answer{2, TB_ZEROING})) << "rook takes bishop";
}

TEST_F(Tables, PositionsThatNoTableHolds) {
    for (const char *fen :
         {"8/8/4k3/8/8/8/8/P3K3 w - - 0 1", "7P/8/4k3/8/8/8/8/4K3 b - - 0 1", "8/8/4k3/4K3/8/8/8/Q7 w - - 0 1",
          "8/8/8/8/8/8/Q7/4K3 w - - 0 1", "8/8/4k3/8/8/3K4/8/Q3K3 w - - 0 1"}) {
        const TbPosition pos = tb_position_of(fen);
        TbStatus status = TB_VALUE;
        const int value = tb_probe_table(pos, 2, &status, TB_WDL);
        EXPECT_TRUE(status == TB_NO_VALUE || (value >= -2 && value <= 2)) << fen;
    }
}

// Sixteen threads meet at unmapped files.
TEST_F(Tables, SixteenThreadsAtOnce) {
    std::vector<TbPosition> positions;
    std::vector<int> expected;
    for (const int type : {QUEEN, ROOK, PAWN})
        for_each_position(type, 997, [&](int, const TbPosition &pos, int dtz) {
            positions.push_back(pos);
            expected.push_back(dtz);
        });
    ASSERT_GT(positions.size(), 300u);
    for (int round = 0; round < 5; ++round) {
        use_tables(directory->path);
        std::atomic<int> waiting{16}, wrong{0};
        std::vector<std::thread> threads;
        for (int id = 0; id < 16; ++id)
            threads.emplace_back([&, id] {
                --waiting;
                while (waiting.load() > 0) std::this_thread::yield();
                for (std::size_t i = 0; i < positions.size(); ++i) {
                    const std::size_t k = (i + static_cast<std::size_t>(id) * 61) % positions.size();
                    const Answer answer = dtz_of(positions[k]);
                    wrong += answer.status == TB_NO_VALUE || answer.value != expected[k];
                }
            });
        for (std::thread &thread : threads) thread.join();
        EXPECT_EQ(wrong.load(), 0);
    }
}
