// Endgame tables in the running program: set-up lines, the root's filter and choice, and games played
// out against best defence.
#include <algorithm>
#include <filesystem>
#include <random>
#include <sstream>

#include "board/attacks.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "protocol/session.h"
#include "support/sanitizers.h"
#include "support/shared_data.h"
#include "support/table_directory.h"

static constexpr const char *SHARED_TABLES = "data/syzygy/KQvK.rtbw";
static constexpr const char *GOLDEN_ROOT = "golden/tablebases/tb_root.json";

// An engine that has these tables.
static void give_tables(Session *session, const std::string &directory) {
    session->ask("setoption name SyzygyPath value " + directory);
    session->ask("setoption name OwnBook value false");
}

static std::string best_move(const std::vector<std::string> &lines) {
    const std::string &line = lines.back();
    return line.substr(0, 9) == "bestmove " ? line.substr(9, line.find(' ', 9) - 9) : "";
}

// The moves of the "TB result" line, sorted; the line itself goes to *head without them.
static std::vector<std::string> kept_moves(const std::vector<std::string> &lines, std::string *head) {
    static const std::string MARK = " with moves: ";
    std::vector<std::string> moves;
    for (const std::string &line : lines) {
        const std::size_t at = line.find(MARK);
        if (at == std::string::npos) continue;
        *head = line.substr(0, at + MARK.size());
        std::istringstream words(line.substr(at + MARK.size()));
        for (std::string word; words >> word;) moves.push_back(word);
    }
    std::sort(moves.begin(), moves.end());
    return moves;
}

// The board part of a FEN, from 64 letters that begin with a1.
static std::string fen_of_board(const std::string &board) {
    std::string fen;
    for (int rank = 7; rank >= 0; --rank) {
        int empty = 0;
        for (int file = 0; file < 8; ++file) {
            const char man = board[static_cast<std::size_t>(8 * rank + file)];
            if (man == ' ') {
                ++empty;
                continue;
            }
            if (empty) fen += std::to_string(empty);
            empty = 0;
            fen += man;
        }
        if (empty) fen += std::to_string(empty);
        if (rank) fen += '/';
    }
    return fen;
}

class Tablebases : public SolvedTables {};

// A list of directories near its longest, by option and by command line; the tables are in the last one.
TEST_F(Tablebases, ALongListOfDirectories) {
    std::string list;
    while (list.size() < 31000) list += "/none/" + std::string(100, 'd') + ";";
    list += directory->path;
    const std::string found = "info string Found 5 WDL, 0 DTM and 5 DTZ tablebase files. Largest 3-men";
    Session session({"-tbpath", list});
    EXPECT_EQ(std::count(session.start_lines.begin(), session.start_lines.end(), found), 1);
    const auto lines = session.ask("setoption name SyzygyPath value " + list);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), found), 1);
    EXPECT_EQ(quit_program(&session.program), 0);
}

// A table file that is emptied between two searches: the next one does without the table.
TEST_F(Tablebases, AFileCutBetweenSearches) {
    ScratchDirectory copy;
    for (const auto &file : std::filesystem::directory_iterator(directory->path))
        std::filesystem::copy_file(file.path(), copy.file(file.path().filename().string()));
    Session session;
    give_tables(&session, copy.path);
    session.ask("position fen 8/8/8/8/8/3k4/8/3K3Q w - - 0 1");
    std::string head;
    EXPECT_FALSE(kept_moves(session.search("go depth 4"), &head).empty());
    for (const char *name : {"KQvK.rtbw", "KQvK.rtbz"}) std::filesystem::resize_file(copy.file(name), 0);
    const auto lines = session.search("go depth 4");
    EXPECT_EQ(std::count(lines.begin(), lines.end(),
                         "info string Tablebase file KQvK.rtbw is no longer complete and not used"),
              1);
    EXPECT_TRUE(kept_moves(lines, &head).empty());
    EXPECT_NE(best_move(lines), "");
    EXPECT_EQ(quit_program(&session.program), 0);
}

TEST_F(Tablebases, SetUpLines) {
    Session session({"-tbpath", directory->path});
    const std::string found = "info string Found 5 WDL, 0 DTM and 5 DTZ tablebase files. Largest 3-men";
    EXPECT_EQ(std::count(session.start_lines.begin(), session.start_lines.end(), found), 1);
    for (int i = 0; i < 2; ++i) {
        const auto lines = session.ask("setoption name SyzygyPath value " + directory->path);
        EXPECT_EQ(std::count(lines.begin(), lines.end(), found), 1) << "the same path again sets up anew";
    }
    for (const std::string &line : session.ask("setoption name SyzygyPath value <empty>"))
        EXPECT_EQ(line.find("tablebase files"), std::string::npos);
    // Without tables the search says nothing of them.
    session.ask("position fen 8/8/8/8/8/3k4/8/3K3Q w - - 10 1");
    std::string head;
    EXPECT_TRUE(kept_moves(session.search("go depth 2"), &head).empty());
    EXPECT_EQ(head, "");
    EXPECT_EQ(quit_program(&session.program), 0);
}

TEST_F(Tablebases, RootFilter) {
    Session session;
    give_tables(&session, directory->path);
    std::string head;
    session.ask("position fen 8/8/8/8/8/3k4/8/3K3Q w - - 0 1");
    const auto kept = kept_moves(session.search("go depth 2"), &head);
    EXPECT_EQ(head, "info string TB result is WIN with moves: ");
    EXPECT_EQ(kept, (std::vector<std::string>{"d1c1", "d1e1", "h1a8", "h1b7", "h1c6", "h1d5", "h1e1", "h1f1", "h1f3",
                                              "h1g1", "h1g2", "h1h2", "h1h3", "h1h4", "h1h5", "h1h6", "h1h7", "h1h8"}));
    session.ask("position fen 8/8/8/8/8/3k4/8/3K3Q b - - 12 1");
    EXPECT_EQ(kept_moves(session.search("go depth 2"), &head),
              (std::vector<std::string>{"d3c3", "d3c4", "d3d4", "d3e3"}));
    EXPECT_EQ(head, "info string TB result is LOSS with moves: ");
    session.ask("position fen 8/8/4k3/8/8/8/4P3/4K3 w - - 0 1");
    EXPECT_EQ(kept_moves(session.search("go depth 2"), &head).size(), 6u);
    EXPECT_EQ(head, "info string TB result is DRAW with moves: ");
    // The same king at three squares' distance may lose the draw.
    session.ask("position fen 4k3/8/8/4P3/4K3/8/8/8 b - - 0 1");
    EXPECT_EQ(kept_moves(session.search("go depth 2"), &head),
              (std::vector<std::string>{"e8d7", "e8d8", "e8e7", "e8f7", "e8f8"}));
    EXPECT_EQ(quit_program(&session.program), 0);
}

// From a half-move clock of 10 on the tables choose, and no search runs.
TEST_F(Tablebases, RootChoice) {
    struct Case {
        const char *fen;
        const char *score;  // empty where the search decides
        std::vector<std::string> best;
    };
    const Case cases[] = {
        {"8/8/8/8/8/3k4/8/3K3Q w - - 10 1", "9800", {"h1d5", "h1h4"}},
        {"8/8/8/8/8/3k4/8/3K3Q w - - 90 1", "0", {"h1d5", "h1h4"}},
        {"8/8/8/8/8/3k4/8/3K3Q b - - 10 1", "-9800", {"d3c4"}},
        {"8/8/8/8/8/3k4/8/3K3Q b - - 85 1", "0", {"d3c4"}},
        {"4k3/8/4K3/4P3/8/8/8/8 w - - 98 1", "0", {"e6d6", "e6f6"}},
        {"8/8/8/8/8/k1K5/p7/8 b - - 11 1", "9800", {"a2a1q"}},
        {"8/8/4k3/8/8/8/4P3/4K3 w - - 10 1", "0", {"e1d1", "e1d2", "e1f1", "e1f2", "e2e3", "e2e4"}},
    };
    Session session;
    give_tables(&session, directory->path);
    session.ask("setoption name Threads value 4");
    for (const Case &expected : cases) {
        session.ask(std::string("position fen ") + expected.fen);
        const auto lines = session.search("go depth 20");
        EXPECT_TRUE(std::count(expected.best.begin(), expected.best.end(), best_move(lines)))
            << expected.fen << " " << lines.back();
        const std::string report = std::string("info depth 99 seldepth 99 score cp ") + expected.score + " ";
        EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const std::string &line) {
            return line.rfind(report, 0) == 0;
        })) << expected.fen;
    }
    session.ask("position fen 8/8/8/8/8/3k4/8/3K3Q w - - 9 1");
    for (const std::string &line : session.search("go depth 3"))
        EXPECT_EQ(line.find("depth 99"), std::string::npos) << line;
    EXPECT_EQ(quit_program(&session.program), 0);
}

// The strings of `"name": [ ... ]` or the one of `"name": "text"`, from the lines of one object.
static std::vector<std::string> json_strings(const std::string &object, const std::string &name) {
    const std::string mark = std::string("\"").append(name).append("\":");
    std::size_t at = object.find(mark);
    EXPECT_NE(at, std::string::npos) << name;
    at += mark.size();
    const std::size_t end =
        object.find_first_not_of(' ', at) == object.find('[', at) ? object.find(']', at) : object.find('\n', at);
    std::vector<std::string> strings;
    for (std::size_t open = object.find('"', at); open < end; open = object.find('"', object.find('"', open + 1) + 1))
        strings.push_back(object.substr(open + 1, object.find('"', open + 1) - open - 1));
    return strings;
}

TEST(TablebasesReference, RootPositions) {
    SKIP_WITHOUT_SHARED(GOLDEN_ROOT);
    Session session;
    give_tables(&session, shared_path("data/syzygy"));
    const std::string text = read_file(shared_path(GOLDEN_ROOT));
    int cases = 0, choices = 0;
    for (std::size_t at = text.find('{'); at != std::string::npos; at = text.find('{', at + 1)) {
        const std::string object = text.substr(at, text.find('}', at) - at);
        const std::string fen = json_strings(object, "fen")[0];
        std::vector<std::string> kept = json_strings(object, "kept");
        const std::vector<std::string> best = json_strings(object, "best");
        ++cases;
        if (kept.empty()) continue;  // mate and stalemate: the driver ends the game without a search
        session.ask("position fen " + fen);
        const auto lines = session.search("go depth 2");
        std::string head;
        // Promotions to different pieces are listed with the same squares.
        std::vector<std::string> printed = kept_moves(lines, &head);
        printed.erase(std::unique(printed.begin(), printed.end()), printed.end());
        std::sort(kept.begin(), kept.end());
        kept.erase(std::unique(kept.begin(), kept.end()), kept.end());
        EXPECT_EQ(printed, kept) << fen;
        EXPECT_EQ(head, "info string TB result is " + json_strings(object, "text")[0] + " with moves: ") << fen;
        if (best.empty()) continue;
        ++choices;
        EXPECT_TRUE(std::count(best.begin(), best.end(), best_move(lines).substr(0, 4))) << fen << " " << lines.back();
    }
    EXPECT_EQ(cases, 37);
    EXPECT_GT(choices, 25);
    EXPECT_EQ(quit_program(&session.program), 0);
}

// Half-moves that the move leaves to the side that answers it, from the answerer's view.
static int distance_behind(Position *position, Move move) {
    make_move(position, move);
    const Answer answer = dtz_of(tb_from_position(position, position->fifty));
    EXPECT_NE(answer.status, TB_NO_VALUE);
    unmake_move(position);
    return answer.value;
}

enum GameEnd { GAME_MATE, GAME_DRAWN, GAME_LONG };

// The engine has the side to move of the FEN; the other side plays by `defence`. Both know the tables.
template <typename Defence>
static GameEnd play_out(Session *session, const std::string &fen, int most_plies, Defence defence) {
    Position *position = set_up(fen);
    std::string moves;
    for (int ply = 0; ply < most_plies; ++ply) {
        const std::vector<Move> legal = legal_moves(position);
        if (legal.empty())
            return is_square_attacked(position, position->king_sq[position->stm], position->stm ^ 1) ? GAME_MATE
                                                                                                     : GAME_DRAWN;
        if (is_game_drawn(position)) return GAME_DRAWN;
        Move move = 0;
        if (ply % 2 == 0) {
            session->ask("position fen " + fen + (moves.empty() ? "" : " moves" + moves));
            const std::string text = best_move(session->search("go depth 4"));
            move = move_of(position, text);
            EXPECT_NE(move, 0) << text;
            if (!move) return GAME_LONG;
        } else {
            move = defence(position, legal);
        }
        moves.append(" ").append(text_of(position, move));
        make_game_move(position, move);
    }
    return GAME_LONG;
}

// The longest way to a capture, pawn move or mate.
static Move longest_resistance(Position *position, const std::vector<Move> &legal) {
    return *std::max_element(legal.begin(), legal.end(), [&](Move a, Move b) {
        return distance_behind(position, a) < distance_behind(position, b);
    });
}

static void win_all(Session *session, const std::vector<const char *> &fens) {
    for (const char *fen : fens) EXPECT_EQ(play_out(session, fen, 160, longest_resistance), GAME_MATE) << fen;
}

TEST_F(Tablebases, WinsBeforeTheFiftyMoveRule) {
    Session session;
    give_tables(&session, directory->path);
    win_all(&session,
            {"8/8/8/8/8/3k4/8/3K3Q w - - 89 1", "8/8/3k4/8/8/8/8/K6R w - - 70 1", "7r/8/8/4K3/8/8/8/k7 b - - 60 1",
             "4k3/8/4K3/4P3/8/8/8/8 w - - 97 1", "8/8/8/4k3/8/4K3/4P3/8 w - - 0 1"});
    EXPECT_EQ(quit_program(&session.program), 0);
}

TEST(TablebasesReference, WinsOfFourMen) {
    SKIP_WITHOUT_SHARED(SHARED_TABLES);
    start_engine();
    use_tables(shared_path("data/syzygy"));
    Session session;
    give_tables(&session, shared_path("data/syzygy"));
    win_all(&session, {"8/8/8/3k4/8/8/1B6/K4N2 w - - 10 1", "8/8/8/3k4/8/8/1B6/K4N2 w - - 40 1",
                       "8/8/8/8/5k2/8/3r4/K6Q w - - 0 1", "3K4/8/1k6/8/8/8/8/2BB4 w - - 60 1",
                       "8/8/2k5/8/3n4/2K5/8/2R5 w - - 15 1", "8/P6k/8/8/8/8/8/K6r w - - 10 1"});
    EXPECT_EQ(quit_program(&session.program), 0);
    use_tables("");
}

TEST(TablebasesReference, HoldsDrawsOfFourMen) {
    SKIP_WITHOUT_SHARED(SHARED_TABLES);
    start_engine();
    use_tables(shared_path("data/syzygy"));
    Session session;
    give_tables(&session, shared_path("data/syzygy"));
    std::mt19937 random(5);
    for (const char *fen : {"8/8/4k3/8/4P3/4K3/8/8 b - - 0 1", "8/8/8/3k4/8/3b4/8/K6R b - - 0 1",
                            "8/8/8/3k4/8/3n4/8/K6R b - - 20 1", "8/8/8/3k4/8/3r4/8/K6R b - - 10 1"}) {
        ASSERT_EQ(tb_probe_wdl(set_up(fen), 80), 2) << fen;
        // The attacker tries any move that keeps its own draw.
        const auto attack = [&](Position *position, const std::vector<Move> &legal) {
            EXPECT_EQ(tb_probe_wdl(position, 80), 2) << fen << ": a draw was given away";
            std::vector<Move> safe;
            for (const Move move : legal)
                if (distance_behind(position, move) == 0) safe.push_back(move);
            return safe.empty() ? legal[0] : safe[random() % safe.size()];
        };
        const GameEnd end = play_out(&session, fen, 80, attack);
        EXPECT_NE(end, GAME_MATE) << fen;
    }
    EXPECT_EQ(quit_program(&session.program), 0);
    use_tables("");
}

// Moves that the tables rule out have no line, and no other line takes its place.
TEST_F(Tablebases, AsManyLinesAsMovesThatAreSearched) {
    Session session;
    give_tables(&session, directory->path);
    session.ask("setoption name MultiPV value 40");
    session.ask("position fen 8/8/8/8/8/3k4/8/3K3Q w - - 0 1");
    std::string head;
    const auto lines = session.search("go depth 4");
    const std::size_t kept = kept_moves(lines, &head).size();
    EXPECT_EQ(kept, 18u);
    for (int depth = 1; depth <= 4; ++depth) {
        std::vector<std::string> first_moves;
        for (const std::string &line : lines) {
            if (line.rfind("info multipv ", 0) != 0) continue;
            if (line.find(" depth " + std::to_string(depth) + " ") == std::string::npos) continue;
            first_moves.push_back(line.substr(line.find(" pv ") + 4, 4));
        }
        // The report at the end repeats the first line.
        if (depth == 4) first_moves.pop_back();
        std::sort(first_moves.begin(), first_moves.end());
        EXPECT_EQ(first_moves.size(), kept) << depth;
        EXPECT_EQ(std::unique(first_moves.begin(), first_moves.end()), first_moves.end()) << depth;
    }
    EXPECT_EQ(quit_program(&session.program), 0);
}

// Tables that give both sides the win contradict each other: nothing is ruled out, and the search decides.
TEST_F(Tablebases, ContradictionsRuleNothingOut) {
    ScratchDirectory other;
    ASSERT_TRUE(write_file(other.file("KRvK.rtbw"), table_bytes(constant_wdl_plan("KRvK", 4, 4))));
    ASSERT_TRUE(write_file(other.file("KRvK.rtbz"), table_bytes(constant_dtz_plan("KRvK", 0))));
    Session session;
    give_tables(&session, other.path);
    for (const char *fen : {"8/8/8/4k3/8/8/8/K6R w - - 0 1", "8/8/8/4k3/8/8/8/K6R w - - 50 1"}) {
        const std::size_t legal = legal_moves(set_up(fen)).size();
        session.ask(std::string("position fen ") + fen);
        std::string head;
        const auto lines = session.search("go depth 5");
        EXPECT_EQ(kept_moves(lines, &head).size(), legal) << fen;
        EXPECT_NE(move_of(set_up(fen), best_move(lines)), 0) << lines.back();
        EXPECT_EQ(info_value(lines, "depth"), 5) << "an ordinary search";
    }
    EXPECT_EQ(quit_program(&session.program), 0);
}

// A win whose distance and clock come to more than 60 is not left to the search, which could waste it.
TEST(TablebasesReference, DistantWinsAreRankedAtOnce) {
    SKIP_WITHOUT_SHARED(SHARED_TABLES);
    start_engine();
    use_tables(shared_path("data/syzygy"));
    Session session;
    give_tables(&session, shared_path("data/syzygy"));
    std::mt19937 random(11);
    int ranked = 0, searched = 0;
    for (int tries = 0; tries < 200000 && (ranked < 20 || searched < 20); ++tries) {
        // King, bishop and knight against king: wins of up to 66 half-moves.
        Square squares[4];
        for (Square &square : squares) square = static_cast<Square>(random() % 64);
        std::string board(64, ' ');
        const char men[] = "KBNk";
        for (int i = 0; i < 4; ++i) board[squares[i]] = men[i];
        if (std::count(board.begin(), board.end(), ' ') != 60) continue;
        const int clock = static_cast<int>(random() % 10);
        const std::string fen = fen_of_board(board) + " w - - " + std::to_string(clock) + " 1";
        const Position *position = set_up(fen);
        if (position_defect(position) || tb_probe_wdl(position, 80) != 4) continue;
        const bool far = dtz_of(tb_from_position(position, clock)).value + clock > 60;
        if ((far ? ranked : searched) >= 20) continue;
        ++(far ? ranked : searched);
        session.ask("position fen " + fen);
        const auto lines = session.search("go depth 3");
        const bool at_once = std::any_of(lines.begin(), lines.end(), [](const std::string &line) {
            return line.rfind("info depth 99 seldepth 99 score cp 9800 ", 0) == 0;
        });
        EXPECT_EQ(at_once, far) << fen;
    }
    EXPECT_EQ(ranked, 20);
    EXPECT_EQ(searched, 20);
    EXPECT_EQ(quit_program(&session.program), 0);
    use_tables("");
}

// A repetition in a won ending hands it to the ranking before the clock does.
TEST_F(Tablebases, ARepetitionIsRankedAtOnce) {
    Session session;
    give_tables(&session, directory->path);
    const std::string start = "position fen 8/8/8/8/8/3k4/8/3K3Q w - - 0 1 moves h1h8 d3c4 h8h1";
    for (const auto &[moves, ranked] : {std::pair<const char *, bool>{" c4d3", true}, {" c4b3", false}}) {
        session.ask(start + moves);
        EXPECT_EQ(info_value(session.search("go depth 3"), "depth") == 99, ranked) << moves;
    }
    EXPECT_EQ(quit_program(&session.program), 0);
}

// Random positions with these men that are won under the fifty-move rule, clock included.
static std::vector<std::string> random_wins(const std::string &men, int count, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<std::string> wins;
    for (int tries = 0; tries < 100000 && static_cast<int>(wins.size()) < count; ++tries) {
        std::string board(64, ' ');
        for (const char man : men) board[random() % 64] = man;
        if (std::count(board.begin(), board.end(), ' ') != 64 - static_cast<int>(men.size())) continue;
        const int clock = static_cast<int>(random() % 4 ? random() % 10 : random() % 60);
        const std::string fen =
            fen_of_board(board) + (random() % 2 ? " w" : " b") + " - - " + std::to_string(clock) + " 1";
        const Position *position = set_up(fen);
        if (position_defect(position) || tb_probe_wdl(position, 80) != 4) continue;
        if (dtz_of(tb_from_position(position, clock)).value + clock <= 100) wins.push_back(fen);
    }
    return wins;
}

// No win that the clock allows is spoilt against the longest resistance.
TEST(TablebasesReference, RandomWinsOfFourMen) {
    SKIP_UNDER_THREAD_SANITIZER();
    SKIP_WITHOUT_SHARED(SHARED_TABLES);
    start_engine();
    use_tables(shared_path("data/syzygy"));
    Session session;
    give_tables(&session, shared_path("data/syzygy"));
    unsigned seed = 1;
    int games = 0;
    for (const char *men : {"KBNk", "KBBk", "KQkr", "KRkn", "KRkb", "KQkp", "KPkp", "KRkp", "KNNk", "KPPk"})
        for (const std::string &fen : random_wins(men, 5, ++seed)) {
            EXPECT_EQ(play_out(&session, fen, 400, longest_resistance), GAME_MATE) << fen;
            ++games;
        }
    EXPECT_GE(games, 45);
    EXPECT_EQ(quit_program(&session.program), 0);
    use_tables("");
}

// Interior nodes ask as well: the counter of hits rises, with several threads too.
TEST_F(Tablebases, HitsInTheTree) {
    Session session;
    give_tables(&session, directory->path);
    for (const char *threads : {"1", "4"}) {
        session.ask(std::string("setoption name Threads value ") + threads);
        session.ask("ucinewgame");
        session.ask("position fen 8/5k2/8/8/8/r7/4P3/R3K3 w - - 0 1");
        EXPECT_GT(info_value(session.search("go depth 12"), "tbhits"), 0);
    }
    EXPECT_EQ(quit_program(&session.program), 0);
}
