// Material keys, the hash of tables, and what a table's name says.
#include <algorithm>

#include "support/table_directory.h"

class Material : public testing::Test {
protected:
    void SetUp() override { start_engine(); }
    void TearDown() override { use_tables(""); }

    // A file of this size in the directory.
    void make_file(const std::string &name, std::size_t size) {
        ASSERT_TRUE(write_file(directory.file(name), std::string(size, 'x')));
    }
    ScratchDirectory directory;
};

TEST_F(Material, Keys) {
    const auto key = [](const char *fen, bool mirrored_key) {
        return tb_material_key(tb_position_of(fen), mirrored_key);
    };
    EXPECT_EQ(key("8/8/4k3/8/8/4K3/8/8 w - - 0 1", false), 0u);
    EXPECT_EQ(key("8/8/4k3/8/8/4K3/Q7/8 w - - 0 1", false), 0xA3EC1ABC71E90863);
    EXPECT_EQ(key("8/8/4k3/8/8/4K3/Q7/8 w - - 0 1", true), 0xD6E4E47D24962951);
    EXPECT_EQ(key("8/8/4k3/8/8/4K3/q7/8 w - - 0 1", true), 0xA3EC1ABC71E90863);
    EXPECT_EQ(key("8/8/4k3/8/8/4K3/RR4n1/8 w - - 0 1", false), 2 * 0x985DEB9FC49333F9 + 0xBAEB854CD3259441);
    EXPECT_EQ(key("8/8/4k3/8/8/4K3/B2p2n1/8 b - - 0 1", false),
              0xAADC1A2BE446234D + 0xA24F0F571BB202E7 + 0xBAEB854CD3259441);
    EXPECT_EQ(key("8/8/4k3/8/8/4K3/P2N2b1/r7 b - - 0 1", false),
              0xEC0ADE190C0F6003 + 0xD2FB81862830191F + 0xD5A4C95928F2FBE3 + 0xFD7866B439B94495);
}

TEST_F(Material, SlotsOfTheHash) {
    for (const char *name : {"KQvKQ.rtbw", "KQvKR.rtbw"}) make_file(name, 80);
    use_tables(directory.path);
    const auto used = std::count_if(std::begin(tb_hash), std::end(tb_hash),
                                    [](const TbHashSlot &slot) { return slot.entry.load() != nullptr; });
    EXPECT_EQ(used, 3) << "one for the symmetric table, two for the other";
    const u64 key = tb_material_key(tb_position_of("8/8/4k3/q7/8/4K3/Q7/8 w - - 0 1"), false);
    ASSERT_NE(tb_find_slot(key)->entry.load(), nullptr);
    EXPECT_TRUE(tb_find_slot(key)->entry.load()->symmetric);
    const TbPosition queen = tb_position_of("8/8/4k3/r7/8/4K3/Q7/8 w - - 0 1");
    const TbBaseEntry *entry = tb_find_slot(tb_material_key(queen, false))->entry.load();
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry, tb_find_slot(tb_material_key(queen, true))->entry.load());
    EXPECT_EQ(entry->key, tb_material_key(queen, false));
    EXPECT_FALSE(entry->symmetric);
    EXPECT_EQ(tb_find_slot(tb_material_key(tb_position_of("8/8/4k3/r7/8/4K3/R7/8 w - - 0 1"), false))->entry.load(),
              nullptr);
}

TEST_F(Material, LeadingGroups) {
    for (const char *name :
         {"KRRvK.rtbw", "KRRvKR.rtbw", "KRRvKRR.rtbw", "KPPvKP.rtbw", "KPvK.rtbw", "KRPvKPP.rtbw", "KPPvKR.rtbw"})
        make_file(name, 80);
    use_tables(directory.path);
    const auto entry_of = [](const char *fen) {
        return tb_find_slot(tb_material_key(tb_position_of(fen), false))->entry.load();
    };
    EXPECT_TRUE(entry_of("8/8/4k3/8/8/4K3/RR6/8 w - - 0 1")->kk_enc);
    EXPECT_TRUE(entry_of("8/8/rr2k3/8/8/4K3/RR6/8 w - - 0 1")->kk_enc);
    EXPECT_FALSE(entry_of("8/8/r3k3/8/8/4K3/RR6/8 w - - 0 1")->kk_enc);
    const auto pawns = [&](const char *fen) {
        return std::make_pair(int(entry_of(fen)->pawns[0]), int(entry_of(fen)->pawns[1]));
    };
    EXPECT_EQ(pawns("8/8/p3k3/8/8/4K3/PP6/8 w - - 0 1"), std::make_pair(1, 2));
    EXPECT_EQ(pawns("8/8/4k3/8/8/4K3/P7/8 w - - 0 1"), std::make_pair(1, 0));
    EXPECT_EQ(pawns("8/pp6/4k3/8/8/4K3/PR6/8 w - - 0 1"), std::make_pair(1, 2));
    EXPECT_EQ(pawns("8/pp6/4k3/8/8/4K3/R7/8 w - - 0 1"), std::make_pair(2, 0));
    EXPECT_EQ(entry_of("8/pp6/4k3/8/8/4K3/R7/8 w - - 0 1")->num, 5);
}

// Every name gives a record that gives the same name.
TEST_F(Material, NamesThereAndBack) {
    static int names;
    names = 0;
    tb_for_each_name([](const char *name) {
        TbBaseEntry entry{};
        tb_set_material(&entry, name);
        char text[TB_NAME_SIZE];
        tb_table_name(&entry, text);
        EXPECT_STREQ(text, name);
        EXPECT_EQ(entry.num, std::string(name).size() - 1);
        EXPECT_EQ(entry.has_pawns, std::string(name).find('P') != std::string::npos);
        ++names;
    });
    EXPECT_EQ(names, TB_PIECE_TABLES + TB_PAWN_TABLES);
}
