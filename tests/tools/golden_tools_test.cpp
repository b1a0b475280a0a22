// The tools against the reference results: files and standard output to the byte.
#include "tools/tool_files.h"

static std::string golden(const std::string &name) { return read_file(shared_path("golden/tools/" + name)); }

// Runs `tool` on a copy of the input under its own name and compares the file `made` and the output.
static void expect_golden(const std::vector<std::string> &arguments, const std::string &input, const std::string &made,
                          const std::string &expected, const std::string &output, const std::string &errors = "") {
    ScratchDirectory directory;
    ASSERT_FALSE(golden(input).empty()) << input;
    write_file(directory.file(input), golden(input));
    const ToolRun run = run_tool(arguments, directory);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, output);
    EXPECT_EQ(run.errors, errors);
    EXPECT_TRUE(read_file(directory.file(made)) == golden(expected)) << made << " differs from " << expected;
}

static void expect_scan(const std::string &name, const std::string &output) {
    expect_golden({"-scan_pgn", name + ".pgn", "-o", "out.epd"}, name + ".pgn", "out.epd", name + ".epd", output);
}

TEST(GoldenTools, ScanPgn) {
    SKIP_WITHOUT_SHARED("golden/tools/cases.json");
    expect_scan("scan_basic", "read 10 games\n\n");
    expect_scan("scan_scores", "read 1 games\n\n");
    expect_scan("scan_two_comments", "read 1 games\n\n");
    expect_scan("scan_fen", "read 6 games\n\n");
    expect_scan("scan_tail_short", "read 1 games\n\n");
    expect_scan("scan_limits", "read 6 games\n\n");
    expect_scan("scan_termination", "can't parse move 1. e4 in game #5  4k3/8/8/8/8/8/8/4K3 w - -\nread 5 games\n\n");
}

TEST(GoldenTools, ScanPgnQuirks) {
    SKIP_WITHOUT_SHARED("golden/tools/cases.json");
    const std::string start = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -\n";
    expect_scan(
        "scan_quirks",
        "can't parse move 1. c) in game #1  " + start +
            "can't parse move 5. Be7 in game #3  r1bqkb1r/1ppp1ppp/p1n2n2/4p3/B3P3/5N2/PPPP1PPP/RNBQK2R w KQkq -\n"
            "can't parse move 1. e5 in game #5  " +
            start +
            "can't parse move 8. Ng8{x/3 in game #9  rnbqkb1r/pppppppp/5n2/8/8/8/PPPPPPPP/RNBQKBNR b KQkq -\n"
            "can't parse move 9. Nf3! in game #15  " +
            start + "can't parse move 9. Nf3abcd in game #21  " + start + "can't parse move 1. White in game #23  " +
            start + "can't parse move 9. Kd5 in game #25  " + start + "read 26 games\n\n");
}

TEST(GoldenTools, Records) {
    SKIP_WITHOUT_SHARED("golden/tools/cases.json");
    const std::string allocated = "allocated 18000 Mbytes for training data.\n";
    expect_golden({"-epd2bin", "epd2bin_ops.epd"}, "epd2bin_ops.epd", "epd2bin_ops.bin", "epd2bin_ops.bin",
                  allocated +
                      "reading positions from file epd2bin_ops.epd.\nread 72 positions.\n\n"
                      "stored 72 positions in epd2bin_ops.bin.\n\n",
                  "only the first 254 characters were used of 2 longer lines\n");
    expect_golden({"-bin2epd", "bin2epd_mix.bin"}, "bin2epd_mix.bin", "bin2epd_mix.epd", "bin2epd_mix.epd",
                  allocated + "read 11 positions from bin2epd_mix.bin.\n\n");
    expect_golden({"-bin2epd", "epd2bin_ops.bin"}, "epd2bin_ops.bin", "epd2bin_ops.epd", "bin2epd_ops.epd",
                  allocated + "read 72 positions from epd2bin_ops.bin.\n\n");
}

TEST(GoldenTools, PrunedNetwork) {
    SKIP_WITHOUT_SHARED("golden/tools/cases.json");
    ScratchDirectory directory;
    const std::string name = "\\chess\\trainingdata\\bin\\nodes_10K\\20240819_n10Kd7.bin";
    write_file(directory.file(name), golden("prune_records.bin"));
    write_file(directory.file("tarn.cfg"), "NN_File = " + shared_path("golden/tools/prune_words_net.bin") + "\n");
    const ToolRun run = run_tool({"-prune_nn", "-cfg", "tarn.cfg"}, directory);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "allocated 18000 Mbytes for training data.\nread 11 positions from " + name +
                              ".\n\nCollecting stats ...\n\nWriting pruned net to pruned.bin ...\n\n");
    EXPECT_TRUE(read_file(directory.file("pruned.bin")) == golden("prune_words_expected.bin"));
}
