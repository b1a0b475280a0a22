// A mapped file that is cut: zeros are read where the file was, and the process lives.
#include <csignal>
#include <filesystem>

#include <unistd.h>

#include "gtest/gtest.h"
#include "platform/mapped_file.h"
#include "support/files.h"

struct OpenMap {
    MappedFile file{};
    explicit OpenMap(const std::string &path) {
        unsigned long error = 0;
        const FileHandle handle = open_read_only(path.c_str());
        EXPECT_EQ(map_file(handle, &file, &error), MAP_OK);
        close_file(handle);
    }
    ~OpenMap() { close(); }
    void close() {
        unsigned long error = 0;
        EXPECT_TRUE(unmap_file(&file, &error));
    }
    OpenMap(const OpenMap &) = delete;
    OpenMap &operator=(const OpenMap &) = delete;
};

TEST(LostPages, AreZeros) {
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    ScratchDirectory directory;
    const std::string path = directory.file("table"), other_path = directory.file("other");
    ASSERT_TRUE(write_file(path, std::string(4 * page, 'x')));
    ASSERT_TRUE(write_file(other_path, std::string(2 * page, 'y')));
    OpenMap map(path);
    const OpenMap other(other_path);
    EXPECT_EQ(map.file.data[3 * page], 'x');
    EXPECT_FALSE(lost_pages(map.file));
    std::filesystem::resize_file(path, page);
    EXPECT_EQ(map.file.data[0], 'x');
    EXPECT_FALSE(lost_pages(map.file)) << "nothing was missed so far";
    EXPECT_EQ(map.file.data[3 * page + 5], 0);
    EXPECT_EQ(map.file.data[2 * page - 1], 0);
    EXPECT_TRUE(lost_pages(map.file));
    EXPECT_EQ(map.file.data[0], 'x');
    EXPECT_EQ(other.file.data[page], 'y');
    EXPECT_FALSE(lost_pages(other.file));
    // Forgotten with the view.
    map.close();
    const OpenMap again(path);
    EXPECT_EQ(again.file.data[0], 'x');
    EXPECT_FALSE(lost_pages(again.file));
}

// Any other signal of that kind ends the process as ever.
TEST(LostPages, OfOtherMemoryAreFatal) {
    ScratchDirectory directory;
    ASSERT_TRUE(write_file(directory.file("table"), "x"));
    const OpenMap map(directory.file("table"));
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers report the signal in their own way";
#endif
    EXPECT_EXIT(raise(SIGBUS), testing::KilledBySignal(SIGBUS), "");
}
