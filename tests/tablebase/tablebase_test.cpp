// The probe of the search: its codes, and when it asks at all.
#include "base/settings.h"
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
    EXPECT_EQ(tb_probe_wdl(set_up("k7/8/1K6/8/8/8/8/7R w - - 0 1"), 80), TB_WIN);
    EXPECT_EQ(tb_probe_wdl(set_up("k7/8/1K6/8/8/8/8/7R b - - 0 1"), 80), TB_LOSS);
    EXPECT_EQ(tb_probe_wdl(set_up("8/8/4k3/8/8/8/4P3/4K3 w - - 0 1"), 80), TB_DRAW);
    EXPECT_EQ(tb_probe_wdl(set_up("8/8/4k3/8/8/4K3/8/8 w - - 0 1"), 80), TB_DRAW);
    EXPECT_EQ(tb_probe_wdl(set_up("8/8/8/8/8/2K5/1R6/k7 b - - 0 1"), 80), TB_DRAW) << "stalemate";
    EXPECT_EQ(tb_probe_wdl(set_up("8/8/8/4kR2/8/8/8/K7 b - - 0 1"), 80), TB_DRAW) << "the rook hangs";
    // The half-move clock doesn't count here.
    EXPECT_EQ(tb_probe_wdl(set_up("k7/8/1K6/8/8/8/8/7R w - - 99 1"), 80), TB_WIN);
}

TEST_F(Probe, NeverWithCastlingRights) {
    EXPECT_EQ(tb_probe_wdl(set_up("4k3/8/8/8/8/8/8/4K2R w K - 0 1"), 256), TB_NO_ANSWER);
    EXPECT_EQ(tb_probe_wdl(set_up("4k3/8/8/8/8/8/8/4K2R w - - 0 1"), 256), TB_WIN);
}

TEST_F(Probe, NeverWithMoreMenThanTheLargestTable) {
    EXPECT_EQ(tb_probe_wdl(set_up("8/8/4k3/8/8/8/RR6/K7 w - - 0 1"), 256), TB_NO_ANSWER);
    use_tables("");
    EXPECT_EQ(tb_probe_wdl(set_up("k7/8/1K6/8/8/8/8/7R w - - 0 1"), 256), TB_NO_ANSWER);
    EXPECT_EQ(tb_probe_wdl(set_up("8/8/4k3/8/8/4K3/8/8 w - - 0 1"), 256), TB_NO_ANSWER);
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
    EXPECT_EQ(six(0), TB_NO_ANSWER);
    EXPECT_EQ(six(1), TB_WIN);
    EXPECT_EQ(seven(6), TB_NO_ANSWER);
    EXPECT_EQ(seven(7), TB_WIN);
    EXPECT_EQ(three(-5), TB_WIN);
    settings.syzygy_depth6 = -5;
    EXPECT_EQ(six(-5), TB_WIN);
    EXPECT_EQ(seven(6), TB_NO_ANSWER);
    settings.syzygy_depth6 = 9;
    settings.syzygy_depth7 = 9;
    EXPECT_EQ(six(8), TB_NO_ANSWER);
    EXPECT_EQ(six(9), TB_WIN);
    EXPECT_EQ(seven(8), TB_NO_ANSWER);
    EXPECT_EQ(seven(9), TB_WIN);
    EXPECT_EQ(three(-5), TB_WIN);
}
