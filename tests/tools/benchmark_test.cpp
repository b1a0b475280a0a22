// The benchmark.
#include "tools/benchmark.h"

#include <cmath>

#include "base/settings.h"
#include "board/fen.h"
#include "control/driver_state.h"
#include "search/thread_state.h"
#include "support/engine.h"
#include "support/sanitizers.h"
#include "tools/tool_files.h"

static std::string bench_nodes(const std::vector<std::string> &arguments, const ScratchDirectory &directory) {
    const ToolRun run = run_tool(arguments, directory);
    EXPECT_EQ(run.status, 0);
    const auto lines = split_lines(run.output);
    EXPECT_EQ(lines.size(), 22u) << run.output;
    if (lines.size() != 22) return "";
    EXPECT_EQ(lines[0], "Tarn 7.04 running benchmark using 1 threads");
    for (int i = 0; i < BENCH_COUNT; ++i) {
        char start[16];
        std::snprintf(start, sizeof start, "pos %2d: ", i);
        EXPECT_EQ(lines[i + 1].rfind(start, 0), 0u) << lines[i + 1];
        EXPECT_EQ(lines[i + 1].substr(lines[i + 1].size() - 8), " seconds");
    }
    EXPECT_EQ(lines[21].rfind("total time= ", 0), 0u);
    const std::size_t from = lines[21].find("nodes= ") + 7;
    return lines[21].substr(from, lines[21].find(',', from) - from);
}

TEST(Benchmark, CountsRepeatWithOneThread) {
    ScratchDirectory directory;
    const std::string nodes = bench_nodes({"-pbench", "-d", "5"}, directory);
    EXPECT_GT(std::stod(nodes), 20000.0);
    EXPECT_EQ(bench_nodes({"-pbench", "-d", "5"}, directory), nodes);
    // With search threads the last line of each search comes after its end and so counts more nodes.
    const std::string threaded = bench_nodes({"-bench", "-d", "5"}, directory);
    EXPECT_GE(std::stod(threaded), std::stod(nodes));
    EXPECT_EQ(bench_nodes({"-bench", "-d", "5"}, directory), threaded);
}

// The signature of the search with the hand-crafted evaluation, which no network file changes.
TEST(Benchmark, SignatureWithoutANetwork) {
    ScratchDirectory directory;
    EXPECT_EQ(bench_nodes({"-pbench", "-use_hce", "-d", "4"}, directory), "28893");
    EXPECT_EQ(bench_nodes({"-pbench", "-use_hce", "-d", "6"}, directory), "81660");
}

TEST(Benchmark, ReferenceCounts) {
    SKIP_UNDER_THREAD_SANITIZER();
    SKIP_WITHOUT_SHARED("golden/search/bench_early_d4.txt");
    ScratchDirectory directory;
    write_file(directory.file("tarn.cfg"), "NN_File = " + shared_path("golden/eval/early-net.bin") + "\n");
    for (const char *depth : {"4", "6", "8"}) {
        const auto lines = read_lines(shared_path("golden/search/bench_early_d" + std::string(depth) + ".txt"));
        const std::string last = lines.back(), mark = "pbench line nodes= ";
        ASSERT_NE(last.find(mark), std::string::npos);
        EXPECT_EQ(bench_nodes({"-pbench", "-d", depth, "-cfg", "tarn.cfg"}, directory),
                  last.substr(last.find(mark) + mark.size()));
    }
}

TEST(Benchmark, DepthAboveFiftyIsNone) {
    start_engine();
    for (const auto &[given, used] : {std::pair<i16, i16>{80, 17}, {60, 17}, {51, 17}, {50, 50}, {8, 8}}) {
        settings.max_depth = given;
        settings.threads = 0;  // no search has a thread
        driver.quit = 1;       // after the first position
        testing::internal::CaptureStdout();
        run_bench(false);
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(settings.max_depth, used);
        EXPECT_EQ(settings.move_time, 99.0f);
        EXPECT_EQ(settings.info_min_time, INFO_NEVER);
    }
    start_engine();
}

TEST(Benchmark, PositionNineRepeatsPositionThree) {
    EXPECT_STREQ(BENCH_POSITIONS[9], BENCH_POSITIONS[3]);
    for (const char *fen : BENCH_POSITIONS) {
        Position *position = &start_engine()->position;
        set_position_from_text(position, fen);
        EXPECT_EQ(position_defect(position), nullptr) << fen;
    }
}
