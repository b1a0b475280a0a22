// Progress of a long tool. What a terminal shows is tested with the real program.
#include "base/progress.h"

#include <cstring>

#include "gtest/gtest.h"

TEST(Progress, NothingIsPrintedWithoutATerminal) {
    testing::internal::CaptureStderr();  // a file
    Progress progress;
    begin_progress(&progress, "positions", 100.0);
    EXPECT_FALSE(progress.shown);
    EXPECT_STREQ(progress.unit, "positions");
    EXPECT_EQ(progress.total, 100.0);
    progress.next = 0.0;  // a line would be due
    show_progress(&progress, 50.0, 50);
    end_progress(&progress);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}
