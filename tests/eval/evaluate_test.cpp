// The evaluation driver: each recogniser, the cache, the choice of evaluator, contempt.
#include "eval/evaluate.h"

#include <cstdlib>

#include "base/settings.h"
#include "board/fen.h"
#include "eval/handcrafted/hand_eval.h"
#include "eval/network/forward.h"
#include "gtest/gtest.h"
#include "support/engine.h"

namespace {

struct Evaluate : ::testing::Test {
    ThreadState *thread = start_engine();
    u64 hits = 0;

    Evaluate() {
        for (EvalCacheEntry &entry : thread->eval.eval_cache) entry = {0x123456789ABCDEFULL, 0};
        contempt_side = NO_CONTEMPT;
        settings.contempt = 0;
    }
    ~Evaluate() override {
        start_engine();
        thread->game.game_ply = 0;
        contempt_side = NO_CONTEMPT;
    }
    void set(const char *fen) {
        set_position_from_text(&thread->position, fen);
        thread->game.game_ply = 0;
    }
    int score(const char *fen, int ply = 3) {
        set(fen);
        return evaluate(&thread->eval, thread->position, thread->position.stm, ply, 0);
    }
    // What the network says, from a rebuilt accumulator.
    int network(const char *fen) {
        set(fen);
        thread->eval.eval_ply = 1;
        int score = NO_NETWORK_SCORE;
        EXPECT_TRUE(network_eval(&thread->eval, thread->position, &score));
        return score;
    }
    EvalCacheEntry &entry(int side) { return thread->eval.eval_cache[(thread->position.key & 0xFFF) + 4096 * side]; }
    bool cached(int side) { return entry(side).key == thread->position.key; }
};

constexpr const char *KIWI = "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -";
constexpr const char *QUIET = "r1bqk1nr/pppp1ppp/2n5/2b1p3/2B1P3/2N2N2/PPPP1PPP/R1BQK2R b KQkq -";

}  // namespace

TEST_F(Evaluate, InCheckIsAFixedLowScore) {
    for (const char *fen : {KIWI, "4k3/8/8/8/8/8/8/4K3 w - -", "4k3/8/8/8/8/8/8/4KQ2 w - -"}) {
        set(fen);
        const u64 calls = thread->eval.eval_calls, cache_hits = thread->eval.eval_cache_hits;
        EXPECT_EQ(evaluate(&thread->eval, thread->position, WHITE, 7, 1), -2500);
        EXPECT_EQ(evaluate(&thread->eval, thread->position, BLACK, 9, 4), -2500);
        EXPECT_FALSE(cached(WHITE));
        EXPECT_EQ(thread->eval.eval_calls, calls + 2);
        EXPECT_EQ(thread->eval.eval_cache_hits, cache_hits);
        EXPECT_EQ(thread->eval.eval_ply, 9);
    }
    // Also with the score in the cache.
    score(KIWI);
    EXPECT_EQ(evaluate(&thread->eval, thread->position, WHITE, 7, 1), -2500);
}

TEST_F(Evaluate, NobodyCanMate) {
    for (const char *fen :
         {"4k3/8/8/8/8/8/8/4K3 w - -", "4k3/8/8/8/8/8/8/4KB2 w - -", "4k1n1/8/8/8/8/8/8/4K3 b - -",
          "4k1n1/8/8/8/8/8/8/4KB2 w - -", "4k1b1/8/8/8/8/8/8/4KB2 b - -", "4k1n1/8/8/8/8/8/8/4KN2 b - -",
          "4k3/8/8/8/8/8/8/3NKN2 w - -", "3nkn2/8/8/8/8/8/8/4K3 w - -"}) {
        EXPECT_EQ(score(fen), 0) << fen;
        EXPECT_FALSE(cached(thread->position.stm)) << fen;
    }
}

TEST_F(Evaluate, OtherMinorEndingsGoOn) {
    for (const char *fen :
         {"4k3/4p3/8/8/8/8/8/3NKN2 w - -", "4k3/8/8/8/8/8/8/2BBK3 w - -", "4k2n/8/8/8/8/8/8/3NKN2 b - -",
          "4k2n/8/8/8/8/8/8/2BNK3 w - -", "4k3/8/8/8/8/8/8/1NNNK3 w - -", "4k3/8/8/8/8/8/PP6/4K3 b - -"}) {
        EXPECT_EQ(score(fen), network(fen)) << fen;
        score(fen);
        EXPECT_TRUE(cached(thread->position.stm)) << fen;
    }
}

TEST_F(Evaluate, MateDrive) {
    // White Kd4 (0 from the centre), rook: 256; black Kh8: -96; kings 4 apart: 1000 - 64.
    EXPECT_EQ(score("7k/8/8/8/3K4/8/8/R7 w - -"), 256 + 1000 - 64 + 96);
    EXPECT_EQ(score("7k/8/8/8/3K4/8/8/R7 b - -"), -(256 + 1000 - 64 + 96));
    // Black queen and rook: 768, Ke1 3 steps out; white Kc3 2: kings 2 apart.
    EXPECT_EQ(score("8/8/8/8/8/2K5/8/qr2k3 b - -"), 768 - 48 + 1000 - 32 + 32);
    EXPECT_EQ(score("8/8/8/8/8/2K5/8/qr2k3 w - -"), -(768 - 48 + 1000 - 32 + 32));
    // Three queens: at most 1500. Other pieces of the strong side don't count.
    EXPECT_EQ(score("4k3/8/8/8/8/8/PPPPNB2/QQQK4 w - -"), 1500 - 48 + 1000 - 16 * 7 + 48);
    EXPECT_EQ(score("k7/8/1K6/8/8/8/8/QQQ5 w - -"), 1500 - 48 + 1000 - 32 + 96);
    EXPECT_FALSE(cached(WHITE));
    // Near the most it can give: the kings side by side.
    EXPECT_LE(score("k7/2K5/8/8/8/8/8/QQQ5 b - -"), -2500);
    // A pawn for the weak side: not bare.
    EXPECT_EQ(score("7k/7p/8/8/3K4/8/8/R7 w - -"), network("7k/7p/8/8/3K4/8/8/R7 w - -"));
}

TEST_F(Evaluate, BishopAndKnight) {
    // Bishop c1 (colour of a1); weak king a1: corner 9; strong king c3: ring 2, distance 2.
    EXPECT_EQ(score("8/8/8/8/8/2K5/8/k1B2N2 w - -"), 900 + 144 + 16 - 16);
    EXPECT_EQ(score("8/8/8/8/8/2K5/8/k1B2N2 b - -"), -(900 + 144 + 16 - 16));
    // The other bishop: a1 is the wrong corner, 2; h1 the right one.
    EXPECT_EQ(score("8/8/8/8/8/2K5/8/k2B1N2 w - -"), 900 + 32 + 16 - 16);
    EXPECT_EQ(score("8/8/8/8/8/5K2/8/3B1N1k w - -"), 900 + 144 + 16 - 16);
    // Black is the strong side; its king on the second ring, the weak one in mid-board.
    EXPECT_EQ(score("2b2n2/1k6/8/8/4K3/8/8/8 b - -"), 900 + 16 + 8 - 24);
    EXPECT_EQ(score("2b2n2/1k6/8/8/4K3/8/8/8 w - -"), -(900 + 16 + 8 - 24));
    EXPECT_FALSE(cached(WHITE));
}

TEST_F(Evaluate, KingAndPawn) {
    // e2 pawn: weak Ke8 0 from e8, strong Ke1 7 off; 4 * 1. Black to move holds, white too.
    EXPECT_EQ(score("4k3/8/8/8/8/8/4P3/4K3 b - -"), -(0 + 4 - 7));
    // Won: pawn e5, Ke6, ke8: 0 + 16 - 2 + 800.
    EXPECT_EQ(score("4k3/8/4K3/4P3/8/8/8/8 w - -"), 0 + 16 - 2 + 800);
    EXPECT_EQ(score("4k3/8/4K3/4P3/8/8/8/8 b - -"), -(0 + 16 - 2 + 800));
    // Opposition: won only with the weak side to move.
    EXPECT_EQ(score("8/4k3/8/4K3/4P3/8/8/8 w - -"), 1 + 12 - 3);
    EXPECT_EQ(score("8/4k3/8/4K3/4P3/8/8/8 b - -"), -(1 + 12 - 3 + 800));
    // The same on the b-file, where nothing is mirrored but for black; file distances count.
    EXPECT_EQ(score("8/1k6/8/1K6/1P6/8/8/8 w - -"), 1 + 12 - 3);
    EXPECT_EQ(score("8/8/8/6p1/6k1/8/6K1/8 b - -"), 1 + 12 - 3);
    EXPECT_EQ(score("8/8/8/6p1/6k1/8/6K1/8 w - -"), -(1 + 12 - 3 + 800));
    EXPECT_EQ(score("8/8/8/1p6/1k6/8/1K6/8 w - -"), -(1 + 12 - 3 + 800));
    EXPECT_EQ(score("8/8/8/1p6/1k6/8/1K6/8 b - -"), 1 + 12 - 3);
    // Weak king far aside: 7 files from the goal, the strong one 5 files.
    EXPECT_EQ(score("8/8/8/8/5K1k/P7/8/8 w - -"), 7 + 8 - 5 + 800);
    // Against the edge: a black a-pawn with the white king in its corner.
    EXPECT_EQ(score("8/8/8/8/p7/1k6/8/K7 b - -"), 0 + 16 - 2);
    EXPECT_FALSE(cached(WHITE));
    // Without the network the recognisers are the same.
    settings.use_nn = 0;
    EXPECT_EQ(score("4k3/8/4K3/4P3/8/8/8/8 w - -"), 814);
}

TEST_F(Evaluate, CacheFromPlyThreeOn) {
    const int expected = network(QUIET);
    set(QUIET);
    const u64 calls = thread->eval.eval_calls, start = thread->eval.eval_cache_hits;
    EXPECT_EQ(evaluate(&thread->eval, thread->position, BLACK, 1, 0), expected);
    EXPECT_TRUE(cached(BLACK));
    EXPECT_FALSE(cached(WHITE));
    // A marked entry shows who reads it.
    entry(BLACK).score = -1234;
    EXPECT_EQ(evaluate(&thread->eval, thread->position, BLACK, 3, 0), -1234);
    EXPECT_EQ(thread->eval.eval_cache_hits, start + 1);
    EXPECT_EQ(evaluate(&thread->eval, thread->position, BLACK, 2, 0), expected);  // computed again, and written
    EXPECT_EQ(entry(BLACK).score, expected);
    entry(BLACK).score = 4321;
    EXPECT_EQ(evaluate(&thread->eval, thread->position, BLACK, 1, 0), expected);
    EXPECT_EQ(entry(BLACK).score, expected);
    EXPECT_EQ(thread->eval.eval_cache_hits, start + 1);
    EXPECT_EQ(evaluate(&thread->eval, thread->position, BLACK, 40, 0), expected);
    EXPECT_EQ(thread->eval.eval_cache_hits, start + 2);
    EXPECT_EQ(thread->eval.eval_calls, calls + 5);
    EXPECT_EQ(thread->eval.eval_ply, 40);
}

TEST_F(Evaluate, CacheComparesTheWholeKey) {
    set(QUIET);
    entry(BLACK) = {thread->position.key ^ 1ULL << 63, 777};
    EXPECT_EQ(evaluate(&thread->eval, thread->position, BLACK, 5, 0), network(QUIET));
    // A key of 0 is a key like any other.
    set(QUIET);
    thread->position.key = 0;
    thread->eval.eval_cache[4096] = {0, 55};
    EXPECT_EQ(evaluate(&thread->eval, thread->position, BLACK, 5, 0), 55);
}

TEST_F(Evaluate, OppositeBishopsTakeAQuarter) {
    const char *opposite = "4k3/pp3b2/3n4/8/8/3N4/PPPPPB2/4K3 w - -";
    const int raw = network(opposite);
    ASSERT_GT(std::abs(raw), 4);
    EXPECT_EQ(score(opposite), raw - raw / 4);
    for (const char *fen : {"4k3/pp2b3/3n4/8/8/3N4/PPPPPB2/4K3 w - -",    // same colour
                            "4k2r/pp3b2/3n4/8/8/3N4/PPPPPB2/4K3 w - -",   // a rook
                            "4k3/pp3b2/3n4/8/8/3N4/PPPPPBB1/4K3 w - -"})  // two bishops
        EXPECT_EQ(score(fen), network(fen)) << fen;
}

TEST_F(Evaluate, HandCraftedEvaluationInstead) {
    settings.use_nn = 0;
    for (const char *fen : {QUIET, "4k3/pp3b2/3n4/8/8/3N4/PPPPPB2/4K3 w - -"}) {
        set(fen);
        const int by_hand = hand_eval(&thread->eval, thread->position);
        EXPECT_EQ(score(fen), by_hand) << fen;
    }
}

TEST_F(Evaluate, ContemptByMaterialAndSide) {
    const auto term = [&](const char *fen, u8 engine) {
        const int raw = network(fen);
        contempt_side = engine;
        const int with = evaluate(&thread->eval, thread->position, thread->position.stm, 1, 0);
        EXPECT_EQ(entry(thread->position.stm).score, with);
        return with - raw;
    };
    // Full material: M = 2*1060 + 4*550 + 8*350 + 2*1200 - 1000 = 8520; 15/4160 * 4360 = 15.7.
    settings.contempt = 0;
    EXPECT_EQ(term(STARTPOS_FEN, WHITE), 15);
    EXPECT_EQ(term(STARTPOS_FEN, BLACK), -15);
    settings.contempt = 100;  // 102.4 + 15.7
    EXPECT_EQ(term(STARTPOS_FEN, WHITE), 118);
    EXPECT_EQ(term(STARTPOS_FEN, BLACK), -118);
    settings.contempt = -150;  // -153.6 + 15.7
    EXPECT_EQ(term(STARTPOS_FEN, WHITE), -137);
    // Two pawns a side and no pieces: M = 800; 10 * 0.09615 - 15 * 0.80769, toward zero.
    settings.contempt = 10;
    EXPECT_EQ(term("4k3/pp6/8/8/8/8/PP6/4K3 w - -", WHITE), -11);
    EXPECT_EQ(term("4k3/pp6/8/8/8/8/PP6/4K3 b - -", WHITE), 11);
    // The pawns count at most 1200: 13 of them are like 12.
    EXPECT_EQ(term("4k3/pppppppp/8/8/8/8/PPPPP3/4K3 w - -", WHITE),
              term("4k3/ppppppp1/8/8/8/8/PPPPP3/4K3 w - -", WHITE));
}

TEST_F(Evaluate, ContemptWaitsForTheFifthPly) {
    const int raw = network(STARTPOS_FEN);
    settings.contempt = 100;
    thread->game.game_ply = 4;
    choose_contempt_side(thread->position, false);
    EXPECT_EQ(evaluate(&thread->eval, thread->position, WHITE, 1, 0), raw);
    thread->game.game_ply = 5;
    choose_contempt_side(thread->position, true);
    EXPECT_EQ(evaluate(&thread->eval, thread->position, WHITE, 1, 0), raw);
    choose_contempt_side(thread->position, false);
    EXPECT_EQ(evaluate(&thread->eval, thread->position, WHITE, 1, 0), raw + 118);
    // It is the master's count that matters, on every thread.
    ThreadState *worker = allocate_thread_state(0);
    ASSERT_NE(worker, nullptr);
    set_position_from_text(&worker->position, STARTPOS_FEN);
    worker->game.game_ply = 0;
    EXPECT_EQ(evaluate(&worker->eval, worker->position, WHITE, 1, 0), raw + 118);
    worker->game.game_ply = 9;
    thread->game.game_ply = 4;
    choose_contempt_side(thread->position, false);
    EXPECT_EQ(evaluate(&worker->eval, worker->position, WHITE, 1, 0), raw);
    free_network_buffers(&worker->eval);
    free_thread_state(worker);
}

TEST_F(Evaluate, PositionsWithoutKingsStayInBounds) {
    for (const char *fen :
         {"8/8/8/8/8/8/8/8 w - -", "8/8/8/8/8/8/8/R7 b - -", "8/8/8/8/8/8/4P3/4K3 w - -", "8/8/8/8/8/8/8/7p w - -",
          "8/7p/8/8/8/8/8/8 b - -", "8/8/8/8/8/8/8/BN6 w - -", "7P/8/8/8/8/8/8/8 b - -"})
        EXPECT_LE(std::abs(score(fen)), 2600) << fen;
}
