// The choice of a processor group for a new thread.
#include "platform/processor_groups.h"

#include <vector>

#include "gtest/gtest.h"

// The running threads of each group after so many starts.
static std::vector<int> after_starts(const std::vector<int> &processors, int threads) {
    std::vector<int> running(processors.size(), 0);
    for (int i = 0; i < threads; ++i)
        ++running[static_cast<std::size_t>(
            choose_processor_group(processors.data(), running.data(), static_cast<int>(processors.size())))];
    return running;
}

TEST(ProcessorGroups, OneGroupTakesAll) { EXPECT_EQ(after_starts({8}, 20), std::vector<int>{20}); }

TEST(ProcessorGroups, AGroupIsFilledBeforeTheNext) {
    EXPECT_EQ(after_starts({64, 64}, 64), (std::vector<int>{64, 0}));
    EXPECT_EQ(after_starts({64, 64}, 65), (std::vector<int>{64, 1}));
    EXPECT_EQ(after_starts({64, 32}, 96), (std::vector<int>{64, 32}));
}

TEST(ProcessorGroups, MoreThreadsThanProcessorsAreSharedOut) {
    EXPECT_EQ(after_starts({64, 32}, 192), (std::vector<int>{128, 64}));
    EXPECT_EQ(after_starts({4, 4, 4}, 13), (std::vector<int>{5, 4, 4}));
    EXPECT_EQ(after_starts({0, 4}, 10), (std::vector<int>{0, 10})) << "a group without processors";
}

TEST(ProcessorGroups, APlaceThatBecameFreeIsTakenFirst) {
    const int processors[] = {2, 2};
    const int running[] = {1, 2};
    EXPECT_EQ(choose_processor_group(processors, running, 2), 0);
}
