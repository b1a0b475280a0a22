// Test suites: judging answers, the summary, and the expansion into the positions after good moves.
#include "tools/epd_suite.h"
#include "support/positions.h"

#include <set>

#include "base/settings.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/notation.h"
#include "formats/epd.h"
#include "formats/text_file.h"
#include "search/search_state.h"
#include "search/thread_state.h"
#include "support/engine.h"
#include "support/sanitizers.h"
#include "tools/tool_files.h"

// The totals after judging 1. e4 as the answer at the start position.
static SuiteTotals judged(const char *bm, const char *am, const char *c0) {
    start_engine();
    published.pv[1] = word_of("e2e4");
    SuiteTotals totals{};
    judge_answer(bm, am, c0, &totals);
    return totals;
}

TEST(SuiteJudge, BestMoves) {
    EXPECT_EQ(judged("e4", "", "").correct, 1);
    EXPECT_EQ(judged("d4,e4", "", "").correct, 1);
    EXPECT_EQ(judged("\"d4\" e4;", "", "").correct, 1);
    EXPECT_EQ(judged("e4,e2e4", "", "").correct, 2);  // named twice, counted twice
    EXPECT_EQ(judged("d4,Nf3", "", "").correct, 0);
    EXPECT_EQ(judged("Qh5", "", "").correct, 0);   // not a move here
    EXPECT_EQ(judged("d4", "d4", "").correct, 0);  // with bm, am isn't looked at
    EXPECT_EQ(judged(std::string(127, 'Q').c_str(), "", "").correct, 0);
}

TEST(SuiteJudge, AvoidMoves) {
    EXPECT_EQ(judged("", "d4", "").correct, 1);
    EXPECT_EQ(judged("", "e4", "").correct, 0);
    EXPECT_EQ(judged("", "Qh5", "").correct, 0);    // a text that is no move proves nothing
    EXPECT_EQ(judged("", "d4,c4", "").correct, 0);  // the whole text is one move
    EXPECT_EQ(judged("", std::string(127, 'Q').c_str(), "").correct, 0);
}

TEST(SuiteJudge, Points) {
    const SuiteTotals second = judged("", "", "\"d4=10,e4=7,Nf3=2\"");
    EXPECT_EQ(second.points, 7);
    EXPECT_EQ(second.best_points, 10);
    EXPECT_EQ(judged("", "", "e4=2147483647,e4=2147483647").points, 4294967294);
    EXPECT_EQ(second.correct, 0);
    EXPECT_EQ(judged("", "", "\"c4=3\"").points, 0);
    EXPECT_EQ(judged("", "", "e4").best_points, 0);  // no points at all
    EXPECT_EQ(judged("", "", "").best_points, 0);
    EXPECT_EQ(judged("", "", "=,==,e4=x").points, 0);
}

// The EPD reader has joined the two pieces by dropping the blank between them.
TEST(SuiteJudge, PointsAreDividedByTheFirstEqualsSign) {
    start_engine();
    EpdLine epd;
    split_epd_line((std::string(START_FIELDS) + " c0 \"e4=3 Nf3=5\";\n").c_str(), &epd);
    const SuiteTotals totals = judged("", "", epd.c0);
    EXPECT_EQ(totals.points, 3);
    EXPECT_EQ(totals.best_points, 3);
}

TEST(SuiteJudge, APromotionKeepsItsEqualsSign) {
    start_engine();
    set_position_from_text(&root_thread_state->position, "8/P6k/8/8/8/8/8/K7 w - -");
    published.pv[1] = static_cast<u16>(word_of("a7a8") | PROMO_QUEEN);
    SuiteTotals totals{};
    judge_answer("", "", "\"a8=N=2, a8=Q=7\"", &totals);
    EXPECT_EQ(totals.points, 7);
    EXPECT_EQ(totals.best_points, 7);
}

TEST(SuiteJudge, NothingToJudgeIsNeverCorrect) { EXPECT_EQ(judged("", "", "").correct, 0); }

// ---- the tool ----

static const char SUITE[] =
    "# mate in one, the second move of the list\n"
    "6k1/5ppp/8/8/8/8/8/R5K1 w - - bm Ra7, Ra8+; id \"one\";\n"
    "6k1/5ppp/8/8/8/8/8/R5K1 w - - am Ra8#;\n"
    "6k1/5ppp/8/8/8/8/8/R5K1 w - - c0 \"Ra7=3, Ra8=9\";\n"
    "6k1/5ppp/8/8/8/8/8/R5K1 w - - id \"nothing to judge\";\n"
    "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - bm Ke2;\n"
    "8/8/8/8/8/8/8/8 w - - bm Ra8;\n"  // can't be searched
    "short\n";

TEST(Anepd, SummaryAndResultLines) {
    ScratchDirectory directory;
    write_file(directory.file("s.epd"), SUITE);
    const ToolRun run = run_tool({"-anepd", "s.epd", "-d", "4", "-o", "r.epd"}, directory);
    EXPECT_EQ(run.status, 0);
    const auto lines = split_lines(run.output);
    ASSERT_EQ(lines.size(), 10u) << run.output;
    EXPECT_EQ(lines[0], "Analyzing s.epd...");
    EXPECT_EQ(lines[1], "1 / 5 correct best moves");
    EXPECT_EQ(lines[2].rfind("total nodes= ", 0), 0u);
    EXPECT_EQ(lines[3].rfind("total time= ", 0), 0u);
    EXPECT_EQ(lines[3].substr(lines[3].size() - 8), " seconds");
    EXPECT_EQ(lines[4].rfind("avg depth= ", 0), 0u);
    EXPECT_EQ(lines[5].rfind("avg nodes= ", 0), 0u);
    EXPECT_EQ(lines[6].rfind("node_rate= ", 0), 0u);
    EXPECT_EQ(lines[7], "avg bf= 2.00");
    EXPECT_EQ(lines[8], "score= 9 / 9");
    EXPECT_EQ(lines[9], "");
    const long long nodes = std::stoll(lines[2].substr(13));
    EXPECT_GT(nodes, 0);
    EXPECT_EQ(lines[5], "avg nodes= " + std::to_string(nodes / 5) + ".0");

    auto results = split_lines(read_file(directory.file("r.epd")));
    ASSERT_EQ(results.size(), 5u);
    EXPECT_EQ(results[4].rfind("rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - bm ", 0), 0u);
    results.pop_back();
    for (const std::string &line : results) EXPECT_EQ(line, "6k1/5ppp/8/8/8/8/8/R5K1 w - - bm a1a8; ce 9998;");
    EXPECT_TRUE(std::filesystem::exists(directory.file("tmp_0.epd")));
    EXPECT_EQ(std::filesystem::file_size(directory.file("tmp_0.epd")), 0u);
}

TEST(Anepd, CarriageReturnsMakeNoDifference) {
    ScratchDirectory directory;
    write_file(directory.file("s.epd"), with_crlf(SUITE));
    const ToolRun run = run_tool({"-anepd", "s.epd", "-d", "4"}, directory);
    EXPECT_NE(run.output.find("1 / 5 correct best moves\n"), std::string::npos) << run.output;
    EXPECT_EQ(split_lines(read_file(directory.file("tmp0.epd"))).size(), 5u);
}

TEST(Anepd, EmptySuite) {
    ScratchDirectory directory;
    write_file(directory.file("s.epd"), "");
    EXPECT_EQ(run_tool({"-anepd", "s.epd", "-d", "4"}, directory).output,
              "Analyzing s.epd...\n0 / 0 correct best moves\ntotal nodes= 0\ntotal time= 0.00 seconds\n"
              "avg depth= 0.0\navg nodes= 0.0\nnode_rate= 0\navg bf= 0.00\nscore= 0 / 0\n\n");
}

TEST(Anepd, MissingFilesAreReported) {
    ScratchDirectory directory;
    const ToolRun run = run_tool({"-anepd", "missing.epd", "-d", "4"}, directory);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "error reading missing.epd: No such file or directory\n");
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(std::filesystem::is_empty(directory.path));
}

TEST(Anepd, WithNoiseTheSearchesAreShown) {
    ScratchDirectory directory;
    write_file(directory.file("s.epd"), "6k1/5ppp/8/8/8/8/8/R5K1 w - - bm Ra8;\n");
    const ToolRun run = run_tool({"-anepd", "s.epd", "-d", "4", "-noise", "50000"}, directory);
    const auto lines = split_lines(run.output);
    ASSERT_GT(lines.size(), 14u) << run.output;
    EXPECT_EQ(lines[1], "pos= 1");
    EXPECT_EQ(lines[2], "6k1/5ppp/8/8/8/8/8/R5K1 w - - bm Ra8;");
    EXPECT_EQ(lines[3], "6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 0");
    EXPECT_NE(run.output.find("\nmove= a1a8, time= 0."), std::string::npos) << run.output;
    EXPECT_NE(run.output.find(", score= 9998, nodes= "), std::string::npos) << run.output;
}

// Lines of the result file that agree with the suite's own `bm`, counted apart from the summary.
TEST(Anepd, SummaryOfARealSuiteAgreesWithItsResultLines) {
    SKIP_WITHOUT_SHARED("data/epd/bratko-kopec.epd");
    start_engine();
    ScratchDirectory directory;
    const auto suite = read_lines(shared_path("data/epd/bratko-kopec.epd"));
    write_file(directory.file("bk.epd"), read_file(shared_path("data/epd/bratko-kopec.epd")));
    const ToolRun run = run_tool({"-anepd", "bk.epd", "-d", "6", "-o", "r.epd"}, directory);
    const auto results = split_lines(read_file(directory.file("r.epd")));
    ASSERT_EQ(results.size(), suite.size());
    int correct = 0;
    for (std::size_t i = 0; i < suite.size(); ++i) {
        EpdLine asked, answered;
        split_epd_line((suite[i] + "\n").c_str(), &asked);
        split_epd_line((results[i] + "\n").c_str(), &answered);
        set_position_from_text(&root_thread_state->position, asked.fen);
        Move good, played;
        char text[EPD_FIELD + 2];
        std::snprintf(text, sizeof text, "%s", asked.bm);
        if (!parse_san(&root_thread_state->position, text, &good)) continue;  // two joined moves
        std::snprintf(text, sizeof text, "%s", answered.bm);
        ASSERT_TRUE(parse_san(&root_thread_state->position, text, &played)) << results[i];
        correct += good == played;
    }
    char summary[64];
    std::snprintf(summary, sizeof summary, "%d / %d correct best moves", correct, static_cast<int>(suite.size()));
    EXPECT_EQ(split_lines(run.output)[1], summary);
}

TEST(Mkbook2, OneLineForEveryMoveNearTheFirst) {
    // The program of the test itself, so that the lines of the search can be looked at.
    start_engine();
    ScratchDirectory directory;
    const std::string input = directory.file("s.epd");
    write_file(input, "rnb1kbnr/pppp1ppp/8/4p1q1/4P3/8/PPPPNPPP/RNBQKB1R w KQkq - 0 1\n");
    std::snprintf(settings.in_file, sizeof settings.in_file, "%s", input.c_str());
    settings.multipv = 20;
    settings.max_depth = 5;
    const auto old_directory = std::filesystem::current_path();
    std::filesystem::current_path(directory.path);
    testing::internal::CaptureStdout();
    run_epd_suite("junk.epd", SUITE_EXPAND);
    testing::internal::GetCapturedStdout();
    std::filesystem::current_path(old_directory);

    std::vector<std::string> expected;
    Position *position = &root_thread_state->position;
    for (int i = 0; i < 20 && published.line_move[i]; ++i) {
        if (published.line_score[i] < published.line_score[0] - 100) continue;
        char fen[FEN_SIZE];
        ASSERT_TRUE(is_generated_legal_move(position, published.line_move[i]));
        make_move(position, published.line_move[i]);
        position_to_fen(position, fen, 0);
        unmake_move(position);
        expected.push_back(fen);
    }
    EXPECT_GT(expected.size(), 1u);
    EXPECT_LT(expected.size(), 20u);
    EXPECT_EQ(split_lines(read_file(directory.file("tmp_0.epd"))), expected);
    EXPECT_EQ(std::set<std::string>(expected.begin(), expected.end()).size(), expected.size());
    const auto junk = split_lines(read_file(directory.file("junk.epd")));
    ASSERT_EQ(junk.size(), 1u);
    EXPECT_EQ(junk[0].rfind("rnb1kbnr/pppp1ppp/8/4p1q1/4P3/8/PPPPNPPP/RNBQKB1R w KQkq - bm ", 0), 0u);
}

// A search that runs out of nodes leaves lines of two depths, in which a move can occur twice.
TEST(Mkbook2, NoPositionIsWrittenTwice) {
    SKIP_UNDER_THREAD_SANITIZER();
    ScratchDirectory directory;
    write_file(directory.file("s.epd"), std::string(START_FIELDS) +
                                            "\nr1bqkbnr/pppp1ppp/2n5/1B2p3/4P3/5N2/PPPP1PPP/"
                                            "RNBQK2R b KQkq -\n");
    for (const char *nodes : {"2000", "5000", "9000", "15000", "23000", "40000"}) {
        run_tool({"-mkbook2", "s.epd", "-n", nodes}, directory);
        const auto lines = split_lines(read_file(directory.file("tmp_0.epd")));
        EXPECT_GT(lines.size(), 2u) << nodes;
        EXPECT_EQ(std::set<std::string>(lines.begin(), lines.end()).size(), lines.size()) << nodes;
    }
}

TEST(Mkbook2, TheProgramWritesBothFiles) {
    ScratchDirectory directory;
    write_file(directory.file("s.epd"), std::string(START_FIELDS) + " 0 1\n7k/5Q2/6K1/8/8/8/8/8 b - -\n");
    const ToolRun run = run_tool({"-mkbook2", "s.epd", "-d", "4"}, directory);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(split_lines(read_file(directory.file("junk.epd"))).size(), 1u);  // the stalemate has no answer
    const auto lines = split_lines(read_file(directory.file("tmp_0.epd")));
    EXPECT_GE(lines.size(), 10u);
    EXPECT_LE(lines.size(), 20u);
    for (const std::string &line : lines) EXPECT_NE(line.find(" b KQkq "), std::string::npos) << line;
}
