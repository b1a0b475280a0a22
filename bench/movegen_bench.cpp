// Speed of the board: path counting, the generators, legality, classification, make and unmake, exchange
// values. Items per second are leaves, moves or entries as each benchmark says.
#include <iterator>
#include <vector>

#include "benchmark/benchmark.h"

#include "board/exchange.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/moves.h"
#include "board/notation.h"
#include "control/perft.h"
#include "support/engine.h"

// Openings, middle games full of captures, castling and pins, and endings.
static const char *const POSITIONS[] = {
    STARTPOS_FEN,
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
    "r1bqk2r/pp2bppp/2n1pn2/2pp4/3P1B2/2PBPN2/PP1N1PPP/R2QK2R w KQkq -",
    "3r1rk1/p2b3p/5b2/2pp2p1/4p3/6PP/P2BPPB1/1R3RK1 w - -",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -",
    "8/5k2/3p4/1p1Pp2p/pP2Pp1P/P4P1K/8/8 b - -",
};

static Position *set_up(const char *fen) {
    Position *position = &start_engine()->position;
    set_position_from_text(position, fen);
    return position;
}

// The fastest way to the count: the last ply is generated and tested, not made.
static u64 count_leaves(Position *position, int depth) {
    MoveEntry list[MOVE_LIST_SIZE];
    const MoveEntry *end = generate_all(position, list);
    const int side = position->stm;
    u64 leaves = 0;
    for (const MoveEntry *entry = list; entry != end; ++entry) {
        if (!is_move_legal(position, side, entry->move)) continue;
        if (depth == 1) {
            ++leaves;
            continue;
        }
        make_move(position, entry->move);
        leaves += count_leaves(position, depth - 1);
        unmake_move(position);
    }
    return leaves;
}

static void leaves_by_list(benchmark::State &state) {
    Position *position = set_up(STARTPOS_FEN);
    u64 leaves = 0;
    for (auto _ : state) leaves += count_leaves(position, static_cast<int>(state.range(0)));
    state.SetItemsProcessed(static_cast<i64>(leaves));
}
BENCHMARK(leaves_by_list)->Arg(5)->Arg(6)->Unit(benchmark::kMillisecond);

// The console's walk: lists near the root, the search's picker below.
static void leaves_by_perft(benchmark::State &state) {
    Position *position = set_up(STARTPOS_FEN);
    u64 leaves = 0;
    for (auto _ : state) leaves += count_move_paths(position, static_cast<int>(state.range(0)));
    state.SetItemsProcessed(static_cast<i64>(leaves));
}
BENCHMARK(leaves_by_perft)->Arg(5)->Arg(6)->Unit(benchmark::kMillisecond);

// One position of the table above, its pseudo-legal moves at hand.
struct Scene {
    Position *position;
    std::vector<MoveEntry> moves;
    std::vector<MoveEntry> legal;
};

static Scene scene_of(const benchmark::State &state) {
    Scene scene{set_up(POSITIONS[state.range(0)]), {}, {}};
    MoveEntry list[MOVE_LIST_SIZE];
    const MoveEntry *end = generate_all(scene.position, list);
    for (const MoveEntry *entry = list; entry != end; ++entry) {
        scene.moves.push_back(*entry);
        if (is_move_legal(scene.position, scene.position->stm, entry->move)) scene.legal.push_back(*entry);
    }
    return scene;
}

static void generate_everything(benchmark::State &state) {
    const Scene scene = scene_of(state);
    MoveEntry list[MOVE_LIST_SIZE];
    for (auto _ : state) benchmark::DoNotOptimize(generate_all(scene.position, list));
    state.SetItemsProcessed(state.iterations() * static_cast<i64>(scene.moves.size()));
}
BENCHMARK(generate_everything)->DenseRange(0, std::ssize(POSITIONS) - 1);

static void generate_only_captures(benchmark::State &state) {
    const Scene scene = scene_of(state);
    static MoveEntry list[512];
    i64 moves = 0;
    for (auto _ : state) moves += generate_captures(scene.position, scene.position->stm, list, NO_SQUARE) - list;
    state.SetItemsProcessed(moves);
}
BENCHMARK(generate_only_captures)->DenseRange(0, std::ssize(POSITIONS) - 1);

static void generate_only_quiets(benchmark::State &state) {
    const Scene scene = scene_of(state);
    static MoveEntry list[512];
    i64 moves = 0;
    for (auto _ : state) moves += generate_quiets(scene.position, scene.position->stm, list, NO_SQUARE) - list;
    state.SetItemsProcessed(moves);
}
BENCHMARK(generate_only_quiets)->DenseRange(0, std::ssize(POSITIONS) - 1);

static void test_legality(benchmark::State &state) {
    const Scene scene = scene_of(state);
    for (auto _ : state)
        for (const MoveEntry &entry : scene.moves)
            benchmark::DoNotOptimize(is_move_legal(scene.position, scene.position->stm, entry.move));
    state.SetItemsProcessed(state.iterations() * static_cast<i64>(scene.moves.size()));
}
BENCHMARK(test_legality)->DenseRange(0, std::ssize(POSITIONS) - 1);

static void classify(benchmark::State &state) {
    const Scene scene = scene_of(state);
    for (auto _ : state)
        for (const MoveEntry &entry : scene.moves)
            benchmark::DoNotOptimize(classify_move(scene.position, scene.position->stm, &entry));
    state.SetItemsProcessed(state.iterations() * static_cast<i64>(scene.moves.size()));
}
BENCHMARK(classify)->DenseRange(0, std::ssize(POSITIONS) - 1);

static void make_and_unmake(benchmark::State &state) {
    const Scene scene = scene_of(state);
    for (auto _ : state)
        for (const MoveEntry &entry : scene.legal) {
            make_move(scene.position, entry.move);
            benchmark::DoNotOptimize(scene.position->key);
            unmake_move(scene.position);
        }
    state.SetItemsProcessed(state.iterations() * static_cast<i64>(scene.legal.size()));
}
BENCHMARK(make_and_unmake)->DenseRange(0, std::ssize(POSITIONS) - 1);

static void exchange_values(benchmark::State &state) {
    const Scene scene = scene_of(state);
    for (auto _ : state)
        for (const MoveEntry &entry : scene.moves)
            benchmark::DoNotOptimize(see(scene.position, scene.position->stm, from_of(entry.move), to_of(entry.move)));
    state.SetItemsProcessed(state.iterations() * static_cast<i64>(scene.moves.size()));
}
BENCHMARK(exchange_values)->DenseRange(0, std::ssize(POSITIONS) - 1);

static void exchange_tests(benchmark::State &state) {
    const Scene scene = scene_of(state);
    for (auto _ : state)
        for (const MoveEntry &entry : scene.moves) benchmark::DoNotOptimize(see_ok(scene.position, entry.move));
    state.SetItemsProcessed(state.iterations() * static_cast<i64>(scene.moves.size()));
}
BENCHMARK(exchange_tests)->DenseRange(0, std::ssize(POSITIONS) - 1);

// Off the search path, but a PGN of a million games goes through it.
static void parse_text(benchmark::State &state) {
    const Scene scene = scene_of(state);
    std::vector<std::vector<char>> texts;
    for (const MoveEntry &entry : scene.legal) {
        std::vector<char> text(MOVE_TEXT);
        move_to_text(scene.position, scene.position->stm, entry.move, text.data());
        texts.push_back(text);
    }
    for (auto _ : state)
        for (const std::vector<char> &text : texts) {
            char copy[MOVE_TEXT];
            for (int i = 0; i < MOVE_TEXT; ++i) copy[i] = text[static_cast<std::size_t>(i)];
            Move move;
            benchmark::DoNotOptimize(parse_san(scene.position, copy, &move));
        }
    state.SetItemsProcessed(state.iterations() * static_cast<i64>(texts.size()));
}
BENCHMARK(parse_text)->DenseRange(0, std::ssize(POSITIONS) - 1);
