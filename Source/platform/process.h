// What the program asks of the operating system about itself and about files by name.
#pragma once

#include "platform/integers.h"

// Called first of all: a reader of standard output that goes away must not kill the process, and
// the three standard streams must be open.
void prepare_process();

bool delete_file(const char *path);  // true when the file is gone afterwards or was never there
bool file_exists(const char *path);

enum TimerResult { TIMER_OK, TIMER_NO_LIMITS, TIMER_NOT_SET };
// Asks for a timer period of about 5 ms or better for the life of the process, where the system
// knows such a thing; elsewhere TIMER_OK.
TimerResult begin_timer_period();
void end_timer_period();

// Ends the process at once with this exit status, other threads or not.
[[noreturn]] void end_process(int status);

// Holds a file for this process alone, so that a second engine does not write the same log.
// Opens (and empties) the file for writing; *in_use is set when another process holds it.
// Returns a C stream as void * to keep <cstdio> out of this header's readers, or null.
void *open_exclusive_for_writing(const char *path, bool *in_use);
