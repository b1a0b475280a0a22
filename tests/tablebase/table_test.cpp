// Reading tables: those that the tests write are read back value by value, whatever their format.
#include <thread>

#include "support/table_directory.h"
#include "tablebase/tb_index.h"
#include "tablebase/tb_table.h"

using Tables = SolvedTables;

static int result_of(int dtz) { return dtz > 0 ? 2 : dtz < 0 ? -2 : 0; }

// Every position of an ending, in both colours, against the solver.
static void check_ending(int type, int step) {
    int wins = 0, losses = 0, draws = 0;
    for_each_position(type, step, [&](int, const TbPosition &pos, int dtz) {
        (dtz > 0 ? wins : dtz < 0 ? losses : draws) += 1;
        for (const TbPosition &seen : {pos, mirrored(pos)}) {
            const Answer wdl = wdl_of(seen), distance = dtz_of(seen);
            ASSERT_EQ(wdl.value, result_of(dtz)) << ending_name(type);
            ASSERT_NE(wdl.success, 0);
            ASSERT_EQ(distance.value, dtz) << ending_name(type);
            ASSERT_NE(distance.success, 0);
        }
    });
    EXPECT_GT(wins, 1000);
    EXPECT_GT(losses, 1000);
    EXPECT_GT(draws, 500);
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

// Rook against king in one way of writing the distances.
static void check_format(const EndingFormat &format) {
    ScratchDirectory directory;
    ASSERT_TRUE(write_file(directory.file("KRvK.rtbw"), table_bytes(ending_wdl_plan(ROOK, format))));
    ASSERT_TRUE(write_file(directory.file("KRvK.rtbz"), table_bytes(ending_dtz_plan(ROOK, format))));
    use_tables(directory.path);
    for_each_position(ROOK, 29, [&](int, const TbPosition &pos, int dtz) {
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
        check_format(format);
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
        check_ending(PAWN, 11);
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
    int success = 7;
    EXPECT_EQ(tb_probe_table(pos, 0, &success, TB_WDL), 0);
    EXPECT_EQ(success, 7) << "a good answer leaves it alone";
    EXPECT_EQ(tb_probe_table(pos, 0, &success, TB_DTZ), 0);
    EXPECT_EQ(success, 0);
}

TEST_F(Tables, TheOtherSideOfADistanceTable) {
    int success = 1;
    tb_probe_table(tb_position_of("k7/8/1K6/8/8/8/8/7R b - - 0 1"), -2, &success, TB_DTZ);
    EXPECT_EQ(success, -1);
    success = 1;
    tb_probe_table(tb_position_of("k7/8/1K6/8/8/8/8/7R w - - 0 1"), 2, &success, TB_DTZ);
    EXPECT_EQ(success, 1);
}

TEST_F(Tables, ConstantTables) {
    ScratchDirectory other;
    ASSERT_TRUE(write_file(other.file("KRNvK.rtbw"), table_bytes(constant_wdl_plan("KRNvK", 4, 0))));
    ASSERT_TRUE(write_file(other.file("KRNvK.rtbz"), table_bytes(constant_dtz_plan("KRNvK", 0))));
    ASSERT_TRUE(write_file(other.file("KPvKP.rtbw"), table_bytes(constant_wdl_plan("KPvKP", 3, 3))));
    ASSERT_TRUE(write_file(other.file("KQPvKP.rtbw"), table_bytes(constant_wdl_plan("KQPvKP", 4, 1))));
    use_tables(other.path);
    const auto value = [](const char *fen, TB_TYPE type) {
        Answer answer{0, 1};
        answer.value = tb_probe_table(tb_position_of(fen), 2, &answer.success, type);
        return answer;
    };
    EXPECT_EQ(value("8/8/4k3/8/8/8/RN6/K7 w - - 0 1", TB_WDL), (Answer{2, 1}));
    EXPECT_EQ(value("8/8/4k3/8/8/8/RN6/K7 b - - 0 1", TB_WDL), (Answer{-2, 1}));
    EXPECT_EQ(value("8/8/4K3/8/8/8/rn6/k7 b - - 0 1", TB_WDL), (Answer{2, 1}));
    EXPECT_EQ(value("8/8/4k3/8/8/8/RN6/K7 w - - 0 1", TB_DTZ), (Answer{0, 1}));
    EXPECT_EQ(value("8/8/4k3/8/8/8/RN6/K7 b - - 0 1", TB_DTZ), (Answer{0, -1}));
    // Both sides alike: one record serves both.
    EXPECT_EQ(value("8/4p3/4k3/8/8/4K3/4P3/8 w - - 0 1", TB_WDL), (Answer{1, 1}));
    EXPECT_EQ(value("8/4p3/4k3/8/8/4K3/4P3/8 b - - 0 1", TB_WDL), (Answer{1, 1}));
    EXPECT_EQ(value("8/4p3/4k3/8/8/4K3/4P3/Q7 b - - 0 1", TB_WDL), (Answer{-1, 1}));
    EXPECT_EQ(value("q7/4p3/4k3/8/8/4K3/4P3/8 b - - 0 1", TB_WDL), (Answer{2, 1}));
    EXPECT_EQ(value("8/4p3/4k3/8/8/4K3/4P3/Q7 b - - 0 1", TB_DTZ), (Answer{0, 0})) << "it has no such file";
}

TEST_F(Tables, MissingTablesGiveNoAnswer) {
    ScratchDirectory queen_only;
    ASSERT_TRUE(write_file(queen_only.file("KQvK.rtbw"), read_file(directory->path + "/KQvK.rtbw")));
    use_tables(queen_only.path);
    for (const char *fen :
         {"8/8/4k3/8/8/8/B7/K7 w - - 0 1", "8/8/4k3/8/8/8/4n3/K7 b - - 0 1", "8/8/4k3/8/8/8/4r3/K7 b - - 0 1"}) {
        EXPECT_EQ(tb_probe_wdl(set_up(fen), 80), -1) << fen;
        EXPECT_EQ(wdl_of(tb_position_of(fen)).success, 0) << fen;
        EXPECT_EQ(dtz_of(tb_position_of(fen)).success, 0) << fen;
    }
    // A capture into a table that isn't there.
    ScratchDirectory other;
    ASSERT_TRUE(write_file(other.file("KRvKB.rtbw"), table_bytes(constant_wdl_plan("KRvKB", 4, 0))));
    use_tables(other.path);
    EXPECT_EQ(wdl_of(tb_position_of("8/8/4k3/8/8/8/b6R/K7 b - - 0 1")), (Answer{-2, 1}));
    EXPECT_EQ(wdl_of(tb_position_of("8/8/4k3/8/8/8/b6R/K7 w - - 0 1")).success, 0);
    use_tables(other.path + ";" + directory->path);
    EXPECT_EQ(wdl_of(tb_position_of("8/8/4k3/8/8/8/b6R/K7 w - - 0 1")), (Answer{2, 2})) << "rook takes bishop";
}

TEST_F(Tables, PositionsThatNoTableHolds) {
    for (const char *fen :
         {"8/8/4k3/8/8/8/8/P3K3 w - - 0 1", "7P/8/4k3/8/8/8/8/4K3 b - - 0 1", "8/8/4k3/4K3/8/8/8/Q7 w - - 0 1",
          "8/8/8/8/8/8/Q7/4K3 w - - 0 1", "8/8/4k3/8/8/3K4/8/Q3K3 w - - 0 1"}) {
        const TbPosition pos = tb_position_of(fen);
        int success = 1;
        const int value = tb_probe_table(pos, 2, &success, TB_WDL);
        EXPECT_TRUE(success == 0 || (value >= -2 && value <= 2)) << fen;
    }
}

// Every number of a table is given to so many positions (0: at least one), and every position gets one.
static void check_numbering(const char *name, const char *fen, int group_count, int expected_hits) {
    ScratchDirectory other;
    ASSERT_TRUE(write_file(other.file(std::string(name) + ".rtbw"), table_bytes(constant_wdl_plan(name, 2, 2))));
    use_tables(other.path);
    const TbPosition pos = tb_position_of(fen);
    int success = 1;
    tb_probe_table(pos, 0, &success, TB_WDL);
    ASSERT_EQ(success, 1) << name;
    TbBaseEntry *entry = tb_find_slot(tb_material_key(pos, false))->entry.load();
    ASSERT_NE(entry, nullptr);
    const TbEncInfo *infos =
        entry->has_pawns ? reinterpret_cast<TbPawnEntry *>(entry)->wdl : reinterpret_cast<TbPieceEntry *>(entry)->wdl;
    const std::string bytes = table_bytes(constant_wdl_plan(name, 2, 2));
    const int record = entry->num + 1 + (entry->has_pawns && entry->pawns[1] > 0);
    std::vector<std::vector<int>> hits(group_count);
    for (int group = 0; group < group_count; ++group) {
        TbEncInfo copy;
        const u64 size = tb_init_enc_info(&copy, entry, reinterpret_cast<const u8 *>(bytes.data()) + 5 + group * record,
                                          0, group, entry->has_pawns ? TB_ENCODE_FILES : TB_ENCODE_PIECES);
        ASSERT_GT(size, 0u);
        hits[group].assign(size, 0);
    }
    int men[4];
    for (men[0] = 0; men[0] < 64; ++men[0])
        for (men[1] = 0; men[1] < 64; ++men[1])
            for (men[2] = 0; men[2] < 64; ++men[2])
                for (men[3] = 0; men[3] < 64; ++men[3]) {
                    const TbEncInfo &info = infos[0];
                    bool possible = true;
                    for (int i = 0; i < 4; ++i) {
                        const bool pawn = type_of(info.pieces[i]) == PAWN;
                        possible &= !pawn || (men[i] >= 8 && men[i] < 56);
                        for (int j = 0; j < i; ++j) {
                            possible &= men[i] != men[j];
                            possible &= info.pieces[i] != info.pieces[j] || men[j] < men[i];
                        }
                    }
                    if (!possible) continue;
                    int squares[TB_MAX_MEN] = {men[0], men[1], men[2], men[3]};
                    int group = 0;
                    u64 index;
                    if (entry->has_pawns) {
                        group = tb_put_leading_pawn_first(squares, entry->pawns[0]);
                        index = tb_encode_pawn(squares, &infos[group], entry);
                    } else {
                        index = tb_encode_piece(squares, &info, entry);
                        if (index == TB_NO_INDEX) continue;
                    }
                    ASSERT_LT(index, hits[group].size()) << name;
                    ++hits[group][index];
                }
    for (const std::vector<int> &group : hits)
        for (const int count : group) ASSERT_EQ(expected_hits == 0 ? count > 0 : count == expected_hits, true) << count;
}

TEST_F(Tables, NumberingOfTwoLeadingKings) { check_numbering("KRRvK", "8/8/4k3/8/8/8/RR6/K7 w - - 0 1", 1, 0); }
TEST_F(Tables, NumberingOfThreeLeadingMen) { check_numbering("KRvKB", "8/8/4k3/b7/8/8/1R6/K7 w - - 0 1", 1, 0); }
// A position and its reflection share a number, unless two pawns lead that reflect into each other.
TEST_F(Tables, NumberingOfPawnsOfBothSides) { check_numbering("KPvKP", "8/3p4/4k3/8/8/8/1P6/K7 w - - 0 1", 4, 2); }
TEST_F(Tables, NumberingOfTwoPawns) { check_numbering("KPPvK", "8/8/4k3/8/8/8/PP6/K7 w - - 0 1", 4, 0); }
TEST_F(Tables, NumberingOfPawnAndPiece) { check_numbering("KRPvK", "8/8/4k3/8/8/8/PR6/K7 w - - 0 1", 4, 2); }

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
                    wrong += answer.success == 0 || answer.value != expected[k];
                }
            });
        for (std::thread &thread : threads) thread.join();
        EXPECT_EQ(wrong.load(), 0);
    }
}
