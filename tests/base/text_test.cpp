// Bounded copies and numbers from text.
#include "base/text.h"

#include <climits>
#include <cstdint>
#include <cstring>

#include "gtest/gtest.h"

#include "base/random.h"
#include "base/settings.h"

namespace {

TEST(CopyText, CutsToTheSize) {
    char text[4] = "old";
    copy_text(text, "ab", sizeof text);
    EXPECT_STREQ(text, "ab");
    copy_text(text, "abcdef", sizeof text);
    EXPECT_STREQ(text, "abc");
    copy_text(text, "", sizeof text);
    EXPECT_STREQ(text, "");
}

TEST(CopyText, TheTwoMayOverlap) {
    char text[] = "0123456789";
    copy_text(text, text + 3, sizeof text);
    EXPECT_STREQ(text, "3456789");
    copy_text(text + 2, text, 5);
    EXPECT_STREQ(text, "343456") << "four characters of \"3456789\" after the first two";
}

TEST(NumberInRange, StartOfTheText) {
    EXPECT_EQ(number_in_range("12 men", 0, 100), 12);
    EXPECT_EQ(number_in_range("  -7", -10, 10), -7);
    EXPECT_EQ(number_in_range("men", -10, 10), 0);
    EXPECT_EQ(number_in_range("", 5, 10), 5) << "0, then kept in the range";
    EXPECT_EQ(number_in_range("101", 0, 100), 100);
    EXPECT_EQ(number_in_range("-1", 0, 100), 0);
    EXPECT_EQ(number_in_range("99999999999999999999", INT64_MIN, INT64_MAX), INT64_MAX);
    EXPECT_EQ(integer_in_range("99999999999999999999", INT_MIN, INT_MAX), INT_MAX);
    EXPECT_EQ(integer_in_range("-99999999999999999999", INT_MIN, INT_MAX), INT_MIN);
}

TEST(DecimalOf, AnythingElseIsZero) {
    EXPECT_EQ(decimal_of("0.5;"), 0.5);
    EXPECT_EQ(decimal_of("-2"), -2.0);
    for (const char *text : {"", "x", "nan", "-nan"}) EXPECT_EQ(decimal_of(text), 0.0) << text;
}

TEST(ReadNumbers, TheWholeTextOrNothing) {
    i64 whole = -1;
    double decimal = -1.0;
    for (const char *text : {"", "x", "5x", "5 5", "nan"}) {
        EXPECT_FALSE(read_whole_number(text, 0, 9, &whole)) << text;
        EXPECT_FALSE(read_decimal(text, 0.0, 9.0, &decimal)) << text;
    }
    EXPECT_FALSE(read_whole_number("2.5", 0, 9, &whole));
    EXPECT_EQ(whole, -1);
    EXPECT_EQ(decimal, -1.0);
    EXPECT_TRUE(read_whole_number("12", 0, 9, &whole));
    EXPECT_EQ(whole, 9);
    EXPECT_TRUE(read_decimal("2.5", 0.0, 9.0, &decimal));
    EXPECT_EQ(decimal, 2.5);
    EXPECT_TRUE(read_decimal("-2.5", 0.0, 9.0, &decimal));
    EXPECT_EQ(decimal, 0.0);
}

TEST(Random, OneStep) {
    u32 state = 1;
    EXPECT_EQ(next_random(&state), 88888u) << "12345 + 76543";
    EXPECT_EQ(state, 88888u);
}

TEST(Settings, StartValuesAreTheDefaults) {
    settings.multipv = 7;
    settings.book_file[0] = 'x';
    set_start_values();
    EXPECT_EQ(settings.multipv, 1);
    EXPECT_EQ(settings.max_depth, 80);
    EXPECT_STREQ(settings.book_file, "tarn_book.bin");
    EXPECT_EQ(default_settings.hash_mb, 64);
}

}  // namespace
