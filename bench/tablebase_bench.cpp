// Probes of endgame tables from warm pages: results of quiet four-men positions, of any four-men
// positions (captures are searched), and distances; one thread and two. The tables are those of
// TARN_SYZYGY or, without it, of ../shared/data/syzygy.
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "base/output.h"
#include "base/settings.h"
#include "base/text.h"
#include "benchmark/benchmark.h"
#include "board/attacks.h"
#include "board/fen.h"
#include "support/engine.h"
#include "tablebase/tablebase.h"
#include "tablebase/tb_values.h"

// Legal positions of random material whose tables are there; `quiet`: without a pseudo-legal capture.
static std::vector<Position> make_positions(bool quiet, std::size_t count) {
    std::mt19937 random(1);
    std::vector<Position> positions;
    for (int tries = 0; positions.size() < count && tries < 4000000; ++tries) {
        Position position = root_thread_state->position;
        clear_position(&position);
        const int extra[2] = {static_cast<int>(random() % 10), static_cast<int>(random() % 10)};
        const int codes[4] = {KING, BLACK_CODE + KING, piece_code(extra[0] / 5, PAWN + extra[0] % 5),
                              piece_code(extra[1] / 5, PAWN + extra[1] % 5)};
        bool placed = true;
        for (const int code : codes) {
            const Square square = static_cast<Square>(random() % 64);
            if (position.board[square]) placed = false;
            else place_piece(&position, code, square);
        }
        position.stm = random() % 2;
        if (!placed || position_defect(&position)) continue;
        TbMove captures[TB_MAX_MOVES];
        if (quiet && tb_gen_captures(tb_from_position(&position, 0), captures) != captures) continue;
        if (tb_probe_wdl(&position, 80) == TB_NO_ANSWER) continue;
        positions.push_back(position);
    }
    return positions;
}

// Sets the tables up once. Null when there are none.
static const std::vector<Position> *positions_of(bool quiet) {
    static std::vector<Position> sets[2];
    static const bool ready = [] {
        start_engine();
        const char *path = std::getenv("TARN_SYZYGY");
        copy_text(settings.syzygy_path, path ? path : "../shared/data/syzygy", sizeof settings.syzygy_path);
        tb_init();
        for (const bool kind : {false, true}) sets[kind] = make_positions(kind, 20000);
        return true;
    }();
    return ready && sets[quiet].size() == 20000 ? &sets[quiet] : nullptr;
}

template <typename Probe>
static void run(benchmark::State &state, bool quiet, Probe probe) {
    const std::vector<Position> *positions = positions_of(quiet);
    if (!positions) {
        state.SkipWithError("no tables of four men; name their directory in TARN_SYZYGY");
        return;
    }
    std::size_t next = static_cast<std::size_t>(state.thread_index()) * 7919;
    for (auto _ : state) benchmark::DoNotOptimize(probe(&(*positions)[next++ % positions->size()]));
    state.SetItemsProcessed(state.iterations());
}

static void probe_result_quiet(benchmark::State &state) {
    run(state, true, [](const Position *position) { return tb_probe_wdl(position, 80); });
}
static void probe_result_any(benchmark::State &state) {
    run(state, false, [](const Position *position) { return tb_probe_wdl(position, 80); });
}
static void probe_distance(benchmark::State &state) {
    run(state, false, [](const Position *position) {
        TbStatus status = TB_NO_VALUE;
        return tb_probe_dtz(tb_from_position(position, 0), &status);
    });
}
// What each search pays at its start, with all tables of the probes above mapped.
static void check_files(benchmark::State &state) {
    if (!positions_of(false)) {
        state.SkipWithError("no tables");
        return;
    }
    for (auto _ : state) tb_check_files();
}
BENCHMARK(check_files);
BENCHMARK(probe_result_quiet)->UseRealTime()->Threads(1)->Threads(2);
BENCHMARK(probe_result_any)->UseRealTime()->Threads(1)->Threads(2);
BENCHMARK(probe_distance)->UseRealTime()->Threads(1)->Threads(2);
