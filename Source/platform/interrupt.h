// Interrupts by the user or the system (Ctrl-C, SIGINT, SIGTERM), for programs that want to end in
// order.
#pragma once

#include "platform/integers.h"
#include "platform/relaxed.h"

// From now on the first interrupt sets both words to 1 and nothing else; the second one ends the
// process at once, as it would without this call.
void catch_interrupts(Relaxed<u8> *first, Relaxed<u8> *second);
// The number of the signal that was caught, 0 for none.
int caught_interrupt();
