// Standard input cut into lines. The reader keeps its state for the whole process, so one test walks through a
// whole input, from the first line to the end.
#include "control/input_lines.h"

#include <unistd.h>

#include <string>

#include "gtest/gtest.h"

namespace {

char line[INPUT_LINE_SIZE];

// The next line that is there; "" when there is none.
std::string polled() { return poll_input_line(line, sizeof line) ? line : ""; }

TEST(InputLines, OneInputFromItsStartToItsEnd) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const int before = dup(0);
    ASSERT_EQ(dup2(ends[0], 0), 0);
    const auto type = [&ends](const std::string &text) {
        EXPECT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    };
    EXPECT_EQ(polled(), "");
    type("one\ntwo\r\n\n\nthree@four\n  fi");
    for (const char *expected : {"one", "two", "three", "four", ""}) EXPECT_EQ(polled(), expected);
    EXPECT_FALSE(input_has_ended());
    type("ve \n");
    EXPECT_EQ(polled(), "  five ");

    // A line that is put back comes first, before any wait.
    type("seven\n");
    put_back_input_line("six");
    EXPECT_FALSE(input_has_ended());
    EXPECT_EQ(polled(), "six");
    put_back_input_line("six again");
    EXPECT_TRUE(wait_for_input_line(line, sizeof line));
    EXPECT_STREQ(line, "six again");
    EXPECT_EQ(polled(), "seven");

    // A buffer that is too small cuts the line; the rest is not the next line.
    char small[4];
    type("abcdef\nnext\n");
    EXPECT_TRUE(poll_input_line(small, sizeof small));
    EXPECT_STREQ(small, "abc");
    EXPECT_TRUE(wait_for_input_line(line, sizeof line));
    EXPECT_STREQ(line, "next");

    // The rest of an overlong line is dropped up to its end.
    std::string first;
    for (int written = 0; written < 2 * INPUT_LINE_SIZE; written += 4096) {
        type(std::string(4096, 'x'));
        if (first.empty()) first = polled();
    }
    type("\nafter\n");
    for (int i = 0; i < 100 && first.empty(); ++i) first = polled();
    EXPECT_EQ(first, std::string(INPUT_LINE_SIZE - 1, 'x'));
    EXPECT_EQ(polled(), "after");

    // A last line without an end counts.
    type("last");
    close(ends[1]);
    std::string last;
    for (int i = 0; i < 100 && last.empty(); ++i) last = polled();
    EXPECT_EQ(last, "last");
    EXPECT_TRUE(input_has_ended());
    EXPECT_FALSE(wait_for_input_line(line, sizeof line));
    dup2(before, 0);
    close(before);
    close(ends[0]);
}

}  // namespace
