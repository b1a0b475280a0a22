// Directories of tables, long ones too, and the sizes of complete files.
#include <filesystem>

#include "support/places.h"
#include "support/table_directory.h"
#include "tablebase/tb_files.h"

class TableFiles : public testing::Test {
protected:
    void SetUp() override { start_engine(); }
    void TearDown() override { tb_set_directories(""); }

    // What taking over the text prints.
    static std::string printed(const std::string &text) {
        testing::internal::CaptureStdout();
        tb_set_directories(text.c_str());
        return testing::internal::GetCapturedStdout();
    }
    static bool finds(const char *name, TbType type) {
        const FileHandle file = tb_open_file(name, type);
        if (file.handle != -1) close_file(file);
        return file.handle != -1;
    }
    ScratchDirectory directory;
};

// A directory inside this one whose path has this length.
static std::string deep_directory(std::string path, std::size_t length) {
    while (path.size() < length) {
        const std::size_t rest = length - path.size();
        path += "/" + std::string(rest <= 201 ? rest - 1 : rest - 201 < 2 ? 150 : 200, 'd');
    }
    return path;
}

TEST_F(TableFiles, LongDirectoryNames) {
    for (const std::size_t length : {143u, 300u, 1000u, 3000u}) {
        if (program_is_for_windows() && length > 240) continue;  // names have at most 260 characters there
        const std::string deep = deep_directory(directory.path, length);
        ASSERT_EQ(deep.size(), length);
        std::error_code error;
        std::filesystem::create_directories(deep, error);
        ASSERT_FALSE(error) << error.message();
        ASSERT_TRUE(write_file(deep + "/KQvK.rtbw", std::string(80, 'x')));
        EXPECT_EQ(printed("/none;" + deep), "");
        EXPECT_TRUE(finds("KQvK", TB_WDL)) << length;
        EXPECT_FALSE(finds("KQvK", TB_DTZ)) << length;
        EXPECT_EQ(tb_test_file("KQvK", TB_WDL), TbFileState::GOOD);
    }
}

// The list holds 32,000 characters; the file is in the last directory.
TEST_F(TableFiles, LongLists) {
    ASSERT_TRUE(write_file(directory.file("KQvK.rtbz"), std::string(80, 'x')));
    const auto list = [&](std::size_t length) {
        std::string text;
        while (text.size() + directory.path.size() < length) text += "/a;";
        text.resize(length - directory.path.size(), ';');
        text.back() = ';';
        return text + directory.path;
    };
    EXPECT_EQ(printed(list(TB_PATH_LIST_LENGTH)), "");
    EXPECT_TRUE(finds("KQvK", TB_DTZ));
    EXPECT_EQ(printed(list(TB_PATH_LIST_LENGTH + 1)),
              "info string SyzygyPath of 32001 characters is refused: 32000 are allowed\n");
    EXPECT_FALSE(finds("KQvK", TB_DTZ)) << "nothing of it is used";
    // 16,000 directories of one character.
    std::string many;
    while (many.size() < TB_PATH_LIST_LENGTH) many += "x;";
    EXPECT_EQ(printed(many), "");
    EXPECT_FALSE(finds("KQvK", TB_DTZ));
}

TEST_F(TableFiles, ADirectoryNameTooLongIsLeftOut) {
    ASSERT_TRUE(write_file(directory.file("KQvK.rtbw"), std::string(80, 'x')));
    EXPECT_EQ(printed(std::string(5000, 'x') + ";" + directory.path),
              "info string SyzygyPath: a directory name of 5000 characters is too long\n");
    EXPECT_TRUE(finds("KQvK", TB_WDL)) << "the other one is used";
    // The longest file name is that of "/KQRBvKQR.rtbw": a directory may have 4095 - 14 characters.
    EXPECT_EQ(printed(std::string(TB_FILE_PATH_LENGTH - 14, 'x')), "");
    EXPECT_NE(printed(std::string(TB_FILE_PATH_LENGTH - 13, 'x')), "");
}

TEST_F(TableFiles, CompleteSizes) {
    for (const u64 size : {u64{16}, u64{80}, u64{144}, u64{1} << 40 | 16}) EXPECT_TRUE(tb_is_complete(size)) << size;
    for (const u64 size : {0, 15, 17, 64, 79, 81}) EXPECT_FALSE(tb_is_complete(size)) << size;
}
