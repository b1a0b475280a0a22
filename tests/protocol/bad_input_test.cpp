// Input that no front end should send: one clear line at most, and the engine goes on.
#include <fstream>

#include "gtest/gtest.h"

#include "protocol/session.h"

// The engine still answers and still plays.
static void expect_alive(Session *engine) {
    engine->ask("position startpos");
    const std::string best = engine->search("go depth 3").back();
    EXPECT_EQ(best.rfind("bestmove ", 0), 0u);
    EXPECT_NE(best, "bestmove null");
    EXPECT_EQ(quit_program(&engine->program), 0);
}

TEST(BadInput, PositionsThatNoSearchCanStand) {
    Session engine;
    const struct {
        const char *fen, *reason;
    } cases[] = {
        {"8/8/8/8/8/8/8/8 w - -", "each side needs exactly one king"},
        {"4k3/8/8/8/8/8/8/8 w - -", "each side needs exactly one king"},
        {"4k3/8/8/8/8/8/8/KK6 w - -", "each side needs exactly one king"},
        {"4k3/4R3/8/8/8/8/8/4K3 w - -", "the side not to move is in check"},
        {"4k3/8/8/8/8/8/8/P3K3 w - -", "a pawn stands on the first or last rank"},
        {"p3k3/8/8/8/8/8/8/4K3 w - -", "a pawn stands on the first or last rank"},
        {"QQQQkQQQ/8/8/8/8/QQQQQQQQ/QQQQQQQQ/QQQQKQQQ b - -", "a side has more than 16 men"},
        {"", "each side needs exactly one king"},
        {"rnbqkbnr/pppppppppppppppppppppp/ppppppppppppppppppppppp/9999/RNBQKBNR w KQkq -",
         "each side needs exactly one king"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(engine.ask(std::string("position fen ") + c.fen), Lines{});
        for (const char *go : {"go depth 5", "go ponder", "go infinite"}) {
            const Lines lines = engine.ask(go);
            ASSERT_EQ(lines.size(), 2u) << c.fen;
            EXPECT_EQ(lines[0].rfind("info string can't search this position: ", 0), 0u) << lines[0];
            EXPECT_EQ(lines[1], "bestmove null");
        }
        if (c.fen[0] && c.fen[0] != 'r') {
            EXPECT_EQ(engine.ask("go depth 1")[0], std::string("info string can't search this position: ") + c.reason);
        }
    }
    expect_alive(&engine);
}

TEST(BadInput, AnEnPassantSquareWithoutItsPawn) {
    Session engine;
    for (const char *fen :
         {"4k3/8/8/3P4/8/8/8/4K3 w - e6", "4k3/8/8/3P4/8/8/8/4K3 w - a1", "4k3/8/8/3P4/8/8/8/4K3 w - z9",
          "4k3/4p3/8/3P4/8/8/8/4K3 w - e6", "4k3/8/4n3/3Pp3/8/8/8/4K3 w - e6"}) {
        EXPECT_EQ(engine.ask(std::string("position fen ") + fen), Lines{});
        EXPECT_NE(engine.search("go depth 8").back(), "bestmove null") << fen;
    }
    expect_alive(&engine);
}

TEST(BadInput, MovesThatCannotBeMade) {
    Session engine;
    EXPECT_EQ(engine.ask("position startpos moves e2e4 e2e4 e7e5"),
              Lines{"info string move e2e4 can't be played here, the list of moves ends before it"});
    // One move was made: black answers.
    const std::string best = engine.search("go depth 4").back();
    EXPECT_TRUE(best[10] == '7' || best[10] == '8') << best;
    for (const char *move : {"e7e4", "e1e2", "e8g8", "0000", "x", "-", "e7e8q", "a9a1"})
        EXPECT_EQ(engine.ask(std::string("position startpos moves e2e4 ") + move).size(), 1u) << move;
    expect_alive(&engine);
}

TEST(BadInput, GamesOfAnyLength) {
    Session engine;
    std::string line = "position startpos moves";
    for (int i = 0; i < 225; ++i) line += " g1f3 g8f6 f3g1 f6g8";
    ASSERT_GT(line.size(), 4500u);
    EXPECT_EQ(engine.ask(line), Lines{});
    EXPECT_EQ(engine.ask("go depth 3"), Lines{"info string Draw!"}) << "the whole line arrived";
    for (int i = 0; i < 1500; ++i) line += " g1f3 g8f6 f3g1 f6g8";
    EXPECT_EQ(engine.ask(line + " e2e4"), Lines{});
    const std::string best = engine.search("go depth 6").back();
    EXPECT_TRUE(best[10] == '7' || best[10] == '8') << best;
    expect_alive(&engine);
}

TEST(BadInput, LinesOfAMegabyte) {
    Session engine;
    const std::string megabyte(1 << 20, 'x');
    EXPECT_EQ(engine.ask(megabyte), Lines{});
    EXPECT_EQ(engine.ask("setoption name OwnBook_File value " + megabyte).size(), 1u);
    EXPECT_EQ(engine.ask("setoption name " + megabyte + " value 3"), Lines{});
    EXPECT_EQ(engine.ask("position fen " + megabyte), Lines{});
    EXPECT_EQ(engine.ask("position startpos moves " + megabyte).size(), 1u);
    EXPECT_EQ(engine.ask("debug " + megabyte), Lines{});
    EXPECT_EQ(engine.ask("position startpos"), Lines{});
    EXPECT_NE(engine.search("go depth 2 " + megabyte).back(), "bestmove null");
    expect_alive(&engine);
}

TEST(BadInput, AMegabyteWithoutALineEndDuringASearch) {
    Session engine;
    engine.program.send("go infinite");
    engine.program.wait_for("info depth 3 ");
    engine.program.send_bytes(std::string(1 << 20, 'y'));
    engine.program.send("");
    engine.program.send("stop");
    engine.program.wait_for("bestmove");
    expect_alive(&engine);
}

TEST(BadInput, BytesOfEveryKind) {
    Session engine;
    std::string bytes;
    u_int32_t random = 12345;
    for (int i = 0; i < 200000; ++i) {
        random = random * 1664525u + 1013904223u;
        bytes += static_cast<char>(random >> 24);
    }
    engine.program.send_bytes(bytes + "\n");
    expect_alive(&engine);
}

TEST(BadInput, CommandsWithoutTheirRest) {
    Session engine;
    for (const char *line :
         {"position", "position ", "position fen", "position moves", "position startpos moves", "setoption",
          "setoption name", "setoption value", "setoption name value", "debug", "register", "go_on"})
        EXPECT_LE(engine.ask(line).size(), 1u) << line;
    expect_alive(&engine);
}

TEST(BadInput, GoWithAbsurdNumbers) {
    Session engine;
    for (const char *go :
         {"go depth 0", "go depth -5", "go nodes 0", "go nodes -1", "go movetime 0", "go movetime -100",
          "go wtime -1 btime -1", "go wtime 100 btime 100 movestogo 0", "go wtime 100 btime 100 movestogo -1",
          "go wtime 300 btime 300 winc -1000 binc -1000", "go depth 99999999999999999999 movetime 50"}) {
        engine.ask("position startpos");
        EXPECT_EQ(engine.search(go).back().rfind("bestmove ", 0), 0u) << go;
        engine.search("go infinite movetime 1\nstop");
    }
    EXPECT_EQ(quit_program(&engine.program), 0);
}

TEST(BadInput, ANetworkThatIsNone) {
    Session engine;
    write_file(engine.directory.file("short.bin"), "abc");
    engine.ask("setoption name NN_File value short.bin");
    expect_alive(&engine);
}

TEST(BadInput, AReaderThatGoesAway) {
    Session engine;
    engine.program.close_output();
    engine.program.send("go depth 5");
    engine.program.send("isready");
    engine.program.close_input();
    EXPECT_EQ(engine.program.wait_exit(), 0);
}
