// One console line cut into words, and words read as numbers.
#include "control/console/words.h"

#include <string>

#include "base/text.h"
#include "gtest/gtest.h"

namespace {

TEST(ConsoleWord, LinesAreCutAtBlanks) {
    ConsoleWords words;
    split_words("  set   level 40  5:00 ", &words);
    EXPECT_STREQ(words.word[0], "set");
    EXPECT_STREQ(words.word[1], "level");
    EXPECT_STREQ(words.word[3], "5:00");
    EXPECT_STREQ(words.word[4], "");
    EXPECT_STREQ(words.word[CONSOLE_WORDS - 1], "");
    EXPECT_STREQ(words.line, "set   level 40  5:00 ");
    EXPECT_STREQ(words.after_first, "level 40  5:00 ");
    split_words("1 2 3 4 5 6 7 8 9 10 11", &words);
    EXPECT_STREQ(words.word[CONSOLE_WORDS - 1], "10");
    for (const char *empty : {"", "   "}) {
        split_words(empty, &words);
        for (const char *word : words.word) EXPECT_STREQ(word, "");
    }
}

TEST(ConsoleWord, LongLinesAreCutInTheWordsOnly) {
    const std::string line = "fen " + std::string(5000, 'x');
    ConsoleWords words;
    split_words(line.c_str(), &words);
    EXPECT_EQ(std::string(words.word[1]), std::string(CONSOLE_LINE - 1 - 4, 'x'));
    EXPECT_EQ(std::string(words.after_first), std::string(5000, 'x'));
}

TEST(ConsoleWord, LeadingNumbers) {
    EXPECT_EQ(integer_in_range("12x", 0, 80), 12);
    EXPECT_EQ(integer_in_range("", 0, 80), 0);
    EXPECT_EQ(integer_in_range("x", 1, 80), 1);
    EXPECT_EQ(integer_in_range("99999999999999999999", 0, 80), 80);
    EXPECT_EQ(integer_in_range("-5", 0, 80), 0);
}

TEST(ConsoleWord, WholeNumbers) {
    i64 value = 7;
    for (const char *text : {"", "x", "5x", "1.5", "5 ", "--1", "0x10"}) {
        EXPECT_FALSE(read_whole_number(text, 0, 80, &value)) << text;
        EXPECT_EQ(value, 7);
    }
    EXPECT_TRUE(read_whole_number("-3", 0, 80, &value));
    EXPECT_EQ(value, 0);
    EXPECT_TRUE(read_whole_number("+42", 0, 80, &value));
    EXPECT_EQ(value, 42);
    EXPECT_TRUE(read_whole_number("99999999999999999999", 0, 80, &value));
    EXPECT_EQ(value, 80);
}

TEST(ConsoleWord, DecimalsAndDurations) {
    double value = 7.0;
    for (const char *text : {"", "x", "1s", "nan"}) EXPECT_FALSE(read_decimal(text, 0.0, 10.0, &value)) << text;
    for (const char *text : {"", ":", "1:", ":30", "1:2:3", "a:1", "1:a"})
        EXPECT_FALSE(read_duration(text, 1000.0, &value)) << text;
    EXPECT_EQ(value, 7.0);
    EXPECT_TRUE(read_decimal("2.5", 0.0, 10.0, &value));
    EXPECT_EQ(value, 2.5);
    EXPECT_TRUE(read_decimal("inf", 0.0, 10.0, &value));
    EXPECT_EQ(value, 10.0);
    EXPECT_TRUE(read_duration("5:30", 1000.0, &value));
    EXPECT_EQ(value, 330.0);
    EXPECT_TRUE(read_duration("90", 1000.0, &value));
    EXPECT_EQ(value, 90.0);
    EXPECT_TRUE(read_duration("999:0", 1000.0, &value));
    EXPECT_EQ(value, 1000.0);
}

}  // namespace
