// Registration of the parameter table, the reader of the parameter text, and a table's print-out.
#include "eval/handcrafted/parameters.h"

#include <cstring>

#include "base/output.h"
#include "base/text.h"

ParamRecord param_table[PARAM_TABLE_SIZE];
int param_count;
int first_pst_index = -1;

ParamRecord *mtl_pawn, *mtl_knight, *mtl_bishop, *mtl_rook, *mtl_queen;
ParamRecord *bishop_pair, *knight_mobility, *bishop_mobility, *rook_mobility, *queen_mobility;
ParamRecord *ppawn_base, *ppawn_mobile, *ppawn_free, *ppawn_connected;
ParamRecord *ppawn_fkprox, *ppawn_ekprox, *ppawn_candidate;
ParamRecord *pawn_isolated, *pawn_weak, *pawn_blocked, *pawn_doubled;
ParamRecord *knight_outpost, *bishop_infiltration, *bishop_outpost, *bishop_rampawns;
ParamRecord *rook_infiltration, *rook_openfile, *rook_7th;
ParamRecord *pawn_shield, *enemy_checks, *king_danger1, *king_danger2, *king_trapped, *king_pawn_dist;
ParamRecord *hung_pawn, *attacked_pawn, *hung_minor, *attacked_minor, *hung_major;
ParamRecord *ppush_threat, *pinned_piece, *mtl_imbalance, *stm_bonus;

ParamRecord *PST_P1[64], *PST_P2[64], *PST_CP[64], *PST_DP[64];
ParamRecord *PST_N[64], *PST_B[64], *PST_R[64], *PST_Q[64], *PST_K[64];

struct NamedSlot {
    const char *name;
    ParamRecord **slot;
};

// The scalars after the five of material; their order is that of the parameter text.
static const NamedSlot ZERO_SCALARS[] = {
    {"bishop_pair", &bishop_pair},
    {"knight_mobility", &knight_mobility},
    {"bishop_mobility", &bishop_mobility},
    {"rook_mobility", &rook_mobility},
    {"queen_mobility", &queen_mobility},
    {"ppawn_base", &ppawn_base},
    {"ppawn_mobile", &ppawn_mobile},
    {"ppawn_free", &ppawn_free},
    {"ppawn_connected", &ppawn_connected},
    {"ppawn_fkprox", &ppawn_fkprox},
    {"ppawn_ekprox", &ppawn_ekprox},
    {"ppawn_candidate", &ppawn_candidate},
    {"pawn_isolated", &pawn_isolated},
    {"pawn_weak", &pawn_weak},
    {"pawn_blocked", &pawn_blocked},
    {"pawn_doubled", &pawn_doubled},
    {"knight_outpost", &knight_outpost},
    {"bishop_infiltration", &bishop_infiltration},
    {"bishop_outpost", &bishop_outpost},
    {"bishop_rampawns", &bishop_rampawns},
    {"rook_infiltration", &rook_infiltration},
    {"rook_openfile", &rook_openfile},
    {"rook_7th", &rook_7th},
    {"pawn_shield", &pawn_shield},
    {"enemy_checks", &enemy_checks},
    {"king_danger1", &king_danger1},
    {"king_danger2", &king_danger2},
    {"king_trapped", &king_trapped},
    {"king_pawn_dist", &king_pawn_dist},
    {"hung_pawn", &hung_pawn},
    {"attacked_pawn", &attacked_pawn},
    {"hung_minor", &hung_minor},
    {"attacked_minor", &attacked_minor},
    {"hung_major", &hung_major},
    {"ppush_threat", &ppush_threat},
    {"pinned_piece", &pinned_piece},
    {"mtl_imbalance", &mtl_imbalance},
    {"stm_bonus", &stm_bonus},
};
static_assert(sizeof(ZERO_SCALARS) / sizeof(ZERO_SCALARS[0]) == SCALAR_PARAMS - 5);

static const NamedSlot TABLES[PST_COUNT] = {
    {"PST_P1", PST_P1}, {"PST_P2", PST_P2}, {"PST_CP", PST_CP}, {"PST_DP", PST_DP}, {"PST_N", PST_N},
    {"PST_B", PST_B},   {"PST_R", PST_R},   {"PST_Q", PST_Q},   {"PST_K", PST_K},
};

static void set_values(ParamRecord *record, int mg, int eg) {
    record->packed = static_cast<i32>((static_cast<u32>(eg) << 16) + static_cast<u32>(mg));
    record->mg = static_cast<float>(mg);
    record->eg = static_cast<float>(eg);
}

void register_param(ParamRecord **slot, const char *name, int mg, int eg) {
    if (param_count >= PARAM_TABLE_SIZE) return;
    ParamRecord *record = &param_table[param_count];
    *record = ParamRecord{};
    set_values(record, mg, eg);
    copy_text(record->name, name, sizeof(record->name));
    if (first_pst_index < 0 && std::strstr(record->name, "PST_")) first_pst_index = param_count;
    if (slot) *slot = record;
    ++param_count;
}

void register_param_zero(ParamRecord **slot, const char *name) { register_param(slot, name, 0, 0); }

void init_parameters() {
    param_count = 0;
    first_pst_index = -1;
    register_param(&mtl_pawn, "mtl_pawn", 100, 100);
    register_param(&mtl_knight, "mtl_knight", 335, 335);
    register_param(&mtl_bishop, "mtl_bishop", 335, 335);
    register_param(&mtl_rook, "mtl_rook", 535, 535);
    register_param(&mtl_queen, "mtl_queen", 1000, 1000);
    for (const NamedSlot &scalar : ZERO_SCALARS) register_param_zero(scalar.slot, scalar.name);
    for (const NamedSlot &table : TABLES)
        for (int i = 0; i < 64; ++i) register_param_zero(table.slot + i, table.name);
    for (int i = 0; i < TTUNE_PARAMS; ++i) register_param_zero(nullptr, "ttune");
}

static bool ends_line(char c) { return c == '\n' || c == '\r' || c == ' '; }

// The integer after the comma at *at; moves *at past it. 0 if the line has no more.
static int next_value(const char **at, const char *end) {
    const char *p = *at;
    if (p < end && *p == ',') ++p;
    const bool negative = p < end && *p == '-';
    if (negative) ++p;
    int value = 0;
    for (; p < end && *p != ','; ++p)
        if (*p >= '0' && *p <= '9' && value <= 32767) value = value * 10 + (*p - '0');
    *at = p;
    if (value > 32767) value = 32767;
    return negative ? -value : value;
}

// One line of the text: a name, then its pairs. `index` is the running index into the table.
static void parse_line(const char *line, const char *end, int *index) {
    char name[PARAM_NAME_SIZE];
    const char *comma = line;
    while (comma < end && *comma != ',') ++comma;
    const std::size_t length = static_cast<std::size_t>(comma - line);
    copy_text(name, line, length + 1 < sizeof(name) ? length + 1 : sizeof(name));

    const int pairs = std::strstr(name, "PST") ? 64 : std::strstr(name, "ttune") ? TTUNE_PARAMS : 1;
    if (std::strcmp(name, "mtl_pawn") == 0) *index = 0;
    for (int i = 0; i < pairs && *index < param_count; ++i, ++*index) {
        ParamRecord *record = &param_table[*index];
        if (std::strcmp(record->name, name) != 0) print_format("error %s  %s", record->name, name);
        const int mg = next_value(&comma, end), eg = next_value(&comma, end);
        set_values(record, mg, eg);
    }
}

// Lines end at a line feed, a carriage return or a blank. Lines too short to hold a pair, headings
// ("start") and remarks in brackets are ignored.
void parse_parameter_text(const char *text) {
    int index = 0;
    while (*text) {
        const char *end = text;
        bool skip = false;
        for (; *end && !ends_line(*end); ++end) {
            if (*end == '(' || *end == ')') skip = true;
            if (std::strncmp(end, "start", 5) == 0) skip = true;
        }
        if (end - text >= 5 && !skip) parse_line(text, end, &index);
        text = *end ? end + 1 : end;
    }
}

void print_pst_table(const char *title, ParamRecord *const *pointers) {
    print_plain("%s\n", title);
    for (int rank = 7; rank >= 0; --rank) {
        ParamRecord *const *row = pointers + rank * 8;
        for (int file = 0; file < 8; ++file) print_plain(" %3d", static_cast<int>(row[file]->mg));
        print_plain("     ");
        for (int file = 0; file < 8; ++file) print_plain(" %3d", static_cast<int>(row[file]->eg));
        print_plain("\n");
    }
    print_plain("\n");
}
