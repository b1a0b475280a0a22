// Publishing the master's result and printing it.
#pragma once

#include "search/thread_state.h"

void publish_best(ThreadState *thread);
// Refreshes counters and prints a line when it is due.
void report_iteration(int thread_number, int line_number, int depth, int score, const Relaxed<u16> *pv);
void report_line(int thread_number, int line_number, int depth, int score, const Relaxed<u16> *pv);
// Extends a line from pv[index] by hash moves, at most to index 76; makes and unmakes on `position`.
void pv_from_hash(Position *position, int index, Relaxed<u16> *pv);
