// Standard input without blocking. A console is asked for a key. Everything else (pipes, sockets, files, devices) is
// read by a thread of its own, because not every handle can be asked whether bytes wait. Input is read through the
// handle, not the C stream, which would wait for a full buffer and end at a Ctrl-Z byte.
#include "platform/input.h"

#include <cstdio>
#include <cstring>

#include <conio.h>
#include <windows.h>

constexpr int CHUNK = 1 << 16;    // bytes of one read
constexpr DWORD RETRY_PAUSE = 1;  // milliseconds between two reads of an empty pipe that doesn't block

// What the reader hands over, guarded by `lock`. The reader fills `chunk` only when all of it was taken.
static struct {
    SRWLOCK lock = SRWLOCK_INIT;
    CONDITION_VARIABLE arrived = CONDITION_VARIABLE_INIT;  // bytes, a failure or the end
    CONDITION_VARIABLE taken = CONDITION_VARIABLE_INIT;    // all bytes, or the failure
    char chunk[CHUNK];
    int at, size;  // bytes [at, size) of `chunk` wait
    bool failed;   // a read failed, and nobody has been told yet
    bool ended;
} input;

static HANDLE input_handle() {
    static const HANDLE handle = GetStdHandle(STD_INPUT_HANDLE);
    return handle;
}

enum ReadResult { READ_BYTES, READ_NOTHING, READ_FAILED, READ_END };

// ReadFile for handles of both kinds. One that was opened for overlapped input is refused without an OVERLAPPED record.
static bool read_handle(char *bytes, DWORD *count) {
    if (ReadFile(input_handle(), bytes, CHUNK, count, nullptr)) return true;
    if (GetLastError() != ERROR_INVALID_PARAMETER) return false;
    static const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    OVERLAPPED request{};
    request.hEvent = event;
    if (!ReadFile(input_handle(), bytes, CHUNK, nullptr, &request) && GetLastError() != ERROR_IO_PENDING) return false;
    return GetOverlappedResult(input_handle(), &request, count, TRUE) != 0;
}

// Reads once, blocking. A pipe ends by ERROR_BROKEN_PIPE only: no bytes are a message of length 0 there. (Wine gives no
// bytes at the end of a Unix pipe too, but has no information on it as a pipe.)
static ReadResult read_once(char *bytes, DWORD *count) {
    *count = 0;
    if (read_handle(bytes, count)) {
        if (*count) return READ_BYTES;
        return GetNamedPipeInfo(input_handle(), nullptr, nullptr, nullptr, nullptr) ? READ_NOTHING : READ_END;
    }
    switch (GetLastError()) {
        case ERROR_MORE_DATA: return READ_BYTES;  // the first part of a message; the next read gives more of it
        case ERROR_NO_DATA: Sleep(RETRY_PAUSE); return READ_NOTHING;
        case ERROR_OPERATION_ABORTED: return READ_NOTHING;
        case ERROR_BROKEN_PIPE:
        case ERROR_HANDLE_EOF: return READ_END;
        case ERROR_INVALID_HANDLE:
        case ERROR_INVALID_FUNCTION:
        case ERROR_ACCESS_DENIED: return READ_END;  // started without standard input
        default: return READ_FAILED;
    }
}

// Body of the reader thread: it reads ahead by one chunk, until the input ends.
static DWORD WINAPI read_to_end(LPVOID) {
    static char bytes[CHUNK];
    for (bool ended = false; !ended;) {
        DWORD count = 0;
        const ReadResult result = read_once(bytes, &count);
        if (result == READ_NOTHING) continue;
        AcquireSRWLockExclusive(&input.lock);
        while (input.at < input.size || input.failed) SleepConditionVariableSRW(&input.taken, &input.lock, INFINITE, 0);
        std::memcpy(input.chunk, bytes, count);
        input.at = 0;
        input.size = static_cast<int>(count);
        input.failed = result == READ_FAILED;
        input.ended = ended = result == READ_END;
        WakeAllConditionVariable(&input.arrived);
        ReleaseSRWLockExclusive(&input.lock);
    }
    return 0;
}

static bool start_reader() {
    const HANDLE reader = CreateThread(nullptr, 0, read_to_end, nullptr, 0, nullptr);
    if (reader) return CloseHandle(reader) != 0;
    std::fprintf(stderr, "can't start a thread to read standard input\n");
    input.ended = true;
    return false;
}

// Caller holds input.lock. Waits at most so long (INFINITE: for ever) for bytes, a failure or the end.
static void wait_for_arrival(DWORD milliseconds) {
    static const bool started = start_reader();
    if (!started) return;
    while (input.at == input.size && !input.failed && !input.ended)
        if (milliseconds == 0 || !SleepConditionVariableSRW(&input.arrived, &input.lock, milliseconds, 0)) return;
}

// A handle that has a console mode is a console. Its window and mouse events are switched off, as
// they would count as keys, and what was typed ahead of the start is dropped.
static bool set_up_input() {
    DWORD mode = 0;
    if (!GetConsoleMode(input_handle(), &mode)) return true;
    SetConsoleMode(input_handle(), mode & ~static_cast<DWORD>(ENABLE_WINDOW_INPUT | ENABLE_MOUSE_INPUT));
    FlushConsoleInputBuffer(input_handle());
    return false;
}

bool input_is_pipe() {
    static const bool is_pipe = set_up_input();
    return is_pipe;
}

// A failure counts as a byte, so that it is read and reported.
int input_bytes_waiting() {
    AcquireSRWLockExclusive(&input.lock);
    wait_for_arrival(0);
    const int waiting = input.at < input.size ? input.size - input.at : input.failed ? 1 : input.ended ? -1 : 0;
    ReleaseSRWLockExclusive(&input.lock);
    return waiting;
}

int input_read(char *buffer, int size) {
    if (size <= 0) return 0;
    AcquireSRWLockExclusive(&input.lock);
    wait_for_arrival(INFINITE);
    int count = input.size - input.at;
    if (count > size) count = size;
    std::memcpy(buffer, input.chunk + input.at, static_cast<std::size_t>(count));
    input.at += count;
    if (count == 0 && input.failed) {
        input.failed = false;
        count = -1;
    }
    if (input.at == input.size) WakeAllConditionVariable(&input.taken);
    ReleaseSRWLockExclusive(&input.lock);
    return count;
}

void input_wait(int milliseconds) {
    if (!input_is_pipe()) {
        Sleep(1);  // a console counts the release of a key as input
        return;
    }
    AcquireSRWLockExclusive(&input.lock);
    wait_for_arrival(milliseconds > 0 ? static_cast<DWORD>(milliseconds) : 0);
    ReleaseSRWLockExclusive(&input.lock);
}

bool input_key_waiting() { return _kbhit() != 0; }

// A console is read through the C stream, as its line editing ends with the line; anything else byte by
// byte, so that what follows stays for the next reader.
bool input_read_line(char *buffer, int size) {
    if (size <= 1) {
        if (size == 1) buffer[0] = '\0';
        return false;
    }
    if (!input_is_pipe()) {
        if (std::fgets(buffer, size, stdin)) return true;
        buffer[0] = '\0';
        return false;
    }
    int length = 0;
    while (length < size - 1) {
        if (input_read(buffer + length, 1) != 1) break;
        if (buffer[length++] == '\n') break;
    }
    buffer[length] = '\0';
    return length > 0;
}
