#include "fuzz/fuzz.h"

// The network's target comes last: it leaves another network behind.
const FuzzTarget FUZZ_TARGETS[] = {
    {"uci", fuzz_uci},         {"console", fuzz_console}, {"fen", fuzz_fen},       {"suite", fuzz_suite},
    {"moves", fuzz_moves},     {"pgn", fuzz_pgn},         {"book", fuzz_book},     {"wdl", fuzz_wdl},
    {"dtz", fuzz_dtz},         {"record", fuzz_record},   {"config", fuzz_config}, {"command_line", fuzz_command_line},
    {"network", fuzz_network},
};
const int FUZZ_TARGET_COUNT = sizeof FUZZ_TARGETS / sizeof FUZZ_TARGETS[0];

const FuzzTarget *find_fuzz_target(const std::string &name) {
    for (const FuzzTarget &target : FUZZ_TARGETS)
        if (name == target.name) return &target;
    return nullptr;
}
