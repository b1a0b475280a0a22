// Terminals, by the POSIX calls.
#include "platform/terminal.h"

#include <unistd.h>

bool error_is_terminal() { return isatty(STDERR_FILENO) == 1; }
