// Margins and reductions, built at the start of each search from Selectivity and the depth settings.
#pragma once

#include "platform/integers.h"

extern i16 FP_margins[8];  // by depth, centipawns
extern i16 SEP_margins[8];
extern i8 lmr_pv[32][32];  // by depth and move number, plies
extern i8 lmr_nonpv[32][32];
// Working copies of the settings of the same names, fixed for a search.
extern int FP_depth, SEP_depth, NMP_depth, LMP_depth, LMR_depth;

void build_pruning_tables();
void print_pruning_tables();
