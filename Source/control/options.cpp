// The named options: one table serves "setoption", the configuration file and the list of "uci".
#include "control/options.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "base/output.h"
#include "base/settings.h"
#include "base/text.h"
#include "eval/network/file.h"
#include "formats/text_file.h"
#include "platform/data_file.h"
#include "search/hash_table.h"
#include "search/node_rate.h"
#include "search/search_state.h"
#include "tablebase/tablebase.h"

enum OptionKind { TEXT, SPIN, CHECK, BUTTON };

// The action after a change, and rows that are printed or read in a special way.
enum OptionRule {
    PLAIN,
    LOADS_CONFIG,
    RESIZES_HASH,
    THREAD_COUNT,
    LOADS_NETWORK,
    CLEARS_HASH,
    OPENS_LOG,
    SETS_UP_TABLES,
    PROBE_DEPTH,
    RATING_LIMIT,
    OPPONENT,
};

enum ShownDefault { SHOW_SET, SHOW_CURRENT };  // "uci" prints default_settings or settings

struct OptionRow {
    const char *name;
    OptionKind kind;
    int low, high;  // numbers are clamped to this range; unused for booleans and texts
    std::size_t offset;
    std::size_t size;  // of the field in bytes: 1, 2, 4, or the length of a text
    ShownDefault shown;
    OptionRule rule;
};

static_assert(std::is_standard_layout_v<Settings>, "the rows below name fields by their offset");
#define FIELD(name) offsetof(Settings, name), sizeof(Settings::name)

// In the order of the "uci" list. Names are compared with case.
// clang-format off
static constexpr OptionRow OPTIONS[] = {
    // name               kind    low   high   field                  shown         rule
    {"ConfigFilePath",    TEXT,      0,     0, FIELD(config_path),    SHOW_SET,     LOADS_CONFIG},
    {"Hash",              SPIN,      0, 32768, FIELD(hash_mb),        SHOW_CURRENT, RESIZES_HASH},
    {"Threads",           SPIN,      0,   160, FIELD(threads),        SHOW_SET,     THREAD_COUNT},
    {"Clear Hash",        BUTTON,    0,     0, 0, 0,                  SHOW_SET,     CLEARS_HASH},
    {"NN_File",           TEXT,      0,     0, FIELD(nn_file),        SHOW_CURRENT, LOADS_NETWORK},
    {"Use_NN_eval",       CHECK,     0,     1, FIELD(use_nn),         SHOW_CURRENT, PLAIN},
    {"OwnBook",           CHECK,     0,     1, FIELD(own_book),       SHOW_SET,     PLAIN},
    {"OwnBook_File",      TEXT,      0,     0, FIELD(book_file),      SHOW_SET,     PLAIN},
    {"OwnBook_Depth",     SPIN,      0,    60, FIELD(book_depth),     SHOW_SET,     PLAIN},
    {"OwnBook2_File",     TEXT,      0,     0, FIELD(book2_file),     SHOW_SET,     PLAIN},
    {"OwnBook2_Depth",    SPIN,      0,    60, FIELD(book2_depth),    SHOW_SET,     PLAIN},
    {"OwnBook_Variety",   SPIN,      0,   100, FIELD(book_variety),   SHOW_SET,     PLAIN},
    {"SyzygyPath",        TEXT,      0,     0, FIELD(syzygy_path),    SHOW_SET,     SETS_UP_TABLES},
    {"SyzygyProbeDepth6", SPIN,     -5,   100, FIELD(syzygy_depth6),  SHOW_SET,     PROBE_DEPTH},
    {"Log",               CHECK,     0,     1, FIELD(log_on),         SHOW_SET,     OPENS_LOG},
    {"Ponder",            CHECK,     0,     1, FIELD(ponder),         SHOW_SET,     PLAIN},
    {"MultiPV",           SPIN,      1,   255, FIELD(multipv),        SHOW_SET,     PLAIN},
    {"UCI_Chess960",      CHECK,     0,     1, FIELD(chess960),       SHOW_CURRENT, PLAIN},
    {"MoveOverhead",      SPIN,      0,  1000, FIELD(move_overhead),  SHOW_SET,     PLAIN},
    {"UCI_LimitStrength", CHECK,     0,     1, FIELD(limit_strength), SHOW_SET,     PLAIN},
    {"UCI_Elo",           SPIN,   1500,  3300, FIELD(uci_elo),        SHOW_SET,     RATING_LIMIT},
    {"UCI_Opponent",      SPIN,      0,  4000, FIELD(opponent_elo),   SHOW_SET,     OPPONENT},
    {"Contempt",          SPIN,   -150,   150, FIELD(contempt),       SHOW_SET,     PLAIN},
    {"Selectivity",       SPIN,      0,   200, FIELD(selectivity),    SHOW_SET,     PLAIN},
};
// clang-format on
#undef FIELD

static char *field_of(Settings *record, const OptionRow &row) { return reinterpret_cast<char *>(record) + row.offset; }

static void store_number(const OptionRow &row, int value) {
    char *field = field_of(&settings, row);
    const i32 wide = value;
    const i16 half = static_cast<i16>(value);
    const u8 narrow = static_cast<u8>(value);
    if (row.size == 4) std::memcpy(field, &wide, 4);
    else if (row.size == 2) std::memcpy(field, &half, 2);
    else std::memcpy(field, &narrow, 1);
}

// A one-byte field is signed if its range includes negative numbers; otherwise both readings agree.
static int load_number(Settings *record, const OptionRow &row) {
    const char *field = field_of(record, row);
    i32 wide;
    i16 half;
    u8 narrow;
    if (row.size == 4) {
        std::memcpy(&wide, field, 4);
        return wide;
    }
    if (row.size == 2) {
        std::memcpy(&half, field, 2);
        return half;
    }
    std::memcpy(&narrow, field, 1);
    return row.low < 0 ? static_cast<i8>(narrow) : narrow;
}

// The opponent option's value is title, rating, type and name; "none" counts as 0.
static const char *rating_of_opponent(const char *value) {
    value += std::strspn(value, " ");
    return value + std::strcspn(value, " ");
}

// Applies a changed option. Called only while no search is running.
static void follow_change(const OptionRow &row) {
    switch (row.rule) {
        case LOADS_CONFIG: load_config_file(); break;
        case RESIZES_HASH: allocate_hash_table(); break;
        case LOADS_NETWORK: load_network(); break;
        case CLEARS_HASH: clear_hash_table(); break;
        case OPENS_LOG:
            // Turning the log off only stops writing; the file stays open for when it is turned on again.
            if (settings.log_on && !log_file) open_log();
            break;
        case SETS_UP_TABLES: tb_init(); break;
        case PROBE_DEPTH:
            settings.syzygy_depth7 = settings.syzygy_depth6 < 7 ? static_cast<i8>(7) : settings.syzygy_depth6;
            break;
        default: break;
    }
}

// Stores the value of one option, says so in a line, and does what the change brings with it. A text that is
// too long leaves the old value.
static void set_row(const OptionRow &row, const char *value) {
    if (row.kind == BUTTON) {
        follow_change(row);
        print_line("info string Hash table cleared");
        return;
    }
    if (row.kind == TEXT) {
        if (std::strlen(value) >= row.size) {
            print_format("info string %s not set: more than %d characters", row.name, static_cast<int>(row.size) - 1);
            return;
        }
        copy_text(field_of(&settings, row), value, row.size);
        print_format("info string %s set to '%s'", row.name, field_of(&settings, row));
    } else {
        int number;
        if (row.kind == CHECK) number = std::strstr(value, "true") != nullptr;
        else if (row.rule == THREAD_COUNT && !value[std::strcspn(value, "0123456789")]) number = 1;
        else if (row.rule == OPPONENT) number = integer_in_range(rating_of_opponent(value), row.low, row.high);
        else number = integer_in_range(value, row.low, row.high);
        print_format("info string %s set to %d", row.rule == OPPONENT ? "opponent_elo" : row.name, number);
        store_number(row, number);
    }
    follow_change(row);
}

void set_option(const char *name, const char *value) {
    for (const OptionRow &row : OPTIONS)
        if (std::strcmp(name, row.name) == 0) set_row(row, value);
}

static void print_spin(const char *name, int value, int low, int high) {
    print_format("option name %s type spin default %d min %d max %d", name, value, low, high);
}

void print_options() {
    for (const OptionRow &row : OPTIONS) {
        Settings *record = row.shown == SHOW_CURRENT ? &settings : &default_settings;
        if (row.kind == BUTTON) {
            print_format("option name %s type button", row.name);
        } else if (row.kind == CHECK) {
            print_check_option(row.name, load_number(record, row));
        } else if (row.kind == TEXT) {
            print_format("option name %s type string default %s", row.name, field_of(record, row));
        } else if (row.rule == OPPONENT) {
            print_format("option name %s type string default ", row.name);
        } else if (row.rule == THREAD_COUNT) {
            print_spin(row.name, 1, 1, row.high);
        } else if (row.rule == RATING_LIMIT) {
            // If no rating is set, the one measured at start is the default and is stored.
            const int measured = static_cast<int>(calibration.elo);
            if (!record->uci_elo) record->uci_elo = static_cast<i16>(measured);
            print_spin(row.name, record->uci_elo, row.low, measured);
        } else {
            print_spin(row.name, load_number(record, row), row.low, row.high);
        }
    }
}

// Applies one line of the file, "name = value". The name ends at the blanks before '='. Without a blank
// there it is not cut, so it includes the '=' and matches no option.
static void apply_config_line(char *line) {
    line[std::strcspn(line, "\n")] = 0;
    line[std::strcspn(line, "#")] = 0;
    char *equals = std::strchr(line, '=');
    if (!equals) return;
    for (char *end = equals; end > line && end[-1] == ' '; --end) end[-1] = 0;
    const char *text = equals + 1;
    text += std::strspn(text, " ");
    if (read_search_state() == 0) set_option(line, text);
}

void load_config_file() {
    // A file may include another, or itself. At most this many are read per command, nested or in sequence.
    constexpr int MOST_FILES = 16;
    static int depth, files_read;
    if (depth == 0) files_read = 0;
    if (files_read == MOST_FILES) return;
    // Binary mode: a carriage return is part of the value on every system.
    std::FILE *file = open_data_file(settings.config_path);
    if (!file) return;
    LineReader reader;
    start_lines(&reader, file, LINES_AS_THEY_ARE);
    const bool has_lines = next_line(&reader);
    if (!has_lines && std::ferror(file)) {  // a directory can be opened but not read
        std::fclose(file);
        return;
    }
    ++files_read;
    ++depth;
    print_format("info string loading parameters from %s", settings.config_path);
    for (bool more = has_lines; more; more = next_line(&reader))
        if (reader.line.size() > 3) apply_config_line(reader.line.data());
    std::fclose(file);
    --depth;
    default_settings = settings;
}
