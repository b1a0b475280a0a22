// Running one search and watching it from the main thread.
#pragma once

#include "platform/integers.h"

// One search with search_state = `state`, in search threads while this one reads input, or on this thread,
// which then reads none. SEARCH_DONE is set at the end. Returns false, after a line that says so, if
// nothing was searched because no thread could be started.
bool run_search(u16 state, bool threaded);
