// Test suites: searching every position of an EPD file (-anepd), expanding them by a ply (-mkbook2).
#pragma once

enum SuiteMode { SUITE_ANALYSE = 0, SUITE_EXPAND = 1 };
// Input settings.in_file; an empty output path stands for "analysis.epd".
void run_epd_suite(const char *output_path, int mode);
