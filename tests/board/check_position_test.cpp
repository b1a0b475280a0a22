// The checks of debug builds find each kind of damage, and accept every position that set-up and moves can give.
#include "board/check_position.h"

#include "base/debug_check.h"
#include "board/fen.h"
#include "board/game.h"
#include "board/make_move.h"
#include "formats/training_record.h"
#include "gtest/gtest.h"
#include "support/engine.h"
#include "support/positions.h"

namespace {

class CheckPositionTest : public testing::Test {
protected:
    void SetUp() override { start_engine(); }
};

const char *const CASTLING = "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -";

// One field of a sound position is overwritten; `fault` is what the check says.
struct Damage {
    const char *fault;
    void (*spoil)(Position *position);
};

const Damage DAMAGES[] = {
    {"no such side to move", [](Position *p) { p->stm = 2; }},
    {"no such piece code on the board", [](Position *p) { p->board[square_of("a2")] = 7; }},
    {"no such piece code on the board", [](Position *p) { p->board[square_of("a2")] = BLACK_CODE; }},
    {"no such piece code on the board", [](Position *p) { p->board[square_of("a2")] = 16 + PAWN; }},
    {"a piece on NO_SQUARE", [](Position *p) { p->board[NO_SQUARE] = PAWN; }},
    {"a piece set differs from the board", [](Position *p) { p->board[square_of("a2")] = KNIGHT; }},
    {"a piece set differs from the board", [](Position *p) { p->pieces[PAWN] ^= bit(square_of("a3")); }},
    {"a piece set differs from the board", [](Position *p) { p->pieces[WHITE] ^= bit(square_of("a3")); }},
    {"a piece set differs from the board", [](Position *p) { p->pieces[BLACK_CODE] = 0; }},
    {"a piece set differs from the board", [](Position *p) { p->pieces[15] = 1; }},
    {"material differs from the board", [](Position *p) { p->material[WHITE] += MATERIAL_STEP[KNIGHT]; }},
    {"material differs from the board", [](Position *p) { --p->material[BLACK]; }},
    {"a king square off the board", [](Position *p) { p->king_sq[WHITE] = 65; }},
    {"a king square without its king", [](Position *p) { p->king_sq[WHITE] = p->king_sq[BLACK]; }},
    {"a king square without its king", [](Position *p) { p->king_sq[BLACK] = NO_SQUARE; }},
    {"a castling right that does not exist", [](Position *p) { p->castling |= 16; }},
    {"a castling right without a king or a rook", [](Position *p) { p->castle_rook[1] = NO_SQUARE; }},
    {"a castling right without its rook", [](Position *p) { p->castle_rook[3] = p->castle_rook[1]; }},
    {"a castling right off the first rank",
     [](Position *p) {
         remove_piece(p, square_of("e1"));
         place_piece(p, KING, square_of("b3"));
     }},
    {"a castling mask of other squares", [](Position *p) { p->castle_mask[0] |= bit(square_of("f1")); }},
    {"a castling right of a piece that has moved", [](Position *p) { p->touched |= bit(square_of("h8")); }},
    {"a castling path of other squares", [](Position *p) { p->castle_path[2] = 0; }},
    {"the game stack is out of bounds", [](Position *p) { p->game->game_ply = GAME_STACK_SIZE + 1; }},
    {"the game stack is out of bounds", [](Position *p) { p->game->game_ply = -1; }},
    {"the search ply is out of bounds", [](Position *p) { p->game->ply = GAME_STACK_SIZE + 1; }},
    {"the search ply is out of bounds", [](Position *p) { p->game->ply = -1; }},
};

TEST_F(CheckPositionTest, EveryDamageHasItsName) {
    for (const Damage &damage : DAMAGES) {
        Position *position = set_up(CASTLING);
        ASSERT_STREQ(position_fault(position), nullptr);
        damage.spoil(position);
        EXPECT_STREQ(position_fault(position), damage.fault);
        set_up(STARTPOS_FEN);
    }
}

TEST_F(CheckPositionTest, AMoveNeedsAPieceOfTheSideToMoveAndRoomForItsRecord) {
    Position *position = set_up(CASTLING);
    EXPECT_STREQ(move_fault(position, word_of("e1g1", CASTLE_KINGSIDE)), nullptr);
    EXPECT_STREQ(move_fault(position, 0), "no move");
    EXPECT_STREQ(move_fault(position, END_OF_LIST), "no move");
    EXPECT_STREQ(move_fault(position, word_of("e8e7")), "a move without a piece of the side to move");
    EXPECT_STREQ(move_fault(position, word_of("a3a4")), "a move without a piece of the side to move");
    position->game->game_ply = GAME_STACK_SIZE;
    EXPECT_STREQ(move_fault(position, word_of("a2a3")), "no room on the game stack");
}

TEST_F(CheckPositionTest, OddPositionsThatTextCanGiveAreSound) {
    for (const char *fen :
         {"", "8/8/8/8/8/8/8/8 w - -", "K1K1K3/8/8/8/8/8/8/k1k1k3 b KQkq -", "4k3/8/8/8/8/8/8/4K3 w - d6",
          "4k3/8/8/8/8/8/8/4K3 w - 7", "QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/8/8/8/kqqqqqqq/KQQQQQQQ w - -",
          "PPPPPPPP/pppppppp/8/8/8/8/PPPPPPPP/kKpppppp b - -",
          "nr1qkr1b/ppp1pp1p/4bn2/3p2p1/4P3/1Q6/PPPP1PPP/NRB1KRNB w FBfb -", "1k6/8/8/8/8/8/8/RK5R w KQ -",
          "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 300 900"}) {
        const Position *position = set_up(fen);
        EXPECT_STREQ(position_fault(position), nullptr) << fen;
        EXPECT_EQ(key_difference(position).key, 0u) << fen;
        EXPECT_EQ(key_difference(position).pawn_key, 0u) << fen;
    }
}

TEST_F(CheckPositionTest, KeysThatASetUpLeavesStaleKeepTheirDifference) {
    TrainRecord record;
    pack_train_record(set_up(CASTLING), &record);
    Position *position = set_up("4k3/8/8/8/8/8/8/4K3 w - -");
    float target;
    ASSERT_TRUE(set_position_from_record(&record, position, &target));
    const KeyDifference stale = key_difference(position);
    EXPECT_NE(stale.key, 0u);
    EXPECT_NE(stale.pawn_key, 0u);
    for (const Move move : legal_moves(position)) {
        make_move(position, move);
        EXPECT_EQ(key_difference(position).key, stale.key) << text_of(position, move);
        EXPECT_EQ(key_difference(position).pawn_key, stale.pawn_key) << text_of(position, move);
        require_sound_position(position, stale, "test");
        unmake_move(position);
        require_sound_position(position, stale, "test");
    }
}

// The king square stays where it was; taking the move back makes it right again.
TEST_F(CheckPositionTest, AKingMayBeCapturedOnABoardThatTextSetUp) {
    for (const char *fen : {"4R3/8/8/4k3/8/8/8/nK6 w - -", "4R3/8/8/4k3/8/8/8/nK2k3 w - -"}) {
        Position *position = set_up(fen);
        make_move(position, word_of("e8e5"));
        EXPECT_STREQ(position_fault(position), nullptr) << fen;
        make_move(position, word_of("a1b3"));
        EXPECT_STREQ(position_fault(position), nullptr) << fen;
        unmake_move(position);
        unmake_move(position);
        EXPECT_STREQ(position_fault(position), nullptr) << fen;
        EXPECT_EQ(fen_of(position), fen);
        remove_piece(position, position->king_sq[BLACK]);
        position->king_sq[BLACK] = square_of("d5");
        EXPECT_STREQ(position_fault(position), "a king square without its king") << fen;
    }
}

using CheckPositionDeathTest = CheckPositionTest;

TEST_F(CheckPositionDeathTest, AFaultEndsTheProgramWithItsNameAndThePosition) {
    Position *position = set_up(CASTLING);
    const KeyDifference none = {};
    position->key ^= 1;
    EXPECT_DEATH(require_sound_position(position, none, "here"),
                 "check failed in here: the key differs from the board: r3k2r/");
    position->key ^= 1;
    position->pawn_key ^= 1;
    EXPECT_DEATH(require_sound_position(position, none, "here"), "check failed in here: the pawn key differs");
    position->pawn_key ^= 1;
    position->castling = 16;
    EXPECT_DEATH(require_sound_position(position, none, "here"),
                 "check failed in here: a castling right that does not");
    EXPECT_DEATH(require_sound_move(position, 0, "here"), "check failed in here: no move: r3k2r/");
}

// A record that was damaged between making and taking back shows at the take-back.
TEST_F(CheckPositionDeathTest, DebugBuildsCheckEveryMoveAndTakeBack) {
    if (!DEBUG_CHECKS) GTEST_SKIP() << "this build has no checks";
    Position *position = set_up(CASTLING);
    EXPECT_DEATH(make_move(position, word_of("e8e7")), "check failed in make_move: a move without a piece");
    position->castle_rook[0] = square_of("g1");
    EXPECT_DEATH(make_move(position, word_of("a2a3")), "check failed in make_move: a castling right without its rook");
    position = set_up(CASTLING);
    position->pieces[PAWN] ^= bit(square_of("a3"));
    EXPECT_DEATH(make_move(position, word_of("b2b3")), "check failed in make_move: a piece set differs");
    position = set_up(CASTLING);
    make_move(position, word_of("e2a6"));
    GameRecord *record = &position->game->game_stack[0];
    record->key ^= 1;
    EXPECT_DEATH(unmake_move(position), "check failed in unmake_move: the key differs from the board");
    record->key ^= 1;
    record->pawn_key ^= 1;
    EXPECT_DEATH(unmake_move(position), "check failed in unmake_move: the pawn key differs from the board");
    record->pawn_key ^= 1;
    record->undo = static_cast<u16>((record->undo & 0xFF00) | ROOK);  // a bishop was captured
    EXPECT_DEATH(unmake_move(position), "check failed in unmake_move: the key differs from the board");
    record->undo = static_cast<u16>((record->undo & 0xFF00) | BISHOP);
    record->touched = bit(square_of("a1"));
    EXPECT_DEATH(unmake_move(position), "check failed in unmake_move: a castling right of a piece that has moved");
}

}  // namespace
