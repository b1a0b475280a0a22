// Files by name, the exclusive log file, mapping.
#include <cstdio>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

#include "gtest/gtest.h"
#include "platform/data_file.h"
#include "platform/mapped_file.h"
#include "platform/process.h"
#include "support/files.h"

TEST(Files, ExistAndAreDeleted) {
    ScratchDirectory scratch;
    const std::string path = scratch.file("a.txt");
    EXPECT_FALSE(file_exists(path.c_str()));
    EXPECT_TRUE(delete_file(path.c_str())) << "a file that was never there counts as gone";
    ASSERT_TRUE(write_file(path, "x"));
    EXPECT_TRUE(file_exists(path.c_str()));
    EXPECT_TRUE(delete_file(path.c_str()));
    EXPECT_FALSE(file_exists(path.c_str()));
    EXPECT_FALSE(delete_file(scratch.path.c_str())) << "a directory is not a file to delete";
}

TEST(Files, MapsAWholeFile) {
    ScratchDirectory scratch;
    const std::string content(10000, 'q');
    ASSERT_TRUE(write_file(scratch.file("t"), content));
    const FileHandle file = open_read_only(scratch.file("t").c_str());
    ASSERT_NE(file.handle, -1);
    u64 size = 0;
    EXPECT_TRUE(file_size(file, &size));
    EXPECT_EQ(size, content.size());
    MappedFile mapped{};
    unsigned long error = 0;
    ASSERT_EQ(map_file(file, &mapped, &error), MAP_OK);
    close_file(file);
    ASSERT_EQ(mapped.size, content.size());
    EXPECT_EQ(std::memcmp(mapped.data, content.data(), content.size()), 0);
    EXPECT_TRUE(unmap_file(&mapped, &error));
    EXPECT_EQ(mapped.data, nullptr);
    EXPECT_TRUE(unmap_file(&mapped, &error)) << "nothing mapped: nothing to do";
}

TEST(Files, WhatCannotBeMappedSaysSo) {
    ScratchDirectory scratch;
    EXPECT_EQ(open_read_only(scratch.file("missing").c_str()).handle, -1);
    EXPECT_EQ(open_read_only(scratch.path.c_str()).handle, -1) << "a directory";
    ASSERT_EQ(mkfifo(scratch.file("pipe").c_str(), 0600), 0);
    EXPECT_EQ(open_read_only(scratch.file("pipe").c_str()).handle, -1) << "a named pipe, and without waiting";

    ASSERT_TRUE(write_file(scratch.file("empty"), ""));
    const FileHandle file = open_read_only(scratch.file("empty").c_str());
    ASSERT_NE(file.handle, -1);
    MappedFile mapped{};
    unsigned long error = 0;
    EXPECT_EQ(map_file(file, &mapped, &error), MAP_NO_MAPPING);
    EXPECT_NE(error, 0u);
    EXPECT_EQ(mapped.data, nullptr);
    close_file(file);
    u64 size = 0;
    EXPECT_FALSE(file_size({-1}, &size));
}

TEST(DataFile, IsReadWithoutWaiting) {
    ScratchDirectory scratch;
    EXPECT_EQ(open_data_file(scratch.file("missing").c_str()), nullptr);
    ASSERT_EQ(mkfifo(scratch.file("pipe").c_str(), 0600), 0);
    EXPECT_EQ(open_data_file(scratch.file("pipe").c_str()), nullptr) << "a pipe that nobody writes to";

    ASSERT_TRUE(write_file(scratch.file("data"), "a\r\n\x1a!"));
    for (const std::string &name : {scratch.file("data"), std::string("/dev/null")}) {
        std::FILE *file = open_data_file(name.c_str());
        ASSERT_NE(file, nullptr) << name;
        char bytes[8];
        EXPECT_EQ(std::fread(bytes, 1, sizeof bytes, file), name == "/dev/null" ? 0u : 5u);
        EXPECT_TRUE(std::feof(file));
        std::fclose(file);
    }
}

TEST(ExclusiveFile, EmptiesAnOldOneAndKeepsOthersOut) {
    ScratchDirectory scratch;
    const std::string path = scratch.file("log");
    ASSERT_TRUE(write_file(path, "old content\n"));
    bool in_use = true;
    std::FILE *first = static_cast<std::FILE *>(open_exclusive_for_writing(path.c_str(), &in_use));
    ASSERT_NE(first, nullptr);
    EXPECT_FALSE(in_use);
    EXPECT_EQ(read_file(path), "");
    std::fputs("kept\n", first);
    std::fflush(first);

    EXPECT_EQ(open_exclusive_for_writing(path.c_str(), &in_use), nullptr);
    EXPECT_TRUE(in_use);
    EXPECT_EQ(read_file(path), "kept\n") << "the second must not empty what the first holds";

    std::fclose(first);
    std::FILE *again = static_cast<std::FILE *>(open_exclusive_for_writing(path.c_str(), &in_use));
    ASSERT_NE(again, nullptr);
    EXPECT_FALSE(in_use);
    std::fclose(again);
}

TEST(ExclusiveFile, WhatStandsInTheWay) {
    ScratchDirectory scratch;
    bool in_use = true;
    EXPECT_EQ(open_exclusive_for_writing(scratch.file("no/such/log").c_str(), &in_use), nullptr);
    EXPECT_FALSE(in_use) << "no directory to write to is not a file in use";

    const std::string directory = scratch.file("directory");
    ASSERT_EQ(mkdir(directory.c_str(), 0700), 0);
    EXPECT_EQ(open_exclusive_for_writing(directory.c_str(), &in_use), nullptr);
    EXPECT_TRUE(in_use) << "it exists and can't be deleted";

    // A link goes, what it points at stays as it is; a named pipe goes and is not waited for.
    ASSERT_TRUE(write_file(scratch.file("target"), "precious"));
    ASSERT_EQ(symlink(scratch.file("target").c_str(), scratch.file("link").c_str()), 0);
    ASSERT_EQ(mkfifo(scratch.file("pipe").c_str(), 0600), 0);
    for (const char *name : {"link", "pipe"}) {
        void *stream = open_exclusive_for_writing(scratch.file(name).c_str(), &in_use);
        ASSERT_NE(stream, nullptr) << name;
        EXPECT_FALSE(in_use);
        std::fputs("new", static_cast<std::FILE *>(stream));
        std::fclose(static_cast<std::FILE *>(stream));
        EXPECT_EQ(read_file(scratch.file(name)), "new");
    }
    EXPECT_EQ(read_file(scratch.file("target")), "precious");
}
