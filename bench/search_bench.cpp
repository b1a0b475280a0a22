// The hash table, and whole searches of a middle-game position with either evaluation.
#include <benchmark/benchmark.h>

#include "base/settings.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/moves.h"
#include "search/hash_table.h"
#include "search/search_state.h"
#include "search/start.h"
#include "support/engine.h"

static const char *const MIDDLE_GAME = "r2q1rk1/pp2bppp/2n1bn2/3p4/3N4/2N1B3/PPP1BPPP/R2Q1RK1 w - -";

static Position *set_up(int hash_mb) {
    ThreadState *master = start_engine();
    if (hash_table.entries != static_cast<i64>(hash_mb) * 65536) {
        settings.hash_mb = hash_mb;
        allocate_hash_table();
    }
    set_position_from_text(&master->position, MIDDLE_GAME);
    return &master->position;
}

// Probes that miss, at places all over the table.
static void hash_probe_miss(benchmark::State &state) {
    Position *position = set_up(static_cast<int>(state.range(0)));
    int score, eval, depth, bound;
    Move move;
    u64 key = position->key;
    for (auto _ : state) {
        key = key * 6364136223846793005ULL + 1442695040888963407ULL;
        position->key = key ^ key >> 29;
        benchmark::DoNotOptimize(hash_probe(position, &score, &eval, &depth, &move, &bound));
    }
}
BENCHMARK(hash_probe_miss)->Arg(1)->Arg(64);

// A probe that hits a warm entry: the move's test is most of it.
static void hash_probe_hit(benchmark::State &state) {
    Position *position = set_up(16);
    hash_table.age = 1;
    hash_store(position, 1, 5, make_word(27, 42), 10, 20, BOUND_EXACT);  // d4xc6
    int score, eval, depth, bound;
    Move move;
    for (auto _ : state) benchmark::DoNotOptimize(hash_probe(position, &score, &eval, &depth, &move, &bound));
}
BENCHMARK(hash_probe_hit);

static void hash_store_spread(benchmark::State &state) {
    Position *position = set_up(static_cast<int>(state.range(0)));
    u64 key = position->key;
    for (auto _ : state) {
        key = key * 6364136223846793005ULL + 1442695040888963407ULL;
        position->key = key ^ key >> 29;
        hash_store(position, 1, 5, make_word(27, 42), 10, 20, BOUND_EXACT);
    }
}
BENCHMARK(hash_store_spread)->Arg(1)->Arg(64);

// A whole search from an empty table; items are nodes.
static void whole_search(benchmark::State &state) {
    set_up(16);
    settings.use_nn = static_cast<u8>(state.range(1));
    settings.max_depth = static_cast<i16>(state.range(0));
    settings.move_time = 1e7f;
    i64 nodes = 0;
    for (auto _ : state) {
        clear_hash_table();
        search_on_this_thread(SEARCH_BENCH);
        write_search_state(0);
        nodes += static_cast<i64>(published.totals.nodes);
    }
    state.SetItemsProcessed(nodes);
}
BENCHMARK(whole_search)->ArgNames({"depth", "network"})->Args({11, 1})->Args({11, 0})->Unit(benchmark::kMillisecond);
