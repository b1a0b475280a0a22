// Conversations with the running engine, whole lines compared.
#include <unistd.h>

#include <cstdio>

#include "gtest/gtest.h"

#include "protocol/session.h"
#include "support/sanitizers.h"
#include "support/timing.h"

TEST(Conversation, IdentityAndOptions) {
    Session engine;
    engine.program.send("uci");
    const Lines lines = engine.program.lines_until("uciok");
    ASSERT_EQ(lines.size(), 27u);
    EXPECT_EQ(lines[0], "id name Tarn 7.04");
    EXPECT_EQ(lines[1], "id author Ilse Marrow");
    // clang-format off
    const char *names[] = {"ConfigFilePath", "Hash", "Threads", "Clear Hash", "NN_File", "Use_NN_eval", "OwnBook",
                           "OwnBook_File", "OwnBook_Depth", "OwnBook2_File", "OwnBook2_Depth", "OwnBook_Variety",
                           "SyzygyPath", "SyzygyProbeDepth6", "Log", "Ponder", "MultiPV", "UCI_Chess960", "MoveOverhead",
                           "UCI_LimitStrength", "UCI_Elo", "UCI_Opponent", "Contempt", "Selectivity"};
    // clang-format on
    for (int i = 0; i < 24; ++i)
        EXPECT_EQ(lines[i + 2].rfind("option name " + std::string(names[i]) + " type ", 0), 0u) << lines[i + 2];
    EXPECT_EQ(lines[23], "option name UCI_Opponent type string default ");
    // The rating's default and maximum are the measured one.
    const std::string &elo = lines[22];
    ASSERT_TRUE(has_form(elo, "option name UCI_Elo type spin default [0-9]+ min 1500 max [0-9]+")) << elo;
    const std::size_t at = elo.find("default ") + 8;
    const std::string standard = elo.substr(at, elo.find(" min") - at), most = elo.substr(elo.rfind(' ') + 1);
    EXPECT_EQ(standard, most);
    const std::string &measured = engine.start_lines.back();
    EXPECT_NEAR(std::stod(most), std::stod(measured.substr(measured.find("elo= ") + 5)), 1.0);
}

TEST(Conversation, OptionsAnswerWithTheirValue) {
    Session engine;
    EXPECT_EQ(engine.ask("setoption name Threads value 0"), Lines{"info string Threads set to 0"});
    const Lines unsearched = engine.search("go depth 3");
    ASSERT_EQ(unsearched.size(), 1u) << "no thread, no search";
    EXPECT_NE(unsearched.back(), "bestmove null") << "but a move";
    EXPECT_EQ(engine.ask("setoption name Threads value"), Lines{"info string Threads set to 1"});
    EXPECT_EQ(engine.ask("setoption name Threads value 1"), Lines{"info string Threads set to 1"});
    EXPECT_EQ(engine.ask("setoption name Ponder value TRUE"), Lines{"info string Ponder set to 0"});
    EXPECT_EQ(engine.ask("setoption name UCI_Opponent value GM 2800 human Some Name"),
              Lines{"info string opponent_elo set to 2800"});
    EXPECT_EQ(engine.ask("setoption name Clear Hash"), Lines{"info string Hash table cleared"});
    EXPECT_EQ(engine.ask("setoption name hash value 1"), Lines{});
    EXPECT_EQ(engine.ask("setoption name Hash value 3"),
              (Lines{"info string Hash set to 3", "info string allocated 3 Mbytes for hash table",
                     "info string Cleared hash table"}));
    const Lines list = [&] {
        engine.program.send("uci");
        return engine.program.lines_until("uciok");
    }();
    EXPECT_TRUE(has_line(list, "option name Hash type spin default 3 min 0 max 32768"));
    EXPECT_TRUE(has_line(list, "option name Threads type spin default 1 min 1 max 160"));
}

TEST(Conversation, StopWhileIdleIsNotHeard) {
    Session engine;
    EXPECT_EQ(engine.ask("stop"), Lines{});
    EXPECT_EQ(engine.ask("ponderhit"), Lines{});
    EXPECT_EQ(engine.ask("debug off"), Lines{});
    EXPECT_EQ(engine.ask("nonsense words"), Lines{});
    EXPECT_EQ(engine.search("go depth 2").back().rfind("bestmove ", 0), 0u);
}

TEST(Conversation, AnInfiniteSearchEndsWithOneBestMove) {
    Session engine;
    engine.program.send("go infinite");
    engine.program.wait_for("info depth 6 ");
    engine.program.send("stop");
    const Lines lines = engine.program.lines_until("bestmove");
    // The line before the move is the final report.
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[lines.size() - 2].rfind("info depth ", 0), 0u);
    EXPECT_EQ(engine.ask("stop"), Lines{});
    EXPECT_EQ(quit_program(&engine.program), 0);
}

TEST(Conversation, AStopAtOnceIsStillAnsweredWithAMove) {
    Session engine;
    for (int i = 0; i < 50; ++i)
        for (const char *go : {"go infinite\nstop\n", "go ponder\nstop\n"}) {
            engine.program.send_bytes(go);
            ASSERT_NE(engine.program.wait_for("bestmove"), "bestmove null");
        }
}

TEST(Conversation, CommandsOfOneWriteRunInTurn) {
    Session engine;
    engine.program.send_bytes("position startpos moves e2e4\ngo depth 3\n");
    const std::string best = engine.program.wait_for("bestmove");
    engine.program.send_bytes("isready\r\n\r\nisready@isready\n");
    for (int i = 0; i < 3; ++i) engine.program.wait_for("readyok");
    EXPECT_NE(best, "bestmove null");
}

TEST(Conversation, ReadyokDuringASearch) {
    Session engine;
    engine.program.send("go infinite");
    engine.program.wait_for("info depth 3 ");
    engine.program.send("isready");
    engine.program.wait_for("readyok");
    engine.program.send("stop");
    engine.program.wait_for("bestmove");
}

TEST(Conversation, ACommandOutOfPlaceStopsTheProgram) {
    for (const char *line : {"position startpos", "setoption name Hash value 128", "ucinewgame", "go depth 5"}) {
        Session engine;
        engine.program.send("go infinite");
        engine.program.wait_for("info depth 3 ");
        engine.program.send(line);
        const std::string word = std::string(line).substr(0, std::string(line).find(' '));
        const Lines lines = engine.program.rest();
        EXPECT_TRUE(has_line(lines, "unexpected command " + word + ", stopping Tarn"));
        EXPECT_EQ(lines.back().rfind("bestmove ", 0), 0u) << "the search ends like any other";
        EXPECT_EQ(engine.program.wait_exit(), 0);
    }
}

TEST(Conversation, QuitDuringASearch) {
    Session engine;
    engine.ask("setoption name Threads value 3");
    engine.program.send("go infinite");
    engine.program.wait_for("info depth 4 ");
    EXPECT_EQ(quit_program(&engine.program), 0);
    Session pondering;
    pondering.program.send("go ponder wtime 1000 btime 1000");
    pondering.program.wait_for("info depth 4 ");
    EXPECT_EQ(quit_program(&pondering.program), 0);
}

TEST(Conversation, PonderhitTurnsTheSearchIntoATimedOne) {
    Session engine;
    EXPECT_TRUE(holds_once([&] {
        engine.program.send("go ponder wtime 3000 btime 3000");
        engine.program.wait_for("info depth 6 ");
        const double start = now_seconds();
        engine.program.send("ponderhit");
        engine.program.wait_for("bestmove");
        return now_seconds() - start < 3.0;
    }));
}

TEST(Conversation, APonderSearchThatEndsEarlyKeepsItsMove) {
    Session engine;
    // Mate in one: the search is over long before the opponent moves.
    engine.ask("position fen 6k1/5ppp/8/8/8/8/8/R3K3 w - - 0 1");
    engine.program.send("go ponder wtime 60000 btime 60000");
    for (const std::string &line : engine.program.lines_within(0.5)) EXPECT_NE(line.rfind("bestmove", 0), 0u) << line;
    EXPECT_EQ(engine.ask("ponder"), Lines{}) << "still listening";
    engine.program.send("stop");
    EXPECT_EQ(engine.program.wait_for("bestmove"), "bestmove a1a8");
    // The same with the opponent's move.
    engine.program.send("go ponder wtime 60000 btime 60000");
    engine.program.lines_within(0.3);
    engine.program.send("ponderhit");
    EXPECT_EQ(engine.program.wait_for("bestmove"), "bestmove a1a8");
}

TEST(Conversation, DrawsAreAnnouncedWithoutAMove) {
    Session engine;
    engine.ask("position fen 4k3/8/8/8/8/8/3R4/4K3 w - - 100 80");
    EXPECT_EQ(engine.ask("go depth 3"), Lines{"info string Draw!"});
    engine.ask("position startpos moves g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8");
    EXPECT_EQ(engine.ask("go depth 3"), Lines{"info string Draw!"});
    EXPECT_EQ(engine.ask("go ponder"), Lines{"info string Draw!"});
    engine.ask("position startpos moves g1f3 g8f6 f3g1 f6g8");
    EXPECT_NE(engine.search("go depth 3").back(), "bestmove null") << "a second time is no draw yet";
}

TEST(Conversation, NoMoveAtTheRoot) {
    Session engine;
    engine.ask("position fen 7k/5Q2/6K1/8/8/8/8/8 b - - 0 1");
    EXPECT_EQ(engine.search("go depth 5").back(), "bestmove null") << "stalemate";
    engine.ask("position fen R5k1/5ppp/8/8/8/8/8/4K3 b - - 0 1");
    EXPECT_EQ(engine.search("go movetime 100").back(), "bestmove null") << "mate";
}

TEST(Conversation, MovetimeAndClocksAreKept) {
    Session engine;
    EXPECT_TRUE(ends_within(2.0, [&] {
        const double start = now_seconds();
        engine.search("go movetime 200");
        EXPECT_GE(now_seconds() - start, 0.19);
    }));
    EXPECT_TRUE(ends_within(1.0, [&] { engine.search("go wtime 1000 btime 1000 movestogo 1"); }));
    EXPECT_TRUE(ends_within(1.0, [&] { engine.search("go wtime 0 btime 0"); }));
}

TEST(Conversation, ASingleReplyIsPlayedAtOnce) {
    Session engine;
    EXPECT_TRUE(ends_within(3.0, [&] {
        engine.ask("position fen 7k/8/8/8/8/8/6r1/r6K w - - 0 1");
        EXPECT_EQ(engine.search("go wtime 600000 btime 600000").back().substr(0, 13), "bestmove h1g2");
    }));
}

TEST(Conversation, DepthHoldsForLaterSearches) {
    Session engine;
    engine.search("go depth 5");
    EXPECT_EQ(info_value(engine.search("go wtime 600000 btime 600000"), "depth"), 5);
    const char *clock =
        UNDER_SANITIZER ? "go wtime 40000 btime 40000 movestogo 20" : "go wtime 2000 btime 2000 movestogo 20";
    EXPECT_GT(info_value(engine.search(clock), "depth"), 5);
}

TEST(Conversation, TheLogFollowsTheOption) {
    Session engine;
    engine.ask("setoption name Log value true");
    const std::string best = engine.search("go depth 3").back();
    engine.ask("setoption name Log value false");
    engine.ask("setoption name MoveOverhead value 11");
    engine.ask("setoption name Log value true");
    engine.ask("setoption name MoveOverhead value 12");
    EXPECT_EQ(quit_program(&engine.program), 0);
    const std::string log = read_text(engine.directory.file("tarn.log"));
    EXPECT_NE(log.find("CMD: go depth 3\n"), std::string::npos);
    EXPECT_NE(log.find("\n" + best + "\nCMD: setoption name Log value false\n"), std::string::npos);
    EXPECT_NE(log.find("set to 12\n"), std::string::npos);
    EXPECT_EQ(log.find("set to 11\n"), std::string::npos) << "nothing is written while the option is off";
}

TEST(Conversation, MovesAreInformationLinesInUciForm) {
    Session engine;
    const Lines lines = engine.search("go depth 5");
    const std::string form =
        "info depth [0-9]+ seldepth [0-9]+ score (cp|mate) -?[0-9]+ time [0-9]+ nodes [0-9]+ "
        "nps [0-9]+ tbhits 0 hashfull [0-9]+ pv( [a-h][1-8][a-h][1-8][qrbn]?)+";
    for (std::size_t i = 0; i + 1 < lines.size(); ++i) EXPECT_TRUE(has_form(lines[i], form)) << lines[i];
    EXPECT_TRUE(has_form(lines.back(), "bestmove [a-h][1-8][a-h][1-8] ponder [a-h][1-8][a-h][1-8]"));
}

TEST(Conversation, ChessWithOtherSetUps) {
    Session engine;
    engine.ask("setoption name UCI_Chess960 value true");
    EXPECT_EQ(
        engine.ask("position fen bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w GEge - 0 1 moves g2g3 g7g6 f1g1 f8g8"),
        Lines{});
    EXPECT_NE(engine.search("go depth 5").back(), "bestmove null");
}

TEST(Conversation, TheSameNodesAfterANewGame) {
    Session engine;
    const int budgets[] = {150,   300,   500,   800,   1200,  2000,  3000,   4500,   7000,   10000,
                           14000, 20000, 28000, 40000, 55000, 75000, 100000, 150000, 200000, 300000};
    for (const int budget : budgets) {
        if (UNDER_SANITIZER && budget > 40000) break;
        long long nodes[2];
        std::string best[2];
        for (int i = 0; i < 2; ++i) {
            engine.ask("ucinewgame");
            engine.ask("position startpos moves e2e4 c7c5 g1f3 d7d6");
            const Lines lines = engine.search("go nodes " + std::to_string(budget));
            nodes[i] = info_value(lines, "nodes");
            best[i] = lines.back();
        }
        EXPECT_EQ(nodes[0], nodes[1]) << budget;
        EXPECT_EQ(best[0], best[1]) << budget;
        EXPECT_GT(nodes[0], 0) << budget;
    }
}

TEST(Conversation, ALimitedStrengthSearchesFewerNodes) {
    Session engine;
    engine.ask("setoption name UCI_LimitStrength value true");
    engine.ask("setoption name UCI_Elo value 2000");  // about 170 nodes a second
    const Lines lines = engine.search("go movetime 1000");
    EXPECT_LT(info_value(lines, "nodes"), 5000);
}

// What the thread sanitizer is to look at: four threads with every way to end a search, the parallel
// clearing of a table that is large enough for it, and changes of the thread count.
TEST(Conversation, FourThreads) {
    Session engine;
    engine.ask("setoption name Threads value 4");
    engine.ask("setoption name Hash value 32");
    for (int i = 0; i < 3; ++i) {
        engine.ask("ucinewgame");
        engine.ask("position startpos moves e2e4 e7e5");
        engine.program.send("go infinite");
        engine.program.wait_for("info depth 7 ");
        engine.program.send("isready");
        engine.program.wait_for("readyok");
        engine.program.send("stop");
        engine.program.wait_for("bestmove");
        engine.program.send("go ponder wtime 1000 btime 1000");
        engine.program.wait_for("info depth 4 ");
        engine.program.send("ponderhit");
        engine.program.wait_for("bestmove");
        EXPECT_EQ(engine.ask("setoption name Clear Hash"), Lines{"info string Hash table cleared"});
        EXPECT_NE(engine.search("go depth 8").back(), "bestmove null");
        engine.ask("setoption name Threads value " + std::to_string(2 + i));
        EXPECT_NE(engine.search("go nodes 20000").back(), "bestmove null");
        engine.ask("setoption name Threads value 4");
        engine.search("go infinite\nstop");
    }
    EXPECT_EQ(quit_program(&engine.program), 0);
}

// Processor time of a process so far, in seconds.
static double processor_seconds(int process_id) {
    const std::string text = read_file("/proc/" + std::to_string(process_id) + "/stat");
    long user = 0, system = 0;
    std::sscanf(text.c_str() + text.rfind(')') + 1, " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %ld %ld", &user,
                &system);
    return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

TEST(Conversation, AnIdleEngineSleeps) {
    Session engine;
    engine.ask("position startpos");
    const double before = processor_seconds(engine.program.process_id());
    EXPECT_GT(before, 0.0);
    engine.program.lines_within(1.5);
    EXPECT_LT(processor_seconds(engine.program.process_id()) - before, 0.1);
}

TEST(Conversation, AfterTheEndOfInputASearchStillSleeps) {
    Session engine;
    engine.program.send("go movetime 1500");
    engine.program.wait_for("info depth 3 ");
    engine.program.close_input();
    // One core for the search; the thread that watches it must not take another.
    const double start = now_seconds(), before = processor_seconds(engine.program.process_id());
    engine.program.lines_within(1.0);
    EXPECT_LT(processor_seconds(engine.program.process_id()) - before, 1.3 * (now_seconds() - start));
    EXPECT_EQ(engine.program.rest().back().rfind("bestmove ", 0), 0u);
}
