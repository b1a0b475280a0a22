// The process itself and files by name, by the Windows calls.
#include "platform/process.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <direct.h>
#include <fcntl.h>
#include <io.h>
#include <windows.h>
// After windows.h, whose types it uses.
#include <timeapi.h>

// Milliseconds between two ticks of the timer, at best: sleeping for one millisecond takes this
// long, and a finer timer costs the whole system power.
constexpr UINT WANTED_TIMER_PERIOD = 5;

static UINT timer_period;  // 0: none begun

// No dialog of the system may stop a program that nobody watches.
void prepare_process() { SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX); }

bool delete_file(const char *path) { return _unlink(path) == 0 || errno == ENOENT; }

bool file_exists(const char *path) { return _access(path, 0) == 0; }

TimerResult begin_timer_period() {
    TIMECAPS limits;
    if (timeGetDevCaps(&limits, sizeof limits) != MMSYSERR_NOERROR) return TIMER_NO_LIMITS;
    UINT period = limits.wPeriodMin > WANTED_TIMER_PERIOD ? limits.wPeriodMin : WANTED_TIMER_PERIOD;
    if (period > limits.wPeriodMax) period = limits.wPeriodMax;
    if (timeBeginPeriod(period) != TIMERR_NOERROR) return TIMER_NOT_SET;
    timer_period = period;
    return TIMER_OK;
}

void end_timer_period() {
    if (timer_period) timeEndPeriod(timer_period);
    timer_period = 0;
}

void end_process(int status) { std::_Exit(status); }

// A file that another process holds open without sharing can't be deleted here: that is the test.
// It is opened anew for reading by others, but not for writing or deleting.
void *open_exclusive_for_writing(const char *path, bool *in_use) {
    *in_use = false;
    if (!delete_file(path)) {
        *in_use = true;
        return nullptr;
    }
    const HANDLE handle =
        CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return nullptr;
    const int descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_WRONLY | _O_TEXT);
    if (descriptor < 0) {
        CloseHandle(handle);
        return nullptr;
    }
    std::FILE *stream = _fdopen(descriptor, "w");
    if (!stream) _close(descriptor);
    return stream;
}
