// The vector kernels against the portable loop.
#include "eval/network/rows.h"

#include <vector>

#include "eval/network/reference_network.h"
#include "gtest/gtest.h"

// Vector code against its plain twin, on rows and lengths chosen for the borders of saturation.
TEST(NetworkRows, VectorEqualsPortable) {
    constexpr int LENGTH = 431;
    u32 seed = 17;
    std::vector<std::vector<i16>> rows(9, std::vector<i16>(LENGTH));
    const i16 edges[] = {32767, -32768, 0, -1, 1, -63, -64, -65, 63, 64, 32766, -32767};
    for (std::vector<i16> &row : rows)
        for (i16 &word : row)
            word = next_random(seed) % 3 ? static_cast<i16>(next_random(seed)) : edges[next_random(seed) % 12];
    for (int length : {1, 15, 16, 17, 127, 128, 129, 144, 256, 300, LENGTH})
        for (int count = 0; count <= 6; ++count) {
            RowStep steps[6];
            for (int i = 0; i < count; ++i)
                steps[i] = {rows[static_cast<std::size_t>(i)].data(), next_random(seed) % 2 == 0};
            std::vector<i16> sums(rows[7]), twin_sums(LENGTH, 9);
            // In place, as from the snapshot, against apart, as from the biases.
            const u32 sum = pass_half({sums.data(), steps, count, sums.data(), rows[8].data()}, length);
            const u32 twin =
                pass_half_portable({rows[7].data(), steps, count, twin_sums.data(), rows[8].data()}, 0, length);
            EXPECT_EQ(sum, twin);
            for (int i = 0; i < length; ++i) ASSERT_EQ(sums[i], twin_sums[i]);
            if (length < LENGTH) {
                EXPECT_EQ(twin_sums[static_cast<std::size_t>(length)], 9);
            }
        }
}
