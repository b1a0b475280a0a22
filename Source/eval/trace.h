// Prints how a score is made up: the hand-crafted evaluation by term, the network's output by hidden node.
#pragma once

#include "eval/eval_state.h"

enum TraceMode { TRACE_TERMS = 1, TRACE_PARAMETERS = 2 };

// Prints the terms of the position and the network's score; with TRACE_PARAMETERS also the parameter table and the
// piece-square tables. `quiescence_score`, in centipawns, is that of the last search's root; it is only printed. The
// position must have both kings.
void trace_eval(EvalState *state, const Position &position, int mode, int quiescence_score);
// Runs the network and lists the hidden nodes that matter to its score.
void trace_network(EvalState *state, const Position &position);
