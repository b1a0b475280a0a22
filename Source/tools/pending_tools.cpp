// Placeholder until the offline tools land.
#include <cstdio>

#include "tools/epd_suite.h"
#include "tools/pgn.h"
#include "tools/prune.h"
#include "tools/training_data.h"

static void not_built() { std::fputs("this tool is not built yet\n", stderr); }
void scan_pgn() { not_built(); }
void generate_training_games() { not_built(); }
void convert_training_epd() { not_built(); }
void epd_to_records() { not_built(); }
void records_to_epd() { not_built(); }
void prune_network() { not_built(); }
void run_epd_suite(const char *, int) { not_built(); }
