// Book keys against the published test positions and against what a key must not depend on.
#include "book/book_key.h"
#include "support/positions.h"

#include "board/attacks.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "support/engine.h"
#include "support/shared_data.h"

static u64 key_of(const char *fen) {
    Position *position = &start_engine()->position;
    set_position_from_text(position, fen);
    return book_key(position);
}

TEST(BookKey, TableBeginsAndEndsAsPublished) {
    EXPECT_EQ(POLYGLOT_RANDOM64[0], 0x9D39247E33776D41ULL);
    EXPECT_EQ(POLYGLOT_RANDOM64[780], 0xF8D626AAAF278509ULL);
}

TEST(BookKey, PublishedPositions) {
    EXPECT_EQ(key_of("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"), 0x463b96181691fc9cULL);
    EXPECT_EQ(key_of("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1"), 0x823c9b50fd114196ULL);
    EXPECT_EQ(key_of("rnbqkbnr/ppp1pppp/8/3p4/4P3/8/PPPP1PPP/RNBQKBNR w KQkq d6 0 2"), 0x0756b94461c50fb0ULL);
    EXPECT_EQ(key_of("rnbqkbnr/ppp1pppp/8/3pP3/8/8/PPPP1PPP/RNBQKBNR b KQkq - 0 2"), 0x662fafb965db29d4ULL);
    EXPECT_EQ(key_of("rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6 0 3"), 0x22a48b5a8e47ff78ULL);
    EXPECT_EQ(key_of("rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPPKPPP/RNBQ1BNR b kq - 0 3"), 0x652a607ca3f242c1ULL);
    EXPECT_EQ(key_of("rnbq1bnr/ppp1pkpp/8/3pPp2/8/8/PPPPKPPP/RNBQ1BNR w - - 0 4"), 0x00fdd303c946bdd9ULL);
    EXPECT_EQ(key_of("rnbqkbnr/p1pppppp/8/8/PpP4P/8/1P1PPPP1/RNBQKBNR b KQkq c3 0 3"), 0x3c8123ea7b067637ULL);
    EXPECT_EQ(key_of("rnbqkbnr/p1pppppp/8/8/P6P/R1p5/1P1PPPP1/1NBQKBNR b Kkq - 0 4"), 0x5c3f9b829b279560ULL);
}

TEST(BookKey, ReferencePositions) {
    SKIP_WITHOUT_SHARED("data/polyglot_keys.tsv");
    int seen = 0;
    for (const std::string &line : read_lines(shared_path("data/polyglot_keys.tsv"))) {
        if (line.empty() || line[0] == '#') continue;
        const auto fields = split_tabs(line);
        EXPECT_EQ(key_of(fields[0].c_str()), std::stoull(fields[1], nullptr, 16)) << line;
        ++seen;
    }
    EXPECT_EQ(seen, 62);
}

// The same keys for texts with odd fields: missing ones, rights without rooks, idle targets.
TEST(BookKey, ReferenceTexts) {
    SKIP_WITHOUT_SHARED("golden/board/fen.tsv");
    int seen = 0;
    for (const std::string &line : read_lines(shared_path("golden/board/fen.tsv"))) {
        if (line.empty() || line[0] == '#') continue;
        const auto fields = split_tabs(line);
        ASSERT_EQ(fields.size(), 6u) << line;
        EXPECT_EQ(key_of(fields[0].c_str()), std::stoull(fields[5], nullptr, 16)) << line;
        ++seen;
    }
    EXPECT_GT(seen, 10);
}

TEST(BookKey, ReferenceTable) {
    SKIP_WITHOUT_SHARED("data/polyglot_random64.txt");
    const auto lines = read_lines(shared_path("data/polyglot_random64.txt"));
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(POLYGLOT_WORDS));
    for (int i = 0; i < POLYGLOT_WORDS; ++i) EXPECT_EQ(POLYGLOT_RANDOM64[i], std::stoull(lines[i], nullptr, 16)) << i;
}

TEST(BookKey, EnPassantCountsOnlyWithAPawnThatAttacksIt) {
    // No pawn near, or only one of the side that made the step, or one across the board's edge.
    EXPECT_EQ(key_of("4k3/8/8/3p4/8/4P3/8/4K3 w - d6"), key_of("4k3/8/8/3p4/8/4P3/8/4K3 w - -"));
    EXPECT_EQ(key_of("4k3/8/8/p6P/8/8/8/4K3 w - a6"), key_of("4k3/8/8/p6P/8/8/8/4K3 w - -"));
    // A pawn that could take counts, also when it is pinned to its king.
    EXPECT_NE(key_of("4k3/8/8/3pP3/8/8/8/4K3 w - d6"), key_of("4k3/8/8/3pP3/8/8/8/4K3 w - -"));
    EXPECT_NE(key_of("4r1k1/8/8/3pP3/8/8/8/4K3 w - d6"), key_of("4r1k1/8/8/3pP3/8/8/8/4K3 w - -"));
    // A square that a damaged text puts beyond the board.
    EXPECT_EQ(key_of("4k3/8/8/3pP3/8/8/8/4K3 w - 6"), key_of("4k3/8/8/3pP3/8/8/8/4K3 w - -"));
}

TEST(BookKey, RightsAndSideCountSingly) {
    const char *rights[] = {"K", "Q", "k", "q"};
    const u64 none = key_of("r3k2r/8/8/8/8/8/8/R3K2R w - -");
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(key_of((std::string("r3k2r/8/8/8/8/8/8/R3K2R w ") + rights[i] + " -").c_str()) ^ none,
                  POLYGLOT_RANDOM64[768 + i]);
    EXPECT_EQ(key_of("r3k2r/8/8/8/8/8/8/R3K2R b - -") ^ none, POLYGLOT_RANDOM64[780]);
}

TEST(BookKey, HasNoSideEffectAndFollowsTheMoves) {
    Position *position = &start_engine()->position;
    const u64 search_key = position->key, before = book_key(position);
    make_move(position, word_of("e2e4"));
    EXPECT_EQ(book_key(position), 0x823c9b50fd114196ULL);
    unmake_move(position);
    EXPECT_EQ(book_key(position), before);
    EXPECT_EQ(position->key, search_key);
}
