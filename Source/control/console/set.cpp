// The words of `set`, in the order in which they are tested. Values out of a field's range are brought
// to its nearest end.
#include "control/console/set.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "control/output.h"
#include "control/settings.h"
#include "search/search_state.h"

static constexpr double LONGEST = 1e9;  // seconds, nodes per second

// Seconds, or minutes:seconds.
static float read_duration(const char *text) {
    const char *colon = std::strchr(text, ':');
    const double seconds = number_of(colon ? colon + 1 : text, 0.0, LONGEST);
    return static_cast<float>(colon ? number_of(text, 0.0, LONGEST) * 60.0 + seconds : seconds);
}

static void set_level(const ConsoleWords &words) {
    settings.time_mode = static_cast<i16>(integer_of(words.word[2], 0, INT16_MAX));
    settings.move_time = read_duration(words.word[3]);
    settings.time_increment = static_cast<float>(number_of(words.word[4], 0.0, LONGEST));
    side_clock[0] = side_clock[1] = settings.move_time;
    print_format("set level to %d moves in %0.2f seconds, inc %0.2f", settings.time_mode,
                 static_cast<double>(settings.move_time), static_cast<double>(settings.time_increment));
}

static void set_node_rate(const char *value) {
    target_nps = static_cast<float>(number_of(value, 1.0, LONGEST));
    settings.limit_strength = 1;
    settings.uci_elo = static_cast<i16>(elo_of_node_rate(static_cast<double>(target_nps)));
    print_format("target_nps set to %.0f, Elo= %d", static_cast<double>(target_nps), settings.uci_elo);
}

// 1 brings the settings back; else all selectivity goes, for a plain alpha-beta search.
static void set_selective_search(int value) {
    if (value != 1) {
        settings.SEP_depth = 0;
        settings.NMP_depth = 99;
        settings.LMP_depth = 0;
        settings.LMR_depth = 99;
        print_line("selectivity set to OFF");
        return;
    }
    // What tells of this run is no setting: the console stays one, and the measured speed stands.
    const u8 quit_flag = settings.quit_flag, uci_mode = settings.uci_mode;
    const float calibration_nps = settings.calibration_nps, calibration_elo = settings.calibration_elo;
    settings = default_settings;
    settings.quit_flag = quit_flag;
    settings.uci_mode = uci_mode;
    settings.calibration_nps = calibration_nps;
    settings.calibration_elo = calibration_elo;
    print_line("set default Settings");
}

// The words that are fields: name and range. False for any other word.
static bool set_field(const char *name, const char *text) {
    struct FieldRow {
        const char *name;
        i16 *field;
        int low, high;
    };
    // clang-format off
    static const FieldRow FIELDS[] = {
        {"NMP_depth", &settings.NMP_depth, 0, 99},
        {"SEP_depth", &settings.SEP_depth, 0, 99},
        {"FP_depth", &settings.FP_depth, 0, 99},
        {"LMP_depth", &settings.LMP_depth, 0, 99},
        {"LMR_depth", &settings.LMR_depth, 0, 99},
        {"Selectivity", &settings.selectivity, 0, 200},
        {"contempt", &settings.contempt, -150, 150},
    };
    // clang-format on
    for (const FieldRow &row : FIELDS)
        if (!std::strcmp(name, row.name)) {
            *row.field = static_cast<i16>(integer_of(text, row.low, row.high));
            print_format("%s set to %d", name, *row.field);
            return true;
        }
    if (std::strcmp(name, "ponder")) return false;
    settings.ponder = static_cast<u8>(integer_of(text, 0, UINT8_MAX));
    print_format("%s set to %d", name, settings.ponder);
    return true;
}

void set_word(const ConsoleWords &words) {
    const char *name = words.word[1], *value = words.word[2];
    const auto is = [name](const char *word) { return !std::strcmp(name, word); };
    if (is("hash")) hash_enabled = static_cast<u8>(integer_of(value, 0, UINT8_MAX));
    else if (is("noise")) settings.info_min_time = static_cast<float>(number_of(value, 0.0, LONGEST));
    else if (std::strstr(name, "multipv")) settings.multipv = static_cast<u8>(integer_of(value, 1, UINT8_MAX));
    else if (is("debug")) settings.eval_debug = static_cast<u8>(integer_of(value, 0, UINT8_MAX));
    else if (is("frc")) settings.chess960 = static_cast<u8>(integer_of(value, 0, UINT8_MAX));
    else if (is("level")) set_level(words);
    else if (is("depth")) settings.max_depth = static_cast<i16>(integer_of(value, 0, MAX_DEPTH));
    else if (is("nodes")) {
        settings.node_limit = std::clamp<i64>(std::strtoll(value, nullptr, 10), 0, NO_NODE_LIMIT);
        settings.max_depth = MAX_DEPTH;
    } else if (is("target_nps")) set_node_rate(value);
    else if (is("ss")) set_selective_search(integer_of(value, INT_MIN, INT_MAX));
    else set_field(name, value);
}
