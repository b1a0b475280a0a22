// Places in files beyond 2 and 4 GB. The files have holes, which cost no room on file systems that know them.
#include "platform/file_offset.h"

#include "gtest/gtest.h"
#include "support/files.h"

static constexpr i64 GIGABYTE = i64{1} << 30;

TEST(FileOffset, PlacesInASmallFile) {
    ScratchDirectory scratch;
    ASSERT_TRUE(write_file(scratch.file("x"), "0123456789"));
    std::FILE *file = std::fopen(scratch.file("x").c_str(), "rb");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file_place(file), 0);
    EXPECT_EQ(std::getc(file), '0');
    EXPECT_EQ(stream_size(file), 10);
    EXPECT_EQ(file_place(file), 1) << "asking for the size leaves the place alone";
    EXPECT_TRUE(set_file_place(file, 7));
    EXPECT_EQ(std::getc(file), '7');
    EXPECT_FALSE(set_file_place(file, -1));
    EXPECT_EQ(file_place(file), 8);
    std::fclose(file);
}

// Four bytes across the place where 31 and 32 bits end, and what lies between is empty.
TEST(FileOffset, PlacesInALargeFile) {
    ScratchDirectory scratch;
    const std::string path = scratch.file("large");
    for (const i64 seam : {2 * GIGABYTE, 4 * GIGABYTE}) {
        std::FILE *file = std::fopen(path.c_str(), "wb");
        ASSERT_NE(file, nullptr);
        ASSERT_TRUE(set_file_place(file, seam - 2));
        std::fputs("abcd", file);
        EXPECT_EQ(file_place(file), seam + 2);
        ASSERT_EQ(std::fclose(file), 0) << "no room for a file of this size";

        file = std::fopen(path.c_str(), "rb");
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(stream_size(file), seam + 2);
        ASSERT_TRUE(set_file_place(file, seam - 3));
        char bytes[5] = {};
        EXPECT_EQ(std::fread(bytes, 1, sizeof bytes, file), sizeof bytes);
        EXPECT_EQ(std::string(bytes, sizeof bytes), std::string("\0abcd", 5));
        EXPECT_EQ(file_place(file), seam + 2);
        ASSERT_TRUE(set_file_place(file, seam + 1));
        EXPECT_EQ(std::getc(file), 'd');
        std::fclose(file);
    }
}
