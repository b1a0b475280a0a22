// The switches of the command line.
#pragma once

// What the program does once it is up.
enum RunMode {
    MODE_PLAY,
    MODE_TEST_SUITE,
    MODE_SCAN_PGN,
    MODE_TRAIN,  // refused: training is no part of the program
    MODE_BENCH,
    MODE_BOOK_MAKER,
    MODE_CONFIG,
    MODE_CONVERT_TRAINING,
    MODE_GENERATE_TRAINING,
    MODE_EPD_TO_RECORDS,
    MODE_RECORDS_TO_EPD,
    MODE_PRUNE_NETWORK,
    MODE_SECOND_BOOK,
    MODE_HELP,
    MODE_VERSION,
};

struct CommandLine {
    RunMode mode;
    bool bench_threaded;  // false: each search of the benchmark runs on the main thread
    bool bench_summary;   // "N nodes M nps" as the last line
};

// Reads all arguments into `settings` and `out`. Returns false if a tool lacks an
// argument that it needs; the program then ends with status 1. Nothing after --help, -h or --version is read.
bool parse_command_line(int argc, char **argv, CommandLine *out);
