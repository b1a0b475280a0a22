// Placeholder until the hand-crafted evaluation lands.
#include "eval/hand_eval.h"

int hand_eval(ThreadState *) { return 0; }
