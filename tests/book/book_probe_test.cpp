// Probing: the search on disk, the weights, the draw, and the printed lists.
#include "book/book_probe.h"
#include "support/positions.h"

#include <cstring>
#include <map>

#include "base/output.h"
#include "base/settings.h"
#include "board/fen.h"
#include "board/notation.h"
#include "book/book_key.h"
#include "book_files.h"
#include "platform/file_offset.h"
#include "support/engine.h"
#include "support/shared_data.h"

static constexpr u64 START_KEY = 0x463b96181691fc9cULL;

static Position *game() { return &root_thread_state->position; }

// Sets the generator so that its next number is `remainder` (0..999) modulo 1000. The generator is
// turned back by the inverse of its odd factor.
static void set_next_draw(u32 remainder) {
    u32 inverse = 1;
    for (int i = 0; i < 5; ++i) inverse *= 2 - 12345 * inverse;
    book_seed = (remainder - 76543) * inverse;
    book_seeded = 1;
}

static std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::size_t begin = 0;
    for (std::size_t end; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1)
        lines.push_back(text.substr(begin, end - begin));
    if (begin < text.size()) lines.push_back(text.substr(begin));
    return lines;
}

// One probe with this draw and all that it prints.
static Move probe(const std::string &path, u32 draw, std::vector<std::string> *printed = nullptr) {
    set_next_draw(draw);
    testing::internal::CaptureStdout();
    const Move move = book_probe(game(), path.c_str());
    const std::string text = testing::internal::GetCapturedStdout();
    if (printed) *printed = lines_of(text);
    return move;
}

class BookProbe : public testing::Test {
protected:
    ScratchDirectory scratch;
    std::string path = scratch.file("book.bin");

    void SetUp() override { start_engine(); }
    void write(const std::vector<BookRecord> &records) { ASSERT_TRUE(write_file(path, book_bytes(records))); }
    // Records of the start position with these weights: e2e4, d2d4, c2c4, g1f3, b2b3.
    void write_weights(const std::vector<u16> &weights) {
        const char *moves[] = {"e2e4", "d2d4", "c2c4", "g1f3", "b2b3"};
        std::vector<BookRecord> records;
        for (std::size_t i = 0; i < weights.size(); ++i)
            records.push_back({START_KEY, book_code(moves[i]), weights[i], 0});
        write(records);
    }
};

TEST_F(BookProbe, NoPathNoFileTooShort) {
    const u32 seed = 77;
    book_seed = seed;
    book_seeded = 1;
    std::vector<std::string> printed;
    EXPECT_EQ(probe("", 0), 0);
    EXPECT_EQ(probe(scratch.file("absent.bin"), 0), 0);
    EXPECT_EQ(probe(scratch.path, 0), 0) << "a directory";
    for (int length : {0, 1, 15}) {
        ASSERT_TRUE(write_file(path, std::string(length, 'x')));
        EXPECT_EQ(probe(path, 0, &printed), 0) << length;
        EXPECT_TRUE(printed.empty());
    }
}

TEST_F(BookProbe, SeedsItselfOnceAndOnlyWithAFile) {
    book_seeded = 0;
    book_seed = 5;
    EXPECT_EQ(book_probe(game(), scratch.file("absent.bin").c_str()), 0);
    EXPECT_EQ(book_seeded, 0);
    EXPECT_EQ(book_seed, 5u);
    write({{1, 2, 3, 4}});
    EXPECT_EQ(book_probe(game(), path.c_str()), 0);
    EXPECT_EQ(book_seeded, 1);
    EXPECT_NE(book_seed, 5u);
    book_seed = 6;
    EXPECT_EQ(book_probe(game(), path.c_str()), 0);
    EXPECT_EQ(book_seed, 6u) << "a miss draws nothing";
}

TEST_F(BookProbe, SingleRecord) {
    write_weights({5});
    EXPECT_EQ(probe(path, 0), word_of("e2e4"));
    EXPECT_EQ(probe(path, 999), word_of("e2e4"));
    write({{START_KEY + 1, book_code("e2e4"), 5, 0}});
    EXPECT_EQ(probe(path, 0), 0);
    write({{START_KEY - 1, book_code("e2e4"), 5, 0}});
    EXPECT_EQ(probe(path, 0), 0);
}

// 3 GB of records with key 0, which is a hole in the file, and the one that is asked for at the end.
TEST_F(BookProbe, FindsARecordBeyondTwoGigabytes) {
    std::FILE *file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    ASSERT_TRUE(set_file_place(file, i64{3} << 30));
    const std::string bytes = book_bytes({{START_KEY, book_code("d2d4"), 5, 0}});
    EXPECT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), file), bytes.size());
    ASSERT_EQ(std::fclose(file), 0) << "no room for a file of this size";
    EXPECT_EQ(probe(path, 0), word_of("d2d4"));
}

TEST_F(BookProbe, FindsEachKeyOfASortedFile) {
    for (int size = 1; size <= 40; ++size) {
        std::vector<BookRecord> records;
        // Keys 10, 20, 20, 30, 40, 40 ...: every second one twice. The highest has its sign bit set.
        for (int i = 0; i < size; ++i)
            records.push_back(
                {static_cast<u64>((i * 2 / 3 + 1) * 10), static_cast<u16>(i), static_cast<u16>(100 - i), 0});
        records.back().key |= 1ULL << 63;
        write(records);
        std::FILE *file = std::fopen(path.c_str(), "rb");
        BookRecord list[BOOK_LIST_SIZE];
        for (int i = 0; i < size; ++i) {
            int first = i, last = i;
            while (first > 0 && records[first - 1].key == records[i].key) --first;
            while (last + 1 < size && records[last + 1].key == records[i].key) ++last;
            ASSERT_EQ(book_find_records(file, records[i].key, list), last - first + 1) << size << " " << i;
            EXPECT_EQ(list[0].move, first);
            EXPECT_EQ(list[last - first].move, last);
            EXPECT_EQ(book_find_records(file, records[i].key + 1, list), 0);
            EXPECT_EQ(book_find_records(file, records[i].key - 1, list), 0);
        }
        std::fclose(file);
    }
}

TEST_F(BookProbe, BrokenTailIsNoRecord) {
    ASSERT_TRUE(write_file(
        path, book_bytes({{START_KEY, book_code("e2e4"), 5, 0}, {START_KEY, book_code("d2d4"), 4, 0}}) + "123"));
    std::FILE *file = std::fopen(path.c_str(), "rb");
    BookRecord list[BOOK_LIST_SIZE];
    const int count = book_find_records(file, START_KEY, list);
    std::fclose(file);
    EXPECT_EQ(count, 2);
}

TEST_F(BookProbe, UnsortedFileMissesQuietly) {
    write({{START_KEY, book_code("e2e4"), 5, 0}, {1, 0, 1, 0}, {2, 0, 1, 0}, {3, 0, 1, 0}});
    std::vector<std::string> printed;
    EXPECT_EQ(probe(path, 0, &printed), 0);
    EXPECT_TRUE(printed.empty());
}

TEST_F(BookProbe, ListHoldsAtMost127) {
    for (int size : {126, 127, 128, 300}) {
        std::vector<BookRecord> records(size, {START_KEY, book_code("e2e4"), 10, 0});
        for (int i = 0; i < size; ++i) records[i].move = static_cast<u16>(i);
        write(records);
        std::FILE *file = std::fopen(path.c_str(), "rb");
        BookRecord list[BOOK_LIST_SIZE];
        const int count = book_find_records(file, START_KEY, list);
        std::fclose(file);
        EXPECT_EQ(count, size < 127 ? size : 127);
        EXPECT_EQ(list[count - 1].move, count - 1);
        EXPECT_EQ(book_total_weight(list, count), 10 * count);
    }
}

TEST_F(BookProbe, ZeroWeightsPrintNothing) {
    write_weights({0, 0});
    std::vector<std::string> printed;
    for (int mode : {0, 1}) {
        settings.uci_mode = static_cast<u8>(mode);
        settings.info_min_time = 0;
        EXPECT_EQ(probe(path, 0, &printed), 0);
        EXPECT_TRUE(printed.empty());
    }
}

TEST_F(BookProbe, ZeroWeightAtTheHeadIsNeverPlayed) {
    write_weights({0, 7, 0, 3});
    std::vector<std::string> printed;
    for (u32 draw = 0; draw < 1000; ++draw) {
        const Move move = probe(path, draw, &printed);
        EXPECT_TRUE(move == word_of("d2d4") || move == word_of("g1f3")) << draw;
        ASSERT_EQ(printed.size(), 1u);
        EXPECT_EQ(printed[0], "info string ( book moves are: d2d4 g1f3  )");
    }
    EXPECT_EQ(probe(path, 0), word_of("d2d4"));
    EXPECT_EQ(probe(path, 999), word_of("g1f3"));
}

static std::vector<i32> adjusted_of(const std::vector<u16> &weights, int variety, i32 *sum) {
    std::vector<BookRecord> list;
    for (const u16 weight : weights) list.push_back({0, 0, weight, 0});
    const int count = static_cast<int>(list.size());
    std::vector<i32> adjusted(weights.size());
    *sum = book_adjust_weights(list.data(), count, book_total_weight(list.data(), count), variety, adjusted.data());
    return adjusted;
}

TEST(BookWeights, VarietyFlattensAndSharpens) {
    i32 sum;
    EXPECT_EQ(adjusted_of({5000, 3000, 1500, 500}, 25, &sum), (std::vector<i32>{5000, 3000, 1500, 500}));
    EXPECT_EQ(sum, 10000);
    EXPECT_EQ(adjusted_of({100, 20}, 0, &sum), (std::vector<i32>{6250, 0}));
    EXPECT_EQ(sum, 6250);
    EXPECT_EQ(adjusted_of({100, 20}, 100, &sum), (std::vector<i32>{14583, 7916}));
    EXPECT_EQ(sum, 22499);
    EXPECT_EQ(adjusted_of({7}, 10, &sum), (std::vector<i32>{8571})) << "-1.05 truncates toward zero";
}

TEST(BookWeights, LargestListStaysInRange) {
    i32 sum;
    for (int variety : {0, 25, 100}) {
        const auto adjusted = adjusted_of(std::vector<u16>(BOOK_LIST_SIZE, 65535), variety, &sum);
        for (const i32 value : adjusted) EXPECT_EQ(value, adjusted[0]);
        EXPECT_EQ(sum, BOOK_LIST_SIZE * adjusted[0]);
        EXPECT_GT(sum, 0);
        EXPECT_EQ(adjusted_of({65535}, variety, &sum)[0], variety == 100 ? 17499 : variety == 0 ? 7500 : 10000);
    }
}

TEST(BookDraw, GeneratorAndThreshold) {
    u32 seed = 0;
    EXPECT_EQ(book_draw_threshold(&seed, 10000), 5430);  // 76543 -> 543
    EXPECT_EQ(seed, 76543u);
    book_draw_threshold(&seed, 10000);
    EXPECT_EQ(seed, 944999878u);  // 76543 * 12346
    seed = 0;
    EXPECT_EQ(book_draw_threshold(&seed, 9999), 5429);
    for (u32 start : {1u, 99u, 0xFFFFFFFFu}) {
        const i32 threshold = book_draw_threshold(&(seed = start), 7);
        EXPECT_GE(threshold, 0);
        EXPECT_LT(threshold, 7);
    }
}

TEST(BookDraw, LastEntryBelowTheThresholdWins) {
    const BookRecord list[4] = {{0, 0, 1, 0}, {0, 0, 1, 0}, {0, 0, 0, 0}, {0, 0, 1, 0}};
    const i32 adjusted[4] = {10, 20, 0, 30};
    EXPECT_EQ(book_choose_entry(list, adjusted, 4, 0), 0);
    EXPECT_EQ(book_choose_entry(list, adjusted, 4, 10), 0);
    EXPECT_EQ(book_choose_entry(list, adjusted, 4, 11), 1);
    EXPECT_EQ(book_choose_entry(list, adjusted, 4, 30), 1);
    EXPECT_EQ(book_choose_entry(list, adjusted, 4, 31), 3);
    EXPECT_EQ(book_choose_entry(list + 2, adjusted, 1, 0), -1);
}

TEST_F(BookProbe, UciLine) {
    write_weights({100, 20});
    std::vector<std::string> printed;
    probe(path, 0, &printed);
    EXPECT_EQ(printed, std::vector<std::string>{"info string ( book moves are: e2e4 d2d4  )"});
    settings.info_min_time = INFO_NEVER;  // silences the console only
    probe(path, 0, &printed);
    EXPECT_EQ(printed.size(), 1u);
}

TEST_F(BookProbe, ConsoleLines) {
    write_weights({100, 20});
    settings.uci_mode = 0;
    settings.info_min_time = 9998.0f;
    std::vector<std::string> printed;
    probe(path, 0, &printed);
    EXPECT_EQ(printed, (std::vector<std::string>{"  e2e4  cnt=   100, weight= 83.33% -> 83.34%",
                                                 "  d2d4  cnt=    20, weight= 16.67% -> 16.66%", "selecting e2e4"}));
    settings.book_variety = 0;
    probe(path, 999, &printed);
    EXPECT_EQ(printed, (std::vector<std::string>{"  e2e4  cnt=   100, weight= 83.33% -> 100.00%",
                                                 "  d2d4  cnt=    20, weight= 16.67% ->  0.00%", "selecting e2e4"}));
    settings.info_min_time = 9999.0f;
    EXPECT_EQ(probe(path, 0, &printed), word_of("e2e4"));
    EXPECT_TRUE(printed.empty());
}

TEST_F(BookProbe, MoveThatThePositionHasNotIsRefused) {
    // A rook's e1h1 reads as castling, and there is no king on e1.
    set_position_from_text(game(), "4k3/8/8/8/8/8/6K1/4R3 w - -");
    write({{book_key(game()), book_code("e1h1"), 9, 0}});
    settings.uci_mode = 0;
    settings.info_min_time = 0;
    std::vector<std::string> printed;
    EXPECT_EQ(probe(path, 0, &printed), 0);
    EXPECT_EQ(printed, (std::vector<std::string>{"  e1g1  cnt=     9, weight= 100.00% -> 100.00%", "selecting a1a1"}));
    // From an empty square, onto an own man, and a promotion that isn't one.
    start_engine();
    for (const u16 code : {book_code("e4e5"), book_code("a1a2"), book_code("e2e4", 4), book_code("e1h1")}) {
        write({{START_KEY, code, 9, 0}});
        EXPECT_EQ(probe(path, 0), 0) << code;
    }
    // A pinned piece.
    set_position_from_text(game(), "4r1k1/8/8/8/8/8/4N3/4K3 w - -");
    write({{book_key(game()), book_code("e2c3"), 9, 0}});
    EXPECT_EQ(probe(path, 0), 0);
}

TEST_F(BookProbe, CastlingOfBothSpellings) {
    set_position_from_text(game(), "r3k2r/8/8/8/8/8/8/R3K2R b KQkq -");
    for (int field : {0, 4}) {
        write({{book_key(game()), book_code("e8h8", field), 9, 0}});
        EXPECT_EQ(probe(path, 0), word_of("e8g8", CASTLE_KINGSIDE));
    }
    for (int field : {0, 1}) {
        write({{book_key(game()), book_code("e8a8", field), 9, 0}});
        std::vector<std::string> printed;
        EXPECT_EQ(probe(path, 0, &printed), word_of("e8c8", CASTLE_QUEENSIDE));
        EXPECT_EQ(printed[0], "info string ( book moves are: e8c8  )");
    }
}

TEST_F(BookProbe, PromotionPrintsNoLetter) {
    set_position_from_text(game(), "8/P6k/8/8/8/8/7K/8 w - -");
    write({{book_key(game()), book_code("a7a8", 3), 9, 0}});
    std::vector<std::string> printed;
    EXPECT_EQ(probe(path, 0, &printed), word_of("a7a8", PROMO_ROOK));
    EXPECT_EQ(printed[0], "info string ( book moves are: a7a8  )");
}

TEST_F(BookProbe, PositionIsUnchangedAtAnyPly) {
    write_weights({100});
    root_thread_state->game.ply = 500;
    const Position before = *game();
    EXPECT_EQ(probe(path, 0), word_of("e2e4"));
    EXPECT_EQ(std::memcmp(&before, game(), sizeof before), 0);
}

// The expected results of one book at one variety.
struct Expected {
    i32 total = 0, bias = 0, sum = 0;
    int entries = 0;
    std::string uci_line;
    std::vector<std::string> console;
    std::vector<i32> adjusted;
    std::map<int, int> chosen;  // by move word
};

// Reads the pretty-printed results: one value or bracket a line.
static std::map<int, Expected> read_expected(const std::string &name) {
    std::map<int, Expected> all;
    Expected *current = nullptr;
    std::string section;
    const auto unquoted = [](const std::string &text) {
        const std::size_t first = text.find('"'), last = text.rfind('"');
        return first == std::string::npos ? std::string() : text.substr(first + 1, last - first - 1);
    };
    for (const std::string &line : read_lines(shared_path("golden/book/" + name))) {
        const std::size_t colon = line.find("\": ");
        if (line[0] == ']' || line[0] == '}') {
            section.clear();
        } else if (section == "console") {
            current->console.push_back(unquoted(line));
        } else if (section == "adjusted") {
            if (line[0] != 'n') current->adjusted.push_back(std::stoi(line));
        } else if (section == "chosen") {
            current->chosen[std::stoi(line.substr(1, 4), nullptr, 16)] = std::stoi(line.substr(colon + 3));
        } else if (colon != std::string::npos) {
            const std::string key = line.substr(1, colon - 1), value = line.substr(colon + 3);
            if (value == "{" && key != "chosen") current = &all[std::stoi(key)];
            else if (value == "{" || value == "[") section = key;
            else if (key == "total") current->total = std::stoi(value);
            else if (key == "bias") current->bias = std::stoi(value);
            else if (key == "sum") current->sum = std::stoi(value);
            else if (key == "entries") current->entries = std::stoi(value);
            else if (key == "uci_line") current->uci_line = unquoted(value);
        }
    }
    return all;
}

static void check_printed(const Expected &expected, const std::string &path) {
    std::vector<std::string> printed;
    settings.uci_mode = 1;
    const Move move = probe(path, 500, &printed);
    if (expected.uci_line.empty()) EXPECT_TRUE(printed.empty());
    else EXPECT_EQ(printed, std::vector<std::string>{expected.uci_line});
    settings.uci_mode = 0;
    settings.info_min_time = 0;
    EXPECT_EQ(probe(path, 500, &printed), move);
    if (expected.console.empty()) {
        EXPECT_TRUE(printed.empty());
        return;
    }
    char selecting[20];
    std::snprintf(selecting, sizeof selecting, "selecting %s%s", SQUARE_NAMES[from_of(move)],
                  SQUARE_NAMES[to_of(move)]);
    EXPECT_EQ(printed.back(), selecting);
    // A long list is cut in the reference: "..." comes before its last line.
    for (std::size_t i = 0; i < expected.console.size() && expected.console[i] != "..."; ++i)
        EXPECT_EQ(printed.at(i), expected.console[i]);
    EXPECT_EQ(printed.at(printed.size() - 2), expected.console.back());
    settings.info_min_time = INFO_NEVER;
}

TEST_F(BookProbe, ReferenceBooks) {
    SKIP_WITHOUT_SHARED("golden/book/cases.json");
    // clang-format off
    const std::pair<const char *, const char *> books[] = {
        {"book_one", STARTPOS_FEN}, {"book_two", STARTPOS_FEN}, {"book_shares", STARTPOS_FEN},
        {"book_many", STARTPOS_FEN}, {"book_zero", STARTPOS_FEN}, {"book_short", STARTPOS_FEN},
        {"book_around", STARTPOS_FEN},
        {"book_castle", "r3k2r/pppq1ppp/2npbn2/2b1p3/2B1P3/2NPBN2/PPPQ1PPP/R3K2R w KQkq -"},
        {"book_promo", "1n2k3/P7/8/8/8/8/8/4K3 w - -"}};
    // clang-format on
    for (const auto &[name, fen] : books) {
        SCOPED_TRACE(name);
        set_position_from_text(game(), fen);
        const std::string file_name = shared_path(std::string("golden/book/") + name + ".bin");
        const auto varieties = read_expected(std::string(name) + ".json");
        ASSERT_EQ(varieties.size(), 6u);
        for (const auto &[variety, expected] : varieties) {
            SCOPED_TRACE(variety);
            settings.book_variety = static_cast<u8>(variety);
            std::FILE *file = std::fopen(file_name.c_str(), "rb");
            ASSERT_TRUE(file);
            BookRecord list[BOOK_LIST_SIZE];
            const int count = book_find_records(file, book_key(game()), list);
            std::fclose(file);
            EXPECT_EQ(count, expected.entries);
            const i32 total = book_total_weight(list, count);
            EXPECT_EQ(total, expected.total);
            if (total) {
                i32 adjusted[BOOK_LIST_SIZE];
                EXPECT_EQ(book_adjust_weights(list, count, total, variety, adjusted), expected.sum);
                for (std::size_t i = 0; i < expected.adjusted.size(); ++i) EXPECT_EQ(adjusted[i], expected.adjusted[i]);
            }
            settings.uci_mode = 0;
            settings.info_min_time = INFO_NEVER;
            std::map<int, int> chosen;
            for (u32 draw = 0; draw < 1000; ++draw) {
                set_next_draw(draw);
                if (const Move move = book_probe(game(), file_name.c_str())) ++chosen[move];
            }
            EXPECT_EQ(chosen, expected.chosen);
            check_printed(expected, file_name);
        }
    }
}
