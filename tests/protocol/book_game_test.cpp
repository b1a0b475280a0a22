// Books in the running program: games made into a book, the book played from, and the rules of when
// a book is asked.
#include <algorithm>
#include <filesystem>
#include <set>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/notation.h"
#include "book/book_key.h"
#include "book/book_record.h"
#include "support/engine.h"
#include "support/program.h"
#include "support/sanitizers.h"
#include "support/shared_data.h"

static std::string repeated_games(int count, const std::string &result, const std::string &moves) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += "[Event \"?\"]\n[Result \"" + result + "\"]\n\n" + moves + " " + result + "\n\n";
    return text;
}

// The tool's own lines: what comes after the program's start-up lines.
static std::vector<std::string> make_book_of(const std::string &pgn, const ScratchDirectory &scratch) {
    int status = -1;
    auto lines = run_program({"-mkbook", pgn}, "", scratch.path, &status);
    EXPECT_EQ(status, 0);
    while (!lines.empty() && lines[0].rfind(" Creating file tmp_book.bin", 0) != 0) lines.erase(lines.begin());
    return lines;
}

// A book that has these moves, each in the position that the line before it leads to from the start.
static std::string book_of_lines(const std::vector<std::string> &lines) {
    Position *position = &start_engine()->position;
    std::set<std::string> records;  // sorted bytes: by key, since it comes first
    for (const std::string &line : lines) {
        set_position_from_text(position, STARTPOS_FEN);
        u64 key = 0;
        Move move = 0;
        for (std::size_t at = 0; at < line.size(); at += 5) {
            if (move) make_move(position, move);
            std::string text = line.substr(at, 4);
            key = book_key(position);
            EXPECT_TRUE(parse_san(position, text.data(), &move)) << line;
        }
        const u16 code = book_code_of_move(move);
        std::string bytes;
        for (int shift = 56; shift >= 0; shift -= 8) bytes += static_cast<char>(key >> shift);
        bytes += static_cast<char>(code >> 8);
        bytes += static_cast<char>(code);
        records.insert(bytes + std::string("\0\x01\0\0\0\0", 6));
    }
    std::string book;
    for (const std::string &record : records) book += record;
    return book;
}

// One turn: the lines from "go" to "bestmove".
static std::vector<std::string> turn(Program *program, const std::string &moves) {
    program->send("position startpos" + (moves.empty() ? "" : " moves " + moves));
    program->send("go depth 1");
    return program->lines_until("bestmove");
}

static bool is_book_turn(const std::vector<std::string> &lines, std::string *move = nullptr) {
    for (const std::string &line : lines)
        if (line.rfind("info string book move is ", 0) == 0) {
            if (move) *move = line.substr(25);
            return true;
        }
    return false;
}

TEST(BookGame, FromGamesToMoves) {
    ScratchDirectory scratch;
    ASSERT_TRUE(write_file(scratch.file("club.pgn"),
                           repeated_games(6, "1/2-1/2", "1. e4 {best by test} e5 2. Nf3 Nc6 3. Bc4 Bc5 4. O-O Nf6")));
    EXPECT_EQ(
        make_book_of("club.pgn", scratch),
        (std::vector<std::string>{" Creating file tmp_book.bin from games in club.pgn", "", "writing book file ...",
                                  "ngames= 6, nmoves= 8", "book contains 8 moves", "done"}));
    std::filesystem::rename(scratch.file("tmp_book.bin"), scratch.file("tarn_book.bin"));

    Program program({}, scratch.path);
    std::string moves;
    for (const char *expected : {"e2e4", "e7e5", "g1f3", "b8c6", "f1c4", "f8c5", "e1g1", "g8f6"}) {
        const auto lines = turn(&program, moves);
        ASSERT_GE(lines.size(), 3u);
        EXPECT_EQ(lines[lines.size() - 3], std::string("info string ( book moves are: ") + expected + "  )");
        EXPECT_EQ(lines[lines.size() - 2], std::string("info string book move is ") + expected);
        EXPECT_EQ(lines.back(), std::string("bestmove ") + expected);
        moves.append(moves.empty() ? "" : " ").append(expected);
    }
    const auto lines = turn(&program, moves);
    EXPECT_FALSE(is_book_turn(lines)) << "out of the book a search answers";
    EXPECT_EQ(lines.back().rfind("bestmove ", 0), 0u);
    EXPECT_EQ(quit_program(&program), 0);
}

// A real file of games: every move of the book phase is one of the listed ones and legal.
TEST(BookGame, FromRealGamesToMoves) {
    SKIP_WITHOUT_SHARED("data/epd/openings_8moves.pgn");
    ScratchDirectory scratch;
    std::filesystem::copy_file(shared_path("data/epd/openings_8moves.pgn"), scratch.file("openings.pgn"));
    const auto made = make_book_of("openings.pgn", scratch);
    ASSERT_EQ(made.size(), 6u);
    EXPECT_EQ(made[1], ".") << "one dot for the first 1024 games";
    EXPECT_EQ(made[3].rfind("ngames= 2000, nmoves= ", 0), 0u);
    std::filesystem::rename(scratch.file("tmp_book.bin"), scratch.file("mine.bin"));

    Program program({"-book", "mine.bin"}, scratch.path);
    Position *position = &start_engine()->position;
    std::string moves;
    int from_book = 0;
    for (; from_book < 16; ++from_book) {
        const auto lines = turn(&program, moves);
        std::string move;
        if (!is_book_turn(lines, &move)) break;
        std::string listed;
        for (const std::string &line : lines)
            if (line.rfind("info string ( book moves are: ", 0) == 0) listed = line;
        EXPECT_NE(listed.find(" " + move + " "), std::string::npos) << listed;
        std::string text = move;
        Move word;
        ASSERT_TRUE(parse_san(position, text.data(), &word)) << move;
        make_move(position, word);
        moves.append(moves.empty() ? "" : " ").append(move);
    }
    EXPECT_GE(from_book, 2);
    EXPECT_EQ(quit_program(&program), 0);
}

TEST(BookGame, DepthsChooseTheBook) {
    ScratchDirectory scratch;
    ASSERT_TRUE(write_file(scratch.file("tarn_book.bin"), book_of_lines({"e2e4", "e2e4 e7e5", "e2e4 e7e5 g1f3"})));
    ASSERT_TRUE(write_file(scratch.file("second.bin"),
                           book_of_lines({"e2e4 c7c5", "e2e4 e7e5 d2d4", "d2d4 d7d5", "e2e4 e7e5 g1f3 g8f6"})));
    Program program({}, scratch.path);
    std::string move;
    const auto book_move = [&](const std::string &moves) {
        return is_book_turn(turn(&program, moves), &move) ? move : "none";
    };
    EXPECT_EQ(book_move("e2e4 e7e5"), "g1f3");
    EXPECT_EQ(book_move("d2d4"), "none");
    program.send("setoption name OwnBook2_File value second.bin");
    EXPECT_EQ(book_move("d2d4"), "none") << "the second book's depth is 0";
    program.send("setoption name OwnBook_Depth value 2");
    EXPECT_EQ(book_move("e2e4"), "e7e5") << "ply 1 is below 2";
    EXPECT_EQ(book_move("e2e4 e7e5"), "none") << "ply 2 is not";
    program.send("setoption name OwnBook2_Depth value 3");
    EXPECT_EQ(book_move("e2e4"), "e7e5") << "below both depths the first book goes first";
    EXPECT_EQ(book_move("d2d4"), "d7d5") << "and the second stands in for it";
    EXPECT_EQ(book_move("e2e4 e7e5"), "d2d4") << "between the depths only the second is asked";
    EXPECT_EQ(book_move("e2e4 e7e5 g1f3"), "none");
    program.send("setoption name OwnBook value false");
    EXPECT_EQ(book_move(""), "none");
    EXPECT_EQ(quit_program(&program), 0);
}

TEST(BookGame, ThirdOccurrenceIsRefused) {
    ScratchDirectory scratch;
    ASSERT_TRUE(write_file(scratch.file("tarn_book.bin"), book_of_lines({"g1f3 g8f6 f3g1 f6g8"})));
    Program program({}, scratch.path);
    EXPECT_TRUE(is_book_turn(turn(&program, "g1f3 g8f6 f3g1")))
        << "the start position is on the board for the second time";
    const auto lines = turn(&program, "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1");
    EXPECT_FALSE(is_book_turn(lines)) << "for the third time: a search decides";
    EXPECT_EQ(quit_program(&program), 0);
}

// A game of any length below 96 plies without a third occurrence: pushes, and the rook between them.
static std::string long_game(int plies) {
    std::string moves;
    for (const char file : std::string("abcdefgh"))
        for (const char *push : {"2_3 _7_6", "3_4 _6_5"}) {
            std::string text = "_";
            text.append(push).append(" a1a2 a8a7 a2a1 a7a8 ");
            for (char &c : text)
                if (c == '_') c = file;
            moves += text;
        }
    return moves.substr(0, 5 * plies - 1);
}

TEST(BookGame, NoBookBeyondTheGreatestDepth) {
    SKIP_UNDER_THREAD_SANITIZER();
    ScratchDirectory scratch;
    // Every one of these positions is in the book, with the next move of the game.
    ASSERT_TRUE(write_file(scratch.file("tarn_book.bin"),
                           book_of_lines({long_game(60), long_game(61), long_game(80), long_game(81)})));
    Program program({}, scratch.path);
    program.send("setoption name OwnBook_Depth value 60");
    EXPECT_TRUE(is_book_turn(turn(&program, long_game(59))));
    EXPECT_FALSE(is_book_turn(turn(&program, long_game(60))));
    EXPECT_FALSE(is_book_turn(turn(&program, long_game(79))));
    EXPECT_FALSE(is_book_turn(turn(&program, long_game(80))));
    program.send("setoption name OwnBook_Depth value 100");
    EXPECT_FALSE(is_book_turn(turn(&program, long_game(80)))) << "the depth is cut to 60";
    EXPECT_EQ(quit_program(&program), 0);
}

TEST(BookGame, ConsoleShowsBothBooks) {
    ScratchDirectory scratch;
    ASSERT_TRUE(write_file(scratch.file("tarn_book.bin"), book_of_lines({"e2e4"})));
    ASSERT_TRUE(write_file(scratch.file("second.bin"), book_of_lines({"d2d4"})));
    ASSERT_TRUE(write_file(scratch.file("books.cfg"), "OwnBook2_File = second.bin\n"));
    Program program({"-c", "-cfg", "books.cfg"}, scratch.path);
    program.wait_for("white");  // the board at the start
    program.send("book");
    std::vector<std::string> lines = program.lines_until("selecting d2d4");
    lines.erase(lines.begin(),
                std::find_if(lines.begin(), lines.end(), [](const std::string &line) { return !line.empty(); }));
    EXPECT_EQ(lines, (std::vector<std::string>{"  e2e4  cnt=     1, weight= 100.00% -> 100.00%", "selecting e2e4", "",
                                               "  d2d4  cnt=     1, weight= 100.00% -> 100.00%", "selecting d2d4"}));
    program.send("mv");  // "go" analyses and asks no book
    EXPECT_EQ(program.wait_for(" book move"), " book move is e2e4");
    EXPECT_EQ(quit_program(&program), 0);
}
