// The numbering of positions: each number of a table is used, and none beyond.
#include <array>
#include <cstdio>

#include "support/sanitizers.h"
#include "support/table_directory.h"
#include "tablebase/tb_index.h"
#include "tablebase/tb_table.h"

using Index = SolvedTables;

static constexpr Bitboard ALL_SQUARES = ~Bitboard{0}, LEFT_HALF = 0x0F0F0F0F0F0F0F0F;

// Calls `visit` for every way to place four men in the table's order, like men in one order only, the
// first of them on one of the squares `first`.
template <typename Visit>
static void for_each_placement(const TbEncInfo &info, Bitboard first, Visit visit) {
    std::array<int, 4> men;
    const auto place = [&](const auto &self, int i) -> void {
        if (i == 4) {
            visit(men);
            return;
        }
        const bool pawn = type_of(info.pieces[i]) == PAWN;
        for (int square = pawn ? 8 : 0; square < (pawn ? 56 : 64); ++square) {
            if (i == 0 && !(first & bit(square))) continue;
            bool possible = true;
            for (int j = 0; j < i; ++j)
                possible &= men[j] != square && (info.pieces[i] != info.pieces[j] || square < men[j]);
            if (!possible) continue;
            men[i] = square;
            self(self, i + 1);
        }
    };
    place(place, 0);
}

// Every number of a table belongs to `expected_hits` placements (0: to at least one), and every placement has one.
static void check_numbering(const char *name, const char *fen, int group_count, int expected_hits) {
    ScratchDirectory other;
    ASSERT_TRUE(write_file(other.file(std::string(name) + ".rtbw"), table_bytes(constant_wdl_plan(name, 2, 2))));
    use_tables(other.path);
    const TbPosition pos = tb_position_of(fen);
    TbStatus status = TB_VALUE;
    tb_probe_table(pos, 0, &status, TB_WDL);
    ASSERT_EQ(status, TB_VALUE) << name;
    TbBaseEntry *entry = tb_find_slot(tb_material_key(pos, false))->entry.load();
    ASSERT_NE(entry, nullptr);
    const TbEncInfo *infos =
        entry->has_pawns ? reinterpret_cast<TbPawnEntry *>(entry)->wdl : reinterpret_cast<TbPieceEntry *>(entry)->wdl;
    const std::string bytes = table_bytes(constant_wdl_plan(name, 2, 2));
    const int record = entry->num + 1 + (entry->has_pawns && entry->pawns[1] > 0);
    std::vector<std::vector<int>> hits(group_count);
    for (int group = 0; group < group_count; ++group) {
        TbEncInfo copy;
        const u64 size = tb_init_enc_info(&copy, entry, reinterpret_cast<const u8 *>(bytes.data()) + 5 + group * record,
                                          0, group, entry->has_pawns ? TB_ENCODE_FILES : TB_ENCODE_PIECES);
        ASSERT_GT(size, 0u);
        hits[group].assign(size, 0);
    }
    const auto index_of = [&](const std::array<int, 4> &men, int *group) {
        int squares[TB_MAX_MEN] = {men[0], men[1], men[2], men[3]};
        if (!entry->has_pawns) return tb_encode_piece(squares, &infos[0], entry);
        *group = tb_put_leading_pawn_first(squares, entry->pawns[0]);
        return tb_encode_pawn(squares, &infos[*group], entry);
    };
    // One of the placements that reflections turn into each other is enough: the first man in the
    // a1-d1-d4 triangle, or a single leading pawn on files a to d. One in 32 is reflected as a test.
    Bitboard first = ALL_SQUARES;
    if (!entry->has_pawns)
        first = bit(0) | bit(1) | bit(2) | bit(3) | bit(9) | bit(10) | bit(11) | bit(18) | bit(19) | bit(27);
    else if (entry->pawns[0] == 1) first = LEFT_HALF;
    const std::vector<int> reflections = entry->has_pawns ? std::vector<int>{7} : std::vector<int>{7, 56, 63};
    // Sanitizers make this twenty times as slow: one square of the first man has to do there.
    if (UNDER_SANITIZER) {
        first = entry->has_pawns ? bit(9) : bit(1);
        std::printf("%s: under a sanitizer, placements with the first man on one square only\n", name);
    }
    int number = 0;
    for_each_placement(infos[0], first, [&](const std::array<int, 4> &men) {
        int group = 0;
        const u64 index = index_of(men, &group);
        if (++number % 32 == 0) {
            for (const int mask : reflections) {
                int reflected_group = 0;
                ASSERT_EQ(index_of({men[0] ^ mask, men[1] ^ mask, men[2] ^ mask, men[3] ^ mask}, &reflected_group),
                          index)
                    << name;
                ASSERT_EQ(reflected_group, group);
            }
        }
        if (index == TB_NO_INDEX) return;
        ASSERT_LT(index, hits[group].size()) << name;
        ++hits[group][index];
    });
    ASSERT_GT(number, 0);
    for (const std::vector<int> &group : hits)
        for (const int count : group) {
            if (UNDER_SANITIZER) ASSERT_TRUE(expected_hits == 0 || count <= expected_hits) << count;
            else ASSERT_TRUE(expected_hits == 0 ? count > 0 : count == expected_hits) << count;
        }
}

TEST_F(Index, NumberingOfTwoLeadingKings) { check_numbering("KRRvK", "8/8/4k3/8/8/8/RR6/K7 w - - 0 1", 1, 0); }
TEST_F(Index, NumberingOfThreeLeadingMen) { check_numbering("KRvKB", "8/8/4k3/b7/8/8/1R6/K7 w - - 0 1", 1, 0); }
// With the single leading pawn on the left half, each number belongs to one placement.
TEST_F(Index, NumberingOfPawnsOfBothSides) { check_numbering("KPvKP", "8/3p4/4k3/8/8/8/1P6/K7 w - - 0 1", 4, 1); }
TEST_F(Index, NumberingOfTwoPawns) { check_numbering("KPPvK", "8/8/4k3/8/8/8/PP6/K7 w - - 0 1", 4, 0); }
TEST_F(Index, NumberingOfPawnAndPiece) { check_numbering("KRPvK", "8/8/4k3/8/8/8/PR6/K7 w - - 0 1", 4, 1); }
