// Standard input without blocking. A pipe is asked how many bytes wait; a file (or the null device)
// never makes a reader wait, and counts as a pipe; a console is asked for a key. Pipes and files
// are read through the handle, not the C stream, which would take more than it is asked for.
#include "platform/input.h"

#include <cstdio>

#include <conio.h>
#include <windows.h>

// The byte of a file that was read ahead to tell whether the file has ended; it is given out
// first. -1: none.
static int held_byte = -1;
static bool input_ended;

static HANDLE input_handle() {
    static const HANDLE handle = GetStdHandle(STD_INPUT_HANDLE);
    return handle;
}

// One ReadFile; 0 at the end of input, which a broken pipe is too, -1 on error.
static int read_input(char *buffer, int size) {
    DWORD count = 0;
    if (ReadFile(input_handle(), buffer, static_cast<DWORD>(size), &count, nullptr)) {
        return static_cast<int>(count);
    }
    const DWORD error = GetLastError();
    return error == ERROR_BROKEN_PIPE || error == ERROR_HANDLE_EOF ? 0 : -1;
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

int input_bytes_waiting() {
    if (held_byte >= 0) return 1;
    if (input_ended) return -1;
    if (GetFileType(input_handle()) == FILE_TYPE_PIPE) {
        DWORD waiting = 0;
        if (PeekNamedPipe(input_handle(), nullptr, 0, nullptr, &waiting, nullptr)) {
            return static_cast<int>(waiting);
        }
        input_ended = true;  // the writer is gone and all that it wrote has been read
        return -1;
    }
    char next = 0;
    if (read_input(&next, 1) == 1) {
        held_byte = static_cast<unsigned char>(next);
        return 1;
    }
    input_ended = true;
    return -1;
}

int input_read(char *buffer, int size) {
    if (size <= 0) return 0;
    int filled = 0;
    if (held_byte >= 0) {
        buffer[filled++] = static_cast<char>(held_byte);
        held_byte = -1;
        if (filled == size) return filled;
    }
    const int got = read_input(buffer + filled, size - filled);
    if (got == 0) input_ended = true;
    if (got < 0) return filled > 0 ? filled : -1;
    return filled + got;
}

// Pipes can't be waited for here.
void input_wait(int) { Sleep(1); }

bool input_key_waiting() { return _kbhit() != 0; }

// A console is read through the C stream, as its line editing ends with the line; a pipe byte by
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
