// The reports: hash line, exchanges, evaluation.
#include "control/console/report.h"
#include "support/positions.h"

#include <cstring>

#include "board/fen.h"
#include "eval/network/forward.h"
#include "search/hash_table.h"
#include "search/search_state.h"
#include "support/console_fixture.h"

namespace {

using ConsoleReport = ConsoleFixture;

TEST_F(ConsoleReport, HashLine) {
    expect_board("pv", "PV: \n\n");
    // Two moves of a line in the hash, then an end.
    Position *position = &root_thread_state->position;
    hash_store(position, 1, 7, word_of("e2e4"), 10, 20, BOUND_EXACT);
    play({"e4"});
    hash_store(position, 1, 7, word_of("e7e5"), 10, 20, BOUND_EXACT);
    run("undo");
    expect_board("pv", "PV: e2e4 e7e5\n\n");
    EXPECT_EQ(fen(), STARTPOS_FEN);
    EXPECT_EQ(game_ply(), 0);
}

TEST_F(ConsoleReport, Swap) {
    EXPECT_EQ(run("swap"), "");
    run("fen 4k3/8/3p4/3Pp3/3N4/8/8/4K3 w - -");
    EXPECT_EQ(run("swap"), "sq= d4, swap1=  350\n");
    run("fen 4k3/8/3p4/4p3/3N4/2P5/8/4K3 b - -");
    EXPECT_EQ(run("swap"), "sq= d4, swap1=  250\n");
    run("fen 4k3/8/8/4p3/3N4/8/2P5/q3K3 w - -");  // the king in check
    EXPECT_EQ(run("swap"), "sq= e1, swap1= 9999\nsq= d4, swap1=  350\n");
    run("fen 8/8/3k4/4N3/5P2/8/8/4K3 w - -");  // a king never takes into a defended square
    EXPECT_EQ(run("swap"), "sq= e5, swap1=    0\n");
    run("fen 3r4/6k1/8/8/3R4/8/8/3RK3 w - -");  // rook for rook, and a rook for nothing
    EXPECT_EQ(run("swap"), "sq= d4, swap1=    0\nsq= d8, swap1=  550\n");
    run("fen 4k3/3r4/8/8/3R4/8/8/3RK3 w - -");  // a king can't take back what is attacked twice
    EXPECT_EQ(run("swap"), "sq= d4, swap1=    0\nsq= d7, swap1=  550\n");
}

TEST_F(ConsoleReport, NetworkReport) {
    const std::string printed = run("ev2");
    EXPECT_EQ(printed.rfind("HL1wp nodes contributing more than 20 cp\n", 0), 0u);
    EXPECT_NE(printed.find("HL1bp nodes contributing more than 20 cp\n"), std::string::npos);
    const std::size_t at = printed.find("\n nneval= ");
    ASSERT_NE(at, std::string::npos);
    int total = 0, white = 0, black = 0, head = -1, low = 1, high = 0;
    ASSERT_EQ(std::sscanf(printed.c_str() + at,
                          "\n nneval= %d, ev_wp= %d, ev_bp= %d, output node= %d\n\n\n hmin= %d, hmax= %d\n\n", &total,
                          &white, &black, &head, &low, &high),
              6);
    EXPECT_NEAR(total, white + black, 1);
    EXPECT_EQ(head, 0);
    EXPECT_LT(low, high);
    // The two halves change places with the side to move; the sum is its score.
    play({"e4"});
    EXPECT_NE(run("ev2").find(" nneval= "), std::string::npos);
}

TEST_F(ConsoleReport, EvaluationNamesTheLastMoveAndLeavesTheSettings) {
    settings.max_depth = 33;
    EXPECT_EQ(run("ev").find("last move was"), std::string::npos);
    play({"e4"});
    EXPECT_EQ(run("ev").rfind("last move was 1. e2e4\n", 0), 0u);
    play({"e5"});
    EXPECT_EQ(run("ev").rfind("last move was 1... e7e5\n", 0), 0u);
    play({"Nf3"});
    EXPECT_EQ(run("ev").rfind("last move was 2. g1f3\n", 0), 0u);
    EXPECT_EQ(settings.max_depth, 33);
    EXPECT_EQ(read_search_state(), 0);
    EXPECT_EQ(game_ply(), 3);
}

TEST_F(ConsoleReport, NetworkReportIsTheNetworksScore) {
    for (const char *text :
         {"fen r1bqk2r/pp2bppp/2n1pn2/2pp4/3P1B2/2PBPN2/PP1N1PPP/R2QK2R w KQkq -",
          "fen 3r1rk1/p2b3p/5b2/2pp2p1/4p3/6PP/P2BPPB1/1R3RK1 b - -", "fen 8/8/4k3/8/2R5/4K3/8/8 w - -"}) {
        run(text);
        const std::string printed = run("ev2");
        const std::size_t at = printed.find(" nneval= ");
        ASSERT_NE(at, std::string::npos);
        int score = 0;
        ASSERT_TRUE(network_eval(&root_thread_state->eval, root_thread_state->position, &score));
        EXPECT_NEAR(std::atoi(printed.c_str() + at + 9), score, 1) << text;
    }
}

constexpr const char *TERMS_HEAD = "           white  black      md\npawns:  ";

TEST_F(ConsoleReport, TermsBeforeEveryBoardWithDebugOn) {
    run("set debug 1");
    for (const char *line : {"bd", "undo"}) {
        if (!std::strcmp(line, "undo")) play({"e4"});
        EXPECT_EQ(run(line).rfind(TERMS_HEAD, 0), 0u) << line;
    }
    const std::string printed = run("e4");
    EXPECT_EQ(printed.rfind(std::string("1. move e4\n") + TERMS_HEAD, 0), 0u);
    EXPECT_LT(printed.find("nne= "), printed.find("rnbqkbnr/"));
    run("set debug 0");
    EXPECT_EQ(run("bd").rfind("rnbqkbnr/", 0), 0u);
}

TEST_F(ConsoleReport, EvaluationReports) {
    const std::string terms = run("ev");
    ASSERT_NE(terms.find(TERMS_HEAD), std::string::npos);
    EXPECT_EQ(terms.find("hung pieces on:"), std::string::npos);
    EXPECT_EQ(terms.find("free pawns on:"), std::string::npos);
    const std::string table = terms.substr(terms.find(TERMS_HEAD));
    const std::string parameters = run("sp");
    EXPECT_EQ(parameters.compare(0, table.size(), table), 0);  // the same, and then the parameters
    EXPECT_NE(parameters.find("mtl_pawn                 100 ,  100\n"), std::string::npos);
    EXPECT_NE(parameters.find("\nKing \n"), std::string::npos);
    run("fen 6k1/8/P7/8/8/8/8/6K1 b - -");
    const std::string passer = run("ev");
    EXPECT_NE(passer.find("free pawns on:  a6\n"), std::string::npos);
    EXPECT_NE(passer.find(", mtl= -"), std::string::npos);  // from the view of the side to move
}

}  // namespace
