// Running one search and watching it from the main thread.
#pragma once

#include "platform/integers.h"

// threaded 1: search threads, input polled meanwhile; 0: on this thread. Ends with SEARCH_DONE set.
void run_search(u16 state, int threaded);
