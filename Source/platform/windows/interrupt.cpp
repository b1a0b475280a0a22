// Interrupts as console control events.
#include "platform/interrupt.h"

#include <csignal>

#include <windows.h>

static Relaxed<u8> *words[2];
static std::atomic<int> caught;

// Runs in a thread of its own. The second event is left to the default handler, which ends the
// process.
static BOOL WINAPI note_interrupt(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
    if (caught.exchange(SIGINT)) return FALSE;
    for (Relaxed<u8> *word : words) *word = 1;
    return TRUE;
}

void catch_interrupts(Relaxed<u8> *first, Relaxed<u8> *second) {
    words[0] = first;
    words[1] = second;
    SetConsoleCtrlHandler(note_interrupt, TRUE);
}

int caught_interrupt() { return caught.load(); }
