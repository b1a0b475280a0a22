#include "selfplay_options.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

struct TextOption {
    const char *name;
    std::string SelfplayOptions::*field;
    const char *help;
};
struct SmallOption {
    const char *name;
    int SelfplayOptions::*field;
    int low, high;
    const char *help;
};
struct LargeOption {
    const char *name;
    i64 SelfplayOptions::*field;
    i64 low, high;
    const char *help;
};

constexpr i64 LARGE = 1000000000000;

// clang-format off
const TextOption TEXT_OPTIONS[] = {
    {"--openings", &SelfplayOptions::openings, "EPD file of start positions (default: the start position)"},
    {"--out", &SelfplayOptions::output, "output, a .bin file; inner positions go to NAME.inner.bin"},
    {"--network", &SelfplayOptions::network, "network file (default: embedded)"},
};
const SmallOption SMALL_OPTIONS[] = {
    {"--jobs", &SelfplayOptions::jobs, 0, 1024, "worker processes; 0: one per core"},
    {"--report", &SelfplayOptions::report, 1, 86400, "seconds between two lines of progress"},
    {"--random-plies", &SelfplayOptions::random_plies, 0, 40, "random moves after an opening line"},
    {"--endings", &SelfplayOptions::endings, 0, 100, "percent of the games that start from a random ending"},
    {"--min-depth", &SelfplayOptions::min_depth, 1, 60, "depth from which the soft node limit counts"},
    {"--inner", &SelfplayOptions::inner, 0, 100, "inner positions tried per move of a game"},
    {"--resign", &SelfplayOptions::resign, 0, 9000, "centipawns that decide a game when they stay; 0: play on"},
    {"--draw-plies", &SelfplayOptions::draw_plies, 0, 200, "plies at a level score that end a game; 0: play on"},
};
const LargeOption LARGE_OPTIONS[] = {
    {"--seed", &SelfplayOptions::seed, 0, INT64_MAX, "number of this generator; others give other games"},
    {"--positions", &SelfplayOptions::positions, 0, LARGE, "records wanted in both files together; 0: no limit"},
    {"--seconds", &SelfplayOptions::seconds, 0, LARGE, "running time; 0: no limit"},
    {"--nodes", &SelfplayOptions::nodes, 1, LARGE, "soft limit of nodes per move"},
    {"--max-nodes", &SelfplayOptions::max_nodes, 100, LARGE, "hard limit of nodes per move"},
    {"--inner-nodes", &SelfplayOptions::inner_nodes, 1, LARGE, "soft limit of nodes per inner position"},
};
// clang-format on

bool read_number_in(const char *name, const char *text, i64 low, i64 high, i64 *out) {
    char *end = nullptr;
    errno = 0;
    const long long value = std::strtoll(text, &end, 10);
    if (end == text || *end || errno || value < low || value > high) {
        std::fprintf(stderr, "%s needs a number from %lld to %lld, not \"%s\"\n", name, static_cast<long long>(low),
                     static_cast<long long>(high), text);
        return false;
    }
    *out = value;
    return true;
}

// Stores one option with its value; false after a line on standard error.
bool read_option(const char *name, const char *value, SelfplayOptions *options) {
    for (const TextOption &option : TEXT_OPTIONS)
        if (!std::strcmp(name, option.name)) {
            options->*option.field = value;
            return true;
        }
    i64 number = 0;
    for (const SmallOption &option : SMALL_OPTIONS)
        if (!std::strcmp(name, option.name)) {
            if (!read_number_in(name, value, option.low, option.high, &number)) return false;
            options->*option.field = static_cast<int>(number);
            return true;
        }
    for (const LargeOption &option : LARGE_OPTIONS)
        if (!std::strcmp(name, option.name))
            return read_number_in(name, value, option.low, option.high, &(options->*option.field));
    std::fprintf(stderr, "unknown option %s; see --help\n", name);
    return false;
}

bool check_options(const SelfplayOptions &options) {
    const std::size_t length = options.output.size();
    if (length < 5 || options.output.compare(length - 4, 4, ".bin") != 0) {
        std::fputs("--out FILE.bin is needed\n", stderr);
        return false;
    }
    if (options.max_nodes < options.nodes) {
        std::fputs("--max-nodes is below --nodes\n", stderr);
        return false;
    }
    return true;
}

}  // namespace

OptionsResult read_selfplay_options(int argc, char **argv, SelfplayOptions *options) {
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--help")) return OptionsResult::HELP;
        if (!std::strcmp(argv[i], "--hand")) {
            options->use_network = false;
            continue;
        }
        if (i + 1 >= argc) {
            std::fprintf(stderr, "%s: unknown option or no value; see --help\n", argv[i]);
            return OptionsResult::FAULT;
        }
        if (!read_option(argv[i], argv[i + 1], options)) return OptionsResult::FAULT;
        ++i;
    }
    return check_options(*options) ? OptionsResult::RUN : OptionsResult::FAULT;
}

void print_selfplay_help() {
    const SelfplayOptions defaults;
    std::puts("tarn-selfplay: plays games of the engine against itself and appends training records.\n");
    for (const TextOption &option : TEXT_OPTIONS) std::printf("  %-15s %s\n", option.name, option.help);
    for (const SmallOption &option : SMALL_OPTIONS)
        std::printf("  %-15s %s (%d)\n", option.name, option.help, defaults.*option.field);
    for (const LargeOption &option : LARGE_OPTIONS)
        std::printf("  %-15s %s (%lld)\n", option.name, option.help, static_cast<long long>(defaults.*option.field));
    std::printf("  %-15s %s\n", "--hand", "play with the hand-crafted evaluation");
}

std::string inner_path(const std::string &output) { return output.substr(0, output.size() - 4) + ".inner.bin"; }
