// Carrying positions forward and back.
#include <cstring>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/moves.h"
#include "gtest/gtest.h"
#include "search/thread_state.h"
#include "support/engine.h"
#include "support/positions.h"

namespace {

class MakeMoveTest : public testing::Test {
protected:
    void SetUp() override { start_engine(); }
};

bool same(const Position &a, const Position &b) {
    return !std::memcmp(a.board, b.board, sizeof a.board) && !std::memcmp(a.pieces, b.pieces, sizeof a.pieces) &&
           a.touched == b.touched && !std::memcmp(a.castle_mask, b.castle_mask, sizeof a.castle_mask) &&
           !std::memcmp(a.castle_path, b.castle_path, sizeof a.castle_path) && a.key == b.key &&
           a.pawn_key == b.pawn_key && a.material[0] == b.material[0] && a.material[1] == b.material[1] &&
           !std::memcmp(a.castle_rook, b.castle_rook, sizeof a.castle_rook) && a.king_sq[0] == b.king_sq[0] &&
           a.king_sq[1] == b.king_sq[1] && a.stm == b.stm && a.ep_square == b.ep_square && a.castling == b.castling &&
           a.fifty == b.fifty;
}

// Every redundant field agrees with the board array.
void expect_consistent(const Position &position, const std::string &where) {
    Bitboard sets[16] = {};
    i32 material[2] = {};
    for (Square square = 0; square < 64; ++square)
        if (const int code = position.board[square]) {
            sets[code] |= bit(square);
            sets[code & BLACK_CODE] |= bit(square);
            material[colour_of(code)] += MATERIAL_STEP[type_of(code)];
        }
    ASSERT_EQ(std::memcmp(sets, position.pieces, sizeof sets), 0) << where;
    ASSERT_EQ(material[0], position.material[0]) << where;
    ASSERT_EQ(material[1], position.material[1]) << where;
    for (int side = WHITE; side <= BLACK; ++side)
        ASSERT_EQ(bit(position.king_sq[side]), sets[piece_code(side, KING)]) << where;
    Position copy = position;
    compute_keys(&copy);
    ASSERT_EQ(copy.key, position.key) << where;
    ASSERT_EQ(copy.pawn_key, position.pawn_key) << where;
}

void check_tree(Position *position, int depth, const std::string &where) {
    for (const Move move : legal_moves(position)) {
        const Position before = *position;
        const u16 last_move = position->game->last_move;
        const std::string line = where + " " + text_of(position, move);
        make_move(position, move);
        expect_consistent(*position, line);
        if (depth > 1) check_tree(position, depth - 1, line);
        unmake_move(position);
        ASSERT_TRUE(same(before, *position)) << line;
        ASSERT_EQ(position->game->last_move, last_move) << line;
    }
}

TEST_F(MakeMoveTest, MakeAndUnmakeKeepEveryField) {
    for (const char *fen : {STARTPOS_FEN, "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 3 9",
                            "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -", "r3k2r/1P4P1/8/8/8/8/1p4p1/R3K2R w KQkq -",
                            "nr1qkr1b/ppp1pp1p/4bn2/3p2p1/4P3/1Q6/PPPP1PPP/NRB1KRNB w FBfb -",
                            "1k6/8/8/8/8/8/8/RK5R w KQ -", "4k3/8/8/8/8/8/8/5RKR w Q -"})
        check_tree(set_up(fen), 2, fen);
}

TEST_F(MakeMoveTest, CapturedRookTakesItsRight) {
    Position *position = set_up("4k2r/8/8/8/8/8/6b1/4K2R b Kk -");
    make_move(position, move_of(position, "g2h1"));
    EXPECT_EQ(position->castling, 4);
    unmake_move(position);
    EXPECT_EQ(position->castling, 5);
}

TEST_F(MakeMoveTest, ARookThatCameBackCastlesNoMore) {
    Position *position = set_up("4k3/8/8/8/8/8/8/R3K3 w Q -");
    for (const char *text : {"a1a2", "e8d8", "a2a1", "d8e8"}) make_move(position, move_of(position, text));
    EXPECT_EQ(position->castling, 0);
    EXPECT_EQ(move_of(position, "e1c1"), 0);
    for (int i = 0; i < 4; ++i) unmake_move(position);
    EXPECT_EQ(position->castling, 2);
}

TEST_F(MakeMoveTest, CastlingResetsTheClockOtherKingMovesDoNot) {
    Position *position = set_up("4k3/8/8/8/8/8/8/4K2R w K - 20 1");
    make_move(position, move_of(position, "e1g1"));
    EXPECT_EQ(position->fifty, 0);
    EXPECT_EQ(fen_of(position), "4k3/8/8/8/8/8/8/5RK1 b - -");
    unmake_move(position);
    make_move(position, move_of(position, "e1e2"));
    EXPECT_EQ(position->fifty, 21);
}

TEST_F(MakeMoveTest, KingTakesRookIsRecordedWithTheGoal) {
    Position *position = set_up("4k3/8/8/8/8/8/8/4K2R w K -");
    make_move(position, word_of("e1h1", CASTLE_KINGSIDE));
    EXPECT_EQ(fen_of(position), "4k3/8/8/8/8/8/8/5RK1 b - -");
    EXPECT_EQ(root_thread_state->game.last_move, word_of("e1g1", CASTLE_KINGSIDE));
    unmake_move(position);
    EXPECT_EQ(fen_of(position), "4k3/8/8/8/8/8/8/4K2R w K -");
}

TEST_F(MakeMoveTest, Chess960KingAlreadyOnItsGoal) {
    Position *position = set_up("4k3/8/8/8/8/8/8/6KR w K -");
    const u64 key = position->key;
    make_move(position, word_of("g1g1", CASTLE_KINGSIDE));
    EXPECT_EQ(fen_of(position), "4k3/8/8/8/8/8/8/5RK1 b - -");
    EXPECT_EQ(position->key, key ^ zobrist[ROOK * 64 + 7] ^ zobrist[ROOK * 64 + 5] ^ zobrist[0] ^ zobrist[1]);
    EXPECT_EQ(position->castling, 0);
    unmake_move(position);
    EXPECT_EQ(fen_of(position), "4k3/8/8/8/8/8/8/6KR w K -");
    EXPECT_EQ(position->key, key);
}

TEST_F(MakeMoveTest, Chess960RookOnTheKingsGoal) {
    Position *position = set_up("4k3/8/8/8/8/8/8/5KR1 w K -");
    make_move(position, move_of(position, "f1g1"));
    EXPECT_EQ(fen_of(position), "4k3/8/8/8/8/8/8/5RK1 b - -");
    unmake_move(position);
    EXPECT_EQ(fen_of(position), "4k3/8/8/8/8/8/8/5KR1 w K -");
}

TEST_F(MakeMoveTest, EveryDoubleStepSetsTheTargetAndItsKey) {
    Position *position = set_up("4k3/8/8/8/8/8/4P3/4K3 w - -");
    const u64 plain = set_up("4k3/8/8/8/4P3/8/8/4K3 b - -")->key;
    position = set_up("4k3/8/8/8/8/8/4P3/4K3 w - -");
    make_move(position, move_of(position, "e2e4"));
    EXPECT_EQ(position->ep_square, square_of("e3"));
    EXPECT_EQ(position->key, plain ^ zobrist[20]);
}

TEST_F(MakeMoveTest, EnPassant) {
    Position *position = set_up("4k3/8/8/3pP3/8/8/8/4K3 w - d6");
    make_move(position, move_of(position, "e5d6"));
    EXPECT_EQ(fen_of(position), "4k3/8/3P4/8/8/8/8/4K3 b - -");
    EXPECT_EQ(root_thread_state->game.game_stack[0].undo & 255, 0);  // the victim is not recorded
    unmake_move(position);
    EXPECT_EQ(fen_of(position), "4k3/8/8/3pP3/8/8/8/4K3 w - d6");
}

TEST_F(MakeMoveTest, PromotionOnARooksHome) {
    Position *position = set_up("r3k3/1P6/8/8/8/8/8/4K3 w q -");
    make_move(position, word_of("b7a8", PROMO_KNIGHT));
    EXPECT_EQ(fen_of(position), "N3k3/8/8/8/8/8/8/4K3 b - -");
    EXPECT_EQ(position->castling, 0);
    EXPECT_EQ(position->pawn_key, 0u);
    unmake_move(position);
    EXPECT_EQ(fen_of(position), "r3k3/1P6/8/8/8/8/8/4K3 w q -");
}

TEST_F(MakeMoveTest, APromotionWithoutAFlagGivesAQueen) {
    Position *position = set_up("4k3/P7/8/8/8/8/8/4K3 w - -");
    make_move(position, word_of("a7a8"));
    EXPECT_EQ(fen_of(position), "Q3k3/8/8/8/8/8/8/4K3 b - -");
    unmake_move(position);
    EXPECT_EQ(fen_of(position), "4k3/P7/8/8/8/8/8/4K3 w - -");
}

TEST_F(MakeMoveTest, GamesLongerThanTheStackGoOn) {
    Position *position = set_up("4k3/8/8/8/8/8/8/4K3 w - -");
    const char *const shuffle[4] = {"e1d1", "e8d8", "d1e1", "d8e8"};
    for (int i = 0; i < 5000; ++i) {
        make_game_move(position, move_of(position, shuffle[i % 4]));
        ASSERT_LT(root_thread_state->game.game_ply, GAME_STACK_SIZE - MAX_PLY);
        ASSERT_EQ(root_thread_state->game.ply, 1);
        ASSERT_EQ(root_thread_state->game.game_stack[root_thread_state->game.game_ply].move, 0);
    }
    EXPECT_EQ(fen_of(position), "4k3/8/8/8/8/8/8/4K3 w - -");
    EXPECT_TRUE(is_game_drawn(position));
}

TEST_F(MakeMoveTest, DrawsByTheRules) {
    EXPECT_TRUE(is_game_drawn(set_up("4k3/8/8/8/8/8/8/4K2R w - - 100 90")));
    EXPECT_FALSE(is_game_drawn(set_up("4k3/8/8/8/8/8/8/4K2R w - - 99 90")));
    Position *position = set_up("4k3/8/8/8/8/8/8/4K2R w - -");
    const char *const shuffle[4] = {"h1h2", "e8d8", "h2h1", "d8e8"};
    for (int i = 0; i < 7; ++i) {
        make_game_move(position, move_of(position, shuffle[i % 4]));
        EXPECT_FALSE(is_game_drawn(position)) << i;
    }
    make_game_move(position, move_of(position, shuffle[3]));
    EXPECT_TRUE(is_game_drawn(position));  // for the third time on the board
}

}  // namespace
