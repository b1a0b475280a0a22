// Syzygy table files. The first byte of an input chooses a material, the rest is the table's file, of results or of
// distances. The other files are sound, so that probes get as far as they can.
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "fuzz/fuzz.h"
#include "fuzz/support.h"
#include "support/files.h"
#include "support/table_writer.h"
#include "tablebase/tb_files.h"
#include "tablebase/tb_material.h"
#include "tablebase/tb_registry.h"
#include "tablebase/tb_table.h"
#include "tablebase/tb_values.h"

static constexpr const char *DIRECTORY = "tables";
static constexpr int POSITION_COUNT = 12;        // by material
static constexpr int HIGHEST_DISTANCE = 131070;  // the largest value of a map, in moves

// Every way of numbering positions: three single men, two kings, pawns of one side and of both, and equal sides.
static constexpr const char *NAMES[] = {"KRvK", "KRRvK", "KRvKR", "KPvK", "KPvKP", "KPPvK", "KRPvKR"};
static constexpr int NAME_COUNT = sizeof NAMES / sizeof NAMES[0];

struct Material {
    TbBaseEntry *entry;
    std::string good[TB_TYPES];  // the sound files
    std::vector<TbPosition> positions;
};
static Material materials[NAME_COUNT];

static std::string path_of(int index, TbType type) {
    return std::string(DIRECTORY) + "/" + NAMES[index] + TB_SUFFIX[type];
}

static Bitboard *set_of(TbPosition *pos, char letter) {
    switch (letter) {
        case 'K': return &pos->kings;
        case 'Q': return &pos->queens;
        case 'R': return &pos->rooks;
        case 'B': return &pos->bishops;
        case 'N': return &pos->knights;
        default: return &pos->pawns;
    }
}

// Puts the men of the name on squares by chance. False when the position is not legal.
static bool place_men(const char *name, std::mt19937 *random, TbPosition *pos) {
    *pos = TbPosition{};
    Bitboard *side = &pos->white;
    for (; *name; ++name) {
        if (*name == 'v') {
            side = &pos->black;
            continue;
        }
        const Square square = static_cast<Square>(*name == 'P' ? 8 + (*random)() % 48 : (*random)() % 64);
        if (tb_occupied(*pos) & bit(square)) return false;
        *side |= bit(square);
        *set_of(pos, *name) |= bit(square);
    }
    pos->turn = (*random)() & 1;
    if ((*random)() & 1) std::swap(pos->white, pos->black);
    TbPosition other = *pos;
    other.turn = !pos->turn;
    return !tb_in_check(other);
}

static TbBaseEntry *find_entry(const std::string &wanted) {
    char name[TB_NAME_SIZE];
    for (int i = 0; i < tb_registry.piece_count + tb_registry.pawn_count; ++i) {
        TbBaseEntry *entry = i < tb_registry.piece_count ? &tb_registry.piece_entries[i].base
                                                         : &tb_registry.pawn_entries[i - tb_registry.piece_count].base;
        tb_table_name(entry, name);
        if (wanted == name) return entry;
    }
    return nullptr;
}

// Once per process: sound files, and positions.
static void make_materials() {
    std::mt19937 random(1);
    REQUIRE(std::filesystem::create_directory(DIRECTORY));
    for (int i = 0; i < NAME_COUNT; ++i) {
        Material &material = materials[i];
        material.good[TB_WDL] = table_bytes(constant_wdl_plan(NAMES[i], 4, 0));
        material.good[TB_DTZ] = table_bytes(constant_dtz_plan(NAMES[i], 0));
        for (const TbType type : {TB_WDL, TB_DTZ}) REQUIRE(write_file(path_of(i, type), material.good[type]));
        while (material.positions.size() < POSITION_COUNT) {
            TbPosition pos;
            if (place_men(NAMES[i], &random, &pos)) material.positions.push_back(pos);
        }
    }
}

static void register_tables() {
    if (materials[0].positions.empty()) make_materials();
    tb_forget_all();
    tb_register_all(DIRECTORY);
    for (int i = 0; i < NAME_COUNT; ++i) {
        materials[i].entry = find_entry(NAMES[i]);
        REQUIRE(materials[i].entry && materials[i].entry->has_dtz);
    }
}

// As after a new scan of the directory, without its thousands of look-ups.
static void forget_contents() {
    tb_clear_hash();
    for (const Material &material : materials) {
        tb_unmap_table(material.entry);
        tb_enter_entry(material.entry);
    }
}

// The bytes, filled up to a size that a table has.
static std::string whole_file(std::string bytes) {
    while (!tb_is_complete(bytes.size())) bytes.push_back('\0');
    return bytes;
}

static void probe_results(const TbPosition &pos) {
    TbStatus status = TB_VALUE;
    const int stored = tb_probe_table(pos, 0, &status, TB_WDL);
    REQUIRE(stored >= TB_RESULT_LOSS && stored <= TB_RESULT_WIN);
    REQUIRE(status == TB_VALUE || (status == TB_NO_VALUE && stored == 0));
    const int result = tb_wdl_raw(pos, &status);
    REQUIRE(result >= TB_RESULT_LOSS && result <= TB_RESULT_WIN);
    REQUIRE(status == TB_NO_VALUE || status == TB_VALUE || status == TB_ZEROING);
}

static void probe_distances(const TbPosition &pos) {
    for (int wdl = TB_RESULT_LOSS; wdl <= TB_RESULT_WIN; ++wdl) {
        TbStatus status = TB_VALUE;
        const int stored = tb_probe_table(pos, wdl, &status, TB_DTZ);
        REQUIRE(stored >= 0 && stored <= HIGHEST_DISTANCE);
        REQUIRE(status == TB_VALUE || stored == 0);
    }
    TbStatus status = TB_VALUE;
    const int distance = tb_probe_dtz(pos, &status);
    REQUIRE(distance >= -HIGHEST_DISTANCE - 102 && distance <= HIGHEST_DISTANCE + 102);
    if (status == TB_NO_VALUE) return;
    const int result = tb_wdl_raw(pos, &status);
    REQUIRE((result > 0) == (distance > 0) && (result < 0) == (distance < 0));
}

// Probes all positions of the material with these bytes as its file, then puts the sound file back.
static void fuzz_table(const std::string &input, TbType type, void (*probe)(const TbPosition &pos)) {
    fresh_engine();
    if (input.empty()) return;
    if (!find_entry(NAMES[0])) register_tables();
    const int index = static_cast<u8>(input[0]) % NAME_COUNT;
    forget_contents();
    REQUIRE(write_file(path_of(index, type), whole_file(input.substr(1))));
    for (const TbPosition &pos : materials[index].positions) probe(pos);
    forget_contents();
    REQUIRE(write_file(path_of(index, type), materials[index].good[type]));
}

void fuzz_wdl(const std::string &input) { fuzz_table(input, TB_WDL, probe_results); }
void fuzz_dtz(const std::string &input) { fuzz_table(input, TB_DTZ, probe_distances); }
