// The pawn terms: tables, structure, the cache, passed and candidate pawns.
#include "eval/handcrafted/pawns.h"

#include "board/attacks.h"
#include "board/fen.h"
#include "eval/handcrafted/hand_eval_fixture.h"
#include "eval/handcrafted/parameters.h"

using Pawns = HandEval;

TEST_F(Pawns, PawnTables) {
    // Kings on one wing, then on two: another table.
    EXPECT_EQ(term("4k3/8/8/8/8/8/4P3/4K3 w - -", TRACE_PAWNS, WHITE), packed(100 - 25 - 9, 100 + 28 - 11));
    EXPECT_EQ(term("k7/8/8/8/8/8/4P3/4K3 w - -", TRACE_PAWNS, WHITE), packed(100 - 18 - 9, 100 + 8 - 11));
    // A king on files a..d turns the board: e2 reads as d2.
    EXPECT_EQ(term("k7/8/8/8/8/8/4P3/K7 w - -", TRACE_PAWNS, WHITE), packed(100 - 31 - 9, 100 + 10 - 11));
    EXPECT_EQ(term("4k3/8/8/8/8/8/3PP3/4K3 w - -", TRACE_PAWNS, WHITE),
              packed(200 - 31 - 25 - 2 - 1, 200 + 10 + 28 + 11 + 22));
}

TEST_F(Pawns, PawnStructure) {
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

TEST_F(Pawns, PawnCacheAnswersBehindTheRoot) {
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

TEST_F(Pawns, PassedPawnStates) {
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

TEST_F(Pawns, PassedPawnAndKings) {
    // The own king on the point ahead: a factor of -1, not -2.
    EXPECT_EQ(term("7k/4K3/8/4P3/8/8/8/8 w - -", TRACE_PASSERS, WHITE), packed(52 + 0 + 2, 146 + 24 + 13));
    // Only the front one of two scores; a pawn on its start rank looks two ahead.
    EXPECT_EQ(term("7k/8/8/4P3/4P3/8/8/K7 w - -", TRACE_PASSERS, WHITE), packed(52 - 9, 146 + 24 - 52));
    const i32 start = term("7k/8/8/8/8/8/4P3/K7 w - -", TRACE_PASSERS, WHITE);
    // 0.09 of free; e5 is 3 from h8 and 4 from a1: 0.05 and 0.1 of the king terms.
    EXPECT_EQ(start, packed(11 + 0 - 1, 32 + 8 - 8));
}

TEST_F(Pawns, ConnectedPasser) {
    // d5 guards e6 for the pawn on e5, and e5 guards d6.
    const i32 pair = term("7k/8/8/3PP3/8/8/8/K7 w - -", TRACE_PASSERS, WHITE);
    const i32 e5 = term("7k/8/8/4P3/8/8/8/K7 w - -", TRACE_PASSERS, WHITE);
    const i32 d5 = term("7k/8/8/3P4/8/8/8/K7 w - -", TRACE_PASSERS, WHITE);
    EXPECT_EQ(pair - e5 - d5, 2 * packed(-4, 24));
}

TEST_F(Pawns, CandidatePawns) {
    EXPECT_EQ(term("6k1/3p4/8/8/3PP3/8/8/4K3 w - -", TRACE_PASSERS, WHITE), packed(5, 24));
    EXPECT_EQ(scratch.candidates, bit(28));
    EXPECT_EQ(term("6k1/3p4/8/8/4P3/8/8/4K3 w - -", TRACE_PASSERS, WHITE), 0);   // no supporter
    EXPECT_EQ(term("4k3/3p4/8/8/3PP3/8/8/4K3 w - -", TRACE_PASSERS, WHITE), 0);  // a piece on its line
    EXPECT_EQ(term("6k1/3p4/8/8/8/3PP3/8/4K3 w - -", TRACE_PASSERS, WHITE), 0);  // not far enough
    // The pawn on h3 is on the next square by number, and no neighbour of a4.
    EXPECT_EQ(term("3k4/1p4p1/8/8/P7/7P/8/4K3 w - -", TRACE_PASSERS, WHITE), 0);
}

// ---- Pieces ----
