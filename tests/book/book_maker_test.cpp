// The book maker: tokens, counts, weights, and whole runs from game text to book file.
#include "book/book_maker.h"

#include <algorithm>

#include "base/output.h"
#include "base/settings.h"
#include "base/text.h"
#include "board/notation.h"
#include "book/book_key.h"
#include "book/book_nodes.h"
#include "book_files.h"
#include "support/engine.h"
#include "support/shared_data.h"

static constexpr u64 START_KEY = 0x463b96181691fc9cULL;

TEST(BookWeight, ScalesDownOnlyAndWrapsNegatives) {
    EXPECT_EQ(book_weight(10, 10), 10);
    EXPECT_EQ(book_weight(0, 0), 0);
    EXPECT_EQ(book_weight(60000, 60000), 60000);
    EXPECT_EQ(book_weight(120000, 120000), 60000);
    EXPECT_EQ(book_weight(7, 120000), 3);
    EXPECT_EQ(book_weight(-3, 0), 0) << "does not fit: 0";
    EXPECT_EQ(book_weight(-3, 60000), 0);
    // 4294967293 * 0.5 = 2147483646.5 just fits: 0x7FFFFFFE, of which the low 16 bits remain.
    EXPECT_EQ(book_weight(-3, 120000), 0xFFFE);
    // 4294967293 * 0.25 = 1073741823.25 -> 0x3FFFFFFF -> low 16 bits.
    EXPECT_EQ(book_weight(-3, 240000), 0xFFFF);
    EXPECT_EQ(book_weight(-65536 * 4, 240000), 0);
}

// The chains as (key, move) in walking order.
static std::vector<std::pair<u64, u16>> walk(const BookTable &table) {
    std::vector<std::pair<u64, u16>> nodes;
    for (std::size_t i = 0; i < std::size_t{1} << table.head_bits; ++i)
        for (const BookNode *node = table.heads[i]; node; node = node->next) nodes.push_back({node->key, node->move});
    return nodes;
}

TEST(BookTable, WalksKeysInOrderAndMovesAsTheyCame) {
    BookTable table;
    ASSERT_TRUE(open_book_table(&table));
    EXPECT_EQ(table.head_bits, 14);
    std::vector<std::pair<u64, u16>> expected;
    u64 key = 1;
    for (int i = 0; i < 100000; ++i) {  // well beyond the first number of chains
        key = key * 6364136223846793005ULL + 1442695040888963407ULL;
        // Some keys share all but their lowest bits, so that they stay in one chain.
        const u64 used = i % 3 ? key : key & 7;
        const u16 move = static_cast<u16>(60000 - i % 50);
        const std::pair<u64, u16> node = {used, move};
        if (i % 3 == 0 && std::find(expected.begin(), expected.end(), node) != expected.end()) {
            ASSERT_TRUE(count_book_move(&table, used, move, 1));
            continue;
        }
        if (i % 3 == 0) expected.insert(expected.begin(), node);  // rare keys first: found quickly
        else expected.push_back(node);
        ASSERT_TRUE(count_book_move(&table, used, move, 1));
    }
    EXPECT_GT(table.head_bits, 14);
    EXPECT_EQ(table.nodes, expected.size());
    // Those put at the front came in reverse order.
    const auto rare = std::find_if(expected.begin(), expected.end(), [](const auto &node) { return node.first > 7; });
    std::reverse(expected.begin(), rare);
    std::stable_sort(expected.begin(), expected.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    EXPECT_EQ(walk(table), expected);
    free_book_table(&table);
    EXPECT_EQ(table.heads, nullptr);
}

TEST(BookTable, CountsOutcomes) {
    BookTable table;
    ASSERT_TRUE(open_book_table(&table));
    for (int i = 0; i < 3; ++i) count_book_move(&table, ~0ULL, 5, 1);
    for (int i = 0; i < 2; ++i) count_book_move(&table, ~0ULL, 5, -1);
    for (int i = 0; i < 4; ++i) count_book_move(&table, ~0ULL, 5, 0);
    count_book_move(&table, ~0ULL, 6, 0);
    const BookNode *node = table.heads[(1 << 14) - 1];
    ASSERT_TRUE(node);
    EXPECT_EQ(node->wins, 3u);
    EXPECT_EQ(node->losses, 2u);
    EXPECT_EQ(node->draws, 4u);
    EXPECT_EQ(node->next->move, 6);
    EXPECT_EQ(table.nodes, 2u);
    free_book_table(&table);
}

// A record by key, with its weight and move, for comparison without the order of equal weights.
using Entry = std::tuple<u64, int, u16>;

static std::vector<Entry> sorted_entries(const std::vector<BookRecord> &records) {
    std::vector<Entry> entries;
    for (const BookRecord &record : records) entries.push_back({record.key, -record.weight, record.move});
    std::sort(entries.begin(), entries.end());
    return entries;
}

class BookMaker : public testing::Test {
protected:
    WorkingDirectory directory;
    std::string printed;
    bool made = false;

    void SetUp() override { start_engine(); }

    // Runs the maker on a file and returns the book's records; checks the order that a reader needs.
    std::vector<BookRecord> make_from_file(const std::string &path) {
        copy_text(settings.pgn_file, path.c_str(), sizeof settings.pgn_file);
        testing::internal::CaptureStdout();
        made = make_book(&root_thread_state->position);
        printed = testing::internal::GetCapturedStdout();
        const auto records = book_records(read_file("tmp_book.bin"));
        for (std::size_t i = 1; i < records.size(); ++i) {
            const BookRecord &a = records[i - 1], &b = records[i];
            EXPECT_TRUE(a.key < b.key || (a.key == b.key && a.weight >= b.weight)) << "record " << i;
            EXPECT_EQ(b.learn, 0u);
        }
        return records;
    }
    std::vector<BookRecord> make_from(const std::string &text) {
        EXPECT_TRUE(write_file("games.pgn", text));
        return make_from_file("games.pgn");
    }
    // The text names of the moves that a book has for the start position, best first.
    std::string start_moves(const std::vector<BookRecord> &records) {
        std::string text;
        for (const BookRecord &record : records) {
            if (record.key != START_KEY) continue;
            const Move move = move_of_book_code(record.move);
            text += std::string(SQUARE_NAMES[from_of(move)]) + SQUARE_NAMES[to_of(move)] + "=" +
                    std::to_string(record.weight) + " ";
        }
        return text;
    }
};

// `count` games with this result and text.
static std::string games(int count, const std::string &result, const std::string &moves, const std::string &tags = "") {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += "[Event \"?\"]\n[Result \"" + result + "\"]\n" + tags + "\n" + moves + "\n\n";
    return text;
}

TEST_F(BookMaker, CountsAndPrints) {
    const auto records = make_from(games(5, "1-0", "1. e4 e5 1-0") + games(6, "1/2-1/2", "1. d4 d5 1/2-1/2"));
    EXPECT_EQ(printed,
              " Creating file tmp_book.bin from games in games.pgn\n"
              "\nwriting book file ...\nngames= 11, nmoves= 4\nbook contains 3 moves\ndone\n");
    // e4: 5 wins = 20; d4 and d5: 6 draws = 6; e5: 5 losses, not kept.
    EXPECT_EQ(start_moves(records), "e2e4=20 d2d4=6 ");
    EXPECT_EQ(records.size(), 3u);
}

TEST_F(BookMaker, FourPointsAreNotEnough) {
    EXPECT_EQ(start_moves(make_from(games(4, "1-0", "e4"))), "");
    EXPECT_EQ(start_moves(make_from(games(5, "1-0", "e4"))), "e2e4=20 ");
    EXPECT_EQ(start_moves(make_from(games(5, "1-0", "e4") + games(5, "0-1", "e4"))), "") << "losses as many as points";
    EXPECT_EQ(start_moves(make_from(games(6, "1-0", "e4") + games(5, "0-1", "e4"))), "e2e4=14 ");
}

TEST_F(BookMaker, NegativeScoreHasWeightZero) {
    const auto records = make_from(games(5, "1/2-1/2", "e4") + games(4, "0-1", "e4") + games(5, "1/2-1/2", "d4"));
    EXPECT_EQ(start_moves(records), "d2d4=5 e2e4=0 ") << "5 - 2 * 4 = -3";
}

TEST_F(BookMaker, UnknownResultAndSetUpPositionsAreSkipped) {
    const auto records = make_from(games(9, "*", "a4") + games(9, "1-0", "b4", "[FEN \"8/8/8/8/8/8/8/8 w - -\"]\n") +
                                   games(5, "0-1", "h4 h5"));
    EXPECT_EQ(start_moves(records), "");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].move, book_code("h7h5"));
    EXPECT_NE(printed.find("\nngames= 23, nmoves= 2\n"), std::string::npos);
}

TEST_F(BookMaker, CommentsVariationsAndMarks) {
    EXPECT_EQ(start_moves(make_from(games(5, "1-0", "1. {d4 (} e4 1-0"))), "") << "a bracket in a comment stays open";
    EXPECT_EQ(start_moves(make_from(games(5, "1-0", "1. {d4 d5\nc4} (a4 (h4) b4) $1 ;c4 e4 1-0"))), "e2e4=20 ");
    EXPECT_EQ(start_moves(make_from(games(5, "1-0", "1. {a\n;} 1. c4"))), "c2c4=20 ") << "read as text, too";
    EXPECT_EQ(start_moves(make_from(games(5, "1-0", "1. {a\n[d4\nx} 1. c4"))), "c2c4=20 ");
    EXPECT_EQ(start_moves(make_from(games(5, "1-0", "; e4\n[x] e4\nd4"))), "d2d4=20 ");
}

TEST_F(BookMaker, MoveThatDoesNotParseEndsTheGame) {
    const auto records = make_from(games(5, "1-0", "1. e4 e5 2. Ke3 Nc6\n3. Nf3 1-0") + games(5, "1-0", "1. e4! e5"));
    EXPECT_EQ(start_moves(records), "e2e4=20 ");
    EXPECT_EQ(records.size(), 1u);
    EXPECT_NE(printed.find("nmoves= 2\n"), std::string::npos);
}

TEST_F(BookMaker, ResultBlackWonFailsAsText) {
    // "0-1" is taken for a move and ends the game; "1-0" and "1/2-1/2" are no moves.
    make_from(games(5, "0-1", "e4 0-1 e5") + games(5, "1-0", "d4 1-0 d5"));
    EXPECT_NE(printed.find("nmoves= 3\n"), std::string::npos);
}

TEST_F(BookMaker, CastlingInLettersAndZeros) {
    const std::string opening = "1. e4 e5 2. Nf3 Nf6 3. Bc4 Bc5 4. ";
    for (const char *castling : {"O-O", "0-0", "o-o", "e1g1", "e1h1"}) {
        const auto records = make_from(games(5, "1-0", opening + castling));
        int seen = 0;
        for (const BookRecord &record : records) seen += record.move == book_code("e1h1", 4);
        EXPECT_EQ(seen, 1) << castling;
    }
}

TEST_F(BookMaker, NoResultTagMergesGames) {
    const auto records = make_from(games(5, "1-0", "e4\n[Event \"next\"]\nd5 exd5"));
    EXPECT_EQ(records.size(), 2u);
    EXPECT_NE(printed.find("\nngames= 5, nmoves= 3\n"), std::string::npos);
}

TEST_F(BookMaker, TextBeforeTheFirstTagIsNoGame) {
    start_engine();  // whatever is on the board before
    EXPECT_EQ(start_moves(make_from("e4 e5\ne4 e5\ne4 e5\ne4 e5\ne4 e5\n" + games(5, "1-0", "d4"))), "d2d4=20 ");
    EXPECT_NE(printed.find("\nngames= 5, nmoves= 1\n"), std::string::npos);
}

TEST_F(BookMaker, PlyLimitIsLookedAtBetweenLines) {
    std::string shuffle;
    for (int i = 0; i < 9; ++i) shuffle += "Nf3 Nf6 Ng1 Ng8 ";  // 36 plies
    make_from(games(1, "1/2-1/2", shuffle + "e4\nd5"));
    EXPECT_NE(printed.find("nmoves= 5\n"), std::string::npos) << "e4 stands on the line begun at ply 0";
    make_from(games(1, "1/2-1/2", shuffle + "\ne4"));
    EXPECT_NE(printed.find("nmoves= 4\n"), std::string::npos);
    make_from(games(1, "1/2-1/2", shuffle.substr(4) + "\ne4 e5"));
    EXPECT_NE(printed.find("nmoves= "), std::string::npos);
}

TEST_F(BookMaker, LineEnds) {
    const std::string unix_text = games(5, "1-0", "1. e4 e5 2. Nf3 1-0");
    std::string windows_text;
    for (const char c : unix_text) windows_text += c == '\n' ? "\r\n" : std::string(1, c);
    const auto first = make_from(unix_text), second = make_from(windows_text);
    EXPECT_EQ(first.size(), 2u);
    EXPECT_EQ(sorted_entries(first), sorted_entries(second));
    // The last character of the file goes where its line end is missing.
    EXPECT_EQ(start_moves(make_from(games(4, "1-0", "e4") + "[Result \"1-0\"]\ne4 ")), "e2e4=20 ");
    EXPECT_EQ(start_moves(make_from(games(4, "1-0", "e4") + "[Result \"1-0\"]\ne4")), "");
}

TEST_F(BookMaker, LongLineLosesACharacterAtTheSeam) {
    // 1023 characters are read at once and the last of them is dropped: "e4" becomes "e".
    EXPECT_EQ(start_moves(make_from(games(5, "1-0", std::string(1021, ' ') + "e4 d4"))), "");
    EXPECT_EQ(start_moves(make_from(games(5, "1-0", std::string(1020, ' ') + "e4 d5"))), "e2e4=20 ");
    EXPECT_EQ(start_moves(make_from(games(5, "1-0", std::string(5000, 'x') + "e4"))), "");
}

TEST_F(BookMaker, BinaryInput) {
    std::string noise;
    u32 word = 1;
    for (int i = 0; i < 200000; ++i) noise += static_cast<char>((word = word * 1664525 + 1013904223) >> 24);
    EXPECT_TRUE(make_from(noise).empty());
    EXPECT_EQ(start_moves(make_from(std::string("\0\0\n\0", 4) + games(5, "1-0", "e4"))), "e2e4=20 ");
    EXPECT_TRUE(make_from("").empty());
    EXPECT_NE(printed.find("\nngames= 0, nmoves= 0\nbook contains 0 moves\ndone\n"), std::string::npos);
}

TEST_F(BookMaker, DotForEvery1024Games) {
    make_from(games(2048 + 1000, "1-0", "e4"));
    EXPECT_EQ(printed,
              " Creating file tmp_book.bin from games in games.pgn\n..\n"
              "writing book file ...\nngames= 3048, nmoves= 1\nbook contains 1 moves\ndone\n");
}

TEST_F(BookMaker, ScoresAboveTheLimitAreScaled) {
    std::string text = games(20000, "1-0", "e4") + games(10000, "1-0", "d4");
    EXPECT_EQ(start_moves(make_from(text)), "e2e4=60000 d2d4=30000 ");
}

TEST_F(BookMaker, UnderpromotionIsKept) {
    const auto records = make_from(games(5, "1-0", "1. b4 a5 2. bxa5 h6 3. a6 h5 4. axb7 h4 5. bxa8=N h3"));
    int seen = 0;
    for (const BookRecord &record : records) seen += record.move == book_code("b7a8", 1);
    EXPECT_EQ(seen, 1);
}

TEST_F(BookMaker, InputThatCannotBeReadKeepsTheOldBook) {
    ASSERT_TRUE(write_file("tmp_book.bin", "old"));
    std::filesystem::create_directory("folder");
    for (const char *name : {"absent.pgn", "folder"}) {
        testing::internal::CaptureStderr();
        make_from_file(name);
        const std::string reason = *name == 'a' ? "No such file or directory" : directory_reason();
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "error reading " + std::string(name) + ": " + reason + "\n");
        EXPECT_EQ(printed, "");
        EXPECT_FALSE(made);
        EXPECT_EQ(read_file("tmp_book.bin"), "old");
    }
}

TEST_F(BookMaker, OutputThatCannotBeWritten) {
    std::filesystem::create_directories("tmp_book.bin/inside");
    testing::internal::CaptureStderr();
    make_from(games(5, "1-0", "e4"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "error writing tmp_book.bin: " + directory_reason() + "\n");
    EXPECT_FALSE(made);
    EXPECT_EQ(printed,
              " Creating file tmp_book.bin from games in games.pgn\n"
              "\nwriting book file ...\nngames= 0, nmoves= 0\nbook contains 0 moves\ndone\n");
}

TEST_F(BookMaker, ReferenceBooks) {
    SKIP_WITHOUT_SHARED("golden/book/cases.json");
    const std::pair<const char *, const char *> cases[] = {
        {"basic", "ngames= 44, nmoves= 18\nbook contains 9 moves\n"},
        {"castle", "ngames= 41, nmoves= 38\nbook contains 27 moves\n"},
        {"comments", "ngames= 90, nmoves= 40\nbook contains 21 moves\n"},
        {"crlf", "ngames= 44, nmoves= 18\nbook contains 9 moves\n"},
        {"plies", "ngames= 10, nmoves= 10\nbook contains 10 moves\n"}};
    for (const auto &[name, counts] : cases) {
        SCOPED_TRACE(name);
        const std::string stem = std::string("mkbook_") + name, pgn = stem + ".pgn";
        std::filesystem::copy_file(shared_path("golden/book/" + pgn), pgn);
        const auto records = make_from_file(pgn);
        EXPECT_EQ(sorted_entries(records),
                  sorted_entries(book_records(read_file(shared_path("golden/book/" + stem + ".bin")))));
        EXPECT_EQ(printed, " Creating file tmp_book.bin from games in " + pgn + "\n\nwriting book file ...\n" + counts +
                               "done\n");
    }
}

TEST_F(BookMaker, RealGames) {
    SKIP_WITHOUT_SHARED("data/epd/openings_8moves.pgn");
    std::filesystem::copy_file(shared_path("data/epd/openings_8moves.pgn"), "openings.pgn");
    const auto records = make_from_file("openings.pgn");
    EXPECT_GT(records.size(), 100u);
    // All games are drawn: a move's weight is the number of games that played it, and of at least 5.
    for (const BookRecord &record : records) EXPECT_GE(record.weight, 5);
    EXPECT_NE(printed.find("ngames= 2000, "), std::string::npos);
}
