// Which files are found, what is printed about them, and how a table is found by its material.
#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

#include "base/settings.h"
#include "support/table_directory.h"

class Registry : public testing::Test {
protected:
    void SetUp() override { start_engine(); }
    void TearDown() override { use_tables(""); }

    // A file of this size in the directory.
    void make_file(const std::string &name, std::size_t size) {
        ASSERT_TRUE(write_file(directory.file(name), std::string(size, 'x')));
    }
    // What tb_init prints.
    std::string printed(const std::string &path, std::string *errors = nullptr) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        use_tables(path);
        const std::string error_text = testing::internal::GetCapturedStderr();
        if (errors) *errors = error_text;
        return testing::internal::GetCapturedStdout();
    }
    ScratchDirectory directory;
};

static std::vector<std::string> visited;

TEST_F(Registry, AllNamesOnce) {
    visited.clear();
    tb_for_each_name([](const char *name) { visited.push_back(name); });
    EXPECT_EQ(visited.size(), 1511u);
    EXPECT_EQ(std::set<std::string>(visited.begin(), visited.end()).size(), 1511u);
    const auto with_pawn = std::count_if(visited.begin(), visited.end(),
                                         [](const std::string &name) { return name.find('P') != std::string::npos; });
    EXPECT_EQ(with_pawn, TB_PAWN_TABLES);
    EXPECT_EQ(1511 - with_pawn, TB_PIECE_TABLES);
    EXPECT_EQ(visited[0], "KQvK");
    EXPECT_EQ(visited[5], "KQvKQ");
    EXPECT_EQ(visited[20], "KQQvK");
    EXPECT_EQ(visited.back(), "KPPPvKPP");
    std::map<std::size_t, int> by_length;
    for (const std::string &name : visited) {
        EXPECT_TRUE(name[0] == 'K' && name.find("vK") != std::string::npos) << name;
        ++by_length[name.size()];
    }
    EXPECT_EQ(by_length, (std::map<std::size_t, int>{{4, 5}, {5, 30}, {6, 110}, {7, 365}, {8, 1001}}));
    // No table twice with its sides exchanged.
    for (const std::string &name : visited) {
        const std::size_t split = name.find('v');
        const std::string exchanged = name.substr(split + 1) + "v" + name.substr(0, split);
        EXPECT_EQ(std::count(visited.begin(), visited.end(), exchanged), exchanged == name) << name;
    }
}

TEST_F(Registry, NoPathNoLine) {
    EXPECT_EQ(printed(""), "");
    EXPECT_EQ(printed("<empty>"), "");
    EXPECT_EQ(TB_LARGEST, 0);
}

TEST_F(Registry, NothingFound) {
    const std::string none = "info string Found 0 WDL, 0 DTM and 0 DTZ tablebase files. Largest 0-men\n";
    EXPECT_EQ(printed(directory.path), none);
    EXPECT_EQ(printed("/no/such/place"), none);
    EXPECT_EQ(printed(";"), none);
    EXPECT_EQ(printed(std::string(200, 'x')), none);
}

TEST_F(Registry, CountsAndLargest) {
    make_file("KQvK.rtbw", 80);
    make_file("KQvK.rtbz", 80);
    make_file("KQvK.rtbm", 144);
    make_file("KRPvKR.rtbw", 16);
    make_file("KNvK.rtbm", 80);  // without a WDL file it counts as absent
    make_file("KvKQ.rtbw", 80);  // no such name
    make_file("KQQQvKQQ.rtbz", 80);
    std::filesystem::create_directory(directory.file("KBvK.rtbw"));
    std::string errors;
    EXPECT_EQ(printed(directory.path, &errors),
              "info string Found 2 WDL, 1 DTM and 1 DTZ tablebase files. Largest 5-men\n");
    EXPECT_EQ(errors, "");
    EXPECT_EQ(TB_LARGEST, 5);
    EXPECT_EQ(tb_registry.piece_count, 1);
    EXPECT_EQ(tb_registry.pawn_count, 1);
    // Setting the path again starts over.
    EXPECT_EQ(printed(directory.path), "info string Found 2 WDL, 1 DTM and 1 DTZ tablebase files. Largest 5-men\n");
    EXPECT_EQ(printed("<empty>"), "");
    EXPECT_EQ(TB_LARGEST, 0);
    EXPECT_EQ(tb_registry.wdl_files + tb_registry.dtm_files + tb_registry.dtz_files, 0);
}

TEST_F(Registry, IncompleteFiles) {
    make_file("KQvK.rtbw", 100);
    make_file("KQvK.rtbz", 99);  // not looked at
    make_file("KRvK.rtbw", 80);
    make_file("KRvK.rtbz", 64);
    make_file("KRvK.rtbm", 0);
    std::string errors;
    EXPECT_EQ(printed(directory.path, &errors),
              "info string Incomplete tablebase file KQvK..rtbw\n"
              "info string Incomplete tablebase file KRvK..rtbm\n"
              "info string Incomplete tablebase file KRvK..rtbz\n"
              "info string Found 1 WDL, 0 DTM and 0 DTZ tablebase files. Largest 3-men\n");
    EXPECT_EQ(errors,
              "Incomplete tablebase file KQvK..rtbw\n"
              "Incomplete tablebase file KRvK..rtbm\n"
              "Incomplete tablebase file KRvK..rtbz\n");
    const TbBaseEntry *entry = tb_registry.piece_entries[0].base.num ? &tb_registry.piece_entries[0].base : nullptr;
    ASSERT_NE(entry, nullptr);
    EXPECT_FALSE(entry->has_dtz);
    EXPECT_FALSE(entry->has_dtm);
}

TEST_F(Registry, SeveralDirectories) {
    ScratchDirectory second;
    make_file("KQvK.rtbw", 80);
    ASSERT_TRUE(write_file(second.file("KQvK.rtbw"), std::string(81, 'x')));  // hidden by the first
    ASSERT_TRUE(write_file(second.file("KQvK.rtbz"), std::string(80, 'x')));
    ASSERT_TRUE(write_file(second.file("KRvKR.rtbw"), std::string(80, 'x')));
    const std::string both = "info string Found 2 WDL, 0 DTM and 1 DTZ tablebase files. Largest 4-men\n";
    for (const std::string &path : {directory.path + ";" + second.path, directory.path + ";;" + second.path + ";",
                                    ";/none;" + directory.path + ";" + second.path + ";;"})
        EXPECT_EQ(printed(path), both) << path;
    EXPECT_EQ(printed(second.path + ";" + directory.path),
              "info string Incomplete tablebase file KQvK..rtbw\n"
              "info string Found 1 WDL, 0 DTM and 0 DTZ tablebase files. Largest 4-men\n");
}

// All 1511 tables at once fill the registry exactly, and every one is found by both keys.
TEST_F(Registry, EveryTable) {
    static std::string path;
    path = directory.path;
    tb_for_each_name(
        [](const char *name) { ASSERT_TRUE(write_file(path + "/" + name + ".rtbw", std::string(16, 'x'))); });
    EXPECT_EQ(printed(path), "info string Found 1511 WDL, 0 DTM and 0 DTZ tablebase files. Largest 7-men\n");
    EXPECT_EQ(tb_registry.piece_count, TB_PIECE_TABLES);
    EXPECT_EQ(tb_registry.pawn_count, TB_PAWN_TABLES);
    std::set<const TbBaseEntry *> found;
    int slots = 0;
    for (const TbHashSlot &slot : tb_hash) {
        const TbBaseEntry *entry = slot.entry.load();
        if (!entry) continue;
        ++slots;
        found.insert(entry);
        EXPECT_EQ(tb_find_slot(slot.key), &slot);
    }
    EXPECT_EQ(found.size(), 1511u);
    EXPECT_EQ(slots, 2 * 1511 - 20) << "5 symmetric tables of four men and 15 of six take one slot each";
}
