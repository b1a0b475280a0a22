// The hand-crafted evaluation: known scores, each term on a board made for it, the blend, the scale
// of endings, and the symmetries that must hold.
#include "eval/handcrafted/hand_eval.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "board/attacks.h"
#include "board/fen.h"
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

i32 packed(int mg, int eg) { return mg + eg * 65536; }

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

struct HandEval : ::testing::Test {
    ThreadState *thread = start_engine();
    EvalScratch &scratch = thread->eval.scratch;

    ~HandEval() override { start_engine(); }
    // The score, computed with all snapshots and no help from the pawn cache.
    int score(const std::string &fen) {
        set_position_from_text(&thread->position, fen.c_str());
        thread->eval.eval_ply = 1;
        scratch.trace_on = 1;
        const int result = hand_eval(&thread->eval, thread->position);
        scratch.trace_on = 0;
        return result;
    }
    i32 term(const std::string &fen, TraceTerm which, int side) {
        score(fen);
        return scratch.trace_terms[which][side];
    }
    // The score that the stages add up to before the ending scale, from white's view.
    int unscaled(const std::string &fen) {
        score(fen);
        u32 difference = 0;
        for (const i32(&stage)[2] : scratch.trace_terms)
            difference += static_cast<u32>(stage[WHITE]) - static_cast<u32>(stage[BLACK]);
        return blend_score(static_cast<i32>(difference), scratch.phase);
    }
    void expect_scale(const std::string &fen, float scale) {
        const int value = unscaled(fen);
        EXPECT_GT(std::abs(value), 20) << fen;  // else the factor would hardly show
        const int expected = static_cast<int>(static_cast<float>(value) * scale);
        EXPECT_EQ(score(fen), thread->position.stm == WHITE ? expected : -expected) << fen << ": " << value;
    }
};

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

TEST_F(HandEval, PawnTables) {
    // Kings on one wing, then on two: another table.
    EXPECT_EQ(term("4k3/8/8/8/8/8/4P3/4K3 w - -", TRACE_PAWNS, WHITE), packed(100 - 25 - 9, 100 + 28 - 11));
    EXPECT_EQ(term("k7/8/8/8/8/8/4P3/4K3 w - -", TRACE_PAWNS, WHITE), packed(100 - 18 - 9, 100 + 8 - 11));
    // A king on files a..d turns the board: e2 reads as d2.
    EXPECT_EQ(term("k7/8/8/8/8/8/4P3/K7 w - -", TRACE_PAWNS, WHITE), packed(100 - 31 - 9, 100 + 10 - 11));
    EXPECT_EQ(term("4k3/8/8/8/8/8/3PP3/4K3 w - -", TRACE_PAWNS, WHITE),
              packed(200 - 31 - 25 - 2 - 1, 200 + 10 + 28 + 11 + 22));
}

TEST_F(HandEval, PawnStructure) {
    // The front pawn of a pair pays; the one behind it is blocked.
    EXPECT_EQ(term("4k3/8/8/8/8/4P3/4P3/4K3 w - -", TRACE_PAWNS, WHITE),
              packed(200 - 25 - 28 - 2 * 9 - 2 - 7, 200 + 28 + 19 - 2 * 11 - 4 - 9));
    // e2 has its only neighbour ahead: weak. d3 is defended.
    EXPECT_EQ(term("4k3/8/8/8/8/3P4/4P3/4K3 w - -", TRACE_PAWNS, WHITE),
              packed(200 - 25 - 7 - 35 + 13, 200 + 28 + 5 + 10 + 25));
    // Any piece ahead blocks; the same on the other side.
    const i32 open = term("4k3/4p3/8/8/8/8/4P3/4K3 w - -", TRACE_PAWNS, BLACK);
    EXPECT_EQ(term("4k3/4p3/4N3/8/8/8/4P3/4K3 w - -", TRACE_PAWNS, BLACK) - open, packed(-7, -9));
}

TEST_F(HandEval, PawnCacheAnswersBehindTheRoot) {
    set_position_from_text(&thread->position, "4k3/3pp3/8/8/8/8/3PP3/4K3 w - -");
    const u64 probes = thread->eval.pawn_probes, hits = thread->eval.pawn_hits;
    thread->eval.eval_ply = 1;
    const int expected = hand_eval(&thread->eval, thread->position);
    EXPECT_EQ(hand_eval(&thread->eval, thread->position), expected);
    EXPECT_EQ(thread->eval.pawn_hits, hits);  // the root computes anew
    thread->eval.eval_ply = 2;
    EXPECT_EQ(hand_eval(&thread->eval, thread->position), expected);
    EXPECT_EQ(thread->eval.pawn_hits, hits + 1);
    EXPECT_EQ(thread->eval.pawn_probes, probes + 3);
    // A king that changes wings asks for another entry.
    set_position_from_text(&thread->position, "3k4/3pp3/8/8/8/8/3PP3/4K3 w - -");
    hand_eval(&thread->eval, thread->position);
    set_position_from_text(&thread->position, "3k4/3pp3/8/8/8/8/3PP3/3K4 w - -");
    hand_eval(&thread->eval, thread->position);
    EXPECT_EQ(thread->eval.pawn_hits, hits + 1);
    EXPECT_EQ(thread->eval.pawn_probes, probes + 5);
    // A piece makes no difference to it.
    set_position_from_text(&thread->position, "3k2r1/3pp3/8/8/8/8/3PP3/3K2R1 w - -");
    hand_eval(&thread->eval, thread->position);
    EXPECT_EQ(thread->eval.pawn_hits, hits + 2);
}

TEST_F(HandEval, PassedPawnStates) {
    // Enemy king at distance 3 from e7, own at 6 or more.
    const i32 kings = packed(0 - 9, 24 - 52);
    EXPECT_EQ(term("7k/8/4n3/4P3/8/8/8/K7 w - -", TRACE_PASSERS, WHITE), packed(33, 76) + kings);
    EXPECT_EQ(scratch.free_pawns, 0u);
    EXPECT_EQ(term("7k/8/8/4P3/8/8/8/K7 w - -", TRACE_PASSERS, WHITE), packed(52, 146) + kings);
    EXPECT_EQ(scratch.free_pawns, bit(36));
    // A minor that watches the line, not the next square: may move, is not free.
    EXPECT_EQ(term("7k/8/6n1/4P3/8/8/8/K7 w - -", TRACE_PASSERS, WHITE), packed(56, 104) + kings);
    EXPECT_EQ(scratch.free_pawns, 0u);
    // The next square is guarded: the push loses the pawn.
    EXPECT_EQ(term("7k/2n5/8/4P3/8/8/8/K7 w - -", TRACE_PASSERS, WHITE), packed(33, 76) + kings);
    // A rook behind the pawn does not attack the next square now, but will.
    EXPECT_EQ(term("7k/8/8/4P3/8/8/8/K3r3 w - -", TRACE_PASSERS, WHITE), packed(33, 76) + kings);
}

TEST_F(HandEval, PassedPawnAndKings) {
    // The own king on the point ahead: a factor of -1, not -2.
    EXPECT_EQ(term("7k/4K3/8/4P3/8/8/8/8 w - -", TRACE_PASSERS, WHITE), packed(52 + 0 + 2, 146 + 24 + 13));
    // Only the front one of two scores; a pawn on its start rank looks two ahead.
    EXPECT_EQ(term("7k/8/8/4P3/4P3/8/8/K7 w - -", TRACE_PASSERS, WHITE), packed(52 - 9, 146 + 24 - 52));
    const i32 start = term("7k/8/8/8/8/8/4P3/K7 w - -", TRACE_PASSERS, WHITE);
    // 0.09 of free; e5 is 3 from h8 and 4 from a1: 0.05 and 0.1 of the king terms.
    EXPECT_EQ(start, packed(11 + 0 - 1, 32 + 8 - 8));
}

TEST_F(HandEval, ConnectedPasser) {
    // d5 guards e6 for the pawn on e5, and e5 guards d6.
    const i32 pair = term("7k/8/8/3PP3/8/8/8/K7 w - -", TRACE_PASSERS, WHITE);
    const i32 e5 = term("7k/8/8/4P3/8/8/8/K7 w - -", TRACE_PASSERS, WHITE);
    const i32 d5 = term("7k/8/8/3P4/8/8/8/K7 w - -", TRACE_PASSERS, WHITE);
    EXPECT_EQ(pair - e5 - d5, 2 * packed(-4, 24));
}

TEST_F(HandEval, CandidatePawns) {
    EXPECT_EQ(term("6k1/3p4/8/8/3PP3/8/8/4K3 w - -", TRACE_PASSERS, WHITE), packed(5, 24));
    EXPECT_EQ(scratch.candidates, bit(28));
    EXPECT_EQ(term("6k1/3p4/8/8/4P3/8/8/4K3 w - -", TRACE_PASSERS, WHITE), 0);   // no supporter
    EXPECT_EQ(term("4k3/3p4/8/8/3PP3/8/8/4K3 w - -", TRACE_PASSERS, WHITE), 0);  // a piece on its line
    EXPECT_EQ(term("6k1/3p4/8/8/8/3PP3/8/4K3 w - -", TRACE_PASSERS, WHITE), 0);  // not far enough
    // The pawn on h3 is on the next square by number, and no neighbour of a4.
    EXPECT_EQ(term("3k4/1p4p1/8/8/P7/7P/8/4K3 w - -", TRACE_PASSERS, WHITE), 0);
}

// ---- Pieces ----

TEST_F(HandEval, KnightMobilityAndOutpost) {
    // Eight safe squares, on an outpost without a pawn behind.
    EXPECT_EQ(term("4k3/8/8/8/3N4/8/8/4K3 w - -", TRACE_KNIGHTS, WHITE),
              packed(388 + 21 + 29 + 22, 392 + 20 + 30 + 20));
    // None: both squares hold own pawns.
    EXPECT_EQ(term("4k3/8/8/8/8/1P6/2P5/N3K3 w - -", TRACE_KNIGHTS, WHITE), packed(388 - 43 - 32, 392 - 23 - 33));
    // With a pawn behind, the whole of it.
    const i32 held = term("4k3/8/8/8/3N4/8/8/4K3 w - -", TRACE_KNIGHTS, WHITE);
    const i32 defended = term("4k3/8/8/8/3N4/2P5/8/4K3 w - -", TRACE_KNIGHTS, WHITE);
    EXPECT_EQ(defended - held, packed(34 - 22, 30 - 20));
    // From d3 it only eyes b4, c5, e5 and f4.
    const i32 eyes = term("4k3/8/8/8/8/3N4/8/4K3 w - -", TRACE_KNIGHTS, WHITE);
    EXPECT_EQ(eyes, packed(388 + 17 + 29 + 11, 392 + 20 + 30 + 9));
}

TEST_F(HandEval, BishopsSeeThroughQueens) {
    const Bitboard behind = bit(44);  // e6, from b3 past d5
    for (const char *fen : {"4k3/8/8/3Q4/8/1B6/8/4K3 w - -", "4k3/8/8/3q4/8/1B6/8/4K3 w - -"}) {
        score(fen);
        EXPECT_TRUE(scratch.attacks[WHITE][BISHOP] & behind) << fen;
    }
    for (const char *fen : {"4k3/8/8/3N4/8/1B6/8/4K3 w - -", "4k3/8/8/3r4/8/1B6/8/4K3 w - -"}) {
        score(fen);
        EXPECT_FALSE(scratch.attacks[WHITE][BISHOP] & behind) << fen;
    }
    // Mobility counts the squares behind the queen on b2, c3..h8, but not the queen's own: six.
    const i32 through = term("4k3/8/8/8/8/8/1Q6/B3K3 w - -", TRACE_BISHOPS, WHITE);
    const i32 alone = term("4k3/8/8/8/8/8/8/B3K3 w - -", TRACE_BISHOPS, WHITE);
    EXPECT_EQ(through - alone, packed(11 - 13, 31 - 36));
}

TEST_F(HandEval, BishopPairAndRams) {
    const i32 one = term("4k3/8/8/8/8/8/8/2B1K3 w - -", TRACE_BISHOPS, WHITE);
    const i32 other = term("4k3/8/8/8/8/8/8/4KB2 w - -", TRACE_BISHOPS, WHITE);
    EXPECT_EQ(term("4k3/8/8/8/8/8/8/2B1KB2 w - -", TRACE_BISHOPS, WHITE) - one - other, packed(30, 72));
    // Rams on a4 and e4 (light) and h4 (dark); the bishops can't move, so that mobility stays out of it.
    const i32 apart = term("4k3/8/p3p2p/8/P3P2P/8/1P1PP1P1/2B1KB2 w - -", TRACE_BISHOPS, WHITE);
    const i32 rammed = term("4k3/8/8/p3p2p/P3P2P/8/1P1PP1P1/2B1KB2 w - -", TRACE_BISHOPS, WHITE);
    EXPECT_EQ(rammed - apart, 3 * packed(-8, -18));
    const i32 light_only = term("4k3/8/8/p3p2p/P3P2P/8/1P1PP1P1/4KB2 w - -", TRACE_BISHOPS, WHITE);
    const i32 light_apart = term("4k3/8/p3p2p/8/P3P2P/8/1P1PP1P1/4KB2 w - -", TRACE_BISHOPS, WHITE);
    EXPECT_EQ(light_only - light_apart, 2 * packed(-8, -18));
    // Two bishops of one colour see its rams once.
    const i32 twins = term("4k3/8/8/p3p2p/P3P2P/8/1P1PP1P1/1B2KB2 w - -", TRACE_BISHOPS, WHITE);
    const i32 twins_apart = term("4k3/8/p3p2p/8/P3P2P/8/1P1PP1P1/1B2KB2 w - -", TRACE_BISHOPS, WHITE);
    const i32 twin_b1 = term("4k3/8/8/p3p2p/P3P2P/8/1P1PP1P1/1B2K3 w - -", TRACE_BISHOPS, WHITE);
    const i32 twin_b1_apart = term("4k3/8/p3p2p/8/P3P2P/8/1P1PP1P1/1B2K3 w - -", TRACE_BISHOPS, WHITE);
    EXPECT_EQ(twins - twins_apart, twin_b1 - twin_b1_apart);
}

TEST_F(HandEval, RooksSeeThroughOwnRooks) {
    score("4k3/8/8/8/R2R2r1/8/8/4K3 w - -");
    EXPECT_EQ(scratch.attacks[WHITE][ROOK] & 0xFF000000ULL, 0x7F000000ULL);  // b4..g4 and a4, not h4
    score("4k3/8/8/8/R2r4/8/8/4K3 w - -");
    EXPECT_EQ(scratch.attacks[WHITE][ROOK] & 0xFF000000ULL, 0x0E000000ULL);  // b4..d4
    score("4k3/8/8/8/R2Q4/8/8/4K3 w - -");
    EXPECT_TRUE(scratch.attacks[WHITE][ROOK] & bit(31));
}

TEST_F(HandEval, RookFilesAndSeventh) {
    // The open file and three squares of it in the enemy half, against a file with a pawn of either side.
    const i32 open = term("4k3/8/8/8/8/8/P7/1R2K3 w - -", TRACE_ROOKS, WHITE);
    const i32 half = term("4k3/1p6/8/8/8/8/P7/1R2K3 w - -", TRACE_ROOKS, WHITE);
    EXPECT_EQ(open - half, packed(17 + 5, -2 + 6));  // b8 is cut off too; mobility stays at its top
    const i32 behind = term("4k3/1R6/8/8/8/8/8/4K3 w - -", TRACE_ROOKS, WHITE);
    const i32 ahead = term("8/1R6/4k3/8/8/8/8/4K3 w - -", TRACE_ROOKS, WHITE);
    EXPECT_EQ(behind - ahead, packed(7, 25));
}

TEST_F(HandEval, QueenBatteriesCountAsDoubleAttacks) {
    score("4k3/8/8/8/Q2R4/8/8/4K3 w - -");
    EXPECT_FALSE(scratch.attacks[WHITE][QUEEN] & bit(29));  // f4 lies behind the rook
    EXPECT_TRUE(scratch.double_attacks[WHITE] & bit(29));
}

// ---- Kings ----

TEST_F(HandEval, KingWithoutHeavyEnemies) {
    // No shield and no danger without an enemy rook or queen: table, and one step to the pawns' path.
    EXPECT_EQ(term("4k3/8/8/8/8/8/PPP5/K7 w - -", TRACE_KING, WHITE), packed(7, -79 - 20));
    EXPECT_EQ(scratch.king_zone[WHITE], king_attacks[9] | bit(9));  // a1 has its zone around b2
    // With a rook: a full shield gives nothing, the safe check on h1 counts.
    EXPECT_EQ(term("4k2r/8/8/8/8/8/PPP5/K7 w - -", TRACE_KING, WHITE), packed(7 - 43, -79 - 20 - 10));
    // Without the pawn on b2 three squares of the shield are missing, and b1..h1 stays as it was.
    EXPECT_EQ(term("4k2r/8/8/8/8/8/P1P5/K7 w - -", TRACE_KING, WHITE), packed(7 - 43 - 12, -79 - 20 - 10 + 1));
}

TEST_F(HandEval, KingDanger) {
    // Black king g8 without a shield, both rooks at its zone, one safe check on g1. The danger is
    // 2 * 4 - 2 + 4 * 7 = 34, of which 34 * 34 * 0.0015 of king_danger2 counts.
    EXPECT_EQ(term("6k1/8/8/8/8/8/PPP5/1K3R1R w - -", TRACE_KING, BLACK),
              packed(10 - 37 - 43 - 178 + 2, -50 + 4 - 10 + 34 - 60));
    EXPECT_EQ(scratch.king_attack[BLACK], 8);
    // A queen that attacks nothing makes it king_danger1.
    EXPECT_EQ(term("6k1/8/8/8/8/8/PPP5/QK3R1R w - -", TRACE_KING, BLACK),
              packed(10 - 37 - 43 - 447 + 2, -50 + 4 - 10 + 109 - 60));
    // A pawn one step from the zone counts from the start, and cuts the rook off.
    score("6k1/8/8/5P2/8/8/1PP5/1K3R1R w - -");
    EXPECT_EQ(scratch.king_attack[BLACK], 2 + 4);
}

TEST_F(HandEval, TrappedKing) {
    // a1 behind own pieces only, then with a free square.
    const i32 trapped = term("4k3/8/8/8/8/8/BN6/KB6 w - -", TRACE_KING, WHITE);
    const i32 mobile = term("4k3/8/8/8/8/8/B7/KB6 w - -", TRACE_KING, WHITE);
    EXPECT_EQ(trapped - mobile, packed(-6, -41));
}

TEST_F(HandEval, KingFarFromAllPawns) {
    EXPECT_EQ(term("4k3/8/8/8/8/8/8/4KN2 w - -", TRACE_KING, WHITE), packed(-13, -50));  // no pawns: nothing
    // The black pawn's path is a6..a1: three steps from the neighbours of e1.
    EXPECT_EQ(term("4k3/p7/8/8/8/8/8/4KN2 w - -", TRACE_KING, WHITE), packed(-13 + 2, -50 - 60));
    // A pawn on the last rank, as only an editor can put it, has no path at all: no endless search.
    EXPECT_EQ(term("P3k3/8/8/8/8/8/8/4KN2 w - -", TRACE_KING, WHITE), packed(-13 + 4, -50 - 101));
}

// ---- Threats ----

TEST_F(HandEval, HungMajors) {
    EXPECT_EQ(term("4k3/8/8/8/3p4/2R1R3/8/4K3 w - -", TRACE_THREATS, WHITE), 2 * packed(-68, -31));
    EXPECT_EQ(scratch.hung_pieces, bit(18) | bit(20));
    EXPECT_EQ(term("r3k3/8/8/8/8/8/8/R3K3 w - -", TRACE_THREATS, WHITE), 0);  // by a rook only
    EXPECT_EQ(scratch.hung_pieces, 0u);
}

TEST_F(HandEval, AttackedPawnsAndMinors) {
    // The rook attacks a pawn that a king covers, then one that nothing covers.
    EXPECT_EQ(term("4k3/8/8/4r3/8/8/4P3/4K3 w - -", TRACE_THREATS, WHITE), packed(0, -24));
    EXPECT_EQ(term("4k3/8/8/4r3/8/8/4P3/1K6 w - -", TRACE_THREATS, WHITE), packed(-14, -53));
    EXPECT_EQ(scratch.hung_pieces, bit(12));
    // A bishop that a king covers and a pawn attacks is both.
    EXPECT_EQ(term("4k3/8/8/8/6p1/5B2/5K2/8 w - -", TRACE_THREATS, WHITE), packed(-64 - 8, -57 - 31));
    // Covered by a pawn: not hung, not attacked.
    EXPECT_EQ(term("1r2k3/8/8/8/8/1N6/P7/6K1 w - -", TRACE_THREATS, WHITE), 0);
}

TEST_F(HandEval, PushThreats) {
    EXPECT_EQ(term("4k3/8/8/3n4/8/8/4P3/4K3 w - -", TRACE_THREATS, BLACK), packed(-17, -23));  // e2-e4
    EXPECT_EQ(term("4k3/8/8/3n4/8/4b3/4P3/4K3 w - -", TRACE_THREATS, BLACK), 0);               // e3 must be empty too
    EXPECT_EQ(term("4k3/8/8/3n1p2/8/8/4P3/4K3 w - -", TRACE_THREATS, BLACK), 0);  // e4 is guarded by a pawn
    // A piece that hangs already is not counted again.
    EXPECT_EQ(term("4k3/8/8/3n4/8/8/B3P3/4K3 w - -", TRACE_THREATS, BLACK), packed(-64, -57));
}

TEST_F(HandEval, PinnedPieces) {
    // The rook covers nothing and is attacked, but only the pin counts.
    EXPECT_EQ(term("4k3/4r3/8/8/8/8/4R3/4K3 w - -", TRACE_THREATS, WHITE), packed(-48, -83));
}

// ---- Endings ----

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
