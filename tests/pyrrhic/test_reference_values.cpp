// The tables of three and four men against values computed elsewhere.
#include <cstdlib>

#include "control/output.h"
#include "control/settings.h"
#include "board/notation.h"
#include "pyrrhic/tbprobe/tb_probe.h"
#include "pyrrhic/tbprobe/tb_registry.h"
#include "pyrrhic/tbprobe/tb_values.h"
#include "support/engine.h"
#include "support/shared_data.h"

TEST(ReferenceValues, ThreeAndFourMen) {
    SKIP_WITHOUT_SHARED("data/syzygy/syzygy_expected.tsv");
    start_engine();
    copy_text(settings.syzygy_path, shared_path("data/syzygy").c_str(), sizeof settings.syzygy_path);
    tb_init();
    ASSERT_EQ(TB_LARGEST, 4);
    int lines = 0;
    for (const std::string &line : read_lines(shared_path("data/syzygy/syzygy_expected.tsv"))) {
        if (line.empty() || line[0] == '#' || line.rfind("fen", 0) == 0) continue;
        const auto f = split_tabs(line);
        Position *p = &root_thread_state->position;
        set_position_from_text(p, f[0].c_str());
        TbPosition pos = tb_from_position(p, 0);
        int success = 0;
        EXPECT_EQ(tb_wdl_raw(pos, &success), atoi(f[1].c_str())) << line;
        EXPECT_NE(success, 0);
        EXPECT_EQ(tb_probe_wdl(p, 80), atoi(f[1].c_str()) + 2);
        EXPECT_EQ(tb_probe_dtz(pos, &success), atoi(f[2].c_str())) << line;
        EXPECT_NE(success, 0);
        ++lines;
    }
    EXPECT_EQ(lines, 3000);
}
