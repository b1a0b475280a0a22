// How long to think: the target for this move, and the stop when it is reached.
#pragma once

// Recomputes search_run.target_time and raises search_run.stop when it has passed. The first two iterations are exempt
// from the target, up to a guard far beyond it. About once a millisecond.
void time_check();
// search_run.elapsed from the clock.
void refresh_elapsed_time();
