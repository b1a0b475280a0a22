// Moves as text and text as moves.
#include "board/notation.h"

#include <cstring>

#include "base/settings.h"
#include "board/fen.h"
#include "board/moves.h"
#include "gtest/gtest.h"
#include "support/engine.h"
#include "support/positions.h"

namespace {

class NotationTest : public testing::Test {
protected:
    void SetUp() override { start_engine(); }
};

struct Forms {
    char coord[MOVE_TEXT], san[MOVE_TEXT], by_file[MOVE_TEXT], by_rank[MOVE_TEXT];
};

Forms forms_of(Position *position, Move move) {
    Forms forms;
    move_forms(position, move, forms.coord, forms.san, forms.by_file, forms.by_rank);
    return forms;
}

Forms forms_of(const char *fen, const char *text) {
    Position *position = set_up(fen);
    const Move move = move_of(position, text);
    EXPECT_NE(move, 0) << text;
    return forms_of(position, move);
}

void expect_forms(const Forms &forms, const char *coord, const char *san, const char *by_file, const char *by_rank) {
    EXPECT_STREQ(forms.coord, coord);
    EXPECT_STREQ(forms.san, san);
    EXPECT_STREQ(forms.by_file, by_file);
    EXPECT_STREQ(forms.by_rank, by_rank);
}

// The protocol text of what the parser makes of a text, "" when it refuses.
std::string parsed(const char *fen, const char *text, std::string *printed = nullptr) {
    Position *position = set_up(fen);
    char copy[MOVE_TEXT];
    std::snprintf(copy, sizeof copy, "%s", text);
    Move move = 1;
    testing::internal::CaptureStdout();
    const bool result = parse_san(position, copy, &move);
    const std::string output = testing::internal::GetCapturedStdout();
    if (printed) *printed = output;
    return result ? text_of(position, move) : "";
}

TEST_F(NotationTest, NoMove) {
    Position *position = set_up(STARTPOS_FEN);
    char text[MOVE_TEXT];
    move_to_coord(position, WHITE, 0, text);
    EXPECT_STREQ(text, "null");
    expect_forms(forms_of(position, 0), "null", "", "", "");
}

TEST_F(NotationTest, PromotionSuffixFollowsTheMode) {
    const Position *position = set_up("4k3/P7/8/8/8/8/8/4K3 w - -");
    const Move move = word_of("a7a8", PROMO_ROOK);
    EXPECT_EQ(text_of(position, move), "a7a8r");
    settings.uci_mode = 0;
    EXPECT_EQ(text_of(position, move), "a7a8=R");
    settings.uci_mode = 1;
}

TEST_F(NotationTest, CastlingTextFollowsChess960) {
    const Position *position = set_up("4k3/8/8/8/8/8/8/R3K2R w KQ -");
    EXPECT_EQ(text_of(position, word_of("e1g1", CASTLE_KINGSIDE)), "e1g1");
    EXPECT_EQ(text_of(position, word_of("e1c1", CASTLE_QUEENSIDE)), "e1c1");
    settings.chess960 = 1;
    EXPECT_EQ(text_of(position, word_of("e1g1", CASTLE_KINGSIDE)), "e1h1");
    EXPECT_EQ(text_of(position, word_of("e1c1", CASTLE_QUEENSIDE)), "e1a1");
}

TEST_F(NotationTest, PawnForms) {
    expect_forms(forms_of(STARTPOS_FEN, "e2e4"), "e2e4", "e4", "", "");
    expect_forms(forms_of("4k3/8/8/3p4/4P3/8/8/4K3 w - -", "e4d5"), "e4d5", "exd5", "ed", "");
    expect_forms(forms_of("4k3/8/8/3pP3/8/8/8/4K3 w - d6", "e5d6"), "e5d6", "exd6", "ed", "");
    expect_forms(forms_of("7k/P7/8/8/8/8/8/4K3 w - -", "a7a8n"), "a7a8=N", "a8=N", "=N", "");
    expect_forms(forms_of("1n5k/P7/8/8/8/8/8/4K3 w - -", "a7b8q"), "a7b8=Q+", "axb8=Q+", "ab=Q+", "+");
}

TEST_F(NotationTest, CastlingForms) {
    const char *fen = "4k3/8/8/8/8/8/8/R3K2R w KQ -";
    expect_forms(forms_of(fen, "e1g1"), "e1g1", "o-o", "O-O", "e1h1");
    expect_forms(forms_of(fen, "e1c1"), "e1c1", "o-o-o", "O-O-O", "e1a1");
    settings.chess960 = 1;
    expect_forms(forms_of(fen, "e1h1"), "e1h1", "o-o", "O-O", "e1g1");
    expect_forms(forms_of(fen, "e1a1"), "e1a1", "o-o-o", "O-O-O", "e1c1");
}

TEST_F(NotationTest, RivalsLengthenTheShortForm) {
    // Same rank, same file, and neither: only the first two get a longer form.
    expect_forms(forms_of("7k/8/8/8/8/8/1N3N2/K7 w - -", "b2d1"), "b2d1", "Nbd1", "Nbd1", "N2d1");
    expect_forms(forms_of("7k/8/8/1N6/8/8/8/KN6 w - -", "b1c3"), "b1c3", "N1c3", "Nbc3", "N1c3");
    expect_forms(forms_of("7k/8/8/8/8/8/5N2/KN6 w - -", "b1d2"), "b1d2", "Nd2", "Nbd2", "N1d2");
    expect_forms(forms_of("7k/8/8/8/8/5N2/8/KN6 w - -", "b1d2"), "b1d2", "Nd2", "Nbd2", "N1d2");
    // A pinned rival counts all the same.
    expect_forms(forms_of("7k/8/8/8/8/8/1N3N2/K7 w - -", "f2d1"), "f2d1", "Nfd1", "Nfd1", "N2d1");
    expect_forms(forms_of("7k/8/8/3p4/8/8/8/K2R4 w - -", "d1d5"), "d1d5", "Rxd5", "Rdxd5", "R1xd5");
}

TEST_F(NotationTest, CheckSign) {
    EXPECT_STREQ(forms_of("4k3/8/8/8/8/8/8/3RK3 w - -", "d1d8").san, "Rd8+");
    EXPECT_STREQ(forms_of("4k3/8/8/8/8/8/4B3/K3R3 w - -", "e2d3").san, "Bd3+");  // discovered
    EXPECT_STREQ(forms_of("7k/5Q2/6K1/8/8/8/8/8 w - -", "f7g7").san, "Qg7+");    // mate has no sign of its own
    EXPECT_STREQ(forms_of("5k2/8/8/8/8/8/8/4K2R w K -", "e1g1").san, "o-o");     // the rook's check does not count
    EXPECT_STREQ(forms_of("6k1/3P4/8/8/8/8/8/4K3 w - -", "d7d8n").coord, "d7d8=N");
}

TEST_F(NotationTest, Spellings) {
    for (const char *text : {"e2e4", "e4"}) EXPECT_EQ(parsed(STARTPOS_FEN, text), "e2e4") << text;
    for (const char *text : {"g1f3", "Nf3", "Ngf3", "N1f3", "Nf3+", "Nf3+ and more"})
        EXPECT_EQ(parsed(STARTPOS_FEN, text), "g1f3") << text;
    for (const char *text : {"Ng1f3", "nf3", "e5", "Pe4", "E4", "e2-e4", "Nf6", "", "+", "b", "B", "0", "e4!"})
        EXPECT_EQ(parsed(STARTPOS_FEN, text), "") << text;
}

TEST_F(NotationTest, PawnCaptureSpellings) {
    const char *fen = "4k3/8/8/3p4/3PP3/8/8/4K3 w - -";
    for (const char *text : {"exd5", "ed", "e4d5"}) EXPECT_EQ(parsed(fen, text), "e4d5") << text;
    EXPECT_EQ(parsed(fen, "d5"), "");  // a push alone is named by its goal
    EXPECT_EQ(parsed(fen, "e5"), "e4e5");
}

TEST_F(NotationTest, CastlingSpellings) {
    const char *fen = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -";
    for (const char *text : {"o-o", "O-O", "0-0", "e1g1", "e1h1"}) EXPECT_EQ(parsed(fen, text), "e1g1") << text;
    for (const char *text : {"o-o-o", "O-O-O", "0-0-0", "e1c1", "e1a1"}) EXPECT_EQ(parsed(fen, text), "e1c1") << text;
    settings.chess960 = 1;
    for (const char *text : {"O-O", "e1g1", "e1h1"}) EXPECT_EQ(parsed(fen, text), "e1h1") << text;
    settings.chess960 = 0;
    EXPECT_EQ(parsed("r3k1r1/8/8/8/8/8/8/R3K2R w KQq -", "O-O"), "");
}

TEST_F(NotationTest, PromotionSpellings) {
    const char *fen = "7k/4P3/8/8/8/8/8/4K3 w - -";
    for (const char *text : {"e8q", "e8Q", "e8=Q", "e8=q", "e7e8q", "e7e8Q", "e7e8=q"})
        EXPECT_EQ(parsed(fen, text), "e7e8q") << text;
    EXPECT_EQ(parsed(fen, "e8n"), "e7e8n");
    EXPECT_EQ(parsed(fen, "e8k"), "");
    EXPECT_EQ(parsed(fen, "e8"), "");
}

// A position that was set up may have a king to take. Nobody can search it, but its moves can be typed.
TEST_F(NotationTest, NoTextTakesAKing) {
    const char *fen = "k7/1P6/8/8/8/8/8/K7 w - -";
    for (const char *text : {"bxa8=N", "b7a8q", "ba8=Q"}) EXPECT_EQ(parsed(fen, text), "") << text;
    EXPECT_EQ(parsed(fen, "b8=Q"), "b7b8q");
}

TEST_F(NotationTest, AmbiguousTexts) {
    std::string printed;
    EXPECT_EQ(parsed("7k/8/8/8/8/8/5N2/KN6 w - -", "Nd1", &printed), "f2d1");
    EXPECT_EQ(parsed("7k/8/8/8/8/5N2/8/KN6 w - -", "Nd2", &printed), "");
    EXPECT_EQ(printed, "ambiguous move\n");
    EXPECT_EQ(parsed("7k/8/8/8/8/5N2/8/KN6 w - -", "Nbd2", &printed), "b1d2");
    EXPECT_EQ(printed, "");
    // Three moves of one text are refused without a word.
    EXPECT_EQ(parsed("7k/8/2N5/5N2/8/1N6/8/K7 w - -", "Nd4", &printed), "");
    EXPECT_EQ(printed, "");
    // Only legal ones count: one knight is pinned.
    EXPECT_EQ(parsed("1r5k/8/8/1N6/8/5N2/8/1K6 w - -", "Nd4", &printed), "f3d4");
}

// The parser works on the position that it is given and leaves the owner's lists, ply and position alone.
TEST_F(NotationTest, ParsingLeavesNoTrace) {
    ThreadState *thread = allocate_thread_state(0);
    ASSERT_NE(thread, nullptr);
    Position *position = &thread->position;
    set_up("4k3/8/8/8/8/8/8/4K3 w - -");  // the master's position is another one
    set_position_from_text(position, STARTPOS_FEN);
    thread->game.ply = 5;
    const std::vector<PlyRecord> plies(thread->plies, thread->plies + PLY_RECORDS);
    char text[MOVE_TEXT] = "Nf3";
    Move move = 0;
    EXPECT_TRUE(parse_san(position, text, &move));
    EXPECT_EQ(move, word_of("g1f3"));
    EXPECT_EQ(thread->game.ply, 5);
    EXPECT_EQ(std::memcmp(static_cast<const void *>(plies.data()), thread->plies, sizeof thread->plies), 0);
    EXPECT_EQ(thread->move_pool[0].move, 0);
    EXPECT_EQ(fen_of(position), STARTPOS_FEN);
    free_thread_state(thread);
}

TEST_F(NotationTest, CountOfMovesWithAText) {
    struct Count {
        const char *fen, *text;
        int count;
    };
    for (const Count &row :
         {Count{STARTPOS_FEN, "e4", 1}, Count{STARTPOS_FEN, "e5", 0}, Count{"7k/8/8/8/8/5N2/8/KN6 w - -", "Nd2", 2},
          Count{"7k/8/2N5/5N2/8/1N6/8/K7 w - -", "Nd4", 3}}) {
        char text[MOVE_TEXT];
        std::snprintf(text, sizeof text, "%s", row.text);
        Move last = 1;
        EXPECT_EQ(count_moves_with_text(set_up(row.fen), text, &last), row.count) << row.text;
        EXPECT_EQ(last != 0, row.count > 0);
    }
}

// A board full of queens: the longest list of moves there can be fits the parser's buffer.
TEST_F(NotationTest, CrowdedBoards) {
    EXPECT_EQ(parsed("QQQQQQQQ/Q6Q/Q6Q/Q6Q/Q6Q/Q6Q/Q6Q/KQQQQQQk w - -", "Qb7xb6"), "");
    EXPECT_EQ(parsed("QQQQQQQQ/8/QQQQQQQQ/8/QQQQQQQQ/8/QQQQQQQQ/K6k w - -", "a8a7"), "a8a7");
}

}  // namespace
