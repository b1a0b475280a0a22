// The tablebases at the root.
#pragma once

#include "search/thread_state.h"

// Probes the root, sets search_run.tb_wdl and prints the result; removes the root moves that give it away (their
// word becomes 0). Returns true if the tables choose the move themselves; then `move` and `score` are set. Master
// only, after make_root_list.
bool answer_from_tables(ThreadState *thread, Move *move, int *score);
