// Margins and reductions, built at the start of each search from Selectivity and the depth settings.
#pragma once

#include "platform/integers.h"

extern i16 fp_margins[8];  // by depth, centipawns
extern i16 sep_margins[8];
extern i8 lmr_pv[32][32];  // by depth and move number, plies
extern i8 lmr_nonpv[32][32];
// Working copies of the settings of the same names, fixed for a search.
extern int fp_depth, sep_depth, nmp_depth, lmp_depth, lmr_depth;

void build_pruning_tables();
void print_pruning_tables();
