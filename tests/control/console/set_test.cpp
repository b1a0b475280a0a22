// The words of `set`.
#include "control/console/set.h"

#include "search/hash_table.h"
#include "search/node_rate.h"
#include "search/search_state.h"
#include "support/console_fixture.h"

namespace {

using ConsoleSet = ConsoleFixture;

TEST_F(ConsoleSet, SetWords) {
    run("set hash 0");
    EXPECT_EQ(hash_table.mode, 0);
    run("set hash 2");
    EXPECT_EQ(hash_table.mode, 2);
    EXPECT_EQ(run("set noise 2.5"), "");
    EXPECT_EQ(settings.info_min_time, 2.5f);
    run("set multipv 3");
    EXPECT_EQ(settings.multipv, 3);
    run("set xmultipvx 4");
    EXPECT_EQ(settings.multipv, 4);
    run("set multipv 0");
    EXPECT_EQ(settings.multipv, 1);
    run("set frc 1");
    EXPECT_EQ(settings.chess960, 1);
    run("set depth 200");
    EXPECT_EQ(settings.max_depth, 80);
    run("set depth 7");
    EXPECT_EQ(settings.max_depth, 7);
    run("set nodes 5000");
    EXPECT_EQ(settings.node_limit, 5000);
    EXPECT_EQ(settings.max_depth, 80);
    run("trace 3");
    EXPECT_EQ(settings.trace, 3);
    EXPECT_EQ(run("tag"), "");
}

TEST_F(ConsoleSet, SetLevel) {
    EXPECT_EQ(run("set level 40 5:30 2.5"), "set level to 40 moves in 330.00 seconds, inc 2.50\n");
    EXPECT_EQ(settings.time_mode, 40);
    EXPECT_EQ(settings.move_time, 330.0f);
    EXPECT_EQ(settings.time_increment, 2.5f);
    EXPECT_EQ(game_clock.remaining[0], 330.0f);
    EXPECT_EQ(game_clock.remaining[1], 330.0f);
    EXPECT_EQ(run("set level 0 90 0"), "set level to 0 moves in 90.00 seconds, inc 0.00\n");
    EXPECT_EQ(run("set level 0 90"), "set level to 0 moves in 90.00 seconds, inc 0.00\n");
    const std::string refusal = "set level takes moves, time (seconds or minutes:seconds) and increment in seconds\n";
    for (const char *line : {"set level", "set level 40", "set level x 1 1", "set level 40 y:z 0",
                             "set level 40 1:2:3 0", "set level 40 60 nan", "set level 40 60 1s"}) {
        EXPECT_EQ(run(line), refusal) << line;
        EXPECT_EQ(settings.move_time, 90.0f);
    }
}

TEST_F(ConsoleSet, SetNodeRate) {
    EXPECT_EQ(run("set target_nps 20000"), "target_nps set to 20000, Elo= 2835\n");
    EXPECT_EQ(search_run.target_nps, 20000.0f);
    EXPECT_EQ(settings.limit_strength, 1);
    EXPECT_EQ(settings.uci_elo, 2835);
    EXPECT_EQ(run("set target_nps 0"), "target_nps set to 1, Elo= 850\n");
}

TEST_F(ConsoleSet, SetSelectivityOffAndBack) {
    calibration.nps = 123.0f;
    EXPECT_EQ(run("set ss 0"), "selectivity set to OFF\n");
    EXPECT_EQ(settings.sep_depth, 0);
    EXPECT_EQ(settings.nmp_depth, 99);
    EXPECT_EQ(settings.lmp_depth, 0);
    EXPECT_EQ(settings.lmr_depth, 99);
    run("set depth 5");
    EXPECT_EQ(run("set ss 1"), "set default Settings\n");
    EXPECT_EQ(settings.sep_depth, 3);
    EXPECT_EQ(settings.nmp_depth, 3);
    EXPECT_EQ(settings.lmp_depth, 6);
    EXPECT_EQ(settings.lmr_depth, 3);
    EXPECT_EQ(settings.max_depth, 80);
    EXPECT_EQ(settings.uci_mode, 0);  // still the console, with its measured speed
    EXPECT_EQ(calibration.nps, 123.0f);
}

TEST_F(ConsoleSet, SetFields) {
    EXPECT_EQ(run("set NMP_depth 5"), "NMP_depth set to 5\n");
    EXPECT_EQ(run("set SEP_depth 6"), "SEP_depth set to 6\n");
    EXPECT_EQ(run("set FP_depth 7"), "FP_depth set to 7\n");
    EXPECT_EQ(run("set LMP_depth 8"), "LMP_depth set to 8\n");
    EXPECT_EQ(run("set LMR_depth 9"), "LMR_depth set to 9\n");
    EXPECT_EQ(run("set Selectivity 150"), "Selectivity set to 150\n");
    EXPECT_EQ(run("set contempt -20"), "contempt set to -20\n");
    EXPECT_EQ(run("set ponder 1"), "ponder set to 1\n");
    EXPECT_EQ(settings.nmp_depth, 5);
    EXPECT_EQ(settings.sep_depth, 6);
    EXPECT_EQ(settings.fp_depth, 7);
    EXPECT_EQ(settings.lmp_depth, 8);
    EXPECT_EQ(settings.lmr_depth, 9);
    EXPECT_EQ(settings.selectivity, 150);
    EXPECT_EQ(settings.contempt, -20);
    EXPECT_EQ(settings.ponder, 1);
    EXPECT_EQ(run("set contempt 99999999999999999999"), "contempt set to 150\n");
}

// `set ss 1` returns to the settings of the start, those of the command line included, not to the built-in ones.
TEST_F(ConsoleSet, DefaultsAreThoseOfTheStart) {
    settings.hash_mb = 16;
    settings.contempt = 33;
    settings.book_depth = 7;
    testing::internal::CaptureStdout();
    start_console();
    testing::internal::GetCapturedStdout();
    run("set ss 0");
    run("set contempt -20");
    run("set ss 1");
    EXPECT_EQ(settings.contempt, 33);
    EXPECT_EQ(settings.book_depth, 7);
    EXPECT_EQ(settings.hash_mb, 16);
    EXPECT_EQ(settings.sep_depth, 3);
}

// Without a table the hash stays off, whatever else is set before.
TEST_F(ConsoleSet, HashWithoutATable) {
    const i32 size = settings.hash_mb;
    settings.hash_mb = 0;
    testing::internal::CaptureStdout();
    allocate_hash_table();
    start_console();  // as after "-hash 0"
    testing::internal::GetCapturedStdout();
    const std::string refusal = "there is no hash table: its size is 0\n";
    EXPECT_EQ(run("set hash 1"), refusal);
    run("set ss 1");
    EXPECT_EQ(run("set hash 2"), refusal);
    EXPECT_EQ(hash_table.mode, HASH_OFF);
    EXPECT_EQ(settings.hash_mb, 0);
    expect_board("pv", "PV: \n\n");
    settings.hash_mb = size;
    testing::internal::CaptureStdout();
    allocate_hash_table();
    testing::internal::GetCapturedStdout();
}

TEST_F(ConsoleSet, BadWordsAndValuesChangeNothing) {
    const std::string words =
        "set takes one of these words and its value: hash, noise, multipv, debug, frc, level, depth, nodes, target_nps, "
        "ss, NMP_depth, SEP_depth, FP_depth, LMP_depth, LMR_depth, Selectivity, contempt, ponder\n";
    EXPECT_EQ(run("set"), words);
    EXPECT_EQ(run("set nonsense 5"), "set knows no word 'nonsense'\n" + words);
    EXPECT_EQ(run("set Depth 5"), "set knows no word 'Depth'\n" + words);
    EXPECT_EQ(run("set " + std::string(900, 'x')), "set knows no word '" + std::string(60, 'x') + "'\n" + words);
    struct Refusal {
        const char *line, *answer;
    };
    for (const Refusal &row :
         {Refusal{"set hash", "set hash takes 0 (off), 1 (on) or 2 (on and kept between searches)\n"},
          Refusal{"set hash on", "set hash takes 0 (off), 1 (on) or 2 (on and kept between searches)\n"},
          Refusal{"set noise much", "set noise takes the seconds of search before lines are printed\n"},
          Refusal{"set multipv x", "set multipv takes the number of lines, 1 to 255\n"},
          Refusal{"set debug", "set debug takes 0 or 1\n"}, Refusal{"set frc yes", "set frc takes 0 or 1 (Chess960)\n"},
          Refusal{"set depth x", "set depth takes a depth, 0 to 80\n"},
          Refusal{"set depth 5x", "set depth takes a depth, 0 to 80\n"},
          Refusal{"set nodes 0", "set nodes takes a number of nodes, at least 1\n"},
          Refusal{"set nodes -5", "set nodes takes a number of nodes, at least 1\n"},
          Refusal{"set nodes many", "set nodes takes a number of nodes, at least 1\n"},
          Refusal{"set target_nps", "set target_nps takes nodes per second\n"},
          Refusal{"set ss", "set ss takes 0 (no selectivity) or 1 (the settings of the start)\n"},
          Refusal{"set contempt", "set contempt takes a number, -150 to 150\n"},
          Refusal{"set NMP_depth x", "set NMP_depth takes a number, 0 to 99\n"},
          Refusal{"set ponder", "set ponder takes 0 or 1\n"}}) {
        settings.max_depth = 44;
        EXPECT_EQ(run(row.line), row.answer) << row.line;
        EXPECT_EQ(settings.node_limit, NO_NODE_LIMIT);
        EXPECT_EQ(settings.max_depth, 44);
        EXPECT_EQ(hash_table.mode, HASH_ON);
        EXPECT_EQ(settings.multipv, 1);
        EXPECT_EQ(settings.nmp_depth, 3);
    }
}

}  // namespace
