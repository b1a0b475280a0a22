// The mirrored position; the editor reads standard input and is tested with the real program.
#include "control/console/edit.h"

#include "support/console_fixture.h"

namespace {

using ConsoleEdit = ConsoleFixture;

TEST_F(ConsoleEdit, Reverse) {
    play({"e4"});
    const u64 key = root_thread_state->position.key;
    const std::string printed = run("reverse");
    EXPECT_EQ(printed, board());
    EXPECT_EQ(fen(), "rnbqkbnr/pppp1ppp/8/4p3/8/8/PPPPPPPP/RNBQKBNR w - -");
    EXPECT_EQ(root_thread_state->position.key, key);  // stays as it was
    EXPECT_EQ(run("undo"), "");
    EXPECT_EQ(run("]"), "");
}

}  // namespace
