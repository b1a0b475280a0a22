// The words of `set`, one row each, in the order in which they are tested.
#include "control/console/set.h"

#include <climits>
#include <cstdio>
#include <cstring>

#include "base/output.h"
#include "base/settings.h"
#include "base/text.h"
#include "search/hash_table.h"
#include "search/node_rate.h"
#include "search/search_state.h"

static constexpr double LONGEST = 1e9;  // seconds, nodes per second

static Settings start_settings;

void remember_start_settings() { start_settings = settings; }

// ---- Values. Each function returns false, and changes nothing, if a value is missing or not a number. ----

// A whole number for a field of 8 or 16 bits.
template <typename Field>
static bool set_number(const char *text, int low, int high, Field *field) {
    i64 value;
    if (!read_whole_number(text, low, high, &value)) return false;
    *field = static_cast<Field>(value);
    return true;
}

static bool set_hash(const ConsoleWords &words) {
    HashMode mode;
    if (!set_number(words.word[2], HASH_OFF, HASH_KEPT, &mode)) return false;
    if (mode != HASH_OFF && !hash_table.memory) print_line("there is no hash table: its size is 0");
    else hash_table.mode = mode;
    return true;
}

static bool set_noise(const ConsoleWords &words) {
    double seconds;
    if (!read_decimal(words.word[2], 0.0, LONGEST, &seconds)) return false;
    settings.info_min_time = static_cast<float>(seconds);
    return true;
}

static bool set_multipv(const ConsoleWords &words) {
    return set_number(words.word[2], 1, UINT8_MAX, &settings.multipv);
}

static bool set_debug(const ConsoleWords &words) {
    return set_number(words.word[2], 0, UINT8_MAX, &settings.eval_debug);
}

static bool set_chess960(const ConsoleWords &words) {
    return set_number(words.word[2], 0, UINT8_MAX, &settings.chess960);
}

// Moves, time and increment; a missing increment is 0.
static bool set_level(const ConsoleWords &words) {
    i64 moves;
    double time, increment = 0.0;
    if (!read_whole_number(words.word[2], 0, INT16_MAX, &moves)) return false;
    if (!read_duration(words.word[3], LONGEST, &time)) return false;
    if (words.word[4][0] && !read_decimal(words.word[4], 0.0, LONGEST, &increment)) return false;
    settings.time_mode = static_cast<i16>(moves);
    settings.move_time = static_cast<float>(time);
    settings.time_increment = static_cast<float>(increment);
    game_clock.remaining[WHITE] = game_clock.remaining[BLACK] = settings.move_time;
    print_format("set level to %d moves in %0.2f seconds, inc %0.2f", settings.time_mode,
                 static_cast<double>(settings.move_time), static_cast<double>(settings.time_increment));
    return true;
}

static bool set_depth(const ConsoleWords &words) {
    return set_number(words.word[2], 0, MAX_DEPTH, &settings.max_depth);
}

// A limit of 0 nodes would apply to every later search, so it is refused.
static bool set_nodes(const ConsoleWords &words) {
    i64 nodes;
    if (!read_whole_number(words.word[2], 0, NO_NODE_LIMIT, &nodes) || nodes == 0) return false;
    settings.node_limit = nodes;
    settings.max_depth = MAX_DEPTH;
    return true;
}

static bool set_node_rate(const ConsoleWords &words) {
    double rate;
    if (!read_decimal(words.word[2], 1.0, LONGEST, &rate)) return false;
    search_run.target_nps = static_cast<float>(rate);
    settings.limit_strength = 1;
    settings.uci_elo = static_cast<i16>(elo_of_node_rate(static_cast<double>(search_run.target_nps)));
    print_format("target_nps set to %.0f, Elo= %d", static_cast<double>(search_run.target_nps), settings.uci_elo);
    return true;
}

// 1 restores the settings as they were at start; any other number turns selectivity off (plain alpha-beta).
static bool set_selective_search(const ConsoleWords &words) {
    int value;
    if (!set_number(words.word[2], INT_MIN, INT_MAX, &value)) return false;
    if (value != 1) {
        settings.sep_depth = 0;
        settings.nmp_depth = 99;
        settings.lmp_depth = 0;
        settings.lmr_depth = 99;
        print_line("selectivity set to OFF");
        return true;
    }
    settings = start_settings;
    print_line("set default Settings");
    return true;
}

// ---- The table ----

struct SetRow {
    const char *name;
    const char *values;  // completes "set NAME takes "
    bool (*apply)(const ConsoleWords &words);
};

// clang-format off
static const SetRow ROWS[] = {
    {"hash", "0 (off), 1 (on) or 2 (on and kept between searches)", set_hash},
    {"noise", "the seconds of search before lines are printed", set_noise},
    {"multipv", "the number of lines, 1 to 255", set_multipv},
    {"debug", "0 or 1", set_debug},
    {"frc", "0 or 1 (Chess960)", set_chess960},
    {"level", "moves, time (seconds or minutes:seconds) and increment in seconds", set_level},
    {"depth", "a depth, 0 to 80", set_depth},
    {"nodes", "a number of nodes, at least 1", set_nodes},
    {"target_nps", "nodes per second", set_node_rate},
    {"ss", "0 (no selectivity) or 1 (the settings of the start)", set_selective_search},
};

// Plain fields; `set` prints the new value.
struct FieldRow {
    const char *name;
    i16 Settings::*field;
    int low, high;
};
static const FieldRow FIELDS[] = {
    {"NMP_depth", &Settings::nmp_depth, 0, 99},
    {"SEP_depth", &Settings::sep_depth, 0, 99},
    {"FP_depth", &Settings::fp_depth, 0, 99},
    {"LMP_depth", &Settings::lmp_depth, 0, 99},
    {"LMR_depth", &Settings::lmr_depth, 0, 99},
    {"Selectivity", &Settings::selectivity, 0, 200},
    {"contempt", &Settings::contempt, -150, 150},
};
// clang-format on

static void set_field(const FieldRow &row, const char *text) {
    if (set_number(text, row.low, row.high, &(settings.*row.field)))
        print_format("%s set to %d", row.name, settings.*row.field);
    else print_format("set %s takes a number, %d to %d", row.name, row.low, row.high);
}

static void set_ponder(const char *text) {
    if (set_number(text, 0, UINT8_MAX, &settings.ponder)) print_format("ponder set to %d", settings.ponder);
    else print_line("set ponder takes 0 or 1");
}

static void print_known_words() {
    char text[512] = "set takes one of these words and its value: ";
    std::size_t length = std::strlen(text);
    const auto append = [&](const char *name) {
        const int written = std::snprintf(text + length, sizeof text - length, "%s, ", name);
        length += static_cast<std::size_t>(written);
    };
    for (const SetRow &row : ROWS) append(row.name);
    for (const FieldRow &row : FIELDS) append(row.name);
    std::snprintf(text + length, sizeof text - length, "ponder");
    print_line(text);
}

void set_word(const ConsoleWords &words) {
    const char *name = words.word[1], *value = words.word[2];
    for (const SetRow &row : ROWS) {
        // Any word that contains "multipv" counts.
        const bool found =
            row.apply == set_multipv ? std::strstr(name, row.name) != nullptr : !std::strcmp(name, row.name);
        if (!found) continue;
        if (!row.apply(words)) print_format("set %s takes %s", row.name, row.values);
        return;
    }
    for (const FieldRow &row : FIELDS)
        if (!std::strcmp(name, row.name)) {
            set_field(row, value);
            return;
        }
    if (!std::strcmp(name, "ponder")) {
        set_ponder(value);
        return;
    }
    if (name[0]) print_format("set knows no word '%.60s'", name);
    print_known_words();
}
