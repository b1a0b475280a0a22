// Named options: what each prints and stores, and configuration files.
#include <filesystem>

#include "gtest/gtest.h"

#include "base/output.h"
#include "base/settings.h"
#include "base/text.h"
#include "control/options.h"
#include "search/hash_table.h"
#include "search/node_rate.h"
#include "search/search_state.h"
#include "support/engine.h"
#include "support/files.h"
#include "support/shared_data.h"

// Runs in a directory of its own, with the engine at its start values.
class Options : public testing::Test {
protected:
    void SetUp() override {
        start_engine();
        before_ = std::filesystem::current_path();
        std::filesystem::current_path(directory_.path);
    }
    void TearDown() override {
        close_log();
        settings.log_on = 0;
        std::filesystem::current_path(before_);
    }
    static std::string set(const char *name, const char *value) {
        testing::internal::CaptureStdout();
        set_option(name, value);
        return testing::internal::GetCapturedStdout();
    }
    static std::string load(const std::string &path) {
        copy_text(settings.config_path, path.c_str(), sizeof settings.config_path);
        testing::internal::CaptureStdout();
        load_config_file();
        return testing::internal::GetCapturedStdout();
    }
    ScratchDirectory directory_;
    std::filesystem::path before_;
};

TEST_F(Options, NumbersAreCutToTheirRange) {
    struct Case {
        const char *name, *value, *printed;
    };
    // clang-format off
    const Case cases[] = {
        {"Threads", "4", "4"}, {"Threads", "0", "0"}, {"Threads", "161", "160"}, {"Threads", "-1", "0"},
        {"MoveOverhead", "5000", "1000"}, {"MoveOverhead", "-1", "0"},
        {"Contempt", "-151", "-150"}, {"Contempt", "151", "150"}, {"Contempt", "-7", "-7"},
        {"Selectivity", "201", "200"}, {"Selectivity", "-1", "0"}, {"Selectivity", "abc", "0"},
        {"MultiPV", "0", "1"}, {"MultiPV", "256", "255"},
        {"OwnBook_Variety", "101", "100"}, {"OwnBook_Variety", "1x", "1"},
        {"OwnBook_Depth", "99", "60"}, {"OwnBook2_Depth", "-5", "0"},
        {"SyzygyProbeDepth6", "-6", "-5"}, {"SyzygyProbeDepth6", "101", "100"},
        {"UCI_Elo", "0", "1500"}, {"UCI_Elo", "9999", "3300"}, {"UCI_Elo", "2222", "2222"},
        {"MoveOverhead", "99999999999999999999", "1000"}, {"MoveOverhead", "-99999999999999999999", "0"},
        {"MoveOverhead", "", "0"},
    };
    // clang-format on
    for (const Case &c : cases)
        EXPECT_EQ(set(c.name, c.value), std::string("info string ") + c.name + " set to " + c.printed + "\n");
    EXPECT_EQ(settings.threads, 0);
    EXPECT_EQ(settings.uci_elo, 2222);
    EXPECT_EQ(settings.multipv, 255);
    EXPECT_EQ(settings.contempt, -7);
    EXPECT_EQ(settings.syzygy_depth6, 100);
}

TEST_F(Options, TheSevenMenDepthFollowsTheSixMenDepth) {
    set("SyzygyProbeDepth6", "-3");
    EXPECT_EQ(settings.syzygy_depth6, -3);
    EXPECT_EQ(settings.syzygy_depth7, 7);
    set("SyzygyProbeDepth6", "12");
    EXPECT_EQ(settings.syzygy_depth7, 12);
}

TEST_F(Options, HashIsAllocatedAtOnce) {
    EXPECT_EQ(set("Hash", "1"),
              "info string Hash set to 1\ninfo string allocated 1 Mbytes for hash table\n"
              "info string Cleared hash table\n");
    EXPECT_EQ(hash_table.entries, 65536);
    set("Hash", "0");
    EXPECT_EQ(settings.hash_mb, 0);
    EXPECT_EQ(hash_table.mode, 0);
    set("Hash", "16");
    EXPECT_EQ(hash_table.mode, 1) << "a size turns the table on again";
}

TEST_F(Options, BooleansLookForLowerCaseTrue) {
    EXPECT_EQ(set("Ponder", "true"), "info string Ponder set to 1\n");
    EXPECT_EQ(set("Ponder", "TRUE"), "info string Ponder set to 0\n");
    EXPECT_EQ(set("Ponder", "not true at all"), "info string Ponder set to 1\n");
    EXPECT_EQ(set("Ponder", "1"), "info string Ponder set to 0\n");
    EXPECT_EQ(set("OwnBook", "false"), "info string OwnBook set to 0\n");
    EXPECT_EQ(settings.own_book, 0);
    EXPECT_EQ(set("UCI_Chess960", "true"), "info string UCI_Chess960 set to 1\n");
    EXPECT_EQ(settings.chess960, 1);
    EXPECT_EQ(set("UCI_LimitStrength", "true"), "info string UCI_LimitStrength set to 1\n");
    EXPECT_EQ(settings.limit_strength, 1);
    EXPECT_EQ(set("Use_NN_eval", ""), "info string Use_NN_eval set to 0\n");
    EXPECT_EQ(settings.use_nn, 0);
}

TEST_F(Options, TextsThatDoNotFitAreRefused) {
    EXPECT_EQ(set("OwnBook_File", "my book.bin"), "info string OwnBook_File set to 'my book.bin'\n");
    EXPECT_STREQ(settings.book_file, "my book.bin");
    const std::string path(4096, 'x');
    EXPECT_EQ(set("OwnBook2_File", path.c_str()), "info string OwnBook2_File set to '" + path + "'\n");
    EXPECT_EQ(set("OwnBook2_File", (path + "x").c_str()),
              "info string OwnBook2_File not set: more than 4096 characters\n");
    EXPECT_EQ(settings.book2_file, path);
    EXPECT_EQ(settings.syzygy_path[0], 0) << "the next field is untouched";
    EXPECT_EQ(set("OwnBook2_File", ""), "info string OwnBook2_File set to ''\n");
    const std::string directories(32000, 'd');
    EXPECT_EQ(set("SyzygyPath", (directories + "d").c_str()),
              "info string SyzygyPath not set: more than 32000 characters\n");
    set("SyzygyPath", directories.c_str());
    EXPECT_EQ(settings.syzygy_path, directories);
    set("SyzygyPath", "");
}

TEST_F(Options, TheOpponentIsReadPastItsTitle) {
    EXPECT_EQ(set("UCI_Opponent", "GM 2800 human Some Name"), "info string opponent_elo set to 2800\n");
    EXPECT_EQ(settings.opponent_elo, 2800);
    EXPECT_EQ(set("UCI_Opponent", "none none computer X"), "info string opponent_elo set to 0\n");
    EXPECT_EQ(set("UCI_Opponent", "GM 9000 human"), "info string opponent_elo set to 4000\n");
    EXPECT_EQ(set("UCI_Opponent", "GM"), "info string opponent_elo set to 0\n");
    EXPECT_EQ(set("UCI_Opponent", ""), "info string opponent_elo set to 0\n");
}

TEST_F(Options, ClearHashEmptiesTheTable) {
    Position *position = &root_thread_state->position;
    hash_table.age = 1;
    hash_store(position, 1, 5, 0x0C1C, 0, 10, BOUND_EXACT);
    hash_table.fill = 0.5f;
    int score, eval, depth, bound;
    Move move;
    ASSERT_TRUE(hash_probe(position, &score, &eval, &depth, &move, &bound));
    EXPECT_EQ(set("Clear Hash", ""), "info string Hash table cleared\n");
    EXPECT_FALSE(hash_probe(position, &score, &eval, &depth, &move, &bound));
    EXPECT_EQ(hash_table.fill, 0.0f);
}

TEST_F(Options, UnknownNamesAndOtherCasesDoNothing) {
    const Settings before = settings;
    for (const char *name : {"hash", "HASH", "Hash ", " Hash", "", "nothing", "ClearHash"})
        EXPECT_EQ(set(name, "9"), "");
    EXPECT_EQ(settings.hash_mb, before.hash_mb);
}

TEST_F(Options, TheLogOpensOnceAndOnlyPauses) {
    EXPECT_EQ(set("Log", "true"), "info string Log set to 1\n");
    ASSERT_NE(log_file, nullptr);
    set("MoveOverhead", "1");
    set("Log", "false");
    EXPECT_NE(log_file, nullptr);
    set("MoveOverhead", "2");
    set("Log", "true");
    set("MoveOverhead", "3");
    // The message is printed before the change applies: turning the log off is logged, turning it on is not.
    EXPECT_EQ(read_text("tarn.log"),
              "info string MoveOverhead set to 1\ninfo string Log set to 0\n"
              "info string MoveOverhead set to 3\n");
}

TEST_F(Options, TheListNamesEveryOptionInOrder) {
    calibration.elo = 3184.6f;
    testing::internal::CaptureStdout();
    print_options();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "option name ConfigFilePath type string default \n"
              "option name Hash type spin default 16 min 0 max 32768\n"
              "option name Threads type spin default 1 min 1 max 160\n"
              "option name Clear Hash type button\n"
              "option name NN_File type string default embedded\n"
              "option name Use_NN_eval type check default true\n"
              "option name OwnBook type check default true\n"
              "option name OwnBook_File type string default tarn_book.bin\n"
              "option name OwnBook_Depth type spin default 24 min 0 max 60\n"
              "option name OwnBook2_File type string default \n"
              "option name OwnBook2_Depth type spin default 0 min 0 max 60\n"
              "option name OwnBook_Variety type spin default 25 min 0 max 100\n"
              "option name SyzygyPath type string default \n"
              "option name SyzygyProbeDepth6 type spin default 1 min -5 max 100\n"
              "option name Log type check default false\n"
              "option name Ponder type check default false\n"
              "option name MultiPV type spin default 1 min 1 max 255\n"
              "option name UCI_Chess960 type check default false\n"
              "option name MoveOverhead type spin default 50 min 0 max 1000\n"
              "option name UCI_LimitStrength type check default false\n"
              "option name UCI_Elo type spin default 3184 min 1500 max 3184\n"
              "option name UCI_Opponent type string default \n"
              "option name Contempt type spin default 0 min -150 max 150\n"
              "option name Selectivity type spin default 100 min 0 max 200\n");
    EXPECT_EQ(default_settings.uci_elo, 3184) << "the measured rating is stored as the default";
    EXPECT_EQ(settings.uci_elo, 0);
}

TEST_F(Options, TheListShowsSomeCurrentAndSomeStoredValues) {
    settings.threads = 8;
    settings.hash_mb = 99;
    settings.use_nn = 0;
    settings.chess960 = 1;
    settings.contempt = 33;
    default_settings.uci_elo = 2000;
    default_settings.syzygy_depth6 = -2;
    calibration.elo = 3000.0f;
    testing::internal::CaptureStdout();
    print_options();
    const std::string list = testing::internal::GetCapturedStdout();
    for (const char *line :
         {"name Threads type spin default 1 ", "name Hash type spin default 99 ",
          "name Use_NN_eval type check default false", "name UCI_Chess960 type check default true",
          "name Contempt type spin default 0 ", "name UCI_Elo type spin default 2000 min 1500 max 3000",
          "name SyzygyProbeDepth6 type spin default -2 "})
        EXPECT_NE(list.find(line), std::string::npos) << line;
}

TEST_F(Options, ConfigurationLines) {
    write_file("a.cfg",
               "# my settings\n"
               "MoveOverhead = 64\n"
               "MoveOverhead=65\n"     // no blank before '=': not a name
               " MoveOverhead = 66\n"  // a blank in front belongs to the name
               "MoveOverhead\t= 67\n"  // a tab is no blank
               "MoveOverhead    =    68   # blanks are cut before '=', skipped after it\n"
               "Contempt = 30 = 40\n"
               "OwnBook2_File = b2.bin   # blanks before a comment stay\n"
               "OwnBook_File = crlf.bin\r\n"
               "= 5\n"
               "no equals sign\n"
               "Unknown = 1\n"
               "Multi#PV = 3\n"
               "a=\n"
               "Ponder = true");
    EXPECT_EQ(load("a.cfg"),
              "info string loading parameters from a.cfg\n"
              "info string MoveOverhead set to 64\n"
              "info string MoveOverhead set to 68\n"
              "info string Contempt set to 30\n"
              "info string OwnBook2_File set to 'b2.bin   '\n"
              "info string OwnBook_File set to 'crlf.bin\r'\n"
              "info string Ponder set to 1\n");
    EXPECT_EQ(default_settings.move_overhead, 68) << "the list of options shows what the file set";
}

TEST_F(Options, AMissingConfigurationFileIsPassedOver) {
    default_settings.contempt = 9;
    EXPECT_EQ(load("missing.cfg"), "");
    EXPECT_EQ(default_settings.contempt, 9);
}

TEST_F(Options, ConfigurationLinesAreSkippedDuringASearch) {
    write_file("a.cfg", "Contempt = 5\n");
    write_search_state(SEARCH_RUN);
    EXPECT_EQ(load("a.cfg"), "info string loading parameters from a.cfg\n");
    write_search_state(0);
    EXPECT_EQ(settings.contempt, 0);
}

TEST_F(Options, AConfigurationFileThatNamesAnother) {
    write_file("outer.cfg", "MoveOverhead = 11\nConfigFilePath = inner.cfg\nMoveOverhead = 13\n");
    write_file("inner.cfg", "MoveOverhead = 12\n");
    EXPECT_EQ(load("outer.cfg"),
              "info string loading parameters from outer.cfg\n"
              "info string MoveOverhead set to 11\n"
              "info string ConfigFilePath set to 'inner.cfg'\n"
              "info string loading parameters from inner.cfg\n"
              "info string MoveOverhead set to 12\n"
              "info string MoveOverhead set to 13\n");
    EXPECT_STREQ(settings.config_path, "inner.cfg");
}

TEST_F(Options, AConfigurationFileThatNamesItselfComesToAnEnd) {
    write_file("self.cfg", "ConfigFilePath = self.cfg\nConfigFilePath = self.cfg\nMoveOverhead = 12\n");
    const std::string first = load("self.cfg");
    EXPECT_EQ(settings.move_overhead, 12);
    EXPECT_EQ(load("self.cfg"), first) << "the bound holds for each load anew";
}

TEST_F(Options, LongConfigurationLines) {
    const std::string path(4096, 'y'), directories(32000, 'd');
    std::string text = "#" + std::string(254, 'x') + "MoveOverhead = 7\n";
    text += "OwnBook_File = " + path + "\nOwnBook2_File = " + std::string(3000000, 'y') + "\nContempt = 8\n";
    text += "SyzygyPath = " + directories + "\n";
    text += std::string("bin\0ary\xff\xfe = \x01\n", 14) + "MultiPV = 2\n";
    write_file("long.cfg", text);
    const std::string printed = load("long.cfg");
    EXPECT_EQ(printed.rfind("info string loading parameters from long.cfg\ninfo string OwnBook_File set to '" + path +
                                "'\ninfo string OwnBook2_File not set: more than 4096 characters\n"
                                "info string Contempt set to 8\ninfo string SyzygyPath set to '" +
                                directories + "'\n",
                            0),
              0u);
    EXPECT_EQ(settings.multipv, 2);
    EXPECT_EQ(settings.move_overhead, 50);
    set("SyzygyPath", "");
}

// The reference files hold the lines of set_option alone: what the table's size and clearing print
// besides is left out.
static std::string without_hash_lines(const std::string &text) {
    std::string kept;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (line.find(" allocated ") == std::string::npos && line != "info string Cleared hash table")
            kept += line + "\n";
    return kept;
}

TEST_F(Options, ConfigurationFilesOfTheReference) {
    SKIP_WITHOUT_SHARED("golden/control/cases.json");
    for (const char *name : {"config_mix.cfg", "config_outer.cfg", "config_inner.cfg"})
        write_file(name, read_file(shared_path(std::string("golden/control/") + name)));
    EXPECT_EQ(without_hash_lines(load("config_mix.cfg")), read_file(shared_path("golden/control/config_mix.txt")));
    start_engine();
    EXPECT_EQ(without_hash_lines(load("config_outer.cfg")), read_file(shared_path("golden/control/config_nested.txt")));
}
