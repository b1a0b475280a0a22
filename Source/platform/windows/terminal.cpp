// Terminals, by the Windows calls.
#include "platform/terminal.h"

#include <windows.h>

// Standard error is a console, and the console understands the escape sequence that clears a line.
bool error_is_terminal() {
    const HANDLE handle = GetStdHandle(STD_ERROR_HANDLE);
    DWORD mode = 0;
    if (!GetConsoleMode(handle, &mode)) return false;
    return SetConsoleMode(handle, mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}
