// Standard input of a Windows program: a pipe of messages. The input keeps its state for the whole process, so there is
// one test.
#ifdef _WIN32
#include <cstring>
#include <string>

#include <windows.h>

#include "gtest/gtest.h"
#include "platform/clock.h"
#include "platform/input.h"

// What can be read within a generous time, up to this many bytes.
static std::string read_bytes(std::size_t size) {
    std::string text;
    for (int i = 0; i < 20000 && text.size() < size; ++i) {
        char bytes[1000];
        const int waiting = input_bytes_waiting();
        if (waiting < 0) break;
        if (waiting == 0) {
            input_wait(1);
            continue;
        }
        const int count = input_read(bytes, sizeof bytes);
        if (count <= 0) break;
        text.append(bytes, static_cast<std::size_t>(count));
    }
    return text;
}

static void write_message(HANDLE pipe, const std::string &text) {
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(pipe, text.data(), static_cast<DWORD>(text.size()), &written, nullptr));
    EXPECT_EQ(written, text.size());
}

// A message that is longer than one read comes in parts; one of no bytes is not the end.
TEST(WindowsInput, MessagesOfAnyLength) {
    constexpr DWORD ROOM = 1 << 20;
    const char *name = "\\\\.\\pipe\\tarn-input-test";
    const HANDLE reader = CreateNamedPipeA(
        name, PIPE_ACCESS_INBOUND, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT, 1, ROOM, ROOM, 0, nullptr);
    ASSERT_NE(reader, INVALID_HANDLE_VALUE);
    const HANDLE writer = CreateFileA(name, GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(writer, INVALID_HANDLE_VALUE);
    ASSERT_TRUE(SetStdHandle(STD_INPUT_HANDLE, reader));

    EXPECT_TRUE(input_is_pipe());
    EXPECT_EQ(input_bytes_waiting(), 0);
    write_message(writer, "uci\n");
    EXPECT_EQ(read_bytes(4), "uci\n");
    const std::string longest = std::string(200000, 'm') + "\n";
    write_message(writer, longest);
    EXPECT_EQ(read_bytes(longest.size()), longest);
    write_message(writer, "");
    sleep_milliseconds(50);
    EXPECT_EQ(input_bytes_waiting(), 0);
    write_message(writer, "quit\n");
    CloseHandle(writer);
    EXPECT_EQ(read_bytes(100), "quit\n");
    EXPECT_EQ(input_bytes_waiting(), -1);
    EXPECT_EQ(input_bytes_waiting(), -1);
}
#endif
