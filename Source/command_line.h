// The switches of the command line.
#pragma once

// What the program does once it is up.
enum RunMode {
    MODE_PLAY = 1,
    MODE_TEST_SUITE = 2,
    MODE_SCAN_PGN = 3,
    MODE_TRAIN = 4,  // refused: training is no part of the program
    MODE_BENCH = 5,
    MODE_BOOK_MAKER = 6,
    MODE_CONFIG = 7,
    MODE_CONVERT_TRAINING = 10,
    MODE_GENERATE_TRAINING = 11,
    MODE_EPD_TO_RECORDS = 12,
    MODE_RECORDS_TO_EPD = 13,
    MODE_PRUNE_NETWORK = 14,
    MODE_SECOND_BOOK = 15,
    MODE_HELP = 16,
    MODE_VERSION = 17,
};

struct CommandLine {
    RunMode mode;
    int bench_threaded;  // 0: each search of the benchmark runs on the main thread
    bool bench_summary;  // "N nodes M nps" as the last line
};

// Reads all arguments into `settings` and `out`. False when the program is to end with status 1: a
// tool lacks an argument that it needs. Nothing after --help, -h or --version is read.
bool parse_command_line(int argc, char **argv, CommandLine *out);
