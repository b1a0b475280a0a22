// Placeholder until the console lands.
#include "control/console.h"

void console_command(char *) {}
