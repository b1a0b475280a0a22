// Which group of processors a new thread is to run in. Windows numbers processors in groups of at most 64, and a
// thread runs in one group.
#pragma once

// `processors` and `running` hold the processors and the program's running threads of each group. Returns the first
// group with a processor to spare, as threads of one group share caches and memory; without one, the group with the
// fewest threads for each processor. `groups` is 1 or more; groups without processors are not chosen.
int choose_processor_group(const int *processors, const int *running, int groups);
