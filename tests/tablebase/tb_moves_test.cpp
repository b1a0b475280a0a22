// The probes' own move generator, against that of the game.
#include <algorithm>
#include <iterator>
#include <random>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/moves.h"
#include "support/table_directory.h"

class TbMoves : public testing::Test {
protected:
    void SetUp() override { start_engine(); }
};

// The game's word for a probe's move.
static Move game_move(TbMove move) {
    static const Move FLAGS[5] = {0, PROMO_QUEEN, PROMO_ROOK, PROMO_BISHOP, PROMO_KNIGHT};
    return make_word(tb_from(move), tb_to(move), FLAGS[tb_promotion(move)]);
}

static bool same_men(const TbPosition &a, const TbPosition &b) {
    return a.white == b.white && a.black == b.black && a.kings == b.kings && a.queens == b.queens &&
           a.rooks == b.rooks && a.bishops == b.bishops && a.knights == b.knights && a.pawns == b.pawns &&
           a.turn == b.turn;
}

static std::vector<TbMove> en_passant_moves(const TbPosition &pos) {
    TbMove list[TB_MAX_MOVES];
    TbMove *const end = tb_gen_captures(pos, list);
    std::vector<TbMove> moves;
    std::copy_if(list, end, std::back_inserter(moves), [&](TbMove move) { return tb_is_en_passant(pos, move); });
    return moves;
}

// Legal moves and the positions after them agree with the game's. No castling rights.
static void check_position(const std::string &fen) {
    Position *position = set_up(fen);
    const TbPosition pos = tb_from_position(position, position->fifty);
    std::vector<Move> expected = legal_moves(position);
    TbMove list[TB_MAX_MOVES];
    std::vector<Move> moves;
    TbMove *const end = tb_gen_legal(pos, list);
    for (const TbMove *move = list; move != end; ++move) {
        moves.push_back(game_move(*move));
        TbPosition next;
        ASSERT_TRUE(tb_do_move(&next, pos, *move));
        make_move(position, moves.back());
        const TbPosition after = tb_from_position(position, position->fifty);
        EXPECT_TRUE(same_men(next, after)) << fen << " " << moves.back();
        EXPECT_EQ(next.rule50, after.rule50) << fen;
        // The game notes every double step, the probes only those that can be answered.
        EXPECT_EQ(en_passant_moves(next), en_passant_moves(after)) << fen;
        EXPECT_TRUE(next.ep == 0 || next.ep == after.ep) << fen;
        unmake_move(position);
    }
    // Every capture, and pawn moves onto enemies only.
    TbMove captures[TB_MAX_MOVES];
    TbMove *const captures_end = tb_gen_captures(pos, captures);
    std::vector<TbMove> by_test, by_generator(captures, captures_end);
    TbMove all[TB_MAX_MOVES];
    TbMove *const all_end = tb_gen_moves(pos, all);
    for (const TbMove *move = all; move != all_end; ++move)
        if (tb_is_capture(pos, *move)) by_test.push_back(*move);
    EXPECT_EQ(by_test, by_generator) << fen;
    std::sort(moves.begin(), moves.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(moves, expected) << fen;
}

TEST_F(TbMoves, AgreeWithTheGame) {
    for (const char *fen :
         {"8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 3 1", "8/8/8/8/k2pP2R/8/8/K7 b - e3 0 1",
          "8/8/8/8/k2pP3/8/8/K7 b - e3 0 1", "r3k3/1P6/8/8/8/8/1p6/K1R5 w - - 0 1",
          "r3k3/1P6/8/8/8/8/1p6/2R4K b - - 0 1", "4k3/8/8/3Pp3/8/8/8/4K3 w - e6 0 1", "k7/8/1K6/8/8/8/8/7R b - - 254 1",
          "k7/8/1K6/8/8/8/8/QQQQQ3 w - - 10 1", "8/P7/8/k7/8/8/8/K6n w - - 10 1", "6kq/8/8/8/8/8/8/7K w - - 0 1"})
        check_position(fen);
}

// Random positions of three to seven men.
TEST_F(TbMoves, AgreeWithTheGameAtRandom) {
    std::mt19937 random(3);
    int checked = 0;
    for (int round = 0; round < 3000; ++round) {
        char board[64];
        std::fill(board, board + 64, '1');
        std::vector<char> men = {'K', 'k'};
        for (int i = 0; i < 1 + static_cast<int>(random() % 5); ++i) men.push_back("QRBNPqrbnp"[random() % 10]);
        for (const char man : men) {
            const bool pawn = man == 'P' || man == 'p';
            int square;
            do square = pawn ? 8 + static_cast<int>(random() % 48) : static_cast<int>(random() % 64);
            while (board[square] != '1');
            board[square] = man;
        }
        std::string fen;
        for (int rank = 7; rank >= 0; --rank) fen.append(board + 8 * rank, 8).append(rank ? "/" : "");
        fen += random() % 2 ? " w - - 5 1" : " b - - 5 1";
        if (position_defect(set_up(fen))) continue;
        check_position(fen);
        ++checked;
    }
    EXPECT_GT(checked, 1000);
}

TEST_F(TbMoves, PromotionOrder) {
    const TbPosition pos = tb_position_of("8/P7/8/k7/8/8/8/K7 w - - 0 1");
    TbMove list[TB_MAX_MOVES];
    TbMove *const end = tb_gen_moves(pos, list);
    ASSERT_EQ(end - list, 3 + 4);
    const int order[4] = {TB_QUEEN, TB_KNIGHT, TB_ROOK, TB_BISHOP};
    for (int i = 0; i < 4; ++i) EXPECT_EQ(end[i - 4], tb_move_word(48, 56, order[i]));
}

TEST_F(TbMoves, DoubleStepsSetTheSquareOnlyWhenItMatters) {
    TbPosition next;
    ASSERT_TRUE(tb_do_move(&next, tb_position_of("8/8/8/k7/3p4/8/4P3/K7 w - - 7 1"), tb_move_word(12, 28)));
    EXPECT_EQ(next.ep, 20);
    EXPECT_EQ(next.rule50, 0);
    ASSERT_TRUE(tb_do_move(&next, tb_position_of("8/8/8/k7/2p5/8/4P3/K7 w - - 7 1"), tb_move_word(12, 28)));
    EXPECT_EQ(next.ep, 0);
}

TEST_F(TbMoves, MateAndStalemate) {
    EXPECT_TRUE(tb_is_mate(tb_position_of("k6R/8/1K6/8/8/8/8/8 b - - 0 1")));
    EXPECT_FALSE(tb_is_mate(tb_position_of("7k/5Q2/8/8/8/8/8/K7 b - - 0 1")));
    EXPECT_FALSE(tb_is_mate(tb_position_of("k6R/8/2K5/8/8/8/8/8 b - - 0 1")));
}
