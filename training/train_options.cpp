// Reading the command line of tarn-train.
#include "train_options.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

static const char HELP_TEXT[] =
    "tarn-train [options] FILE|DIRECTORY...\n"
    "Trains a network on files of 40-byte records; a directory means all its *.bin files.\n"
    "\n"
    "  --positions N         length of the schedule in position visits (20M, 1.5G)\n"
    "  --minutes M           length of the schedule in minutes of training\n"
    "  --network NAME        start from a network file, \"embedded\" (default) or \"random\"\n"
    "  --out FILE            network to write (trained.bin); also FILE.csv, FILE.svg\n"
    "  --checkpoint FILE     state to resume from (the network's name with .checkpoint)\n"
    "  --restart             begin anew although a checkpoint is there\n"
    "  --no-result PATH      data whose result field counts for nothing; may be repeated\n"
    "  --lr X, --lr-end X    highest and last learning rate (6e-4, 4e-6)\n"
    "  --warm-up N           visits over which the learning rate rises (2M)\n"
    "  --lambda X            share of the score in the target, 0 to 1 (0.75)\n"
    "  --batch N             positions of one step (16384)\n"
    "  --first-limit X, --output-limit X\n"
    "                        clipping of weights in units of the activation scale (1.3, 8)\n"
    "  --hidden N            hidden nodes of a random network (2560)\n"
    "  --threads N           threads (all cores)\n"
    "  --seed N              order of the positions, random weights (1)\n"
    "  --report N            visits between measurements (8M)\n"
    "  --held-out N          positions of a measurement at most (131072)\n"
    "  --save-minutes M      minutes between checkpoints (10)\n"
    "\n"
    "The same command resumes a run that was stopped (Ctrl-C or SIGTERM), with more data if there is more.\n";

void print_train_help() { std::fputs(HELP_TEXT, stdout); }

// A number not below `lowest`, with k, M or G after it for thousands, millions and thousands of millions.
static bool read_number(const char *text, double lowest, double *value) {
    char *end;
    double number = std::strtod(text, &end);
    if (end == text) return false;
    if (*end == 'k') number *= 1e3, ++end;
    else if (*end == 'M') number *= 1e6, ++end;
    else if (*end == 'G') number *= 1e9, ++end;
    if (*end || !std::isfinite(number) || number < lowest) return false;
    *value = number;
    return true;
}

// Options whose value is a number, with its bounds.
struct NumberOption {
    const char *name;
    double lowest, highest;
    double TrainOptions::*real;  // one of these four is set
    u64 TrainOptions::*count;
    int TrainOptions::*small;
    float TrainOptions::*single;
};

// clang-format off
static const NumberOption NUMBER_OPTIONS[] = {
    {"--positions",    1, 1e15, nullptr, &TrainOptions::positions, nullptr, nullptr},
    {"--minutes",      1e-3, 1e6, &TrainOptions::minutes, nullptr, nullptr, nullptr},
    {"--lr",           0, 1, &TrainOptions::rate, nullptr, nullptr, nullptr},
    {"--lr-end",       0, 1, &TrainOptions::last_rate, nullptr, nullptr, nullptr},
    {"--warm-up",      0, 1e15, nullptr, &TrainOptions::warm_up, nullptr, nullptr},
    {"--lambda",       0, 1, &TrainOptions::score_share, nullptr, nullptr, nullptr},
    {"--batch",        1, 1e7, nullptr, nullptr, &TrainOptions::batch, nullptr},
    {"--first-limit",  0, 21, nullptr, nullptr, nullptr, &TrainOptions::first_limit},
    {"--output-limit", 0, 21, nullptr, nullptr, nullptr, &TrainOptions::output_limit},
    {"--hidden",       2, 32766, nullptr, nullptr, &TrainOptions::hidden, nullptr},
    {"--threads",      1, 1024, nullptr, nullptr, &TrainOptions::threads, nullptr},
    {"--seed",         0, 1e15, nullptr, &TrainOptions::seed, nullptr, nullptr},
    {"--report",       1, 1e15, nullptr, &TrainOptions::report, nullptr, nullptr},
    {"--held-out",     1, 1e8, nullptr, &TrainOptions::held_out, nullptr, nullptr},
    {"--save-minutes", 0.01, 1e6, &TrainOptions::save_minutes, nullptr, nullptr, nullptr},
};
// clang-format on

static bool set_number(const NumberOption &option, const char *text, TrainOptions *options) {
    double value;
    if (!read_number(text, option.lowest, &value) || value > option.highest) {
        std::printf("%s: %s is not a number from %g to %g\n", option.name, text, option.lowest, option.highest);
        return false;
    }
    if (option.real) options->*option.real = value;
    if (option.count) options->*option.count = static_cast<u64>(value);
    if (option.small) options->*option.small = static_cast<int>(value);
    if (option.single) options->*option.single = static_cast<float>(value);
    return true;
}

// An option that needs a value. False, with a line, when it is unknown or its value is no good.
static bool set_option(const char *name, const char *value, TrainOptions *options) {
    const auto is = [name](const char *other) { return !std::strcmp(name, other); };
    for (const NumberOption &option : NUMBER_OPTIONS)
        if (is(option.name)) return set_number(option, value, options);
    if (is("--network")) options->network = value;
    else if (is("--out")) options->out = value;
    else if (is("--checkpoint")) options->checkpoint = value;
    else if (is("--no-result")) options->data.push_back({value, false});
    else {
        std::printf("%s: unknown option; --help lists all\n", name);
        return false;
    }
    return true;
}

static bool options_make_sense(const TrainOptions &options) {
    const char *defect = nullptr;
    if (options.data.empty()) defect = "no data: name files or directories of records";
    else if (!options.positions && options.minutes == 0) defect = "how long? give --positions or --minutes";
    else if (options.last_rate > options.rate) defect = "--lr-end is above --lr";
    else if (options.hidden % 2) defect = "--hidden must be even";
    if (defect) std::printf("%s\n", defect);
    return !defect;
}

bool parse_train_options(int count, char **words, TrainOptions *options) {
    for (int i = 1; i < count; ++i) {
        const char *word = words[i];
        if (!std::strcmp(word, "--help") || !std::strcmp(word, "-h")) {
            options->help = true;
            return true;
        }
        if (!std::strcmp(word, "--restart")) {
            options->restart = true;
        } else if (word[0] != '-') {
            options->data.push_back({word, true});
        } else if (i + 1 == count) {
            std::printf("%s: no value\n", word);
            return false;
        } else if (!set_option(word, words[++i], options)) {
            return false;
        }
    }
    if (options->checkpoint.empty()) options->checkpoint = options->out + ".checkpoint";
    if (!options->threads) options->threads = static_cast<int>(std::thread::hardware_concurrency());
    if (options->threads < 1) options->threads = 1;
    return options_make_sense(*options);
}
