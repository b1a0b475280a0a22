// FEN in and out, castling rights, the diagram, defects.
#include "board/fen.h"

#include "board/make_move.h"
#include "gtest/gtest.h"
#include "search/thread_state.h"
#include "support/engine.h"
#include "support/positions.h"

namespace {

std::string full_fen(const Position *position) {
    char text[FEN_SIZE];
    position_to_fen(position, text, 1);
    return text;
}

std::string printed_board(Position *position) {
    testing::internal::CaptureStdout();
    print_board(position);
    return testing::internal::GetCapturedStdout();
}

class FenTest : public testing::Test {
protected:
    void SetUp() override { start_engine(); }
};

TEST_F(FenTest, StartPositionWithCounters) {
    EXPECT_EQ(full_fen(set_up(STARTPOS_FEN)), std::string(STARTPOS_FEN) + " 0 0");
}

TEST_F(FenTest, SecondCounterIsTheNumberOfMovesMade) {
    Position *position = set_up("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 7 40");
    make_move(position, move_of(position, "g1f3"));
    EXPECT_EQ(full_fen(position), "rnbqkbnr/pppppppp/8/8/8/5N2/PPPPPPPP/RNBQKB1R b KQkq - 8 1");
}

TEST_F(FenTest, PlacementAndSideAlone) {
    const Position *position = set_up("r3k2r/8/8/8/8/8/8/R3K2R b");
    EXPECT_EQ(position->castling, 0);
    EXPECT_EQ(position->ep_square, NO_SQUARE);
    EXPECT_EQ(position->fifty, 0);
    EXPECT_EQ(position->stm, BLACK);
}

TEST_F(FenTest, NoRightsWithTheKingAwayFromHome) {
    const Position *position = set_up("r3k2r/8/8/8/8/8/4K3/R6R w KQkq -");
    EXPECT_EQ(position->castling, 12);
    EXPECT_EQ(position->castle_rook[0], NO_SQUARE);
    EXPECT_EQ(position->castle_rook[2], 63);
}

TEST_F(FenTest, TwoRooksBeyondTheKingDropTheRight) {
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/4KR1R w K -")->castling, 0);
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/4KR1R w H -")->castling, 0);
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/R3K2R w KQ -")->castling, 3);
}

TEST_F(FenTest, FileLettersNameASide) {
    EXPECT_EQ(set_up("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w HAha -")->castling, 15);
    // Shuffled array, and the same with one rook more on the king's side.
    EXPECT_EQ(set_up("nrk1brnq/pp1p1pp1/7p/b1p1p3/1P6/6P1/P1PPPPQP/NRKBBRN1 w FBfb -")->castling, 15);
    EXPECT_EQ(set_up("nrk1brnq/pp1p1pp1/7p/b1p1p3/1P6/6P1/P1PPPPQP/NRKBBRNR w FBfb -")->castling, 14);
}

TEST_F(FenTest, CastlingPathsAndMasks) {
    const Position *position = set_up("r3k2r/8/8/8/8/8/8/R3K2R w KQkq -");
    EXPECT_EQ(position->castle_path[0], bit(5) | bit(6));
    EXPECT_EQ(position->castle_path[1], bit(1) | bit(2) | bit(3));
    EXPECT_EQ(position->castle_mask[3], bit(60) | bit(56));
    // King on b1, rook on a1: the goals c1 and d1 must be empty, the squares of both themselves need not.
    position = set_up("1k6/8/8/8/8/8/8/RK6 w Q -");
    EXPECT_EQ(position->castle_path[1], bit(2) | bit(3));
}

TEST_F(FenTest, DiagramHasTheBlackPawnAsAnO) {
    EXPECT_EQ(printed_board(set_up("4k3/3p4/8/8/8/8/3P4/4K3 b - - 3 9")),
              "4k3/3p4/8/8/8/8/3P4/4K3 b - - 3 0\n"
              "  - + - + k + - +\n"
              "  + - + o + - + -\n"
              "  - + - + - + - +\n"
              "  + - + - + - + -\n"
              "  - + - + - + - +\n"
              "  + - + - + - + -\n"
              "  - + - P - + - +\n"
              "  + - + - K - + -\n"
              "black\n\n");
}

TEST_F(FenTest, ImpossibleEnPassantSquareStaysInTheKey) {
    const u64 without = set_up("4k3/8/8/8/8/8/8/4K3 w - -")->key;
    const Position *position = set_up("4k3/8/8/8/8/8/8/4K3 w - e6");
    EXPECT_EQ(position->ep_square, square_of("e6"));
    EXPECT_EQ(position->key, without ^ zobrist[44]);
}

TEST_F(FenTest, EnPassantFieldOddities) {
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/4K3 w - a")->ep_square, 0);
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/4K3 w - 3")->ep_square, NO_SQUARE + 16);
    EXPECT_EQ(fen_of(set_up("4k3/8/8/8/8/8/8/4K3 w - 3")), "4k3/8/8/8/8/8/8/4K3 w - -");
}

TEST_F(FenTest, TextIsNeverRefused) {
    for (const char *text :
         {"", " ", "x", "////////////", "9999",
          "KKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKKK w",
          "8/8/8/8/8/8/8/8 w KQkq e3 300 1", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR/RNBQKBNR w",
          "4k3/8/8/8/8/8/8/4K3 w KQkqKQkqKQkq h8 9999999999999999999 1"}) {
        const Position *position = set_up(text);
        const Bitboard whites = position->pieces[0], blacks = position->pieces[8];
        EXPECT_EQ(whites & blacks, 0u) << text;
        for (Square square = 0; square < 64; ++square)
            EXPECT_EQ(position->board[square] != 0, ((whites | blacks) & bit(square)) != 0) << text;
        EXPECT_EQ(position->board[NO_SQUARE], 0);
    }
    EXPECT_EQ(set_up("8/8/8/8/8/8/8/8 w - -")->king_sq[WHITE], NO_SQUARE);
}

TEST_F(FenTest, SideLetterMissingKeepsTheSide) {
    set_up("4k3/8/8/8/8/8/8/4K3 b - -");
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/4K3 x - -")->stm, BLACK);
}

TEST_F(FenTest, TheTextIsCutAfterTheClock) {
    char text[] = "4k3/8/8/8/8/8/8/4K3 w - - 12 34";
    Position *position = &root_thread_state->position;
    set_position_from_fen(position, text);
    EXPECT_EQ(position->fifty, 12);
    EXPECT_STREQ(text, "4k3/8/8/8/8/8/8/4K3 w - - 12");
}

TEST_F(FenTest, SetUpEmptiesTheGame) {
    Position *position = set_up(STARTPOS_FEN);
    make_game_move(position, move_of(position, "e2e4"));
    make_game_move(position, move_of(position, "e7e5"));
    set_up(STARTPOS_FEN);
    EXPECT_EQ(root_thread_state->game.game_ply, 0);
    EXPECT_EQ(root_thread_state->game.last_move, 0);
    EXPECT_EQ(root_thread_state->game.game_stack[0].move, 0);
    EXPECT_EQ(root_thread_state->game.game_stack[1].move, 0);
    EXPECT_EQ(position->touched, 0u);
}

TEST_F(FenTest, Defects) {
    EXPECT_EQ(position_defect(set_up(STARTPOS_FEN)), nullptr);
    EXPECT_NE(position_defect(set_up("8/8/8/8/8/8/8/4K3 w - -")), nullptr);
    EXPECT_NE(position_defect(set_up("4k3/8/8/8/8/8/8/K3K3 w - -")), nullptr);
    EXPECT_NE(position_defect(set_up("P3k3/8/8/8/8/8/8/4K3 w - -")), nullptr);
    EXPECT_NE(position_defect(set_up("4k3/8/8/8/8/8/8/4R2K w - -")), nullptr);
    EXPECT_NE(position_defect(set_up("4k3/8/8/QQQQQQQQ/QQQQQQQQ/8/8/4K3 b - -")), nullptr);
}

TEST_F(FenTest, DefectsAreNamed) {
    EXPECT_STREQ(position_defect(set_up("4k3/8/8/8/8/8/8/4R2K w - -")), "the side not to move is in check");
    EXPECT_STREQ(position_defect(set_up("8/8/8/8/8/8/8/4K3 w - -")), "each side needs exactly one king");
}

TEST_F(FenTest, AnOverlongTextIsCut) {
    const std::string text = "4k3/8/8/8/8/8/8/4K3 b - - 7 " + std::string(5000, '9');
    set_position_from_text(&root_thread_state->position, text.c_str());
    EXPECT_EQ(full_fen(&root_thread_state->position), "4k3/8/8/8/8/8/8/4K3 b - - 7 0");
}

}  // namespace
