// Standard output by WriteFile, with CR LF at line ends.
#include "platform/standard_output.h"

#include <cstdint>
#include <cstdlib>

#include <io.h>
#include <windows.h>

constexpr std::size_t SHORT_TEXT = 2048;  // bytes; a longer text is put together on the heap

// Text with a CR before each line feed. The target has room for twice the size. Returns the bytes written there.
static std::size_t add_carriage_returns(const char *text, std::size_t size, char *out) {
    std::size_t length = 0;
    for (std::size_t i = 0; i < size; ++i) {
        if (text[i] == '\n') out[length++] = '\r';
        out[length++] = text[i];
    }
    return length;
}

static bool write_all(const char *bytes, std::size_t size) {
    // The handle behind descriptor 1, which follows a redirection within the process.
    const HANDLE handle = reinterpret_cast<HANDLE>(_get_osfhandle(1));
    while (size > 0) {
        DWORD written = 0;
        if (!WriteFile(handle, bytes, static_cast<DWORD>(size), &written, nullptr) || written == 0) {
            const DWORD reason = GetLastError();
            return reason == ERROR_BROKEN_PIPE || reason == ERROR_NO_DATA;
        }
        bytes += written;
        size -= written;
    }
    return true;
}

bool write_standard_output(const char *text, std::size_t size) {
    char short_text[2 * SHORT_TEXT];
    char *bytes = size <= SHORT_TEXT ? short_text : static_cast<char *>(std::malloc(2 * size));
    if (!bytes) return write_all(text, size);
    const bool written = write_all(bytes, add_carriage_returns(text, size, bytes));
    if (bytes != short_text) std::free(bytes);
    return written;
}
