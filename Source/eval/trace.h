// How a score comes about, printed for a person: the hand-crafted evaluation term by term and the
// network's output node by node.
#pragma once

#include "eval/eval_state.h"

enum TraceMode { TRACE_TERMS = 1, TRACE_PARAMETERS = 2 };

// The terms of the position beside the network's score; with TRACE_PARAMETERS the parameter
// table and the piece-square tables as well. `quiescence_score`: of the root of the last search,
// in centipawns; it is printed only. The position must have both kings.
void trace_eval(EvalState *state, const Position &position, int mode, int quiescence_score);
// Runs the network and lists the hidden nodes that matter to its score.
void trace_network(EvalState *state, const Position &position);
