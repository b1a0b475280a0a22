// Leaf counts by generation, legality, make and unmake: well-known positions, and the collections
// of the reference data where they are at hand.
#include "board/fen.h"
#include "board/position.h"
#include "support/engine.h"
#include "support/positions.h"
#include "support/shared_data.h"

namespace {

// Depth to which a line is counted, so that the whole folder stays quick.
constexpr u64 MOST_LEAVES = 1500000;

void check_file(const std::string &name) {
    const std::vector<LeafCounts> all = read_leaf_counts(shared_path(name));
    ASSERT_EQ(all.size(), 40u);
    for (const LeafCounts &line : all) {
        Position *position = set_up(line.fen);
        const u64 key = position->key;
        for (std::size_t i = 0; i < line.counts.size() && line.counts[i] <= MOST_LEAVES; ++i)
            EXPECT_EQ(count_leaves(position, static_cast<int>(i) + 1), line.counts[i])
                << line.fen << " depth " << i + 1;
        EXPECT_EQ(position->key, key) << line.fen;
    }
}

TEST(Perft, StandardCollection) {
    SKIP_WITHOUT_SHARED("data/perft/standard.txt");
    start_engine();
    check_file("data/perft/standard.txt");
}

TEST(Perft, Chess960Collection) {
    SKIP_WITHOUT_SHARED("data/perft/chess960.txt");
    start_engine();
    check_file("data/perft/chess960.txt");
}

// A castling whose rook shields the king's goal from a slider behind it is illegal.
TEST(Perft, Chess960UncoveredKing) {
    SKIP_WITHOUT_SHARED("data/perft/chess960_uncovered.txt");
    start_engine();
    int counted = 0;
    for (const std::string &line : read_lines(shared_path("data/perft/chess960_uncovered.txt"))) {
        if (line.empty() || line[0] == '#') continue;
        const std::size_t first = line.find(';'), second = line.find(';', first + 1);
        const int depth = std::atoi(line.c_str() + first + 1);
        const u64 count = std::strtoull(line.c_str() + second + 1, nullptr, 10);
        EXPECT_EQ(count_leaves(set_up(line.substr(0, first)), depth), count) << line;
        ++counted;
    }
    EXPECT_EQ(counted, 6);
}

struct Known {
    const char *fen;
    int depth;
    u64 leaves;
};

class KnownCounts : public testing::TestWithParam<Known> {};

TEST_P(KnownCounts, Agree) {
    start_engine();
    EXPECT_EQ(count_leaves(set_up(GetParam().fen), GetParam().depth), GetParam().leaves);
}

INSTANTIATE_TEST_SUITE_P(
    Perft, KnownCounts,
    testing::Values(Known{STARTPOS_FEN, 1, 20}, Known{STARTPOS_FEN, 4, 197281}, Known{STARTPOS_FEN, 5, 4865609},
                    // castling, pins and en passant in plenty
                    Known{"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -", 4, 4085603},
                    // en passant that would uncover the king along the rank
                    Known{"8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -", 5, 674624},
                    // promotions, with and without captures
                    Known{"r2q1rk1/pP1p2pp/Q4n2/bbp1p3/Np6/1B3NBn/pPPP1PPP/R3K2R b KQ -", 4, 422333},
                    Known{"rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8", 4, 2103487},
                    // a rook that shields the king's goal: one castling less than meets the eye
                    Known{"4r3/3k4/8/8/8/8/6PP/qR1K1R2 w KQ -", 1, 19},
                    // castling in a shuffled array
                    Known{"nr1qkr1b/ppp1pp1p/4bn2/3p2p1/4P3/1Q6/PPPP1PPP/NRB1KRNB w FBfb -", 4, 942138}));

}  // namespace
