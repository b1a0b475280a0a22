// The switches: what each stores, the chain of tests, and missing values.
#include <algorithm>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "base/settings.h"
#include "command_line.h"
#include "search/search_state.h"

struct Parsed {
    bool ok;
    CommandLine command;
    std::string printed;
};

static Parsed parse(const std::vector<std::string> &arguments) {
    std::vector<std::string> words{"tarn"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char *> argv;
    for (std::string &word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    set_start_values();
    Parsed parsed;
    testing::internal::CaptureStdout();
    parsed.ok = parse_command_line(static_cast<int>(words.size()), argv.data(), &parsed.command);
    parsed.printed = testing::internal::GetCapturedStdout();
    return parsed;
}

TEST(CommandLine, NothingGiven) {
    const Parsed parsed = parse({});
    EXPECT_TRUE(parsed.ok);
    EXPECT_EQ(parsed.command.mode, MODE_PLAY);
    EXPECT_EQ(settings.uci_mode, 1);
    EXPECT_EQ(settings.hash_mb, 64);
}

TEST(CommandLine, FlagsAndPaths) {
    parse({"-c", "-log", "-numa", "-cfg", "a.cfg", "-book", "b.bin", "-tbpath", "tb", "-use_hce", "-o", "out.epd"});
    EXPECT_EQ(settings.uci_mode, 0);
    EXPECT_EQ(settings.log_on, 1);
    EXPECT_EQ(settings.numa, 1);
    EXPECT_STREQ(settings.config_path, "a.cfg");
    EXPECT_STREQ(settings.book_file, "b.bin");
    EXPECT_STREQ(settings.syzygy_path, "tb");
    EXPECT_EQ(settings.use_nn, 0);
    EXPECT_STREQ(settings.out_file, "out.epd");
    parse({"-c", "-uci", "-use_hce", "-use_nn", "-log", "-quiet", "-tbx"});
    EXPECT_EQ(settings.uci_mode, 1);
    EXPECT_EQ(settings.use_nn, 1);
    EXPECT_EQ(settings.log_on, 0);
    EXPECT_EQ(settings.info_min_time, INFO_NEVER);
    EXPECT_STREQ(settings.syzygy_path, "C:\\Chess\\Syzygy\\6-Piece;C:\\Chess\\Syzygy\\7-Piece");
}

TEST(CommandLine, LimitsComeWithTheirTimes) {
    parse({"-t", "2.5"});
    EXPECT_EQ(settings.move_time, 2.5f);
    EXPECT_EQ(settings.time_mode, 1);
    parse({"-d", "200"});
    EXPECT_EQ(settings.max_depth, 80);
    EXPECT_EQ(settings.move_time, 10000.0f);
    parse({"-n", "123456789012"});
    EXPECT_EQ(settings.node_limit, 123456789012);
    EXPECT_EQ(settings.move_time, 1000.0f);
    parse({"-md", "7", "-mn", "5000"});
    EXPECT_EQ(settings.min_depth, 7);
    EXPECT_EQ(settings.soft_node_limit, 5000);
    EXPECT_EQ(settings.move_time, 1000.0f);
    parse({"-noise", "1.5"});
    EXPECT_EQ(settings.info_min_time, 1.5f);
}

TEST(CommandLine, NumbersAreCut) {
    parse({"-hash", "100000"});
    EXPECT_EQ(settings.hash_mb, 32768);
    parse({"-hash", "-5"});
    EXPECT_EQ(settings.hash_mb, 0);
    parse({"-threads", "0"});
    EXPECT_EQ(settings.threads, 1);
    parse({"-threads", "1000"});
    EXPECT_EQ(settings.threads, 160);
    parse({"-ss", "5"});
    EXPECT_EQ(settings.selectivity, 10);
    parse({"-ss", "500"});
    EXPECT_EQ(settings.selectivity, 200);
    parse({"-d", "-99999999999999999999"});
    EXPECT_EQ(settings.max_depth, 1);
    parse({"-d", "0"});
    EXPECT_EQ(settings.max_depth, 1);
    parse({"-mpv", "4"});
    EXPECT_EQ(settings.multipv, 4);
}

TEST(CommandLine, ARateBecomesARating) {
    const struct {
        const char *rate, *line;
    } cases[] = {{"1000", "Elo= 2338\n"}, {"16", "Elo= 1504\n"}, {"649423", "Elo= 3300\n"}, {"1", "Elo= 850\n"},
                 {"0", "Elo= 0\n"},       {"-4", "Elo= 0\n"},    {"none", "Elo= 0\n"}};
    for (const auto &c : cases) EXPECT_EQ(parse({"-nps", c.rate}).printed, c.line) << c.rate;
    parse({"-nps", "1000"});
    EXPECT_EQ(search_run.target_nps, 1000.0f);
    EXPECT_EQ(settings.limit_strength, 1);
    EXPECT_EQ(settings.uci_elo, 2338);
}

TEST(CommandLine, NotANumberCountsAsZero) {
    parse({"-t", "nan", "-noise", "-nan", "-nps", "NaN"});
    EXPECT_EQ(settings.move_time, 0.0f);
    EXPECT_EQ(settings.info_min_time, 0.0f);
    EXPECT_EQ(search_run.target_nps, 0.0f);
}

TEST(CommandLine, UnknownArgumentsAreIgnored) {
    const Parsed parsed = parse({"hello", "-nothing", "-hash=5", "", "--bench", "-Bench"});
    EXPECT_TRUE(parsed.ok);
    EXPECT_EQ(parsed.command.mode, MODE_PLAY);
    EXPECT_EQ(parsed.printed, "");
    EXPECT_EQ(settings.hash_mb, 64);
}

TEST(CommandLine, AValueStandsForTheArgumentBelow) {
    // "-bench" is the book file, and below that row still a switch.
    Parsed parsed = parse({"-book", "-bench"});
    EXPECT_STREQ(settings.book_file, "-bench");
    EXPECT_EQ(parsed.command.mode, MODE_BENCH);
    // A name of a row above is passed already.
    parsed = parse({"-book", "-c"});
    EXPECT_STREQ(settings.book_file, "-c");
    EXPECT_EQ(settings.uci_mode, 1);
    // A value that takes a value of its own.
    parse({"-cfg", "-hash", "32"});
    EXPECT_STREQ(settings.config_path, "-hash");
    EXPECT_EQ(settings.hash_mb, 32);
    // Through several rows.
    parse({"-t", "-hash", "-threads", "3"});
    EXPECT_EQ(settings.move_time, 0.0f);
    EXPECT_EQ(settings.hash_mb, 0);
    EXPECT_EQ(settings.threads, 3);
}

TEST(CommandLine, SelectivityIsNotLookedForBehindTheLineCount) {
    parse({"-mpv", "-ss", "50"});
    EXPECT_EQ(settings.selectivity, 100);
    parse({"-mpv", "2", "-ss", "50"});
    EXPECT_EQ(settings.selectivity, 50);
    EXPECT_EQ(settings.multipv, 2);
    parse({"-o", "-ss", "60"});
    EXPECT_EQ(settings.selectivity, 60);
}

TEST(CommandLine, ASwitchWithoutItsValueDoesNothing) {
    for (const char *name : {"-hash", "-threads", "-d", "-n", "-t", "-cfg", "-book", "-tbpath", "-o", "-mpv", "-ss",
                             "-nps", "-noise", "-md", "-mn", "-lr", "-mbatch", "-tw"}) {
        const Parsed parsed = parse({name});
        EXPECT_TRUE(parsed.ok) << name;
        EXPECT_EQ(parsed.command.mode, MODE_PLAY) << name;
    }
    EXPECT_EQ(settings.hash_mb, 64);
}

TEST(CommandLine, ToolModes) {
    struct Case {
        std::vector<std::string> arguments;
        RunMode mode;
    };
    // clang-format off
    const Case cases[] = {
        {{"-anepd", "x"}, MODE_TEST_SUITE}, {{"-scan_pgn", "x"}, MODE_SCAN_PGN}, {{"-bench"}, MODE_BENCH},
        {{"-mkbook", "x"}, MODE_BOOK_MAKER}, {{"-mkconfig"}, MODE_CONFIG}, {{"-mktraindata", "x"}, MODE_CONVERT_TRAINING},
        {{"-gentraindata", "x", "100"}, MODE_GENERATE_TRAINING}, {{"-epd2bin", "x"}, MODE_EPD_TO_RECORDS},
        {{"-bin2epd", "x"}, MODE_RECORDS_TO_EPD}, {{"-prune_nn"}, MODE_PRUNE_NETWORK}, {{"-mkbook2", "x"}, MODE_SECOND_BOOK},
    };
    // clang-format on
    for (const Case &c : cases) {
        const Parsed parsed = parse(c.arguments);
        EXPECT_TRUE(parsed.ok);
        EXPECT_EQ(parsed.command.mode, c.mode) << c.arguments[0];
    }
    EXPECT_EQ(parse({"-bench"}).command.bench_threaded, 1);
    EXPECT_EQ(parse({"-pbench"}).command.bench_threaded, 0);
    parse({"-anepd", "suite.epd"});
    EXPECT_STREQ(settings.in_file, "suite.epd");
    EXPECT_EQ(settings.info_min_time, INFO_NEVER);
    parse({"-gentraindata", "games", "250"});
    EXPECT_STREQ(settings.data_file, "games");
    EXPECT_EQ(settings.train_count, 250);
    EXPECT_EQ(settings.book_variety, 75);
    parse({"-mktraindata", "in.epd"});
    EXPECT_STREQ(settings.in_file, "in.epd");
    EXPECT_STREQ(settings.syzygy_path, "C:\\Chess\\Syzygy\\6-Piece");
}

TEST(CommandLine, TheGameScanIsFoundInsideAnArgument) {
    EXPECT_EQ(parse({"--scan_pgn!", "games.pgn"}).command.mode, MODE_SCAN_PGN);
    EXPECT_STREQ(settings.pgn_file, "games.pgn");
}

TEST(CommandLine, AToolWithoutItsArgumentsEndsTheProgram) {
    testing::internal::CaptureStderr();
    for (const std::vector<std::string> &arguments : {std::vector<std::string>{"-mkbook2"},
                                                      {"-anepd"},
                                                      {"-scan_pgn"},
                                                      {"-mkbook"},
                                                      {"-epd2bin"},
                                                      {"-bin2epd"},
                                                      {"-mktraindata"},
                                                      {"-gentraindata"},
                                                      {"-gentraindata", "x"},
                                                      {"-gentraindata", "x", "99"},
                                                      {"-train"},
                                                      {"-train", "x"},
                                                      {"-train", "x", "0"},
                                                      {"-train2", "x", "-1"}})
        EXPECT_FALSE(parse(arguments).ok) << arguments[0];
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(errors.rfind("-mkbook2 needs a file name\n-anepd needs a file name\n", 0), 0u) << errors;
    EXPECT_NE(errors.find("-gentraindata needs a file name and a count\n"), std::string::npos) << errors;
    EXPECT_NE(errors.find("-gentraindata makes 100 positions or more\n"), std::string::npos) << errors;
}

TEST(CommandLine, TrainingIsRecognised) {
    Parsed parsed = parse({"-train", "data", "2"});
    EXPECT_TRUE(parsed.ok);
    EXPECT_EQ(parsed.command.mode, MODE_TRAIN);
    EXPECT_EQ(settings.train_count, 2000000);
    EXPECT_EQ(settings.hash_mb, 0);
    // A third value that begins with 0 or 1 is dropped, any other is an argument of its own.
    parse({"-train2", "data", "2", "1", "-c"});
    EXPECT_EQ(settings.uci_mode, 0);
    parse({"-train", "data", "2", "-c"});
    EXPECT_EQ(settings.uci_mode, 0);
    parse({"-lr", "0.5", "-mbatch", "70", "-tw", "0.25"});
    EXPECT_EQ(settings.learn_rate, 0.5f);
    EXPECT_EQ(settings.mini_batch, 70);
    EXPECT_EQ(settings.train_weight, 0.25f);
}

TEST(CommandLine, LongValuesAreTakenOrRefused) {
    const std::string longest(PATH_LENGTH - 1, 'p'), directories(SYZYGY_LENGTH - 1, 'd');
    EXPECT_TRUE(parse({"-book", longest, "-tbpath", directories}).ok);
    EXPECT_EQ(settings.book_file, longest);
    EXPECT_EQ(settings.syzygy_path, directories);
    // One character more: a line, and the value stays what it was. A tool does not run without its file.
    testing::internal::CaptureStderr();
    EXPECT_TRUE(parse({"-book", longest + "p", "-tbpath", directories + "d"}).ok);
    EXPECT_STREQ(settings.book_file, "tarn_book.bin");
    EXPECT_STREQ(settings.syzygy_path, "");
    for (const char *tool :
         {"-anepd", "-scan_pgn", "-mkbook", "-mkbook2", "-epd2bin", "-bin2epd", "-mktraindata", "-o"})
        EXPECT_FALSE(parse({tool, longest + "p"}).ok) << tool;
    EXPECT_FALSE(parse({"-gentraindata", longest + "p", "100"}).ok);
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 11);
    EXPECT_EQ(errors.rfind("a name of more than 4096 characters is refused: pppp", 0), 0u) << errors;
}
