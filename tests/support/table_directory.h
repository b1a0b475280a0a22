// Directories of table files for tests, and positions of the small endings.
#pragma once

#include <cstdio>
#include <string>

#include "gtest/gtest.h"
#include "support/endgame_solver.h"
#include "support/engine.h"
#include "support/files.h"
#include "support/positions.h"
#include "support/sanitizers.h"
#include "tablebase/tablebase.h"
#include "tablebase/tb_material.h"
#include "tablebase/tb_registry.h"
#include "tablebase/tb_values.h"

// The files of the solved endings, written for the first test that needs them and removed at the end.
class SolvedFiles : public testing::Environment {
public:
    void TearDown() override {
        delete directory;
        directory = nullptr;
    }
    static inline ScratchDirectory *directory = nullptr;
};
inline testing::Environment *const solved_files = testing::AddGlobalTestEnvironment(new SolvedFiles);

// The engine with these tables. Each test ends without tables.
class SolvedTables : public testing::Test {
protected:
    static void SetUpTestSuite() {
        start_engine();
        if (!SolvedFiles::directory) {
            SolvedFiles::directory = new ScratchDirectory;
            ASSERT_TRUE(write_three_endings(SolvedFiles::directory->path));
        }
        directory = SolvedFiles::directory;
    }
    void SetUp() override {
        start_engine();
        use_tables(directory->path);
    }
    void TearDown() override { use_tables(""); }

    static inline ScratchDirectory *directory = nullptr;
};

inline TbPosition tb_position_of(const std::string &fen) {
    const Position *position = set_up(fen);
    return tb_from_position(position, position->fifty);
}

// A result or distance, and how the probe ended.
struct Answer {
    int value;
    TbStatus status;
};
inline bool operator==(const Answer &a, const Answer &b) { return a.value == b.value && a.status == b.status; }
inline std::ostream &operator<<(std::ostream &out, const Answer &answer) {
    return out << "value " << answer.value << ", status " << answer.status;
}
inline Answer wdl_of(const TbPosition &pos) {
    Answer answer{};
    answer.value = tb_wdl_raw(pos, &answer.status);
    return answer;
}
inline Answer dtz_of(const TbPosition &pos) {
    Answer answer{};
    answer.value = tb_probe_dtz(pos, &answer.status);
    return answer;
}

// The step for tests that visit many positions. Sanitizers make a probe twenty times as slow: one position in five then.
inline int sparse_step(int step) {
    if (!UNDER_SANITIZER) return step;
    std::printf("under a sanitizer: one position in %d instead of %d\n", 5 * step, step);
    return 5 * step;
}

// Calls `check(turn, pos, dtz)` for every legal position of the ending whose numbers fall on the step.
template <typename Check>
void for_each_position(int type, int step, Check check) {
    int number = 0;
    for (int turn = 0; turn < 2; ++turn)
        for (int man = 0; man < 64; ++man)
            for (int kings = 0; kings < 64 * 64; ++kings) {
                if (++number % step) continue;
                TbPosition pos;
                if (!ending_position(type, turn, man, kings / 64, kings % 64, &pos)) continue;
                check(turn, pos, ending_dtz(type, turn, man, kings / 64, kings % 64));
                if (testing::Test::HasFatalFailure()) return;
            }
}
