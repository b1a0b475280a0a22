// Table files that are cut in the middle of a search, when nothing looks at their size.
#include <filesystem>
#include <thread>

#include "support/places.h"
#include "support/table_directory.h"

class CutWhileRead : public SolvedTables {
protected:
    void SetUp() override {
        if (program_is_for_windows()) GTEST_SKIP() << "Windows does not let a mapped file be cut";
        SolvedTables::SetUp();
        use_tables("");
        for (const char *name : {"KRvK.rtbw", "KRvK.rtbz"})
            std::filesystem::copy_file(directory->path + "/" + name, scratch.file(name));
        use_tables(scratch.path);
        position = tb_position_of("k7/8/1K6/8/8/8/8/7R w - - 0 1");
        ASSERT_EQ(answer(TB_WDL), (Answer{2, TB_VALUE}));
        ASSERT_EQ(answer(TB_DTZ).status, TB_VALUE);
    }
    Answer answer(TbType type) const { return type == TB_WDL ? wdl_of(position) : dtz_of(position); }
    // What the engine prints at two probes; they give no value.
    std::string refused(TbType type) const {
        testing::internal::CaptureStdout();
        for (int i = 0; i < 2; ++i) EXPECT_EQ(answer(type), (Answer{0, TB_NO_VALUE}));
        return testing::internal::GetCapturedStdout();
    }
    ScratchDirectory scratch;
    TbPosition position{};
};

TEST_F(CutWhileRead, TheTableIsDropped) {
    std::filesystem::resize_file(scratch.file("KRvK.rtbw"), 0);
    EXPECT_EQ(refused(TB_WDL), "info string Tablebase file KRvK.rtbw is no longer complete and not used\n");
    EXPECT_EQ(refused(TB_DTZ), "") << "as a whole";
}

TEST_F(CutWhileRead, DistancesLikewise) {
    std::filesystem::resize_file(scratch.file("KRvK.rtbz"), 0);
    EXPECT_EQ(refused(TB_DTZ), "info string Tablebase file KRvK.rtbz is no longer complete and not used\n");
}

TEST_F(CutWhileRead, WholeAgainAtTheNextSetUp) {
    std::filesystem::resize_file(scratch.file("KRvK.rtbw"), 0);
    refused(TB_WDL);
    std::filesystem::copy_file(directory->path + "/KRvK.rtbw", scratch.file("KRvK.rtbw"),
                               std::filesystem::copy_options::overwrite_existing);
    use_tables(scratch.path);
    EXPECT_EQ(answer(TB_WDL), (Answer{2, TB_VALUE}));
}

// Every position has its own value or none, whatever part of the file is left.
TEST_F(CutWhileRead, AnyPart) {
    const std::string whole = read_file(scratch.file("KRvK.rtbw"));
    for (std::uintmax_t kept = 0; kept < whole.size(); kept += 4096) {
        use_tables("");
        ASSERT_TRUE(write_file(scratch.file("KRvK.rtbw"), whole));
        use_tables(scratch.path);
        ASSERT_EQ(answer(TB_WDL), (Answer{2, TB_VALUE}));
        std::filesystem::resize_file(scratch.file("KRvK.rtbw"), kept);
        testing::internal::CaptureStdout();
        for_each_position(ROOK, 997, [](int, const TbPosition &pos, int dtz) {
            const Answer found = wdl_of(pos);
            const int expected = dtz > 0 ? 2 : dtz < 0 ? -2 : 0;
            EXPECT_TRUE(found.status == TB_NO_VALUE || found.value == expected) << found;
        });
        testing::internal::GetCapturedStdout();
    }
}

// Threads that read while the file is cut.
TEST_F(CutWhileRead, ByThreads) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "ThreadSanitizer takes the page that the system replaces for a write that races";
#endif
    testing::internal::CaptureStdout();
    std::atomic<int> wrong{0};
    std::atomic<bool> cut{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([this, &wrong, &cut] {
            // Before the cut, during it, and for a while after it.
            for (int after = 0; after < 50000; after += cut) {
                TbStatus status = TB_VALUE;
                const int value = tb_wdl_raw(position, &status);
                if (status != TB_NO_VALUE && value != 2) ++wrong;
            }
        });
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    std::filesystem::resize_file(scratch.file("KRvK.rtbw"), 0);
    cut = true;
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "info string Tablebase file KRvK.rtbw is no longer complete and not used\n")
        << "reported once";
    EXPECT_EQ(refused(TB_WDL), "");
}
