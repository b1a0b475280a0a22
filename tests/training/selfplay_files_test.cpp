// The files of self-play: whole records whatever happens, and a number for each run.
#include <csignal>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

#include "selfplay_files.h"
#include "selfplay_options.h"
#include "support/files.h"

namespace {

std::vector<TrainRecord> some_records(int count) {
    std::vector<TrainRecord> records(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) records[static_cast<std::size_t>(i)].sc = static_cast<i16>(i + 1);
    return records;
}

TEST(SelfplayFiles, RecordsAreAppended) {
    const ScratchDirectory scratch;
    const std::string path = scratch.file("a.bin");
    const int file = open_records(path);
    ASSERT_GE(file, 0);
    EXPECT_EQ(count_records(file), 0);
    EXPECT_TRUE(append_records(file, path, some_records(3)));
    EXPECT_TRUE(append_records(file, path, {}));
    EXPECT_TRUE(append_records(file, path, some_records(2)));
    EXPECT_EQ(count_records(file), 5);
    close(file);
    EXPECT_EQ(read_file(path).size(), 200u);
}

TEST(SelfplayFiles, APieceOfARecordIsCutOff) {
    const ScratchDirectory scratch;
    const std::string path = scratch.file("a.bin");
    ASSERT_TRUE(write_file(path, std::string(97, 'x')));
    const int file = open_records(path);
    ASSERT_GE(file, 0);
    EXPECT_EQ(read_file(path), std::string(80, 'x'));
    // And one that another writer has left since.
    ASSERT_TRUE(write_file(path, std::string(85, 'y')));
    EXPECT_TRUE(append_records(file, path, some_records(1)));
    EXPECT_EQ(read_file(path).size(), 120u);
    EXPECT_EQ(read_file(path).substr(0, 80), std::string(80, 'y'));
    close(file);
}

TEST(SelfplayFiles, AFullDiskLeavesWholeRecords) {
    const ScratchDirectory scratch;
    const std::string path = scratch.file("a.bin");
    const int file = open_records(path);
    ASSERT_TRUE(append_records(file, path, some_records(2)));
    rlimit before;
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small = {130, before.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    testing::internal::CaptureStderr();
    const bool written = append_records(file, path, some_records(4));
    const std::string message = testing::internal::GetCapturedStderr();
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_FALSE(written);
    EXPECT_NE(message.find("can't write " + path), std::string::npos) << message;
    EXPECT_EQ(count_records(file), 2);
    EXPECT_EQ(read_file(path).size(), 80u);
    close(file);
}

TEST(SelfplayFiles, EachRunHasItsNumberAndTheOutputForItself) {
    const ScratchDirectory scratch;
    const std::string path = scratch.file("a.bin");
    for (i64 run = 0; run < 12; ++run) {
        RunState state, second;
        ASSERT_TRUE(begin_run(path, &state));
        EXPECT_EQ(state.run, run);
        testing::internal::CaptureStderr();
        EXPECT_FALSE(begin_run(path, &second));
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "another run is writing to " + path + "\n");
        close(second.file);
        close(state.file);
    }
    EXPECT_EQ(read_file(path + ".state"), "runs 12\n");
}

TEST(SelfplayFiles, AStateFileOfAnotherKindIsLeftAlone) {
    const ScratchDirectory scratch;
    ASSERT_TRUE(write_file(scratch.file("a.bin.state"), "something else\n"));
    RunState state;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(begin_run(scratch.file("a.bin"), &state));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("is not a state file"), std::string::npos);
    EXPECT_EQ(read_file(scratch.file("a.bin.state")), "something else\n");
}

TEST(SelfplayFiles, InnerPositionsHaveAFileOfTheirOwn) { EXPECT_EQ(inner_path("/d/x.bin"), "/d/x.inner.bin"); }

}  // namespace
