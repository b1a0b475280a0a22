// All tables of three and four men against values from another prober, where that data is present.
#include <cstdlib>

#include "support/shared_data.h"
#include "support/table_directory.h"

static constexpr const char *VALUES = "data/syzygy/syzygy_expected.tsv";

TEST(ReferenceValues, ResultsAndDistances) {
    SKIP_WITHOUT_SHARED(VALUES);
    start_engine();
    testing::internal::CaptureStdout();
    use_tables(shared_path("data/syzygy"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "info string Found 35 WDL, 0 DTM and 35 DTZ tablebase files. Largest 4-men\n");
    int lines = 0;
    for (const std::string &line : read_lines(shared_path(VALUES))) {
        if (line.empty() || line[0] == '#') continue;
        const std::vector<std::string> fields = split_tabs(line);
        ASSERT_GE(fields.size(), 3u) << line;
        const int wdl = std::atoi(fields[1].c_str()), dtz = std::atoi(fields[2].c_str());
        const Position *position = set_up(fields[0]);
        EXPECT_EQ(tb_probe_wdl(position, 80), wdl + 2) << line;
        const TbPosition pos = tb_from_position(position, 0);
        for (const TbPosition &seen : {pos, mirrored(pos)}) {
            EXPECT_EQ(wdl_of(seen).value, wdl) << line;
            EXPECT_NE(wdl_of(seen).status, TB_NO_VALUE) << line;
            EXPECT_EQ(dtz_of(seen).value, dtz) << line;
            EXPECT_NE(dtz_of(seen).status, TB_NO_VALUE) << line;
        }
        ++lines;
    }
    EXPECT_EQ(lines, 3000);
    use_tables("");
}

// The solver of the test support, and so the tables that the other tests write, against the files.
TEST(ReferenceValues, TheTestsOwnTablesAgree) {
    SKIP_WITHOUT_SHARED(VALUES);
    start_engine();
    use_tables(shared_path("data/syzygy"));
    for (const int type : {QUEEN, ROOK, PAWN}) {
        int checked = 0;
        for_each_position(type, sparse_step(17), [&](int, const TbPosition &pos, int dtz) {
            ASSERT_EQ(dtz_of(pos).value, dtz) << ending_name(type);
            ASSERT_EQ(wdl_of(pos).value, dtz > 0 ? 2 : dtz < 0 ? -2 : 0) << ending_name(type);
            ++checked;
        });
        EXPECT_GT(checked, UNDER_SANITIZER ? 3000 : 15000);
    }
    use_tables("");
}
