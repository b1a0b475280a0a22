// The hand-crafted evaluation: its frame (set-up, pawns, passers, blend, ending scale) and the
// stages in hand_eval_pieces. Called by evaluate and by the trace.
#pragma once

#include "board/thread_state.h"

// Score for the side to move in centipawns, bounded to -9000..9000.
int hand_eval(ThreadState *thread);
