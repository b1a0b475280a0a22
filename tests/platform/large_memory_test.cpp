// Large blocks: zeroed, writable, refused when absurd.
#include "platform/large_memory.h"

#include "gtest/gtest.h"

TEST(LargeMemory, ZeroedAndWritable) {
    constexpr u64 SIZE = 3 * 1048576 + 16;
    u8 *block = static_cast<u8 *>(allocate_large(SIZE));
    ASSERT_NE(block, nullptr);
    for (u64 i = 0; i < SIZE; i += 4096) ASSERT_EQ(block[i], 0);
    block[0] = block[SIZE - 1] = 7;
    EXPECT_EQ(block[SIZE - 1], 7);
    free_large(block, SIZE);
}

TEST(LargeMemory, AnImpossibleSizeIsRefused) { EXPECT_EQ(allocate_large(1ULL << 62), nullptr); }

TEST(LargeMemory, NothingToFree) { free_large(nullptr, 100); }
