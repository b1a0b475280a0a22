// Cost of one hand-crafted evaluation: over the positions around those of -bench, without and with the
// pawn cache (items per second), and of three of them by themselves.
#include <benchmark/benchmark.h>

#include <vector>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/moves.h"
#include "eval/handcrafted/hand_eval.h"
#include "support/engine.h"
#include "tools/benchmark.h"

namespace {

// The roots and every position one legal move after them: neighbours as a search evaluates them.
std::vector<Position> search_positions(ThreadState *thread) {
    std::vector<Position> positions;
    for (const char *fen : BENCH_POSITIONS) {
        set_position_from_text(&thread->position, fen);
        const Position root = thread->position;
        positions.push_back(root);
        MoveEntry list[MOVE_LIST_SIZE];
        generate_all(&thread->position, list);
        for (const MoveEntry *entry = list; entry->move != END_OF_LIST; ++entry) {
            if (!is_move_legal(&thread->position, root.stm, entry->move)) continue;
            make_move(&thread->position, entry->move);
            positions.push_back(thread->position);
            unmake_move(&thread->position);
        }
    }
    return positions;
}

// Argument: the ply, 1 without and 5 with the pawn cache.
void neighbours(benchmark::State &state) {
    ThreadState *thread = start_engine();
    const std::vector<Position> positions = search_positions(thread);
    thread->eval.eval_ply = static_cast<i16>(state.range(0));
    for (auto _ : state)
        for (const Position &position : positions) {
            thread->position = position;
            benchmark::DoNotOptimize(hand_eval(&thread->eval, thread->position));
        }
    state.SetItemsProcessed(static_cast<i64>(state.iterations() * positions.size()));
}
BENCHMARK(neighbours)->Arg(1)->Arg(5);

void one_position(benchmark::State &state) {
    ThreadState *thread = start_engine();
    set_position_from_text(&thread->position, BENCH_POSITIONS[state.range(0)]);
    thread->eval.eval_ply = 5;
    for (auto _ : state) benchmark::DoNotOptimize(hand_eval(&thread->eval, thread->position));
}
BENCHMARK(one_position)->Arg(0)->Arg(3)->Arg(7);

}  // namespace
