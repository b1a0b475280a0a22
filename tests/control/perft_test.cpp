// The path counter: its own walk (root moves made, lists, then the search's picker) against known counts.
#include "control/perft.h"

#include <algorithm>

#include "gtest/gtest.h"

#include "base/settings.h"
#include "board/attacks.h"
#include "board/fen.h"
#include "board/moves.h"
#include "board/position.h"
#include "support/engine.h"
#include "support/positions.h"
#include "support/sanitizers.h"
#include "support/shared_data.h"

namespace {

struct Known {
    const char *fen;
    int depth;
    u64 paths;
};

class PathCount : public testing::TestWithParam<Known> {
protected:
    void SetUp() override { start_engine(); }
};

TEST_P(PathCount, Agrees) {
    Position *position = set_up(GetParam().fen);
    const Position before = *position;
    EXPECT_EQ(count_move_paths(position, GetParam().depth), GetParam().paths);
    EXPECT_EQ(root_thread_state->perft_count, GetParam().paths);
    EXPECT_EQ(position->key, before.key);
    EXPECT_EQ(position->castling, before.castling);
    EXPECT_EQ(position->touched, before.touched);
    EXPECT_EQ(root_thread_state->game.game_ply, 0);
    EXPECT_EQ(root_thread_state->game.ply, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Perft, PathCount,
    testing::Values(Known{STARTPOS_FEN, 1, 20}, Known{STARTPOS_FEN, 5, 4865609},
                    Known{"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -", 1, 48},
                    Known{"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -", 4, 4085603},
                    Known{"8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -", 1, 14},
                    Known{"8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -", 6, 11030083},  // deep enough for the picker
                    Known{"r2q1rk1/pP1p2pp/Q4n2/bbp1p3/Np6/1B3NBn/pPPP1PPP/R3K2R b KQ -", 4, 422333},
                    Known{"4r3/3k4/8/8/8/8/6PP/qR1K1R2 w KQ -", 1, 19},  // castling would uncover the king
                    Known{"nr1qkr1b/ppp1pp1p/4bn2/3p2p1/4P3/1Q6/PPPP1PPP/NRB1KRNB w FBfb -", 4, 942138},
                    Known{"7k/5Q2/6K1/8/8/8/8/8 b - -", 3, 0}));  // stalemate

// Castling with the king on its goal square already: it is in check by a rook that its own rook would block.
TEST(Perft, CastlingOutOfCheckOnTheGoalSquare) {
    start_engine();
    settings.chess960 = 1;
    for (const char *fen : {"4k3/8/8/8/8/8/8/1RK4r w B -", "4k3/8/8/8/8/8/8/r5KR w H -"}) {
        Position *position = set_up(fen);
        EXPECT_EQ(count_move_paths(position, 1), 3u) << fen;
        EXPECT_EQ(count_leaves(position, 1), 3u) << fen;
    }
}

// Castling by the rules alone, on the squares of the first rank: no right, path or attack table is asked.
static bool may_castle(const Position *position, Square king, Square rook) {
    const bool kingside = rook > king;
    const Square king_goal = kingside ? 6 : 2, rook_goal = kingside ? 5 : 3;
    for (Square square = 0; square < 8; ++square) {
        const bool on_way = (square >= std::min(king, king_goal) && square <= std::max(king, king_goal)) ||
                            (square >= std::min(rook, rook_goal) && square <= std::max(rook, rook_goal));
        if (on_way && square != king && square != rook && position->board[square]) return false;
    }
    for (Square square = std::min(king, king_goal); square <= std::max(king, king_goal); ++square)
        if (is_square_attacked(position, square, BLACK)) return false;
    // The rook may have shielded the king.
    Bitboard after = occupied(*position) & ~bit(king) & ~bit(rook);
    after |= bit(king_goal) | bit(rook_goal);
    return attacker_of_square(position, king_goal, BLACK, after) == NO_SQUARE;
}

// Every placing of king, castling rook and one black piece on the first two ranks: the count by made moves, the
// count by the legality test, and castling by the rules agree.
TEST(Perft, Chess960CastlingsInEveryPlace) {
    start_engine();
    settings.chess960 = 1;
    int legal_castlings = 0, refused = 0;
    for (Square king = 1; king < 7; ++king)
        for (Square rook = 0; rook < 8; ++rook)
            for (Square black = 0; black < 16; ++black)
                for (const int type : {KNIGHT, BISHOP, ROOK, QUEEN}) {
                    if (rook == king || black == king || black == rook) continue;
                    Position *position = &root_thread_state->position;
                    clear_position(position);
                    place_piece(position, piece_code(WHITE, KING), king);
                    place_piece(position, piece_code(WHITE, ROOK), rook);
                    place_piece(position, piece_code(BLACK, KING), 60);
                    place_piece(position, piece_code(BLACK, type), black);
                    position->stm = WHITE;
                    set_castling_from_text(position, rook > king ? "K" : "Q");
                    compute_keys(position);
                    bool castling = false;
                    for (const Move move : legal_moves(position)) castling |= flags_of(move) != 0;
                    EXPECT_EQ(castling, may_castle(position, king, rook)) << fen_of(position);
                    EXPECT_EQ(count_move_paths(position, 1), count_leaves(position, 1)) << fen_of(position);
                    (castling ? legal_castlings : refused)++;
                }
    EXPECT_GT(legal_castlings, 500);
    EXPECT_GT(refused, 500);
}

TEST(Perft, DepthIsBroughtIntoItsRange) {
    start_engine();
    set_up(STARTPOS_FEN);
    for (const int depth : {0, -7, 1}) {
        testing::internal::CaptureStdout();
        run_perft(depth);
        EXPECT_NE(testing::internal::GetCapturedStdout().find("visited 20 nodes in 0.0"), std::string::npos) << depth;
    }
    // More than 20 plies would not end; a position with one path shows the limit.
    set_up("7k/5Q2/6K1/8/8/8/8/8 b - -");
    testing::internal::CaptureStdout();
    run_perft(1000);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("visited 0 nodes in 0.0"), std::string::npos);
}

// Both collections to a depth that is quick; deeper ones are counted by the board's own tests.
void check_file(const std::string &name, u64 most) {
    const std::vector<LeafCounts> all = read_leaf_counts(shared_path(name));
    ASSERT_EQ(all.size(), 40u);
    for (const LeafCounts &line : all) {
        Position *position = set_up(line.fen);
        for (std::size_t i = 0; i < line.counts.size() && line.counts[i] <= most; ++i)
            EXPECT_EQ(count_move_paths(position, static_cast<int>(i) + 1), line.counts[i])
                << line.fen << " depth " << i + 1;
    }
}

TEST(Perft, CollectionsBothWays) {
    SKIP_UNDER_THREAD_SANITIZER();
    SKIP_WITHOUT_SHARED("data/perft/standard.txt");
    start_engine();
    check_file("data/perft/standard.txt", 3000000);
    settings.chess960 = 1;
    check_file("data/perft/chess960.txt", 1000000);
}

}  // namespace
