// Syzygy table files. The first byte of an input chooses a material, the rest is the table's file, of results or of
// distances. The other files are sound, so that probes get as far as they can.
#include <random>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/move_tests.h"
#include "fuzz/fuzz.h"
#include "fuzz/support.h"
#include "support/files.h"
#include "support/positions.h"
#include "tablebase/tablebase.h"
#include "tablebase/tb_files.h"
#include "tablebase/tb_material.h"
#include "tablebase/tb_registry.h"
#include "tablebase/tb_table.h"
#include "tablebase/tb_values.h"

static constexpr int POSITION_COUNT = 12;        // by material
static constexpr int HIGHEST_DISTANCE = 131070;  // the largest value of a map, in moves

struct Material {
    std::string name;
    TbBaseEntry *entry;
    std::vector<std::string> fens;
};
static std::vector<Material> materials;

// Puts the men of the name on squares by chance. False when the position is not legal.
static bool place_men(const std::string &name, std::mt19937 *random, Position *position) {
    clear_position(position);
    int side = static_cast<int>((*random)() & 1);
    for (const char letter : name) {
        if (letter == 'v') {
            side ^= 1;
            continue;
        }
        const int type = static_cast<int>(std::string(" PNBRQK").find(letter));
        const Square square = static_cast<Square>(type == PAWN ? 8 + (*random)() % 48 : (*random)() % 64);
        if (position->board[square]) return false;
        place_piece(position, piece_code(side, type), square);
    }
    position->stm = static_cast<u8>((*random)() & 1);
    position->fifty = static_cast<u8>((*random)() % 100);
    compute_keys(position);
    return !position_defect(position);
}

// Once per process. En passant is no matter of chance.
static void make_materials(Position *position) {
    std::mt19937 random(1);
    for (const std::string &name : table_names()) {
        Material material = {name, nullptr, {}};
        while (material.fens.size() < POSITION_COUNT) {
            char fen[FEN_SIZE];
            if (!place_men(name, &random, position)) continue;
            position_to_fen(position, fen, 1);
            material.fens.push_back(fen);
        }
        if (name == "KPvKP")
            for (const char *fen : {"8/8/8/3pP3/8/8/k7/7K w - d6", "8/8/7k/8/3Pp3/8/8/K7 b - d3"})
                material.fens.push_back(fen);
        materials.push_back(material);
    }
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

static void register_tables(Position *position) {
    if (materials.empty()) make_materials(position);
    write_tables();
    tb_forget_all();
    tb_register_all(TABLE_DIRECTORY);
    for (Material &material : materials) {
        material.entry = find_entry(material.name);
        REQUIRE(material.entry && material.entry->has_dtz);
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

static void probe_results(Position *position) {
    const TbPosition pos = tb_from_position(position, position->fifty);
    TbStatus status = TB_VALUE;
    const int stored = tb_probe_table(pos, 0, &status, TB_WDL);
    REQUIRE(stored >= TB_RESULT_LOSS && stored <= TB_RESULT_WIN);
    REQUIRE(status == TB_VALUE || (status == TB_NO_VALUE && stored == 0));
    const int result = tb_wdl_raw(pos, &status);
    REQUIRE(result >= TB_RESULT_LOSS && result <= TB_RESULT_WIN);
    REQUIRE(status == TB_NO_VALUE || status == TB_VALUE || status == TB_ZEROING);
    const TbWdl seen = tb_probe_wdl(position, MAX_PLY);
    REQUIRE(seen == (status == TB_NO_VALUE ? TB_NO_ANSWER : result - TB_RESULT_LOSS));
}

static void probe_distances(Position *position) {
    const TbPosition pos = tb_from_position(position, position->fifty);
    for (int wdl = TB_RESULT_LOSS; wdl <= TB_RESULT_WIN; ++wdl) {
        TbStatus status = TB_VALUE;
        const int stored = tb_probe_table(pos, wdl, &status, TB_DTZ);
        REQUIRE(stored >= 0 && stored <= HIGHEST_DISTANCE);
        REQUIRE(status == TB_VALUE || stored == 0);
    }
    TbStatus status = TB_VALUE;
    const int distance = tb_probe_dtz(pos, &status);
    REQUIRE(distance >= -HIGHEST_DISTANCE - 102 && distance <= HIGHEST_DISTANCE + 102);
    if (status != TB_NO_VALUE) {
        const int result = tb_wdl_raw(pos, &status);
        REQUIRE((result > 0) == (distance > 0) && (result < 0) == (distance < 0));
    }
    Move move = 0;
    TbWdl result = TB_NO_ANSWER;
    if (!tb_root_rank(position, &move, &result)) return;
    REQUIRE(result >= TB_LOSS && result <= TB_WIN);
    REQUIRE(is_generated_legal_move(position, move));
}

// Probes all positions of the material with these bytes as its file, then puts the sound file back.
static void fuzz_table(const std::string &input, TbType type, void (*probe)(Position *position)) {
    Position *position = &fresh_engine()->position;
    if (input.empty()) return;
    if (!tb_registry.piece_entries || !find_entry("KRvK")) register_tables(position);
    const Material &material = materials[static_cast<u8>(input[0]) % materials.size()];
    const std::string path = std::string(TABLE_DIRECTORY) + "/" + material.name + TB_SUFFIX[type];
    const std::string sound = read_file(path);
    forget_contents();
    REQUIRE(write_file(path, whole_file(input.substr(1))));
    TB_LARGEST = tb_registry.largest;
    for (const std::string &fen : material.fens) probe(set_up(fen));
    TB_LARGEST = 0;
    forget_contents();
    REQUIRE(write_file(path, sound));
}

void fuzz_wdl(const std::string &input) { fuzz_table(input, TB_WDL, probe_results); }
void fuzz_dtz(const std::string &input) { fuzz_table(input, TB_DTZ, probe_distances); }
