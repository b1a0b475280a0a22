// The hand-crafted evaluation as a whole: known scores, the blend, the scale of endings, and its symmetries.
#include "eval/handcrafted/hand_eval.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "board/attacks.h"
#include "board/fen.h"
#include "eval/handcrafted/hand_eval_fixture.h"
#include "eval/handcrafted/parameters.h"
#include "gtest/gtest.h"
#include "support/engine.h"
#include "support/shared_data.h"

namespace {

struct Scored {
    const char *fen;
    int score;  // for the side to move
};

constexpr Scored SCORED[] = {
    {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", 28},
    {"r2qkbnr/p1p2ppp/n2pb3/1p6/8/4P3/PPPP1PPP/R1BQKBNR b KQkq -", 311},
    {"6k1/4R2p/6p1/r7/P1r4P/6R1/6P1/6K1 w - -", 108},
    {"r3k1nr/4ppb1/1p4p1/p1p1n3/P1P4P/N4P1R/1P2P3/R1BK4 w - -", -417},
    {"3rr1k1/p7/1pQ3p1/4b3/PB1p1pq1/3P3p/2P2PP1/3RR1K1 w - -", -36},
    {"1k3bnr/ppp2p1p/n4p2/4p3/3rP3/5P1N/PP2B1P1/R1B2RK1 b - -", 175},
    {"1k1r4/p1p2p2/1p2p2P/6P1/2Q2P2/q1P2n2/P2B4/1R1K1B2 w - -", 338},
    {"r3k2r/pp2ppb1/2np4/P7/6b1/4PN2/RPPN2P1/3QKB1q w kq -", -765},
    {"4b2b/5p1k/N3p1p1/p2p4/P2P2NP/1PRK1B2/8/8 b - -", -910},
    {"6kr/p3Q2p/8/1p6/3q4/PP6/5PPP/4R1K1 b - -", -574},
    {"8/8/8/1R6/8/2p1K3/8/2k4r w - -", -397},
    {"8/8/4k1p1/4n2p/6pK/8/7P/8 b - -", 744},
    {"3r4/1pk1pb2/p1pp4/8/2PPnP2/1P2P3/6RP/7K b - -", 820},
    {"3N2k1/6pp/2p5/1pBq1p2/8/2P5/PP4PP/5RK1 w - -", 85},
    {"5k2/8/5K2/8/5P2/8/8/8 b - -", -212},
    {"2b5/3pkp2/1R4p1/3p3p/8/3PPBPP/r4P2/6K1 b - -", -73},
    {"rnb1k2r/1p1p1qpp/2p2n2/p4pN1/1BPP4/8/P4PPP/RN1QKB1R b KQkq -", -583},
    {"8/3k1BB1/2p5/pp1p2P1/8/5RK1/8/7r w - -", 448},
};

// The placement seen by the other side, or with files a..h turned to h..a. Castling rights and the
// en-passant square play no part in this evaluation, so they are left out.
std::string swap_colours(const std::string &fen) {
    const std::size_t blank = fen.find(' ');
    std::string board;
    std::size_t end = blank;
    for (;;) {
        const std::size_t slash = fen.rfind('/', end - 1);
        const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
        if (!board.empty()) board += '/';
        board += fen.substr(start, end - start);
        if (start == 0) break;
        end = slash;
    }
    for (char &c : board) c = static_cast<char>(std::isupper(c) ? std::tolower(c) : std::toupper(c));
    return board + (fen[blank + 1] == 'w' ? " b - -" : " w - -");
}
std::string swap_wings(const std::string &fen) {
    const std::size_t blank = fen.find(' ');
    std::string board = fen.substr(0, blank);
    for (std::size_t start = 0; start < board.size();) {
        std::size_t end = board.find('/', start);
        if (end == std::string::npos) end = board.size();
        std::reverse(board.begin() + static_cast<long>(start), board.begin() + static_cast<long>(end));
        start = end + 1;
    }
    return board + fen.substr(blank, 2) + " - -";
}

}  // namespace

TEST_F(HandEval, KnownScores) {
    for (const Scored &known : SCORED) EXPECT_EQ(score(known.fen), known.score) << known.fen;
}

TEST_F(HandEval, ReferenceScores) {
    SKIP_WITHOUT_SHARED("golden/eval/hand_eval.tsv");
    int count = 0;
    for (const std::string &line : read_lines(shared_path("golden/eval/hand_eval.tsv"))) {
        if (line[0] == '#') continue;
        const auto fields = split_tabs(line);
        ASSERT_EQ(fields.size(), 2u);
        const int expected = std::stoi(fields[1]);
        ASSERT_EQ(score(fields[0]), expected) << fields[0];
        // Once more as a search has it: without snapshots, pawns from the cache.
        thread->eval.eval_ply = 3;
        ASSERT_EQ(hand_eval(&thread->eval, thread->position), expected) << fields[0];
        ++count;
    }
    EXPECT_GT(count, 1000);
}

TEST_F(HandEval, SameForBothColoursAndBothWings) {
    for (const Scored &known : SCORED) {
        // A negative middle-game half borrows one from the end-game half, so colours may differ by one.
        EXPECT_NEAR(score(swap_colours(known.fen)), known.score, 1) << swap_colours(known.fen);
        EXPECT_EQ(score(swap_wings(known.fen)), known.score) << swap_wings(known.fen);
    }
}

TEST_F(HandEval, StartPositionIsTheMoveAlone) {
    const char *fen = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w - -";
    EXPECT_EQ(score(fen), 28);
    for (int stage = 0; stage < TRACE_SPECIAL; ++stage)
        EXPECT_EQ(scratch.trace_terms[stage][WHITE], scratch.trace_terms[stage][BLACK]) << stage;
    EXPECT_EQ(scratch.trace_terms[TRACE_SPECIAL][WHITE], packed(28, 20));
    EXPECT_EQ(scratch.trace_terms[TRACE_SPECIAL][BLACK], 0);
    EXPECT_EQ(term("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b - -", TRACE_SPECIAL, BLACK), packed(28, 20));
}

TEST_F(HandEval, PhaseIsFullFrom59Points) {
    score("rnb1kbnr/pppppppp/8/8/8/8/1PPPPPPP/RNB1KBNR w - -");  // 59
    EXPECT_EQ(scratch.phase, 1.0f);
    score("rnb1kbnr/1ppppppp/8/8/8/8/1PPPPPPP/RNB1KBNR w - -");  // 58
    EXPECT_EQ(scratch.phase, static_cast<float>(0.017 * 58));
    score("4k3/8/8/8/8/8/8/4KQ2 w - -");
    EXPECT_EQ(scratch.phase, static_cast<float>(0.017 * 10));
    score("4k3/8/8/8/8/8/8/4K3 w - -");
    EXPECT_EQ(scratch.phase, 0.0f);
}

TEST_F(HandEval, BlendTakesEndGameHalfAsItStands) {
    EXPECT_EQ(blend_score(packed(10, 50), 1.0f), 10);
    EXPECT_EQ(blend_score(packed(10, 50), 0.0f), 50);
    EXPECT_EQ(blend_score(packed(-10, 50), 0.0f), 49);  // the borrow of a negative low half stays
    EXPECT_EQ(blend_score(packed(-10, -50), 0.0f), -51);
    EXPECT_EQ(blend_score(packed(-3, 0), 0.5f), -2);  // toward zero: -1.5 - 0.5
    EXPECT_EQ(blend_score(packed(100, 51), 0.25f), 63);
}

// ---- Pawns ----

TEST_F(HandEval, WrongBishopIsAlmostADraw) {
    expect_scale("7k/8/8/8/8/3B3P/7P/4K3 w - -", 0.05f);
    expect_scale("7k/8/8/8/8/3B3P/7P/4K3 b - -", 0.05f);
    expect_scale("7k/8/8/8/8/4B2P/7P/4K3 w - -", 1.0f);   // the right bishop
    expect_scale("8/8/8/4k3/8/3B3P/7P/4K3 w - -", 1.0f);  // the king is far
    expect_scale("7k/8/8/8/8/3B2PP/8/4K3 w - -", 1.0f);   // another file too
    expect_scale("k7/8/8/8/8/4B3/P7/4K3 w - -", 0.05f);
    expect_scale("4k3/p7/4b3/8/8/8/8/K7 w - -", 0.05f);  // black's corner a1 is dark
    expect_scale("4k3/p7/5b2/8/8/8/8/K7 w - -", 1.0f);
    // The defender may have a rook.
    expect_scale("7k/7P/7P/7P/7P/r2B3P/7P/4K3 w - -", 0.05f);
}

TEST_F(HandEval, EndingScale) {
    expect_scale("4k3/8/8/8/8/8/8/4KN2 w - -", 0.65f);   // no pawn to win with
    expect_scale("4k3/8/8/8/8/8/8/2B1KN2 w - -", 1.0f);  // six points ahead: no scale
    expect_scale("r3k3/8/8/8/8/8/8/R1B1K3 w - -", 0.65f);
    expect_scale("r3k3/ppp5/8/8/8/8/PPPP4/R3K3 w - -", 1.0f);  // rook endings are played out
    expect_scale("4k3/8/2n5/8/8/2N5/4P3/4K3 w - -", 0.75f);    // the last pawn can be taken for a piece
    expect_scale("4k3/8/2n5/8/8/2N5/3PP3/4K3 w - -", 1.0f);
    expect_scale("q3k3/8/8/8/8/8/8/Q1B1K3 w - -", 1.0f);  // queens: too much on the board
}

TEST_F(HandEval, OppositeBishops) {
    expect_scale("4k3/p4p2/4b3/8/8/8/PP3P2/2B1K3 w - -", 0.5f);
    expect_scale("4k3/p4p2/4b3/8/8/2P5/PP3P2/2B1K3 w - -", 0.5f);   // two pawns up
    expect_scale("4k3/p4p2/4b3/8/8/2P5/PP3PP1/2B1K3 w - -", 1.0f);  // three
    expect_scale("4k3/p4p2/5b2/8/8/8/PP3P2/2B1K3 w - -", 1.0f);     // bishops of one colour
    expect_scale("4k3/8/4b3/8/8/8/P7/2B1K3 w - -", 0.5f * 0.75f);   // the last pawn
    expect_scale("r3k3/p4p2/4b3/8/8/8/PP3P2/R1B1K3 w - -", 1.0f);   // with rooks
}

TEST_F(HandEval, BoundedBelowMates) {
    EXPECT_EQ(score("7k/8/8/8/8/QQQQQQQ1/QQQQQQQ1/K7 w - -"), HAND_EVAL_LIMIT);
    EXPECT_EQ(score("7k/8/8/8/8/QQQQQQQ1/QQQQQQQ1/K7 b - -"), -HAND_EVAL_LIMIT);
}

TEST_F(HandEval, BoardWithoutKings) {
    score("4k3/pppppppp/8/8/8/8/PPPPPPPP/4K3 w - -");
    EXPECT_EQ(score("8/pppppppp/8/8/8/8/PPPPPPPP/8 w - -"), 0);
    EXPECT_EQ(scratch.trace_terms[TRACE_PAWNS][WHITE], 0);
}
