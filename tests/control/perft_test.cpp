// The path counter: its own walk (root moves made, lists, then the search's picker) against known counts.
#include "control/perft.h"

#include <algorithm>

#include "gtest/gtest.h"

#include "board/position.h"
#include "control/settings.h"
#include "support/engine.h"
#include "support/positions.h"
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
    EXPECT_EQ(root_thread_state->game_ply, 0);
    EXPECT_EQ(root_thread_state->ply, 1);
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
    SKIP_WITHOUT_SHARED("data/perft/standard.txt");
    start_engine();
    check_file("data/perft/standard.txt", 3000000);
    settings.chess960 = 1;
    check_file("data/perft/chess960.txt", 1000000);
}

}  // namespace
