// Speed of the book maker: the same thousand games over and over, and games that are all different,
// where nearly every move is a new node.
#include <cstdio>
#include <cstring>
#include <string>

#include "base/output.h"
#include "base/settings.h"
#include "base/text.h"
#include "benchmark/benchmark.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/moves.h"
#include "board/notation.h"
#include "book/book_maker.h"
#include "support/engine.h"

static constexpr int PLIES = 40;  // beyond the 36 that the maker uses

// A game of random moves from a seed, in the text that a game file has.
static std::string random_game(u32 seed) {
    ThreadState *thread = root_thread_state;
    Position *position = &thread->position;
    set_position_from_text(position, STARTPOS_FEN);
    static const char *RESULTS[] = {"1-0", "0-1", "1/2-1/2"};
    std::string game = std::string("[Event \"?\"]\n[Result \"") + RESULTS[seed % 3] + "\"]\n\n";
    for (int i = 0; i < PLIES; ++i) {
        MoveEntry list[MOVE_LIST_SIZE];
        generate_all(position, list);
        Move legal[256];
        u32 count = 0;
        for (const MoveEntry *entry = list; entry->move != END_OF_LIST; ++entry)
            if (is_move_legal(position, position->stm, entry->move)) legal[count++] = entry->move;
        if (!count) break;
        seed = seed * 12345 + 76543;
        const Move move = legal[(seed >> 8) % count];
        char coord[MOVE_TEXT], san[MOVE_TEXT], by_file[MOVE_TEXT], by_rank[MOVE_TEXT];
        move_forms(position, move, coord, san, by_file, by_rank);
        if (i % 2 == 0) game += std::to_string(i / 2 + 1) + ". ";
        // A piece's short form may be ambiguous, which would end the game; its squares never are.
        const bool is_piece = san[0] >= 'A' && san[0] <= 'Z';
        game.append(is_piece ? coord : san).append(i % 12 == 11 ? "\n" : " ");
        make_move(position, move);
    }
    return game + "\n\n";
}

static void BM_MakeBook(benchmark::State &state) {
    start_engine();
    const int different = static_cast<int>(state.range(0)), games = static_cast<int>(state.range(1));
    const char *path = "bench_games.pgn";
    std::FILE *file = std::fopen(path, "w");
    if (!file) {
        state.SkipWithError("can't write the games");
        return;
    }
    std::string text;
    for (int i = 0; i < different; ++i) text += random_game(static_cast<u32>(i) * 2654435761u);
    for (int i = 0; i < games / different; ++i) std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
    copy_text(settings.pgn_file, path, sizeof settings.pgn_file);
    for (auto _ : state) make_book(&root_thread_state->position);
    state.counters["games/min"] =
        benchmark::Counter(60.0 * games * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    std::remove(path);
    std::remove("tmp_book.bin");
}
BENCHMARK(BM_MakeBook)->Args({1000, 20000})->Args({20000, 20000})->Unit(benchmark::kMillisecond);
