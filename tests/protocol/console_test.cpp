// The console as a person has it: the real program with -c, through a pipe and at a terminal.
#include <cstring>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "support/program.h"
#include "support/shared_data.h"

namespace {

using Lines = std::vector<std::string>;

// The console at work in a directory of its own, its start-up lines and first board read.
struct Console {
    ScratchDirectory directory;
    Program program;

    explicit Console(bool terminal = false, bool hinted = true) : program(setup(directory.path, terminal)) {
        program.wait_for("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0");
        program.wait_for("white");
        std::string empty;
        program.read_line(&empty);  // the end of the board
        if (!hinted) return;
        program.send("nonsense");  // the hint at `help` comes once
        program.wait_for("type help");
    }
    static ProgramSetup setup(const std::string &directory, bool terminal) {
        ProgramSetup setup;
        setup.arguments = {"-c"};
        setup.directory = directory;
        setup.terminal = terminal;
        return setup;
    }
    // Sends a line and gives what is printed up to the next line with this start.
    Lines ask(const std::string &line, const std::string &last) {
        program.send(line);
        return program.lines_until(last);
    }
    // Nonsense has an answer of its own, so it marks the end of what came before it.
    Lines all_of(const std::string &line) {
        program.send(line);
        program.send("nonsense");
        Lines lines = program.lines_until("invalid: a1a1");
        lines.pop_back();
        return lines;
    }
};

constexpr const char *START_BOARD[] = {"  r n b q k b n r",
                                       "  o o o o o o o o",
                                       "  - + - + - + - +",
                                       "  + - + - + - + -",
                                       "  - + - + - + - +",
                                       "  + - + - + - + -",
                                       "  P P P P P P P P",
                                       "  R N B Q K B N R",
                                       "white",
                                       ""};

TEST(ConsoleProgram, StartsWithTheBoard) {
    ScratchDirectory directory;
    int status = -1;
    const Lines lines = run_program({"-c"}, "quit\n", directory.path, &status);
    EXPECT_EQ(status, 0);
    Lines board{"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0"};
    for (const char *line : START_BOARD) board.push_back(line);
    ASSERT_GE(lines.size(), board.size());
    EXPECT_EQ(Lines(lines.end() - static_cast<std::ptrdiff_t>(board.size()), lines.end()), board);
}

TEST(ConsoleProgram, AConversation) {
    Console console;
    Lines lines = console.all_of("e4");
    ASSERT_EQ(lines.size(), 12u);
    EXPECT_EQ(lines[0], "1. move e4");
    EXPECT_EQ(lines[1], "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1");
    EXPECT_EQ(lines[6], "  - + - + P + - +");
    EXPECT_EQ(lines[10], "black");
    EXPECT_EQ(lines[11], "");
    EXPECT_EQ(console.all_of("undo")[0], "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0");
    EXPECT_EQ(console.all_of("undo").size(), 0u);
    EXPECT_EQ(console.all_of("]")[0], "1. move e2e4");
    EXPECT_EQ(quit_program(&console.program), 0);
}

// A line that is no move is answered, and "nonsense" after it too.
TEST(ConsoleProgram, Nonsense) {
    Console console;
    for (const std::string &line :
         {std::string("xyzzy"), std::string(200000, 'x'), std::string("\x01\x02\xff"), std::string("e9")}) {
        console.program.send(line);
        EXPECT_EQ(console.program.wait_for("invalid: "), "invalid: a1a1");
    }
    for (const char *line : {"load nowhere.pgn Somebody",
                             "get nobody",
                             "jump",
                             "set",
                             "set level",
                             "trace",
                             "fen x/y/z w KQkq e3",
                             "perft 2",
                             "ev",
                             "ev2",
                             "sp",
                             "pv",
                             "swap",
                             "bd",
                             "]",
                             "reverse",
                             "save",
                             "tag",
                             "lmr",
                             "book"})
        console.all_of(line);
    EXPECT_EQ(quit_program(&console.program), 0);
}

TEST(ConsoleProgram, GoAnalysesAndMakesNoMove) {
    Console console;
    const Lines lines = console.ask("go 5", "Hash fill= ");
    bool depth_line = false;
    for (const std::string &line : lines) {
        EXPECT_NE(line.rfind("bestmove", 0), 0u);
        depth_line |= line.rfind("00] 05", 0) == 0;
    }
    EXPECT_TRUE(depth_line);
    EXPECT_EQ(lines[lines.size() - 2].rfind("move= ", 0), 0u);
    EXPECT_EQ(console.all_of("bd")[0], "");  // the statistics end with an empty line
    EXPECT_EQ(console.all_of("bd")[0], "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0");
    EXPECT_EQ(quit_program(&console.program), 0);
}

TEST(ConsoleProgram, ADotEndsASearch) {
    Console console;
    console.program.send("go");
    console.program.send("e4");  // dropped: a search runs
    console.program.lines_within(0.3);
    console.program.send(".");
    EXPECT_NE(console.program.wait_for("move= "), "");
    console.program.wait_for("Hash fill= ");
    console.all_of("tag");
    EXPECT_EQ(console.all_of("bd")[0], "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0");
    EXPECT_EQ(quit_program(&console.program), 0);
}

// Quiescence alone takes minutes here. The line after "ev" is kept, "." and "quit" are obeyed.
TEST(ConsoleProgram, EvaluationOfACrowdedPositionCanBeEnded) {
    const std::string crowded = "fen kqQq1qN1/2QQQ1NQ/1qNn3q/1q3Qq1/2qQ4/1n3Qq1/n5Q1/n2K1Q1Q w - -";
    Console console;
    console.all_of(crowded);
    console.program.send("ev");
    console.program.lines_within(0.5);
    console.program.send(".");
    console.program.wait_for("nne= ");
    EXPECT_EQ(console.all_of("fen 8/8/4k3/8/2R5/4K3/8/8 w - -").back(), "");
    console.ask("ev", "nne= ");
    console.all_of(crowded);
    console.program.send("ev");
    EXPECT_EQ(quit_program(&console.program), 0);
}

TEST(ConsoleProgram, MvPlaysAMove) {
    Console console;
    console.all_of("set depth 3");
    console.all_of("set level 40 10:00 0");
    console.program.send("mv");
    const std::string statistics = console.program.wait_for("move= ");
    const std::string move = statistics.substr(6, 4);
    console.program.wait_for("black");  // it is on the board
    console.all_of("undo");
    EXPECT_EQ(console.all_of("]")[0], "1. move " + move);
    EXPECT_EQ(quit_program(&console.program), 0);
}

TEST(ConsoleProgram, SelfOnADrawnPosition) {
    Console console;
    console.all_of("fen 4k3/8/8/8/8/8/8/4K2R w - - 100 90");
    console.program.send("self");
    EXPECT_EQ(console.program.wait_for("info string Draw!"), "info string Draw!");
    EXPECT_EQ(console.all_of("swap").size(), 0u);  // idle again
    EXPECT_EQ(quit_program(&console.program), 0);
}

TEST(ConsoleProgram, SelfPlaysToTheEnd) {
    Console console;
    console.all_of("fen 7k/8/5K2/6Q1/8/8/8/8 w - -");
    console.all_of("set depth 4");
    console.program.send("self");
    bool mate = false;
    std::string line;
    while (!mate && console.program.read_line(&line, 20)) mate = line.rfind("move= null", 0) == 0;
    EXPECT_TRUE(mate);
    EXPECT_EQ(quit_program(&console.program), 0);
}

TEST(ConsoleProgram, Edit) {
    Console console;
    console.program.send("edit\n#\nw Ke1 Ra1 ph2\nx Qa1\nb kg8 Pg7 Rz9 Qa8\n.\nnonsense");
    Lines lines = console.program.lines_until("invalid: a1a1");
    const Lines help{"",
                     "",
                     ".                    end edit",
                     "#                    clear board",
                     "w  Pa2 Pb2 Kc2       white, pieces",
                     "b  Pa7 Pb7 Kc7       black, pieces"};
    ASSERT_GT(lines.size(), help.size());
    EXPECT_EQ(Lines(lines.begin(), lines.begin() + 6), help);
    EXPECT_EQ(lines[6], "6k1/6p1/8/8/8/8/7P/R3K3 b Q - 0 0");  // the line of z9 ended there
    // Without '#' the board stays; a letter that is no piece empties its square; "KQkq" is granted anew.
    console.program.send("edit\nb  xg7\nw Rh1 Xa1\n.\nnonsense");
    lines = console.program.lines_until("invalid: a1a1");
    bool found = false;
    for (const std::string &line : lines) found |= line == "6k1/8/8/8/8/8/7P/4K2R w K - 0 0";
    EXPECT_TRUE(found);
    EXPECT_EQ(quit_program(&console.program), 0);
}

// Blanks around the dot and the other lines do no harm.
TEST(ConsoleProgram, EditWithBlanks) {
    for (const char *end : {". ", "  .  ", ".\t"}) {
        Console console;
        console.program.send(std::string("edit\n # \n  w Ke1 Rh1 \nb Ke8\n") + end + "\nnonsense");
        const Lines lines = console.program.lines_until("invalid: a1a1");
        bool found = false;
        for (const std::string &line : lines) found |= line == "4k3/8/8/8/8/8/8/4K2R b K - 0 0";
        EXPECT_TRUE(found) << end;
        EXPECT_EQ(quit_program(&console.program), 0);
    }
}

TEST(ConsoleProgram, EditMayLoseAKing) {
    Console console;
    console.program.send("edit\nw xe1\n.");
    console.all_of("e4");
    console.all_of("perft 3");
    EXPECT_EQ(console.ask("go", "info string can't").back().rfind("info string can't search", 0), 0u);
    console.program.send("edit\n#\nw Ka1\nb Ka8 Kh8\nw xa1 Kb1\n.");
    console.all_of("ev");
    EXPECT_EQ(quit_program(&console.program), 0);
}

TEST(ConsoleProgram, InputEndsInsideEdit) {
    ScratchDirectory directory;
    int status = -1;
    const Lines lines = run_program({"-c"}, "edit\n#\nw Ke1 Ra1\nb Kg8", directory.path, &status);
    EXPECT_EQ(status, 0);
    bool found = false;
    for (const std::string &line : lines) found |= line == "6k1/8/8/8/8/8/8/R3K3 b Q - 0 0";
    EXPECT_TRUE(found);
}

TEST(ConsoleProgram, Perft) {
    Console console;
    const auto visited = [&console](const std::string &line) {
        console.program.send(line);
        const std::string answer = console.program.wait_for("visited ");
        return answer.substr(0, answer.find(" nodes in "));
    };
    EXPECT_EQ(visited("perft 0"), "visited 20");
    EXPECT_EQ(visited("perft"), "visited 20");
    EXPECT_EQ(visited("perft 5"), "visited 4865609");
    console.all_of("set frc 1");
    console.all_of("fen nr1qkr1b/ppp1pp1p/4bn2/3p2p1/4P3/1Q6/PPPP1PPP/NRB1KRNB w FBfb -");
    EXPECT_EQ(visited("perft 4"), "visited 942138");
    console.program.send("perft 1");
    const std::string answer = console.program.wait_for("visited ");
    double nodes = 0, seconds = 0, rate = 0;
    EXPECT_EQ(std::sscanf(answer.c_str(), "visited %lf nodes in %lf seconds, nps= %lf", &nodes, &seconds, &rate), 3);
    EXPECT_GT(rate, 0);
    EXPECT_EQ(quit_program(&console.program), 0);
}

TEST(ConsoleProgram, UciLeavesTheConsole) {
    Console console;
    console.program.send("uci");
    console.program.wait_for("uciok");
    console.program.send("isready");
    EXPECT_EQ(console.program.wait_for("readyok"), "readyok");
    console.program.send("e4");  // no console any more
    console.program.send("isready");
    EXPECT_EQ(console.program.wait_for("readyok"), "readyok");
    EXPECT_EQ(quit_program(&console.program), 0);
}

// `mv` lets the program move on the board after each search; "uci" ends that.
TEST(ConsoleProgram, UciEndsAutomaticPlay) {
    Console console;
    console.all_of("set depth 3");
    console.program.send("mv");
    console.program.wait_for("black");
    console.program.send("uci");
    console.program.wait_for("uciok");
    console.program.send("position startpos");
    for (int i = 0; i < 2; ++i) {
        console.program.send("go depth 2");
        for (const std::string &line : console.program.lines_until("bestmove "))
            EXPECT_EQ(line.find("rnbqkbnr/"), std::string::npos) << line;
    }
    console.program.send("isready");
    EXPECT_EQ(console.program.lines_until("readyok").size(), 1u);  // no board after the move
    console.program.send("d");
    EXPECT_EQ(quit_program(&console.program), 0);
}

// A dot ends the program's game against itself, during long searches and between short ones.
TEST(ConsoleProgram, ADotEndsSelfPlay) {
    for (const char *limit : {"set depth 80", "set depth 1"}) {
        Console console;
        console.all_of(limit);
        console.program.send("self");
        if (!std::strcmp(limit, "set depth 1")) console.program.wait_for("white");  // two moves were made
        else console.program.wait_for("00] ");
        console.program.send(".");
        console.program.send("swap");
        const std::vector<std::string> rest = console.program.lines_within(0.5);
        ASSERT_FALSE(rest.empty());
        EXPECT_FALSE(console.all_of("bd").empty());  // idle: the board is printed
        EXPECT_EQ(console.all_of("undo").empty(), !std::strcmp(limit, "set depth 80"));
        EXPECT_EQ(quit_program(&console.program), 0);
    }
}

// The hint comes after the first word that can't be read, and not again.
TEST(ConsoleProgram, TheHintComesOnce) {
    ScratchDirectory directory;
    const Lines lines = run_program({"-c"}, "xyzzy\ne5\nNf9\nquit\n", directory.path);
    ASSERT_GE(lines.size(), 4u);
    const Lines last(lines.end() - 4, lines.end());
    EXPECT_EQ(last, (Lines{"invalid: a1a1", "type help for the list of commands", "invalid: a1a1", "invalid: a1a1"}));
}

// Without a table in memory no command turns the hash on; pv and go work without it.
TEST(ConsoleProgram, NoHashTable) {
    ScratchDirectory directory;
    int status = -1;
    const Lines lines =
        run_program({"-c", "-hash", "0"}, "set hash 1\nset ss 1\nset hash 1\npv\ngo 9\n", directory.path, &status);
    EXPECT_EQ(status, 0);
    int refusals = 0, answers = 0;
    for (const std::string &line : lines) {
        refusals += line == "there is no hash table: its size is 0";
        answers += line.rfind("move= ", 0) == 0;
    }
    EXPECT_EQ(refusals, 2);
    EXPECT_EQ(answers, 1);
}

// `set ss 1` returns to what the command line asked for: the search stops at its depth.
TEST(ConsoleProgram, SetSsKeepsTheCommandLine) {
    ScratchDirectory directory;
    const Lines lines = run_program({"-c", "-d", "4", "-hash", "8"}, "set ss 0\nset ss 1\nmv\n", directory.path);
    bool fifth = false, fourth = false;
    for (const std::string &line : lines) {
        fourth |= line.rfind("00] 04", 0) == 0;
        fifth |= line.rfind("00] 05", 0) == 0;
    }
    EXPECT_TRUE(fourth);
    EXPECT_FALSE(fifth);
}

TEST(ConsoleProgram, SavesAndLoads) {
    Console console;
    for (const char *move : {"e4", "e5", "Nf3", "Nc6"}) console.all_of(move);
    console.all_of("save");
    console.all_of("save");
    EXPECT_EQ(read_text(console.directory.file("tmp.pgn")),
              "[Event \"Unknown\"]\ne4 e5 Nf3 Nc6 \n\n[Event \"Unknown\"]\ne4 e5 Nf3 Nc6 \n\n");
    console.all_of("new");
    const Lines lines = console.all_of("load tmp.pgn Unknown");
    ASSERT_GE(lines.size(), 4u);
    EXPECT_EQ(lines[0], "loading tmp.pgn, tag Unknown");
    EXPECT_EQ(lines[1], "read 1 games");
    EXPECT_EQ(lines[3], "r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 4");
    EXPECT_EQ(quit_program(&console.program), 0);
}

// At a terminal lines come by key presses: nothing is read until there is a key, and the search goes
// on meanwhile.
TEST(ConsoleProgram, AtATerminal) {
    SKIP_ON_WINDOWS("a terminal is no console");
    Console console(true);
    console.program.send("e4");
    EXPECT_NE(console.program.wait_for("1. move e4"), "");
    console.program.wait_for("black");
    console.program.send("go");
    console.program.wait_for("00] ");
    console.program.send(".");
    EXPECT_NE(console.program.wait_for("move= "), "");
    console.program.send("edit");
    console.program.wait_for("b  Pa7 Pb7 Kc7       black, pieces");
    console.program.send("#");
    console.program.send("w Ke1 Rh1");
    console.program.send("");
    console.program.send("b Ke8");
    console.program.send(".");
    EXPECT_NE(console.program.wait_for("4k3/8/8/8/8/8/8/4K2R b K - 0 0"), "");
    console.program.send("xyzzy");
    EXPECT_NE(console.program.wait_for("invalid: a1a1"), "");
    EXPECT_EQ(quit_program(&console.program), 0);
}

TEST(ConsoleProgram, ATerminalThatEnds) {
    SKIP_ON_WINDOWS("a terminal is no console");
    Console console(true);
    console.program.send("e4");
    console.program.wait_for("1. move e4");
    console.program.close_input();
    EXPECT_EQ(console.program.wait_exit(), 0);
}

// The conversation of the README. Lines with times, speeds or the network's opinion in them are
// compared by their first words.
TEST(ConsoleProgram, TheConversationOfTheReadme) {
    Lines talk;
    bool in_console = false, inside = false;
    for (const std::string &line : read_lines(project_path("README.md"))) {
        if (line.rfind("## ", 0) == 0) in_console = line == "## Console";
        else if (in_console && line == "```") inside = !inside;
        else if (inside) talk.push_back(line);
    }
    ASSERT_GT(talk.size(), 50u);
    Console console(false, false);
    for (const std::string &line : talk) {
        if (line.rfind("> ", 0) == 0) {
            console.program.send(line.substr(2));
            continue;
        }
        const char *varying = nullptr;
        for (const char *start : {"00] ", "move= ", "Hash fill= ", "visited "})
            if (line.rfind(start, 0) == 0) varying = start;
        if (varying) {
            EXPECT_NE(console.program.wait_for(varying), "") << line;
            continue;
        }
        // Lines of a search's start and its last summary come between; the page leaves them out.
        std::string printed;
        do ASSERT_TRUE(console.program.read_line(&printed)) << line;
        while (printed != line &&
               (printed.empty() || printed.rfind("info string ", 0) == 0 || printed.rfind("00] ", 0) == 0));
        EXPECT_EQ(printed, line);
    }
    EXPECT_EQ(console.program.wait_exit(), 0);
}

}  // namespace
