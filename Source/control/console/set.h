// The console's `set` command.
#pragma once

#include "control/console/words.h"

// `set` WORD VALUE ...; an unknown word does nothing.
void set_word(const ConsoleWords &words);
