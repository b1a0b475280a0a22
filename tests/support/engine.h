// Brings the engine's global tables up inside a test program.
#pragma once

#include "search/thread_state.h"

// First call: settings at their start values, attack and ending tables, the master record, keys,
// a 16 MB hash, parameters and the built-in network. Later calls restore the start settings, the
// start position and an empty hash. Returns the master record.
ThreadState *start_engine();
