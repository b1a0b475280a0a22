#include "stress/plan.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "base/settings.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "book/book_files.h"
#include "book/book_key.h"
#include "support/endgame_solver.h"
#include "support/files.h"
#include "support/places.h"
#include "support/positions.h"
#include "support/response.h"

using Strings = std::vector<std::string>;

// Files in the program's directory.
static constexpr const char *TABLES = "tables", *BOOK = "book.bin", *SECOND_BOOK = "second.bin",
                            *NETWORK = "network.bin", *CUT_NETWORK = "cut.bin", *CONFIGURATION = "stress.cfg",
                            *NO_FILE = "none";

int draw(Plan *plan, int low, int high) {
    return low + static_cast<int>(plan->random() % static_cast<std::uint64_t>(high - low + 1));
}

bool chance(Plan *plan, int percent) { return draw(plan, 1, 100) <= percent; }

static std::string choose(Plan *plan, const Strings &list) {
    return list[static_cast<std::size_t>(draw(plan, 0, static_cast<int>(list.size()) - 1))];
}

// ---- games ----

// One of the 960 start positions: bishops on squares of both colours, the king between the rooks.
static std::string draw_chess960_start(Plan *plan) {
    std::string men = "rnbqkbnr";
    const auto is_start = [&men] {
        const std::size_t king = men.find('k');
        return (men.find('b') + men.rfind('b')) % 2 == 1 && men.find('r') < king && king < men.rfind('r');
    };
    do
        for (int i = 7; i > 0; --i)
            std::swap(men[static_cast<std::size_t>(i)], men[static_cast<std::size_t>(draw(plan, 0, i))]);
    while (!is_start());
    std::string white = men;
    for (char &man : white) man = static_cast<char>(man - 'a' + 'A');
    return "fen " + men + "/pppppppp/8/8/8/8/PPPPPPPP/" + white + " w KQkq - 0 1";
}

// Kings and a few men on random squares, until the position can be searched.
static std::string draw_ending(Plan *plan) {
    const std::string men =
        "Kk" + choose(plan, {"Q", "R", "P", "q", "r", "p", "B", "n", "RP", "Qp", "PPp", "RrP", "QRbn"});
    for (;;) {
        std::array<char, 64> board{};
        for (const char man : men) {
            int square;
            do square = man == 'P' || man == 'p' ? draw(plan, 8, 55) : draw(plan, 0, 63);
            while (board[static_cast<std::size_t>(square)]);
            board[static_cast<std::size_t>(square)] = man;
        }
        std::string fen;
        for (std::size_t square = 0; square < 64; ++square) {
            if (square && square % 8 == 0) fen += '/';
            fen += board[square] ? board[square] : '1';
        }
        fen += chance(plan, 50) ? " w - - 0 1" : " b - - 0 1";
        if (!position_defect(set_up(fen))) return "fen " + fen;
    }
}

static std::string draw_crowded(Plan *plan) {
    static const Strings positions = read_epd_positions(project_path("bench/crowded.epd"));
    return "fen " + choose(plan, positions);
}

std::string draw_move(Plan *plan) {
    Position *position = &root_thread_state->position;
    const std::vector<Move> moves = legal_moves(position);
    if (moves.empty()) return "";
    return text_of(position, moves[static_cast<std::size_t>(draw(plan, 0, static_cast<int>(moves.size()) - 1))]);
}

void draw_game(Plan *plan) {
    const int kind = draw(plan, 1, 100);
    plan->chess960 = kind > 85;
    settings.chess960 = plan->chess960;
    plan->start = kind <= 50   ? "startpos"
                  : kind <= 70 ? draw_ending(plan)
                  : kind <= 85 ? draw_crowded(plan)
                               : draw_chess960_start(plan);
    plan->moves.clear();
    Position *position = set_up(kind <= 50 ? STARTPOS_FEN : plan->start.substr(4));
    // Half of the games begin near the start position, where the books have moves.
    const int plies = chance(plan, 50) ? draw(plan, 0, 3) : draw(plan, 0, 80);
    for (int ply = 0; ply < plies; ++ply) {
        const std::string move = draw_move(plan);
        if (move.empty() || is_game_drawn(position)) return;
        make_game_move(position, move_of(position, move));
        plan->moves.push_back(move);
    }
}

std::string position_command(const Plan &plan) {
    std::string line = "position " + plan.start;
    if (!plan.moves.empty()) line += " moves";
    for (const std::string &move : plan.moves) line += " " + move;
    return line;
}

// ---- options ----

static std::string number_option(Plan *plan, const char *name, int low, int high) {
    return std::string(name) + " value " + std::to_string(draw(plan, low, high));
}

static std::string check_option(Plan *plan, const char *name, int percent) {
    return std::string(name) + " value " + (chance(plan, percent) ? "true" : "false");
}

static std::string text_option(Plan *plan, const char *name, const Strings &values) {
    return std::string(name) + " value " + choose(plan, values);
}

static std::string threads_option(Plan *plan) {
    // Threads 0 searches nothing and answers with a legal move all the same.
    if (chance(plan, 3)) return "Threads value 0";
    return number_option(plan, "Threads", 1, chance(plan, 50) ? std::min(2, plan->most_threads) : plan->most_threads);
}

std::string draw_option(Plan *plan) {
    const auto text = [plan]() -> std::string {
        switch (draw(plan, 0, 27)) {
            case 0: return text_option(plan, "Hash", {"0", "1", "2", "7", "16", "64"});
            case 1:
            case 2:
            case 3:
            case 4: return threads_option(plan);
            case 5: return "Clear Hash";
            case 6: return text_option(plan, "NN_File", {"embedded", NETWORK, CUT_NETWORK});
            case 7: return check_option(plan, "Use_NN_eval", 70);
            case 8: return check_option(plan, "OwnBook", 70);
            case 9: return text_option(plan, "OwnBook_File", {BOOK, BOOK, SECOND_BOOK, NO_FILE});
            case 10: return number_option(plan, "OwnBook_Depth", 0, 60);
            case 11: return text_option(plan, "OwnBook2_File", {BOOK, SECOND_BOOK, SECOND_BOOK, NO_FILE});
            case 12: return number_option(plan, "OwnBook2_Depth", 0, 60);
            case 13: return number_option(plan, "OwnBook_Variety", 0, 100);
            case 14:
            case 15: return text_option(plan, "SyzygyPath", {TABLES, TABLES, "<empty>", NO_FILE});
            case 16: return number_option(plan, "SyzygyProbeDepth6", -5, 100);
            case 17: return check_option(plan, "Log", 50);
            case 18: return check_option(plan, "Ponder", 50);
            case 19: return chance(plan, 90) ? number_option(plan, "MultiPV", 1, 4) : "MultiPV value 255";
            case 20: return number_option(plan, "MoveOverhead", 0, 60);
            case 21: return check_option(plan, "UCI_LimitStrength", 30);
            case 22: return number_option(plan, "UCI_Elo", 1500, 3300);
            case 23: return text_option(plan, "UCI_Opponent", {"GM 2800 human Nobody", "none none computer Other"});
            case 24: return number_option(plan, "Contempt", -150, 150);
            case 25: return number_option(plan, "Selectivity", 0, 200);
            case 26: return std::string("ConfigFilePath value ") + CONFIGURATION;
            default: return "MultiPV value 1";
        }
    };
    return "setoption name " + text();
}

// ---- searches ----

static std::string draw_clocks(Plan *plan, int side, double *own) {
    const int white = chance(plan, 50) ? draw(plan, 100, 500) : draw(plan, 100, 4000), black = draw(plan, 100, 4000);
    *own = side == WHITE ? white : black;
    std::string line = " wtime " + std::to_string(white) + " btime " + std::to_string(black);
    if (chance(plan, 50)) {
        const std::string step = std::to_string(draw(plan, 0, 50));
        line.append(" winc ").append(step).append(" binc ").append(step);
    }
    if (chance(plan, 30)) line += " movestogo " + std::to_string(draw(plan, 1, 40));
    return line;
}

static double draw_delay(Plan *plan, int most) { return chance(plan, 30) ? 0 : draw(plan, 0, most); }

// Searches that nothing but a depth or a number of nodes ends are stopped in the end, as the depth may be out of
// reach. A time limit has to do without.
SearchPlan draw_search(Plan *plan, int side) {
    SearchPlan search;
    const auto add = [&search](double at, const char *line) { search.events.push_back({at, line}); };
    const int kind = draw(plan, 1, 100);
    double own = 0;
    search.go = "go";
    if (kind <= 20) {
        search.go += " depth " + std::to_string(draw(plan, 1, 9));
        add(draw(plan, 100, 500), "stop");
    } else if (kind <= 35) {
        search.go += " nodes " + std::to_string(chance(plan, 50) ? draw(plan, 1, 100) : draw(plan, 1, 20000));
        add(draw(plan, 100, 500), "stop");
    } else if (kind <= 50) {
        search.time = draw(plan, 1, 60);
        search.go += " movetime " + std::to_string(static_cast<int>(search.time));
    } else if (kind <= 70) {
        search.go += draw_clocks(plan, side, &search.time);
        search.clock = true;
        if (chance(plan, 40)) add(draw_delay(plan, 60), "stop");
    } else if (kind <= 80) {
        search.go += " infinite";
        add(draw_delay(plan, 60), "stop");
    } else if (kind <= 95) {
        search.go += " ponder" + draw_clocks(plan, side, &own);
        const double hit = draw_delay(plan, 60);
        const bool hits = chance(plan, 60);
        add(hit, hits ? "ponderhit" : "stop");
        if (hits && chance(plan, 40)) add(hit + draw_delay(plan, 30), "stop");
    } else {
        if (chance(plan, 50)) search.go += " mate " + std::to_string(draw(plan, 1, 5));
        const std::string move = draw_move(plan);
        if (!move.empty() && chance(plan, 50)) search.go += " searchmoves " + move;
        add(draw_delay(plan, 100), "stop");
    }
    if (chance(plan, 30))
        for (int i = draw(plan, 1, 3); i > 0; --i) add(draw_delay(plan, 50), "isready");
    std::stable_sort(search.events.begin(), search.events.end(),
                     [](const Timed &a, const Timed &b) { return a.at < b.at; });
    return search;
}

// ---- files ----

// Every move of the start position and of the positions after it; and for each a move that it does not have, of high
// weight: books come from anywhere.
static std::string make_book(bool with_foreign_moves) {
    std::vector<BookRecord> records;
    const auto add_moves = [&](const Position *position, const std::vector<Move> &moves) {
        u16 weight = 1;
        for (const Move move : moves) records.push_back({book_key(position), book_code_of_move(move), weight++, 0});
        if (with_foreign_moves) records.push_back({book_key(position), book_code("a1h8"), 40, 0});
    };
    Position *position = set_up(STARTPOS_FEN);
    const std::vector<Move> first_moves = legal_moves(position);
    add_moves(position, first_moves);
    for (const Move move : first_moves) {
        make_move(position, move);
        add_moves(position, legal_moves(position));
        unmake_move(position);
    }
    std::stable_sort(records.begin(), records.end(),
                     [](const BookRecord &a, const BookRecord &b) { return a.key < b.key; });
    return book_bytes(records);
}

bool write_option_files(const std::string &directory) {
    const std::string tables = directory + "/" + TABLES;
    std::error_code error;
    std::filesystem::create_directory(tables, error);
    std::filesystem::copy_file(project_path("Source/eval/network/embedded_network.bin"), directory + "/" + NETWORK,
                               error);
    return !error && write_three_endings(tables) && write_file(directory + "/" + BOOK, make_book(false)) &&
           write_file(directory + "/" + SECOND_BOOK, make_book(true)) &&
           write_file(directory + "/" + CUT_NETWORK, "cut") &&
           write_file(directory + "/" + CONFIGURATION,
                      "# read between searches\nContempt = 20\nMultiPV = 2\nHash = 8\nOwnBook_Variety = 70\n");
}
