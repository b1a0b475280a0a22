// The console's `set` command.
#pragma once

#include "control/console/words.h"

// Remembers the settings as they are now, after command line and configuration file, for `set ss 1`.
void remember_start_settings();
// `set` WORD VALUE ...; an unknown word or a value that is not a number prints a line and changes nothing.
// Values out of range are clamped.
void set_word(const ConsoleWords &words);
