// The reports of the console on an evaluation, to the character.
#include "eval/trace.h"

#include <cstring>
#include <string>

#include "board/fen.h"
#include "eval/handcrafted/hand_eval.h"
#include "eval/network/file.h"
#include "eval/network/forward.h"
#include "gtest/gtest.h"
#include "support/engine.h"
#include "support/shared_data.h"

namespace {

// With a network of zeros, so that its score is 0 wherever a test does not set a weight.
struct Trace : ::testing::Test {
    ThreadState *thread = start_engine();

    Trace() {
        std::memset(network.weights, 0, sizeof(i16) * static_cast<std::size_t>(network.weight_count));
        ++network.generation;
    }
    ~Trace() override {
        testing::internal::CaptureStdout();
        load_network();
        testing::internal::GetCapturedStdout();
    }
    void set(const std::string &fen) {
        set_position_from_text(&thread->position, fen.c_str());
        thread->eval.eval_ply = 1;
    }
    std::string terms(const std::string &fen, int mode = TRACE_TERMS, int quiescence_score = 0) {
        set(fen);
        testing::internal::CaptureStdout();
        trace_eval(&thread->eval, thread->position, mode, quiescence_score);
        return testing::internal::GetCapturedStdout();
    }
    std::string nodes(const std::string &fen) {
        set(fen);
        testing::internal::CaptureStdout();
        trace_network(&thread->eval, thread->position);
        return testing::internal::GetCapturedStdout();
    }
};

}  // namespace

TEST_F(Trace, TermTable) {
    EXPECT_EQ(terms("4qk2/3R3P/5P1K/5B2/8/8/8/8 b - -", TRACE_TERMS, -17),
              "           white  black      md\n"
              "pawns:        23      0     199\n"
              "knights:       0      0       0\n"
              "bishops:      80      0     394\n"
              "rooks:        83      0     675\n"
              "queens:        0      5    -1296\n"
              "king:        -44    -94       0\n"
              "ppawns:      382      0       0\n"
              "threats:       0      0       0\n"
              "special:       0     22       0\n"
              "free pawns on:  h7\n"
              "nne= 0, hce= -563, qscore= -17, mtl= 28, phase= 0.34, sf= 1.00, rule50= 0\n\n");
}

TEST_F(Trace, NoListsWhereNothingHangsOrRuns) {
    const std::string text = terms("4k3/8/8/8/8/8/8/4K3 w - - 12 40");
    EXPECT_EQ(text.find("hung pieces"), std::string::npos);
    EXPECT_EQ(text.find("free pawns"), std::string::npos);
    const char *const end =
        "special:      20      0       0\n"
        "nne= 0, hce= 13, qscore= 0, mtl= 0, phase= 0.00, sf= 1.00, rule50= 12\n\n";
    EXPECT_NE(text.find(end), std::string::npos) << text;
}

TEST_F(Trace, MaterialIsForTheSideToMove) {
    const std::string board = "rnbqkbnr/ppp1pppp/8/8/8/8/PPPPPPPP/RNBQKBNR";
    EXPECT_NE(terms(board + " w - -").find(" mtl= 100,"), std::string::npos);
    EXPECT_NE(terms(board + " b - -").find(" mtl= -100,"), std::string::npos);
}

TEST_F(Trace, LeavesTheSwitchOff) {
    terms("4k3/8/8/8/8/8/4P3/4K3 w - -");
    EXPECT_EQ(thread->eval.scratch.trace_on, 0);
}

TEST_F(Trace, ReferenceTables) {
    SKIP_WITHOUT_SHARED("golden/eval/trace.txt");
    std::string expected, shown;
    int count = 0;
    for (const std::string &line : read_lines(shared_path("golden/eval/trace.txt"))) {
        expected += line + "\n";
        if (line.rfind("position ", 0) != 0) continue;
        shown += line + "\n" + terms(line.substr(9)) + "\n";
        ++count;
    }
    EXPECT_GT(count, 50);
    EXPECT_EQ(shown, expected);
}

TEST_F(Trace, ParametersFollowTheTerms) {
    SKIP_WITHOUT_SHARED("golden/eval/parameters.txt");
    std::string expected = terms("4k3/8/8/8/8/8/4P3/4K3 w - -");
    for (const std::string &line : read_lines(shared_path("golden/eval/parameters.txt"))) expected += line + "\n";
    EXPECT_EQ(terms("4k3/8/8/8/8/8/4P3/4K3 w - -", TRACE_PARAMETERS), expected);
}

TEST_F(Trace, ParameterListing) {
    const std::string text = terms("4k3/8/8/8/8/8/4P3/4K3 w - -", TRACE_PARAMETERS);
    const char *const start =
        "rule50= 0\n\nmtl_pawn                 100 ,  100\n"
        "mtl_knight               388 ,  392\n";
    EXPECT_NE(text.find(start), std::string::npos);
    EXPECT_NE(text.find("stm_bonus                 28 ,   20\nPawn1\n"), std::string::npos);
    EXPECT_EQ(text.find("PST_"), std::string::npos);
    EXPECT_EQ(text.find("ttune"), std::string::npos);
    const char *const titles[] = {"\nPawn1\n",  "\nPawn2\n", "\nConnected Pawn\n", "\nDefended Pawn\n", "\nKnight\n",
                                  "\nBishop\n", "\nRook\n",  "\nQueen\n",          "\nKing \n"};
    std::size_t at = 0;
    for (const char *title : titles) {
        at = text.find(title, at);
        ASSERT_NE(at, std::string::npos) << title;
    }
}

// Two hidden nodes of the start position count: 40 centipawns from white's half, which is listed, and
// 5 from black's, which is only summed.
TEST_F(Trace, NetworkNodeByNode) {
    const int half = network.hidden_size / 2;
    ++network.generation;
    network.hidden_biases[3] = 1500;
    network.output_rows[3] = 150;
    network.hidden_biases[half + 7] = -6400;  // -100 after the activation
    network.output_rows[half + 7] = -300;
    EXPECT_EQ(nodes("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -"),
              "HL1wp nodes contributing more than 20 cp\n"
              "   3.   1500 *   150 ->     40\n"
              "HL1bp nodes contributing more than 20 cp\n"
              "\n nneval=    45, ev_wp=    40, ev_bp=     5, output node= 0\n\n"
              "\n hmin= -100, hmax= 1500\n\n");
    // With black to move the first half of the row belongs to black: nothing meets a weight.
    EXPECT_EQ(nodes("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq -"),
              "HL1wp nodes contributing more than 20 cp\n"
              "HL1bp nodes contributing more than 20 cp\n"
              "\n nneval=     0, ev_wp=     0, ev_bp=     0, output node= 0\n\n"
              "\n hmin= -100, hmax= 1500\n\n");
}
