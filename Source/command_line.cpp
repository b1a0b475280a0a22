// The switches of the command line: one table in testing order, one function that applies a switch.
#include "command_line.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/output.h"
#include "base/settings.h"
#include "base/text.h"
#include "search/node_rate.h"
#include "search/search_state.h"
#include "tools/benchmark.h"

// clang-format off
enum SwitchId {
    SW_UCI, SW_CONSOLE, SW_LOG, SW_NUMA, SW_NOISE, SW_QUIET, SW_CONFIG, SW_TIME, SW_DEPTH, SW_NODES,
    SW_MIN_DEPTH, SW_SOFT_NODES, SW_NODE_RATE, SW_HASH, SW_THREADS, SW_BOOK, SW_TABLES, SW_TABLES_FIXED,
    SW_HAND_EVAL, SW_NETWORK, SW_OUT_FILE, SW_MULTIPV, SW_SELECTIVITY, SW_TEST_SUITE, SW_SCAN_PGN, SW_BENCH,
    SW_PLAIN_BENCH, SW_MAKE_CONFIG, SW_MAKE_BOOK, SW_MAKE_BOOK2, SW_EPD_TO_RECORDS, SW_RECORDS_TO_EPD,
    SW_PRUNE, SW_GENERATE, SW_CONVERT, SW_TRAIN, SW_TRAIN2, SW_LEARN_RATE, SW_MINI_BATCH, SW_TRAIN_WEIGHT,
    SW_HELP, SW_VERSION, SW_BENCH_WORD,
};
// clang-format on

struct SwitchRow {
    const char *name;
    SwitchId id;
    int values;   // arguments that it takes
    bool needed;  // without its values the program ends (tools)
};

// Every argument is tested against all rows from the top. A switch with values steps past them, and
// the last value takes the argument's place for the rows below: a value that reads as one of their
// names acts as that switch too.
static constexpr SwitchRow SWITCHES[] = {
    {"--help", SW_HELP, 0, false},
    {"-h", SW_HELP, 0, false},
    {"--version", SW_VERSION, 0, false},
    {"bench", SW_BENCH_WORD, 0, false},
    {"-uci", SW_UCI, 0, false},
    {"-c", SW_CONSOLE, 0, false},
    {"-log", SW_LOG, 0, false},
    {"-numa", SW_NUMA, 0, false},
    {"-noise", SW_NOISE, 1, false},
    {"-quiet", SW_QUIET, 0, false},
    {"-cfg", SW_CONFIG, 1, false},
    {"-t", SW_TIME, 1, false},
    {"-d", SW_DEPTH, 1, false},
    {"-n", SW_NODES, 1, false},
    {"-md", SW_MIN_DEPTH, 1, false},
    {"-mn", SW_SOFT_NODES, 1, false},
    {"-nps", SW_NODE_RATE, 1, false},
    {"-hash", SW_HASH, 1, false},
    {"-threads", SW_THREADS, 1, false},
    {"-book", SW_BOOK, 1, false},
    {"-tbpath", SW_TABLES, 1, false},
    {"-tbx", SW_TABLES_FIXED, 0, false},
    {"-use_hce", SW_HAND_EVAL, 0, false},
    {"-use_nn", SW_NETWORK, 0, false},
    {"-o", SW_OUT_FILE, 1, false},
    {"-mpv", SW_MULTIPV, 1, false},
    {"-ss", SW_SELECTIVITY, 1, false},
    {"-anepd", SW_TEST_SUITE, 1, true},
    {"-scan_pgn", SW_SCAN_PGN, 1, true},
    {"-bench", SW_BENCH, 0, false},
    {"-pbench", SW_PLAIN_BENCH, 0, false},
    {"-mkconfig", SW_MAKE_CONFIG, 0, false},
    {"-mkbook", SW_MAKE_BOOK, 1, true},
    {"-mkbook2", SW_MAKE_BOOK2, 1, true},
    {"-epd2bin", SW_EPD_TO_RECORDS, 1, true},
    {"-bin2epd", SW_RECORDS_TO_EPD, 1, true},
    {"-prune_nn", SW_PRUNE, 0, false},
    {"-gentraindata", SW_GENERATE, 2, true},
    {"-mktraindata", SW_CONVERT, 1, true},
    {"-train", SW_TRAIN, 2, true},
    {"-train2", SW_TRAIN2, 2, true},
    {"-lr", SW_LEARN_RATE, 1, false},
    {"-mbatch", SW_MINI_BATCH, 1, false},
    {"-tw", SW_TRAIN_WEIGHT, 1, false},
};

// Fixed tablebase paths of the author's machine.
static constexpr const char *SIX_MEN_PATH = "C:\\Chess\\Syzygy\\6-Piece";
static constexpr const char *SEVEN_MEN_PATH = "C:\\Chess\\Syzygy\\6-Piece;C:\\Chess\\Syzygy\\7-Piece";

static i16 small_number(const char *text, i64 low, i64 high) {
    return static_cast<i16>(number_in_range(text, low, high));
}

// What is no number counts as 0, "nan" included.
static float real_number(const char *text) {
    const float value = std::strtof(text, nullptr);
    return std::isnan(value) ? 0.0f : value;
}

static void limit_by_depth_or_nodes(float move_time) {
    settings.time_mode = 1;
    settings.move_time = move_time;
}

static void limit_node_rate(const char *value) {
    search_run.target_nps = real_number(value);
    settings.limit_strength = 1;
    const double elo = elo_of_node_rate(static_cast<double>(search_run.target_nps));
    // No node rate, or an absurd one, has no rating.
    settings.uci_elo = elo > -32768.0 && elo < 32767.0 ? static_cast<i16>(elo) : static_cast<i16>(0);
    print_plain("Elo= %d\n", static_cast<int>(settings.uci_elo));
}

// Returns false, prints the reason and leaves the field unset if the value does not fit.
template <std::size_t SIZE>
static bool set_path(char (&field)[SIZE], const char *value) {
    if (std::strlen(value) >= SIZE) {
        std::fprintf(stderr, "a name of more than %d characters is refused: %.40s...\n", static_cast<int>(SIZE) - 1,
                     value);
        return false;
    }
    copy_text(field, value, SIZE);
    return true;
}

// Applies a tool's switch; `value` and `second` are its arguments, where it has them. Returns false if
// they are not usable.
static bool apply_tool_switch(SwitchId id, const char *value, const char *second, CommandLine *out) {
    switch (id) {
        case SW_TEST_SUITE:
            out->mode = MODE_TEST_SUITE;
            settings.info_min_time = INFO_NEVER;
            return set_path(settings.in_file, value);
        case SW_SCAN_PGN: out->mode = MODE_SCAN_PGN; return set_path(settings.pgn_file, value);
        case SW_BENCH: out->mode = MODE_BENCH, out->bench_threaded = true; break;
        case SW_PLAIN_BENCH: out->mode = MODE_BENCH, out->bench_threaded = false; break;
        case SW_MAKE_CONFIG: out->mode = MODE_CONFIG; break;
        case SW_MAKE_BOOK: out->mode = MODE_BOOK_MAKER; return set_path(settings.pgn_file, value);
        case SW_MAKE_BOOK2: out->mode = MODE_SECOND_BOOK; return set_path(settings.in_file, value);
        case SW_EPD_TO_RECORDS: out->mode = MODE_EPD_TO_RECORDS; return set_path(settings.in_file, value);
        case SW_RECORDS_TO_EPD: out->mode = MODE_RECORDS_TO_EPD; return set_path(settings.data_file, value);
        case SW_BENCH_WORD:
            out->mode = MODE_BENCH, out->bench_threaded = false, out->bench_summary = true;
            settings.max_depth = BENCH_SIGNATURE_DEPTH;
            limit_by_depth_or_nodes(10000.0f);
            break;
        case SW_HELP: out->mode = MODE_HELP; break;
        case SW_VERSION: out->mode = MODE_VERSION; break;
        case SW_PRUNE: out->mode = MODE_PRUNE_NETWORK; break;
        case SW_GENERATE:
            out->mode = MODE_GENERATE_TRAINING;
            settings.train_count = number_in_range(second, INT64_MIN, INT64_MAX);
            settings.info_min_time = INFO_NEVER;
            settings.book_variety = 75;
            if (settings.train_count < 100) std::fprintf(stderr, "-gentraindata makes 100 positions or more\n");
            return set_path(settings.data_file, value) && settings.train_count >= 100;
        case SW_CONVERT:
            out->mode = MODE_CONVERT_TRAINING;
            set_path(settings.syzygy_path, SIX_MEN_PATH);
            return set_path(settings.in_file, value);
        case SW_TRAIN:
        case SW_TRAIN2:
            out->mode = MODE_TRAIN;
            settings.train_count = number_in_range(second, 0, INT32_MAX) * 1000000;
            settings.hash_mb = 0;
            return set_path(settings.data_file, value) && settings.train_count >= 1;
        case SW_LEARN_RATE: settings.learn_rate = real_number(value); break;
        case SW_MINI_BATCH: settings.mini_batch = static_cast<i32>(number_in_range(value, INT32_MIN, INT32_MAX)); break;
        case SW_TRAIN_WEIGHT: settings.train_weight = real_number(value); break;
        default: break;
    }
    return true;
}

// Applies any switch, as apply_tool_switch does.
static bool apply_switch(SwitchId id, const char *value, const char *second, CommandLine *out) {
    switch (id) {
        case SW_UCI: settings.uci_mode = 1; break;
        case SW_CONSOLE: settings.uci_mode = 0; break;
        case SW_LOG: settings.log_on = 1; break;
        case SW_NUMA: settings.numa = 1; break;
        case SW_NOISE: settings.info_min_time = real_number(value); break;
        case SW_QUIET: settings.info_min_time = INFO_NEVER, settings.log_on = 0; break;
        case SW_CONFIG: set_path(settings.config_path, value); break;
        case SW_TIME: settings.move_time = real_number(value), settings.time_mode = 1; break;
        case SW_DEPTH:
            settings.max_depth = small_number(value, 1, 80);
            limit_by_depth_or_nodes(10000.0f);
            break;
        case SW_NODES:
            settings.node_limit = number_in_range(value, INT64_MIN, INT64_MAX);
            limit_by_depth_or_nodes(1000.0f);
            break;
        case SW_MIN_DEPTH:
            settings.min_depth = small_number(value, INT16_MIN, INT16_MAX);
            limit_by_depth_or_nodes(10000.0f);
            break;
        case SW_SOFT_NODES:
            settings.soft_node_limit = number_in_range(value, INT64_MIN, INT64_MAX);
            limit_by_depth_or_nodes(1000.0f);
            break;
        case SW_NODE_RATE: limit_node_rate(value); break;
        case SW_HASH: settings.hash_mb = static_cast<i32>(number_in_range(value, 0, 32768)); break;
        case SW_THREADS: settings.threads = small_number(value, 1, MAX_THREADS); break;
        case SW_BOOK: set_path(settings.book_file, value); break;
        case SW_TABLES: set_path(settings.syzygy_path, value); break;
        case SW_TABLES_FIXED: set_path(settings.syzygy_path, SEVEN_MEN_PATH); break;
        case SW_HAND_EVAL: settings.use_nn = 0; break;
        case SW_NETWORK: settings.use_nn = 1; break;
        case SW_OUT_FILE: return set_path(settings.out_file, value);
        case SW_MULTIPV: settings.multipv = static_cast<u8>(number_in_range(value, 1, 255)); break;
        case SW_SELECTIVITY: settings.selectivity = small_number(value, 10, 200); break;
        default: return apply_tool_switch(id, value, second, out);
    }
    return true;
}

static bool matches(const SwitchRow &row, const char *argument) {
    // The one switch that may be anywhere in the argument.
    if (row.id == SW_SCAN_PGN) return std::strstr(argument, row.name) != nullptr;
    return std::strcmp(argument, row.name) == 0;
}

static bool is_number(const char *text) { return *text && !text[std::strspn(text, "0123456789")]; }

// Tests the argument at *index against all rows and moves *index to the last value taken.
static bool parse_argument(int argc, char **argv, int *index, CommandLine *out) {
    const char *argument = argv[*index];
    bool is_multipv = false;
    for (const SwitchRow &row : SWITCHES) {
        // The selectivity is only looked for when the line count was not given.
        if (row.id == SW_SELECTIVITY && is_multipv) continue;
        if (!matches(row, argument)) continue;
        if (*index + row.values >= argc) {
            if (row.needed) {
                std::fprintf(stderr, "%s needs %s\n", row.name,
                             row.values > 1 ? "a file name and a count" : "a file name");
                return false;
            }
            continue;
        }
        const char *value = row.values > 0 ? argv[*index + 1] : "";
        const char *second = row.values > 1 ? argv[*index + 2] : "";
        *index += row.values;
        if (!apply_switch(row.id, value, second, out)) return false;
        if (row.values) argument = argv[*index];
        is_multipv = row.id == SW_MULTIPV;
        const bool trains = row.id == SW_TRAIN || row.id == SW_TRAIN2;
        if (trains && *index + 1 < argc && (argv[*index + 1][0] == '0' || argv[*index + 1][0] == '1'))
            argument = argv[++*index];
        if (row.id == SW_BENCH_WORD && *index + 1 < argc && is_number(argv[*index + 1]))
            settings.max_depth = small_number(argv[++*index], 1, BENCH_HIGHEST_DEPTH);
    }
    return true;
}

bool parse_command_line(int argc, char **argv, CommandLine *out) {
    out->mode = MODE_PLAY;
    out->bench_threaded = true;
    out->bench_summary = false;
    for (int i = 1; i < argc && out->mode != MODE_HELP && out->mode != MODE_VERSION; ++i)
        if (!parse_argument(argc, argv, &i, out)) return false;
    return true;
}
