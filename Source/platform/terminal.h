// Whether a person watches: output to a terminal may show progress.
#pragma once

bool error_is_terminal();  // true when standard error is a terminal
