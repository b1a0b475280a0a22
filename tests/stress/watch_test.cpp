// The stress driver finds the faults that it looks for.
#include "gtest/gtest.h"

#include "stress/watch.h"
#include "support/engine.h"

// What the watch says of the last line; "> " marks a line that is sent, "< " one that the engine says. Earlier faults
// fail the test.
static std::string fault_of(const std::vector<std::string> &lines) {
    start_engine();
    Watch watch;
    std::string fault;
    for (const std::string &line : lines) {
        EXPECT_EQ(fault, "") << "before " << line;
        if (line[0] == '>') watch_sent(&watch, line.substr(2));
        else fault = watch_said(&watch, line.substr(2));
    }
    start_engine();
    return fault;
}

TEST(StressWatch, ASoundConversation) {
    EXPECT_EQ(
        fault_of(
            {"< info string Hello from Tarn", "> isready", "< readyok", "> setoption name MultiPV value 2",
             "< info string MultiPV set to 2", "> position startpos moves e2e4", "> go depth 3",
             "< info multipv 1 depth 3 seldepth 5 score cp -12 time 1 nodes 95 nps 0 tbhits 0 hashfull 0 pv e7e5 g1f3",
             "> isready", "< readyok", "< info depth 3 time 1000 nodes 5 nps 5 hashfull 0",
             "< bestmove e7e5 ponder g1f3", "> isready", "< readyok"}),
        "");
}

TEST(StressWatch, Answers) {
    EXPECT_EQ(fault_of({"> go depth 3", "< bestmove e2e5"}), "an illegal move");
    EXPECT_EQ(fault_of({"> go depth 3", "< bestmove null"}), "an illegal move");
    EXPECT_EQ(fault_of({"> go depth 3", "< bestmove"}), "malformed \"bestmove\"");
    EXPECT_EQ(fault_of({"> go depth 3", "< bestmove e2e4 ponder e2e4"}), "an illegal move to ponder on");
    EXPECT_EQ(fault_of({"> go depth 3", "< bestmove e2e4", "< bestmove e2e4"}), "a \"bestmove\" that no search owes");
    EXPECT_EQ(fault_of({"> go ponder", "< bestmove e2e4"}), "a \"bestmove\" before \"ponderhit\" or \"stop\"");
    EXPECT_EQ(fault_of({"> go ponder", "> ponderhit", "< bestmove e2e4"}), "");
    EXPECT_EQ(fault_of({"> position fen 7k/5Q2/6K1/8/8/8/8/8 b - -", "> go", "< bestmove null"}), "");
    EXPECT_EQ(fault_of({"> position fen 7k/5Q2/6K1/8/8/8/8/8 b - -", "> go", "< bestmove h8g8"}),
              "a move where there is none");
}

TEST(StressWatch, Draws) {
    const std::string drawn = "> position startpos moves g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8";
    EXPECT_EQ(fault_of({drawn, "> go", "< info string Draw!"}), "");
    EXPECT_EQ(fault_of({drawn, "> go", "< bestmove e2e4"}), "a \"bestmove\" in a drawn game");
    EXPECT_EQ(fault_of({"> position startpos", "> go", "< info string Draw!"}), "no draw");
}

TEST(StressWatch, Castling) {
    const std::string position = "> position fen 4k3/8/8/8/8/8/8/R3K2R w KQ -";
    EXPECT_EQ(fault_of({position, "> go", "< bestmove e1g1"}), "");
    EXPECT_EQ(fault_of({position, "> go", "< bestmove e1h1"}), "an illegal move");
    EXPECT_EQ(fault_of({"> setoption name UCI_Chess960 value true", position, "> go", "< bestmove e1h1"}), "");
}

TEST(StressWatch, Information) {
    const auto during_search = [](const std::string &line) { return fault_of({"> go depth 3", "< " + line}); };
    const std::string line = "info depth 3 seldepth 5 score cp -12 time 1 nodes 95 nps 0 tbhits 0 hashfull 0 pv e2e4";
    EXPECT_EQ(during_search(line), "");
    EXPECT_EQ(during_search(line + " e2e4"), "an illegal move in the line");
    EXPECT_EQ(during_search(line.substr(0, line.size() - 5)), "no moves after \"pv\"");
    EXPECT_EQ(during_search(line.substr(0, line.size() - 8)), "malformed information");
    EXPECT_EQ(during_search("info depth 3 seldepth 5 score cp 99999 time 1 nodes 1 nps 0 tbhits 0 hashfull 0 pv e2e4"),
              "malformed information");
    EXPECT_EQ(during_search("info depth 3 time x nodes 5 nps 5 hashfull 0"), "malformed information");
    EXPECT_EQ(during_search("info depth"), "malformed information");
    EXPECT_EQ(fault_of({"> go depth 3", "< bestmove e2e4", "< " + line}), "a stray line");
}

TEST(StressWatch, OtherLines) {
    EXPECT_EQ(fault_of({"> isready", "< readyok", "> isready", "> setoption name MultiPV value 2", "< readyok",
                        "< info string MultiPV set to 2"}),
              "");
    EXPECT_EQ(fault_of({"< readyok"}), "a \"readyok\" that nobody asked for");
    EXPECT_EQ(fault_of({"> isready", "< readyok", "< readyok"}), "a \"readyok\" that nobody asked for");
    EXPECT_EQ(fault_of({"> isready", "< readyok", "< info string MultiPV set to 2"}), "a stray line");
    EXPECT_EQ(fault_of({"> isready", "< readyok", "< info string Hello from Tarn"}), "a stray line");
    EXPECT_EQ(fault_of({"> uci", "< id name Tarn", "< uciok", "< uciok"}), "a stray line");
    EXPECT_EQ(fault_of({"> go", "< unexpected command go, stopping Tarn"}), "a stray line");
    EXPECT_EQ(fault_of({"> go", "< "}), "a stray line");
}
