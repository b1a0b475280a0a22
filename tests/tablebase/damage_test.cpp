// Files that are damaged, exchanged or gone: a message, no answer, never a crash.
#include <cstdio>
#include <filesystem>
#include <functional>
#include <random>

#include <sys/resource.h>

#include "support/sanitizers.h"
#include "support/table_directory.h"
#include "tablebase/tb_table.h"

static constexpr const char *WHITE_WINS = "k7/8/1K6/8/8/8/8/7R w - - 0 1";
static constexpr const char *BLACK_LOSES = "k7/8/1K6/8/8/8/8/7R b - - 0 1";

class Damage : public SolvedTables {
protected:
    // A rook table with these files, set up but not yet mapped.
    void use_files(const std::string &wdl, const std::string &dtz) {
        use_tables("");
        ASSERT_TRUE(write_file(scratch.file("KRvK.rtbw"), wdl));
        ASSERT_TRUE(write_file(scratch.file("KRvK.rtbz"), dtz));
        use_tables(scratch.path);
        ASSERT_EQ(TB_LARGEST, 3);
    }
    std::string good(const char *suffix) { return read_file(directory->path + "/KRvK" + suffix); }

    // Probes twice and returns what was written to standard error; the answers must be none.
    std::string refused(TbType type) {
        testing::internal::CaptureStderr();
        for (int i = 0; i < 2; ++i) {
            TbStatus status = TB_VALUE;
            EXPECT_EQ(tb_probe_table(tb_position_of(WHITE_WINS), 2, &status, type), 0);
            EXPECT_EQ(status, TB_NO_VALUE);
        }
        return testing::internal::GetCapturedStderr();
    }
    ScratchDirectory scratch;
};

// `name`: what is wrong. Every one is found when the file is set up.
static void expect_corrupted(const std::string &name, const std::string &errors) {
    EXPECT_EQ(errors, "Corrupted table.\n") << name;
}

TEST_F(Damage, WrongMagic) {
    use_files(good(".rtbz"), good(".rtbw"));
    expect_corrupted("types exchanged", refused(TB_WDL));
    // The table is dropped as a whole: its other file isn't tried.
    EXPECT_EQ(refused(TB_DTZ), "");
    EXPECT_EQ(tb_probe_wdl(set_up(WHITE_WINS), 80), TB_NO_ANSWER);
    use_files(good(".rtbw"), good(".rtbz"));
    EXPECT_EQ(tb_probe_wdl(set_up(WHITE_WINS), 80), TB_WIN) << "the next set-up tries again";
}

TEST_F(Damage, DamagedDistancesAlone) {
    use_files(good(".rtbw"), std::string(80, 'x'));
    EXPECT_EQ(tb_probe_wdl(set_up(WHITE_WINS), 80), TB_WIN);
    testing::internal::CaptureStderr();
    EXPECT_EQ(dtz_of(tb_position_of(WHITE_WINS)).status, TB_NO_VALUE);
    expect_corrupted("distances", testing::internal::GetCapturedStderr());
}

TEST_F(Damage, FileGoneSinceSetUp) {
    use_files(good(".rtbw"), good(".rtbz"));
    std::filesystem::remove(scratch.file("KRvK.rtbz"));
    EXPECT_EQ(wdl_of(tb_position_of(BLACK_LOSES)), (Answer{-2, TB_VALUE}));
    EXPECT_EQ(refused(TB_DTZ), "") << "no message";
    std::filesystem::remove(scratch.file("KRvK.rtbw"));
    use_files(good(".rtbw"), good(".rtbz"));
    std::filesystem::remove(scratch.file("KRvK.rtbw"));
    EXPECT_EQ(refused(TB_WDL), "");
}

// A file of this size; what it holds is of no matter until it is mapped.
static void resize(const std::string &path, std::uintmax_t size) {
    std::error_code error;
    std::filesystem::resize_file(path, size, error);
    ASSERT_FALSE(error) << error.message();
}

TEST_F(Damage, FileEmptiedSinceSetUp) {
    use_files(good(".rtbw"), good(".rtbz"));
    resize(scratch.file("KRvK.rtbw"), 0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(refused(TB_WDL), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "info string Tablebase file KRvK.rtbw is no longer complete and not used\n");
}

// A whole file that memory has no room for ends the program.
TEST_F(Damage, NoRoomToMapAFile) {
    SKIP_MEMORY_LIMIT_UNDER_SANITIZERS();
    use_files(good(".rtbw"), good(".rtbz"));
    EXPECT_EXIT(
        {
            rlimit no_more{};
            no_more.rlim_cur = no_more.rlim_max = 1;
            setrlimit(RLIMIT_AS, &no_more);
            TbStatus status = TB_VALUE;
            tb_probe_table(tb_position_of(WHITE_WINS), 0, &status, TB_WDL);
        },
        testing::ExitedWithCode(1),
        "MapViewOfFile\\(\\) failed, error = [0-9]+\\.\nCould not map KRvK\\.rtbw into memory\\.\n");
}

// Files that are cut while they are mapped: reading what is gone would end the program.
class CutWhileMapped : public Damage {
protected:
    void SetUp() override {
        Damage::SetUp();
        use_files(good(".rtbw"), good(".rtbz"));
        ASSERT_EQ(wdl_of(tb_position_of(WHITE_WINS)), (Answer{2, TB_VALUE}));
        ASSERT_EQ(dtz_of(tb_position_of(WHITE_WINS)).status, TB_VALUE);
    }
    // What tb_check_files prints.
    static std::string checked() {
        testing::internal::CaptureStdout();
        tb_check_files();
        return testing::internal::GetCapturedStdout();
    }
};

TEST_F(CutWhileMapped, Untouched) {
    EXPECT_EQ(checked(), "");
    EXPECT_EQ(wdl_of(tb_position_of(WHITE_WINS)), (Answer{2, TB_VALUE}));
}

TEST_F(CutWhileMapped, EmptyOrOfNoTablesSize) {
    resize(scratch.file("KRvK.rtbw"), 0);
    EXPECT_EQ(checked(), "info string Tablebase file KRvK.rtbw is no longer complete and not used\n");
    EXPECT_EQ(refused(TB_WDL), "");
    EXPECT_EQ(refused(TB_DTZ), "") << "the table is dropped as a whole";
    EXPECT_EQ(checked(), "") << "reported once";
    use_files(good(".rtbw"), good(".rtbz"));
    EXPECT_EQ(wdl_of(tb_position_of(BLACK_LOSES)), (Answer{-2, TB_VALUE}));
    EXPECT_NE(dtz_of(tb_position_of(BLACK_LOSES)).status, TB_NO_VALUE);
    resize(scratch.file("KRvK.rtbz"), 100);
    EXPECT_EQ(checked(), "info string Tablebase file KRvK.rtbz is no longer complete and not used\n");
    EXPECT_EQ(refused(TB_DTZ), "");
}

TEST_F(CutWhileMapped, ToTheSizeOfASmallerTable) {
    resize(scratch.file("KRvK.rtbw"), 80);
    EXPECT_EQ(checked(), "");
    expect_corrupted("set up anew", refused(TB_WDL));
}

TEST_F(CutWhileMapped, ReplacedOrDeleted) {
    std::filesystem::remove(scratch.file("KRvK.rtbw"));
    EXPECT_EQ(checked(), "");
    EXPECT_EQ(wdl_of(tb_position_of(WHITE_WINS)), (Answer{2, TB_VALUE})) << "what is mapped stays readable";
    const std::string drawn = table_bytes(constant_wdl_plan("KRvK", 2, 2));
    ASSERT_NE(drawn.size(), good(".rtbw").size());
    ASSERT_TRUE(write_file(scratch.file("KRvK.rtbw"), drawn));
    EXPECT_EQ(checked(), "");
    EXPECT_EQ(wdl_of(tb_position_of(WHITE_WINS)), (Answer{0, TB_VALUE})) << "the new file is read";
}

TEST_F(Damage, CutOff) {
    // Sizes that pass the first test, but with less in them than the header promises.
    for (const std::size_t size : {16u, 80u, 144u, 208u}) {
        const std::string wdl = good(".rtbw"), dtz = good(".rtbz");
        ASSERT_GT(wdl.size(), size);
        use_files(wdl.substr(0, size), dtz);
        expect_corrupted("WDL of " + std::to_string(size), refused(TB_WDL));
        use_files(wdl, dtz.substr(0, size));
        expect_corrupted("DTZ of " + std::to_string(size), refused(TB_DTZ));
    }
}

// The plan of a small stream with one thing changed in the bytes. Offsets: orders at 5, 4 bytes;
// the first stream's header at 10.
TEST_F(Damage, ImpossibleHeaders) {
    struct Change {
        const char *name;
        std::function<void(std::string *)> apply;
    };
    static constexpr int ORDERS = 5, STREAM = 10;
    const auto set = [](int at, int value) {
        return [=](std::string *bytes) { (*bytes)[at] = static_cast<char>(value); };
    };
    const std::string wdl = good(".rtbw");
    const int max_length = wdl[STREAM + 8], min_length = wdl[STREAM + 9], lengths = max_length - min_length + 1;
    const int symbols_at = STREAM + 10 + 2 * lengths;
    // clang-format off
    const Change changes[] = {
        {"one side only", set(4, 0)},
        {"the group order names no group", set(ORDERS, 0x0F)},
        {"of the other side as well", set(ORDERS, 0xF0)},
        {"no such piece code", set(ORDERS + 1, 0x77)},
        {"an empty square as a man", set(ORDERS + 1, 0x00)},
        {"a man of other material", set(ORDERS + 3, 0x55)},
        {"two white kings", set(ORDERS + 2, 0x66)},
        {"a huge block size", set(STREAM + 1, 200)},
        {"no index spacing", set(STREAM + 2, 0)},
        {"a huge index spacing", set(STREAM + 2, 77)},
        {"more blocks than the file has", set(STREAM + 6, 1)},
        {"a billion blocks", set(STREAM + 7, 0x7F)},
        {"codes of no length", set(STREAM + 9, 0)},
        {"a shortest code above the longest", set(STREAM + 9, max_length + 1)},
        {"codes longer than the bit buffer", set(STREAM + 8, 60)},
        {"too many symbols", set(symbols_at + 1, 0x10)},
        {"a symbol made of itself", [=](std::string *bytes) {
             for (int i = 0; i < 3; ++i) (*bytes)[symbols_at + 2 + i] = 0;
         }},
        {"a symbol made of one that isn't there", [=](std::string *bytes) {
             (*bytes)[symbols_at + 3] = 0x2F, (*bytes)[symbols_at + 4] = 0x0E;
         }},
    };
    // clang-format on
    for (const Change &change : changes) {
        std::string bytes = wdl;
        change.apply(&bytes);
        use_files(bytes, good(".rtbz"));
        expect_corrupted(change.name, refused(TB_WDL));
    }
}

TEST_F(Damage, ValuesThatNoResultHas) {
    TablePlan plan = constant_wdl_plan("KRvK", 200, 5);
    use_files(table_bytes(plan), good(".rtbz"));
    expect_corrupted("a constant of 200", refused(TB_WDL));
    EndingFormat format;
    plan = ending_wdl_plan(ROOK, format);
    for (std::uint16_t &value : plan.streams[0].values) value = 9;
    plan.streams[0].values[0] = 1;
    use_files(table_bytes(plan), good(".rtbz"));
    expect_corrupted("a value of 9", refused(TB_WDL));
}

TEST_F(Damage, MapsTooShort) {
    EndingFormat format;
    format.dtz_flags = MAPPED_FLAG;
    TablePlan plan = ending_dtz_plan(ROOK, format);
    for (auto &part : plan.maps[0]) part.clear();
    use_files(good(".rtbw"), table_bytes(plan));
    expect_corrupted("an empty map", refused(TB_DTZ));
}

TEST_F(Damage, BlocksOutOfRange) {
    std::string bytes = good(".rtbw");
    const int lengths = bytes[18] - bytes[19] + 1, symbols = static_cast<u8>(bytes[20 + 2 * lengths]);
    // The second stream's header follows the first; its sections come after it. Rather than count,
    // put a block number beyond the file into every place where an index entry can be.
    const std::size_t first_end = 10 + 12 + 2 * lengths + 3 * symbols + symbols % 2;
    for (std::size_t at = first_end + 100; at + 200 < bytes.size(); at += 14) {
        std::string changed = bytes;
        for (int i = 0; i < 6; ++i) changed[at + i] = static_cast<char>(0xFF);
        use_files(changed, good(".rtbz"));
        testing::internal::CaptureStderr();
        for (const char *fen : {WHITE_WINS, BLACK_LOSES}) {
            const int code = tb_probe_wdl(set_up(fen), 80);
            EXPECT_TRUE(code >= -1 && code <= 4);
        }
        const std::string errors = testing::internal::GetCapturedStderr();
        EXPECT_TRUE(errors.empty() || errors == "Corrupted table.\n") << errors;
    }
}

// Any bytes at all, after a good magic and after a good header: whatever comes out, it is an answer
// in range or none.
TEST_F(Damage, Garbage) {
    std::mt19937 random(7);
    std::vector<TbPosition> positions;
    for_each_position(ROOK, 4001, [&](int, const TbPosition &pos, int) { positions.push_back(pos); });
    ASSERT_GT(positions.size(), 50u);
    const std::string wdl = good(".rtbw"), dtz = good(".rtbz");
    int refused_tables = 0, answered = 0;
    for (int round = 0; round < 300; ++round) {
        std::string bad_wdl = wdl, bad_dtz = dtz;
        const std::size_t reach = round % 3 == 0 ? 40 : round % 3 == 1 ? 400 : wdl.size();
        const int changes = 1 + static_cast<int>(random() % 8);
        for (std::string *bytes : {&bad_wdl, &bad_dtz})
            for (int i = 0; i < changes; ++i) {
                const std::size_t limit = std::min(reach, bytes->size());
                (*bytes)[4 + random() % (limit - 4)] = static_cast<char>(random());
            }
        if (round % 10 == 0)
            for (std::size_t i = 4; i < bad_wdl.size(); ++i) bad_wdl[i] = static_cast<char>(random());
        use_files(bad_wdl, bad_dtz);
        testing::internal::CaptureStderr();
        for (const TbPosition &pos : positions) {
            const Answer result = wdl_of(pos);
            EXPECT_TRUE(result.value >= -2 && result.value <= 2);
            const Answer distance = dtz_of(pos);
            EXPECT_LT(std::abs(distance.value), 200000);
            answered += result.status != TB_NO_VALUE;
        }
        const std::string errors = testing::internal::GetCapturedStderr();
        refused_tables += !errors.empty();
    }
    EXPECT_GT(refused_tables, 50);
    EXPECT_GT(answered, 300);
}
