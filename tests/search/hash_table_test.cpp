// The transposition table: geometry, replacement, ageing, mate distances, untrusted moves.
#include "search/hash_table.h"
#include "support/positions.h"

#include "base/settings.h"
#include "board/fen.h"
#include "board/moves.h"
#include "gtest/gtest.h"
#include "support/engine.h"

struct Probe {
    int score = 0, eval = 0, depth = 0, bound = 0;
    Move move = 0;
    bool hit = false;
};

static Probe probe(Position *position) {
    Probe result;
    result.hit = hash_probe(position, &result.score, &result.eval, &result.depth, &result.move, &result.bound);
    return result;
}

static Position *set_up(const char *fen) {
    ThreadState *master = start_engine();
    hash_table.age = 1;
    set_position_from_text(&master->position, fen);
    return &master->position;
}

static const Move E2E4 = word_of("e2e4");

TEST(HashTable, StoresAndFinds) {
    Position *position = set_up(STARTPOS_FEN);
    EXPECT_FALSE(probe(position).hit);
    hash_store(position, 3, 7, E2E4, -25, 31, BOUND_LOWER);
    const Probe found = probe(position);
    ASSERT_TRUE(found.hit);
    EXPECT_EQ(found.move, E2E4);
    EXPECT_EQ(found.eval, -25);
    EXPECT_EQ(found.score, 31);
    EXPECT_EQ(found.depth, 7);
    EXPECT_EQ(found.bound, BOUND_LOWER);
}

TEST(HashTable, TheSideSelectsTheTable) {
    Position *position = set_up("4k3/8/8/8/8/8/8/R3K3 w - -");
    hash_store(position, 1, 4, word_of("a1a2"), 0, 0, BOUND_EXACT);
    EXPECT_TRUE(probe(position).hit);
    position->stm = BLACK;
    EXPECT_FALSE(probe(position).hit);
}

TEST(HashTable, WithoutABestMoveNothingIsStored) {
    Position *position = set_up(STARTPOS_FEN);
    hash_store(position, 1, 4, 0, 0, 0, BOUND_UPPER);
    EXPECT_FALSE(probe(position).hit);
}

TEST(HashTable, MateScoresCountFromTheNode) {
    Position *position = set_up(STARTPOS_FEN);
    hash_store(position, 5, 4, E2E4, 0, 9990, BOUND_EXACT);
    EXPECT_EQ(probe(position).score, 9995);
    hash_store(position, 5, 4, E2E4, 0, -9990, BOUND_EXACT);
    EXPECT_EQ(probe(position).score, -9995);
    hash_store(position, 5, 4, E2E4, 0, 9799, BOUND_EXACT);
    EXPECT_EQ(probe(position).score, 9804);
    hash_store(position, 5, 4, E2E4, 0, -9799, BOUND_EXACT);
    EXPECT_EQ(probe(position).score, -9799);
}

TEST(HashTable, OnlyAMuchDeeperEntryOfThePositionStays) {
    Position *position = set_up(STARTPOS_FEN);
    hash_store(position, 1, 10, E2E4, 0, 10, BOUND_EXACT);
    hash_store(position, 1, 7, E2E4, 0, 20, BOUND_EXACT);
    EXPECT_EQ(probe(position).score, 10);
    hash_store(position, 1, 8, E2E4, 0, 30, BOUND_EXACT);
    EXPECT_EQ(probe(position).score, 30);
    EXPECT_EQ(probe(position).depth, 8);
}

TEST(HashTable, AnOldHitLosesTwoPliesOnceASearch) {
    Position *position = set_up(STARTPOS_FEN);
    hash_store(position, 1, 10, E2E4, 0, 10, BOUND_EXACT);
    hash_table.age = 2;
    EXPECT_EQ(probe(position).depth, 8);
    EXPECT_EQ(probe(position).depth, 8);
    hash_table.age = 3;
    EXPECT_EQ(probe(position).depth, 6);
    EXPECT_EQ(probe(position).bound, BOUND_EXACT);
}

TEST(HashTable, ReplacesOldEntriesFromTheLastToTheFirst) {
    Position *position = set_up(STARTPOS_FEN);
    const u64 key = position->key;
    const auto with_key = [&](u64 low) { position->key = (key & ~0xFFFFFFFFULL) | low; };
    // Four keys of one bucket: equal in the masked bits, different in the low word above them.
    const u64 base = key & hash_table.mask;
    const u64 step = hash_table.mask + 1;
    ASSERT_LT(4 * step, 0x100000000ULL);
    for (u64 i = 0; i < 4; ++i) {  // all stamps old: the last place takes the first, and so on
        with_key(base + i * step);
        hash_store(position, 1, 5, E2E4, 0, static_cast<int>(i), BOUND_EXACT);
    }
    const HashEntry *bucket = hash_table.sides[WHITE] + base;
    for (u64 i = 0; i < 4; ++i)
        EXPECT_EQ(static_cast<u32>(bucket[3 - i].low.load()), static_cast<u32>(base + i * step));
    // All current: entry 0 goes, whatever its depth.
    with_key(base + 4 * step);
    hash_store(position, 1, 0, E2E4, 0, 44, BOUND_EXACT);
    EXPECT_EQ(static_cast<u32>(bucket[0].low.load()), static_cast<u32>(base + 4 * step));
    with_key(base + 3 * step);
    EXPECT_FALSE(probe(position).hit);
}

TEST(HashTable, TheLastIndexUsesTheSpareEntries) {
    Position *position = set_up(STARTPOS_FEN);
    position->key |= hash_table.mask;
    for (int side = WHITE; side <= BLACK; ++side) {
        position->stm = static_cast<u8>(side);
        const HashEntry *last = hash_table.sides[side] + hash_table.mask;
        EXPECT_LT(last + 4, hash_table.memory + (hash_table.entries | 16));
        EXPECT_FALSE(probe(position).hit);
        hash_store(position, 1, 3, side ? word_of("e7e5") : E2E4, 0, 1, BOUND_EXACT);
        EXPECT_TRUE(probe(position).hit);
    }
}

TEST(HashTable, SizesAndMask) {
    start_engine();
    settings.hash_mb = 3;
    ASSERT_EQ(allocate_hash_table(), 1);
    EXPECT_EQ(hash_table.mask, 65535u);
    EXPECT_EQ(hash_table.entries, 3 * 65536);
    EXPECT_EQ(hash_table.sides[1] - hash_table.sides[0], 3 * 32768 + 8);
    settings.hash_mb = 16;
    ASSERT_EQ(allocate_hash_table(), 1);
}

TEST(HashTable, SizeZeroRunsWithoutATable) {
    ThreadState *master = start_engine();
    settings.hash_mb = 0;
    ASSERT_EQ(allocate_hash_table(), 1);
    EXPECT_EQ(hash_table.mode, 0);
    clear_hash_table();
    hash_store(&master->position, 1, 3, E2E4, 0, 1, BOUND_EXACT);
    EXPECT_FALSE(probe(&master->position).hit);
    settings.hash_mb = 16;
    ASSERT_EQ(allocate_hash_table(), 1);
    EXPECT_EQ(hash_table.mode, 1) << "a size above 0 turns the table on again";
}

TEST(HashTable, AWrongMoveIsReportedAndDropped) {
    Position *position = set_up(STARTPOS_FEN);
    struct {
        Move move;
        int code;
    } const cases[] = {
        {word_of("e2e2"), 1},  // nowhere
        {word_of("e3e4"), 2},  // from an empty square
        {word_of("e2e8"), 2},  // onto a king
        {word_of("e7e6"), 3},  // the other side's pawn
        {word_of("a1a2"), 4},  // onto an own piece
        {word_of("e2e4", PROMO_QUEEN), 6},
        {word_of("e2f3"), 7},  // a diagonal pawn step onto nothing
        {word_of("e2e5"), 7},  // three steps
        {word_of("b1d3"), 8},
        {word_of("c1e3"), 9},  // through the own pawn
        {word_of("a1a3"), 10},
        {word_of("d1d3"), 11},
        {word_of("e1g1", CASTLE_KINGSIDE), 12},  // the path is blocked
    };
    for (const auto &bad : cases) {
        hash_store(position, 1, 3, bad.move, 0, 1, BOUND_EXACT);
        testing::internal::CaptureStdout();
        EXPECT_FALSE(probe(position).hit);
        const std::string text = testing::internal::GetCapturedStdout();
        char want[200];
        std::snprintf(want, sizeof want,
                      "info fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -\n"
                      "info string illegal hash move: %s%s, flags= %x, code= %d\n\n",
                      SQUARE_NAMES[from_of(bad.move)], SQUARE_NAMES[to_of(bad.move)], flags_of(bad.move), bad.code);
        EXPECT_EQ(text, want);
        testing::internal::CaptureStdout();
        EXPECT_FALSE(probe(position).hit);  // the dropped move also broke the check word
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        clear_hash_table();
    }
}

TEST(HashTable, APinnedPieceIsCode14) {
    Position *position = set_up("4r1k1/8/8/8/8/8/4N3/4K3 w - -");
    hash_store(position, 1, 3, word_of("e2f4"), 0, 1, BOUND_EXACT);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(probe(position).hit);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("code= 14"), std::string::npos);
}

TEST(HashTable, Chess960CastlingOntoTheOwnRookIsAccepted) {
    Position *position = set_up("4k3/8/8/8/8/8/8/5KR1 w G -");
    ASSERT_EQ(position->castling, 1);
    hash_store(position, 1, 3, word_of("f1g1", CASTLE_KINGSIDE), 0, 1, BOUND_EXACT);
    EXPECT_TRUE(probe(position).hit);
}

TEST(HashTable, TheAgeStampIsATriangleWave) {
    start_engine();
    hash_table.age = 0;
    std::vector<int> seen;
    for (int i = 0; i < 64; ++i) {
        step_hash_age();
        seen.push_back(hash_table.age);
    }
    EXPECT_EQ(seen[0], 1);
    EXPECT_EQ(seen[30], 31);
    EXPECT_EQ(seen[31], 30);
    EXPECT_EQ(seen[60], 1);
    EXPECT_EQ(seen[61], 0);
    EXPECT_EQ(seen[62], 1);
}

TEST(HashTable, HashfullCountsCurrentEntriesAtTheStart) {
    Position *position = set_up(STARTPOS_FEN);
    count_hashfull();
    EXPECT_EQ(hash_table.fill, 0.0f);
    for (u64 i = 0; i < 500; ++i) {
        position->key = (position->key & ~0xFFFFFFFFULL) | i * 4;
        hash_store(position, 1, 3, E2E4, 0, 1, BOUND_EXACT);
    }
    count_hashfull();
    EXPECT_GT(hash_table.fill, 0.2f);
    hash_table.age = 2;
    count_hashfull();
    EXPECT_EQ(hash_table.fill, 0.0f);
}
