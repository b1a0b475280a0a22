// Information lines: scores at the edge of mate, folding, when a line is printed.
#include "search/report.h"

#include "base/settings.h"
#include "board/fen.h"
#include "gtest/gtest.h"
#include "search/search_state.h"
#include "search/start.h"
#include "support/engine.h"
#include "support/positions.h"

namespace {

class Report : public testing::Test {
protected:
    Relaxed<u16> pv[PV_SIZE];

    void SetUp() override {
        start_engine();
        settings.info_min_time = 0.0f;
        set_up(STARTPOS_FEN);
        search_setup(limits_of_settings());
    }
    // Knights go out and back: as many half-moves as wanted.
    void fill_line(int moves) {
        static const char *const TEXTS[] = {"g1f3", "g8f6", "f3g1", "f6g8"};
        for (Relaxed<u16> &word : pv) word = 0;
        for (int i = 0; i < moves; ++i) pv[i + 1] = word_of(TEXTS[i % 4]);
    }
    std::string line(int depth, int score, int line_number = 1) {
        testing::internal::CaptureStdout();
        report_iteration(0, line_number, depth, score, pv);
        return testing::internal::GetCapturedStdout();
    }
    std::string score_part(int score) {
        const std::string text = line(5, score);
        const std::size_t from = text.find("score ");
        return text.substr(from, text.find(" time") - from);
    }
};

// Mate in n moves scores 10000 - 2n + 1 at the node before the mate, so 9900 prints (10000 - 9900) / 2 = 50.
TEST_F(Report, ScoresAtTheEdgeOfMate) {
    fill_line(1);
    EXPECT_EQ(score_part(9899), "score cp 9899");
    EXPECT_EQ(score_part(9900), "score mate 50");
    EXPECT_EQ(score_part(9998), "score mate 1");
    EXPECT_EQ(score_part(-9900), "score cp -9900");
    EXPECT_EQ(score_part(-9901), "score mate -50");
    EXPECT_EQ(score_part(-9999), "score mate -1");
}

TEST_F(Report, NoLineWithoutAMoveOrADepth) {
    fill_line(0);
    EXPECT_EQ(line(5, 10), "");
    fill_line(1);
    EXPECT_EQ(line(0, 10), "");
    EXPECT_NE(line(1, 10), "");
}

TEST_F(Report, NotBeforeInfoMinTimeUnlessTheSearchIsOver) {
    fill_line(1);
    search_limits.info_min_time = 1000.0f;
    EXPECT_EQ(line(5, 10), "");
    search_run.stop = 1;
    EXPECT_NE(line(5, 10), "");
    search_limits.info_min_time = INFO_NEVER;
    EXPECT_EQ(line(5, 10), "");
}

TEST_F(Report, LineNumbersWithMultiPv) {
    fill_line(1);
    EXPECT_EQ(line(5, 10, 2).find("multipv"), std::string::npos);
    search_limits.multipv = 3;
    EXPECT_NE(line(5, 10, 2).find("info multipv 2 depth 5"), std::string::npos);
}

// The console shows 8 moves while the search runs and 32 at its end, eight a line, the next lines indented by 30.
TEST_F(Report, TheConsoleFoldsItsLines) {
    settings.uci_mode = 0;
    fill_line(40);
    const std::string running = line(5, 10);
    EXPECT_EQ(running.find("\n                              "), std::string::npos);
    search_run.stop = 1;
    const std::string text = line(5, 10);
    const std::string eight = "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8", fold = "\n                              ";
    EXPECT_NE(text.find("10  " + eight + fold + eight + fold + eight + fold + eight + "\n"), std::string::npos) << text;
    EXPECT_NE(running.find("10  " + eight + "\n"), std::string::npos) << running;
}

}  // namespace
