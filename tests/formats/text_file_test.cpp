// Lines of text files, and files written beside their target.
#include "formats/text_file.h"

#include <filesystem>

#include "formats/output_file.h"
#include "gtest/gtest.h"
#include "platform/file_offset.h"
#include "support/files.h"
#include "support/places.h"

static std::vector<std::string> lines_of(const std::string &content, LineEnds ends = LINES_WITHOUT_CR) {
    ScratchDirectory directory;
    write_file(directory.file("x"), content);
    std::FILE *file = open_input(directory.file("x").c_str());
    std::vector<std::string> lines;
    LineReader reader;
    start_lines(&reader, file, ends);
    while (next_line(&reader)) lines.push_back(reader.line);
    EXPECT_EQ(reader.bytes, static_cast<i64>(content.size()));
    EXPECT_EQ(stream_size(file), static_cast<i64>(content.size()));
    EXPECT_TRUE(close_input(file, "x"));
    return lines;
}

using Lines = std::vector<std::string>;

TEST(LineReader, LineEnds) {
    EXPECT_EQ(lines_of(""), Lines{});
    EXPECT_EQ(lines_of("a\n\nb"), (Lines{"a\n", "\n", "b"}));
    EXPECT_EQ(lines_of("a\r\n\r\nb\r"), (Lines{"a\n", "\n", "b\r"}));
    EXPECT_EQ(lines_of("a\r\nb\n", LINES_AS_THEY_ARE), (Lines{"a\r\n", "b\n"}));
    EXPECT_EQ(lines_of(std::string("a\0b\nc", 5)), (Lines{std::string("a\0b\n", 4), "c"}));
}

// Lines longer than the buffer, with an end on every side of its seams.
TEST(LineReader, LongLines) {
    for (const std::size_t size : {32766u, 32767u, 32768u, 32769u, 200000u}) {
        const std::string text(size, 'x');
        EXPECT_EQ(lines_of(text + "\r\n" + text + "\nend"), (Lines{text + "\n", text + "\n", "end"})) << size;
    }
    const auto lines = lines_of(std::string(3 << 20, 'x') + "\nnext\n");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].size(), LONGEST_LINE);
    EXPECT_EQ(lines[1], "next\n");
}

static std::string captured_errors(void (*body)(const ScratchDirectory &), const ScratchDirectory &directory) {
    testing::internal::CaptureStderr();
    body(directory);
    return testing::internal::GetCapturedStderr();
}

TEST(InputFile, ReportsWhatItCannotRead) {
    ScratchDirectory directory;
    const std::string errors = captured_errors(
        [](const ScratchDirectory &d) {
            EXPECT_EQ(open_input(d.file("no").c_str()), nullptr);
            EXPECT_EQ(open_input(d.path.c_str()), nullptr);
        },
        directory);
    EXPECT_EQ(errors, "error reading " + directory.file("no") + ": No such file or directory\nerror reading " +
                          directory.path + ": " + directory_reason() + "\n");
}

TEST(Extension, TheFirstIsChanged) {
    char out[32];
    EXPECT_TRUE(change_extension("a.epd.epd", ".epd", ".bin", out, sizeof out));
    EXPECT_STREQ(out, "a.bin.epd");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(change_extension("a.bin", ".epd", ".bin", out, sizeof out));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "\"a.bin\" is not the name of a .epd file\n");
}

// Writes "new" over "old" and ends in one of the ways.
static std::string content_after(OutputEnd end, bool replaces_input) {
    ScratchDirectory directory;
    const std::string name = directory.file("x.epd");
    write_file(name, "old");
    OutputFile file;
    EXPECT_TRUE(open_output(&file, name.c_str(), OUTPUT_TEXT, replaces_input ? name.c_str() : nullptr));
    std::fputs("new", file.stream);
    EXPECT_TRUE(keep_output(&file));
    EXPECT_EQ(read_file(name), "old") << "nothing changes before the end";
    EXPECT_TRUE(close_output(&file, end));
    return read_file(name);
}

TEST(OutputFileTest, EveryEnd) {
    EXPECT_EQ(content_after(OUTPUT_COMPLETE, false), "new");
    EXPECT_EQ(content_after(OUTPUT_COMPLETE, true), "new");
    EXPECT_EQ(content_after(OUTPUT_INTERRUPTED, false), "new");
    EXPECT_EQ(content_after(OUTPUT_DROPPED, false), "old");
    testing::internal::CaptureStderr();
    EXPECT_EQ(content_after(OUTPUT_INTERRUPTED, true), "old");
    EXPECT_NE(testing::internal::GetCapturedStderr().find("the finished part is in "), std::string::npos);
}

TEST(OutputFileTest, KeepsMoreThanTwoGigabytes) {
    ScratchDirectory directory;
    OutputFile file;
    ASSERT_TRUE(open_output(&file, directory.file("x").c_str(), OUTPUT_BINARY, nullptr));
    ASSERT_TRUE(set_file_place(file.stream, i64{3} << 30));
    std::fputs("new", file.stream);
    ASSERT_TRUE(keep_output(&file)) << "no room for a file of this size";
    EXPECT_EQ(file.kept, (i64{3} << 30) + 3);
    EXPECT_TRUE(close_output(&file, OUTPUT_DROPPED));
}

TEST(OutputFileTest, LeftoversAndStrangeTargets) {
    ScratchDirectory directory;
    const std::string name = directory.file("x");
    write_file(directory.file("x.tmp"), "of a program that was killed");
    OutputFile file;
    ASSERT_TRUE(open_output(&file, name.c_str(), OUTPUT_BINARY, nullptr));
    std::fputs("new", file.stream);
    EXPECT_TRUE(close_output(&file, OUTPUT_COMPLETE));
    EXPECT_EQ(read_file(name), "new");
    EXPECT_EQ(read_file(directory.file("x.tmp")), "of a program that was killed");
    const char *device = program_is_for_windows() ? "NUL" : "/dev/null";
    ASSERT_TRUE(open_output(&file, device, OUTPUT_BINARY, nullptr));
    EXPECT_STREQ(file.temporary, "") << "a device is written in place";
    EXPECT_TRUE(close_output(&file, OUTPUT_COMPLETE));
    if (!program_is_for_windows()) {
        EXPECT_TRUE(std::filesystem::is_character_file(device));
    }
    testing::internal::CaptureStderr();
    EXPECT_FALSE(open_output(&file, directory.path.c_str(), OUTPUT_BINARY, nullptr));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "error writing " + directory.path + ": " + directory_reason() + "\n");
}
