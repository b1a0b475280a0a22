// Damaged input, missing files and full disks, with the real program: every tool skips the lines that
// it can't read; where it can't do its work at all it says so in one line and ends with status 1.
#include "support/sanitizers.h"
#include "tools/tool_files.h"

// Every way to call a tool on one input file.
struct ToolCall {
    const char *input;  // name of its input file
    std::vector<std::string> arguments;
};

static const std::vector<ToolCall> &tool_calls() {
    static const std::vector<ToolCall> calls = {
        {"x.pgn", {"-scan_pgn", "x.pgn", "-o", "out.epd"}},
        {"x.epd", {"-epd2bin", "x.epd"}},
        {"x.bin", {"-bin2epd", "x.bin"}},
        {"x.epd", {"-mktraindata", "x.epd", "-o", "out.epd", "-d", "2"}},
        {"mybook_2mv.epd", {"-gentraindata", "out.epd", "100"}},
        {"x.epd", {"-anepd", "x.epd", "-o", "out.epd", "-d", "1"}},
        {"x.epd", {"-mkbook2", "x.epd", "-d", "1"}},
        {"x.pgn", {"-mkbook", "x.pgn"}},
        {"\\chess\\trainingdata\\bin\\nodes_10K\\20240819_n10Kd7.bin", {"-prune_nn"}},
    };
    return calls;
}

// Self-play finds no start position in any of these files.
static void expect_survival(const ToolCall &call, const ScratchDirectory &directory, const char *what) {
    const ToolRun run = run_tool(call.arguments, directory);
    const int expected = run.errors.find("no usable start positions") == std::string::npos ? 0 : 1;
    EXPECT_EQ(run.status, expected) << call.arguments[0] << " on " << what << ": " << run.errors;
}

static void expect_refusal(const ToolCall &call, const ScratchDirectory &directory, const char *reason) {
    const ToolRun run = run_tool(call.arguments, directory);
    EXPECT_EQ(run.status, 1) << call.arguments[0];
    EXPECT_EQ(run.errors, "error reading " + std::string(call.input) + ": " + reason + "\n") << call.arguments[0];
}

TEST(MalformedInput, BinaryNoise) {
    SKIP_UNDER_THREAD_SANITIZER();
    for (const ToolCall &call : tool_calls())
        for (const unsigned seed : {1u, 2u}) {
            ScratchDirectory directory;
            write_file(directory.file(call.input), noise(20000, seed));
            expect_survival(call, directory, "noise");
        }
}

TEST(MalformedInput, LongLines) {
    SKIP_UNDER_THREAD_SANITIZER();
    const std::string kings = "4k3/8/8/8/8/8/8/4K3 w - - ";
    for (const char *piece : {"k", "8", "[Event \"", "{", "e4 ", "ce ", "; ", "1"}) {
        std::string line;
        while (line.size() < 100000) line += piece;
        for (const ToolCall &call : tool_calls()) {
            if (std::string(call.arguments[0]) == "-gentraindata") continue;  // has its own test
            ScratchDirectory directory;
            write_file(directory.file(call.input), line + "\n" + kings + line + "\n[" + line);
            expect_survival(call, directory, piece);
        }
    }
}

TEST(MalformedInput, EmptyFilesAndDirectories) {
    SKIP_UNDER_THREAD_SANITIZER();
    for (const ToolCall &call : tool_calls()) {
        ScratchDirectory directory;
        write_file(directory.file(call.input), "");
        expect_survival(call, directory, "an empty file");
        std::filesystem::remove(directory.file(call.input));
        expect_refusal(call, directory, "No such file or directory");
        std::filesystem::create_directory(directory.file(call.input));
        expect_refusal(call, directory, "Is a directory");
    }
}

TEST(MalformedInput, CutOffFiles) {
    ScratchDirectory directory;
    write_file(directory.file("x.epd"), std::string(START_FIELDS) + " ce 1; gr 0.5;\n" + START_FIELDS + " ce 2; gr");
    run_tool({"-epd2bin", "x.epd"}, directory);
    const std::string records = read_file(directory.file("x.bin"));
    EXPECT_EQ(records.size(), 80u);  // the second line's score is whole
    write_file(directory.file("x.bin"), records.substr(0, 79));
    run_tool({"-bin2epd", "x.bin"}, directory);
    EXPECT_EQ(read_file(directory.file("x.epd")), std::string(START_FIELDS) + " ce 1; sc 1; gr 0.5;\n");
}

TEST(MalformedInput, GamesOnBoardsThatCannotBe) {
    ScratchDirectory directory;
    std::string text;
    for (const char *fen : {"8/8/8/8/8/8/8/8 w - - 0 1", "kkkkkkkk/8/8/8/8/8/8/KKKKKKKK w - - 0 1",
                            "QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQK w - - 0 1",
                            "PPPPPPPP/8/8/4k3/4K3/8/8/pppppppp w KQkq e9 0 1", "4k3/8/8/8/8/8/8/4R3 b KQkq a1 0 1"})
        text += "[Event \"x\"]\n[Result \"1-0\"]\n[FEN \"" + std::string(fen) +
                "\"]\n\nKxe5 Kd7 Qa5 Ke4 Kd2 e4 O-O a1=Q Kb1 Kxa8 Kf8 Ke2 axb1 Qh8\n\n";
    write_file(directory.file("x.pgn"), text);
    const ToolRun run = run_tool({"-scan_pgn", "x.pgn", "-o", "out.epd"}, directory);
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.output.find("read 5 games\n"), std::string::npos) << run.output;
}

TEST(MalformedInput, StartPositionsThatCannotBePlayed) {
    SKIP_UNDER_THREAD_SANITIZER();
    ScratchDirectory directory;
    write_file(directory.file("mybook_2mv.epd"), std::string(100000, 'k') + "\n8/8/8/8/8/8/8/8 w - -\n");
    const ToolRun run = run_tool({"-gentraindata", "out.epd", "100"}, directory);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "no usable start positions in mybook_2mv.epd\n");
    EXPECT_FALSE(std::filesystem::exists(directory.file("out.epd")));
    // Only finished games: nothing to write, and no end without the guard.
    write_file(directory.file("mybook_2mv.epd"), "7k/5Q2/6K1/8/8/8/8/8 b - -\n");
    EXPECT_EQ(run_tool({"-gentraindata", "out.epd", "100"}, directory).errors,
              "no usable start positions in mybook_2mv.epd\n");
}

// A good line amid bad ones still counts, and noise does not spoil what comes before it.
TEST(MalformedInput, GoodLinesAmidNoise) {
    ScratchDirectory directory;
    const std::string good = "6k1/5ppp/8/8/8/8/8/R5K1 w - - bm Ra8; ce 5; gr 1.0;\n";
    write_file(directory.file("x.epd"), good + "\n" + std::string(3000, '8') + "\n\x01\x02\x80\xFF\n" + good);
    EXPECT_NE(
        run_tool({"-anepd", "x.epd", "-d", "2", "-o", "out.epd"}, directory).output.find("2 / 2 correct best moves\n"),
        std::string::npos);
    run_tool({"-epd2bin", "x.epd"}, directory);
    EXPECT_EQ(read_file(directory.file("x.bin")).size(), 80u);
}

TEST(FullDisk, EndsInOneLine) {
    SKIP_UNDER_THREAD_SANITIZER();
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
    const std::string good = "6k1/5ppp/8/8/8/8/8/R5K1 w - - bm Ra8; ce 5; gr 1.0;\n";
    const std::string game = "[Result \"1-0\"]\n\nNf3 Nf6 Ng1 Ng8 Nf3 Nf6 Ng1 Ng8 Nf3 Nf6 Ng1 Ng8 Nf3 Nf6 Ng1 Ng8\n";
    struct {
        const char *output;
        ToolCall call;
        std::string content;
    } const cases[] = {
        {"out.epd", {"x.pgn", {"-scan_pgn", "x.pgn", "-o", "out.epd"}}, game},
        {"x.bin", {"x.epd", {"-epd2bin", "x.epd"}}, good},
        {"x.epd", {"x.bin", {"-bin2epd", "x.bin"}}, std::string(4000, '\1')},
        {"out.epd",
         {"x.epd", {"-mktraindata", "x.epd", "-o", "out.epd", "-d", "3"}},
         "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNB1KBNR w KQkq -\n"},
        {"out.epd", {"mybook_2mv.epd", {"-gentraindata", "out.epd", "100"}}, std::string(START_FIELDS) + "\n"},
        {"out.epd", {"x.epd", {"-anepd", "x.epd", "-o", "out.epd", "-d", "2"}}, good},
        {"tmp_0.epd", {"x.epd", {"-mkbook2", "x.epd", "-d", "2"}}, good},
    };
    for (const auto &[output, call, content] : cases) {
        ScratchDirectory directory;
        write_file(directory.file(call.input), content);
        std::filesystem::create_symlink("/dev/full", directory.file(output));
        const ToolRun run = run_tool(call.arguments, directory);
        EXPECT_EQ(run.status, 1) << call.arguments[0];
        EXPECT_EQ(run.errors, std::string("error writing ") + output + "\n") << call.arguments[0];
        EXPECT_EQ(run.output.find("stored"), std::string::npos);
    }
}
