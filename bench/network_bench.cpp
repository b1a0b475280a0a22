// Speed of the network: a pass by difference, by the number of changed pieces, a rebuild, and the
// evaluation as games present it.
#include <benchmark/benchmark.h>

#include <vector>

#include "board/fen.h"
#include "eval/network/forward.h"
#include "support/engine.h"

namespace {

constexpr const char *MIDDLE_GAME = "r2q1rk1/pp2bppp/2npbn2/4p3/4P3/1NN1BP2/PPPQ2PP/2KR1B1R w - -";

// Positions one move from it: two rows change, or three for the capture at the end.
constexpr const char *CHANGED[] = {
    "r2q1rk1/pp2bppp/2npbn2/3Np3/4P3/1N2BP2/PPPQ2PP/2KR1B1R w - -",   // Nc3-d5
    "r2q1rk1/pp2bppp/2np1n2/3bp3/4P3/1NN1BP2/PPPQ2PP/2KR1B1R w - -",  // Be6-d5
    "r2q1rk1/pp3ppp/2npbn2/4p3/1b2P3/1NN1BP2/PPPQ2PP/2KR1B1R w - -",  // Be7-b4
    "r2q1rk1/pp2bppp/2npbn2/8/4p3/1NN1BP2/PPPQ2PP/2KR1B1R w - -",     // e5xe4: three
};

// Alternates between a position and its neighbour: each pass is a difference.
void by_difference(benchmark::State &state) {
    ThreadState *thread = start_engine();
    Position near[2];
    set_position_from_text(&thread->position, MIDDLE_GAME);
    near[0] = thread->position;
    set_position_from_text(&thread->position, CHANGED[state.range(0)]);
    near[1] = thread->position;
    int which = 0;
    thread->eval.eval_ply = 3;
    int score;
    for (auto _ : state) {
        thread->position = near[which ^= 1];
        benchmark::DoNotOptimize(network_eval(&thread->eval, thread->position, &score));
    }
}
BENCHMARK(by_difference)->DenseRange(0, 3);

// As siblings in a search: from one quiet neighbour to the next, four rows.
void between_siblings(benchmark::State &state) {
    ThreadState *thread = start_engine();
    std::vector<Position> siblings;
    for (const char *fen : CHANGED) {
        set_position_from_text(&thread->position, fen);
        siblings.push_back(thread->position);
    }
    std::size_t which = 0;
    thread->eval.eval_ply = 3;
    int score;
    for (auto _ : state) {
        thread->position = siblings[which = (which + 1) % 3];
        benchmark::DoNotOptimize(network_eval(&thread->eval, thread->position, &score));
    }
}
BENCHMARK(between_siblings);

void rebuild(benchmark::State &state) {
    ThreadState *thread = start_engine();
    set_position_from_text(&thread->position, state.range(0) ? MIDDLE_GAME : STARTPOS_FEN);
    thread->eval.eval_ply = 1;
    int score;
    for (auto _ : state) benchmark::DoNotOptimize(network_eval(&thread->eval, thread->position, &score));
}
BENCHMARK(rebuild)->DenseRange(0, 1);

}  // namespace
