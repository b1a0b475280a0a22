// Node counts, scores, moves and information lines of searches from a fresh state, against the
// reference results.
#include <cstdio>
#include <cstring>

#include "base/settings.h"
#include "eval/network/file.h"
#include "search/pruning_tables.h"
#include "search/report.h"
#include "search/search_state.h"
#include "support/engine.h"
#include "support/fresh_search.h"
#include "support/sanitizers.h"
#include "support/shared_data.h"

struct GoldenFile {
    const char *name;
    const char *network;  // empty: hand-crafted evaluation
    int depth, hash_mb, multipv, contempt, selectivity;
};

void PrintTo(const GoldenFile &file, std::ostream *out) { *out << file.name; }

static void use_network(const std::string &file) {
    std::strncpy(settings.nn_file, file.c_str(), PATH_LENGTH - 1);
    load_network();
}

class GoldenSearch : public testing::TestWithParam<GoldenFile> {};

// One search in so many, by how much a sanitizer slows a search down.
static constexpr int SEARCH_STEP = THREAD_SANITIZER ? 20 : ADDRESS_SANITIZER ? 4 : 1;

TEST_P(GoldenSearch, NodesScoresAndMoves) {
    const GoldenFile &file = GetParam();
    const std::string path = std::string("golden/search/") + file.name + ".tsv";
    SKIP_WITHOUT_SHARED(path);
    start_engine();
    settings.use_nn = file.network[0] != '\0';
    if (settings.use_nn) use_network(shared_path(std::string("golden/eval/") + file.network));
    settings.multipv = static_cast<u8>(file.multipv);
    settings.contempt = static_cast<i16>(file.contempt);
    settings.selectivity = static_cast<i16>(file.selectivity);
    if (UNDER_SANITIZER) std::printf("under a sanitizer: one search in %d\n", SEARCH_STEP);
    int number = 0, checked = 0, different = 0;
    for (const std::string &line : read_lines(shared_path(path))) {
        const std::vector<std::string> fields = split_tabs(line);
        if (line[0] == '#' || fields.size() < 4 || number++ % SEARCH_STEP) continue;
        const SearchResult result = fresh_search(fields[3], file.depth, file.hash_mb);
        ++checked;
        const std::string got =
            std::to_string(result.nodes) + " " + std::to_string(result.score) + " " + result.best_move;
        const std::string want = fields[0] + " " + fields[1] + " " + fields[2];
        if (got != want && ++different <= 5) ADD_FAILURE() << fields[3] << "\n  got " << got << "\n want " << want;
    }
    EXPECT_GT(checked, 0);
    EXPECT_EQ(different, 0) << "of " << checked;
    if (settings.use_nn) use_network("embedded");
}

INSTANTIATE_TEST_SUITE_P(
    Files, GoldenSearch,
    testing::Values(GoldenFile{"hce_d1", "", 1, 64, 1, 0, 100}, GoldenFile{"hce_d2", "", 2, 64, 1, 0, 100},
                    GoldenFile{"hce_d3", "", 3, 64, 1, 0, 100}, GoldenFile{"hce_d4", "", 4, 64, 1, 0, 100},
                    GoldenFile{"hce_d5", "", 5, 64, 1, 0, 100}, GoldenFile{"hce_d6", "", 6, 64, 1, 0, 100},
                    GoldenFile{"hce_d9", "", 9, 64, 1, 0, 100}, GoldenFile{"hce_d11_hash1", "", 11, 1, 1, 0, 100},
                    GoldenFile{"hce_d6_selectivity170", "", 6, 64, 1, 0, 170},
                    GoldenFile{"hce_d6_multipv4", "", 6, 64, 4, 0, 100},
                    GoldenFile{"hce_d6_contempt60", "", 6, 64, 1, 60, 100},
                    GoldenFile{"net_random_d1", "random-net.bin", 1, 64, 1, 0, 100},
                    GoldenFile{"net_random_d3", "random-net.bin", 3, 64, 1, 0, 100},
                    GoldenFile{"net_random_d5", "random-net.bin", 5, 64, 1, 0, 100},
                    GoldenFile{"net_early_d4", "early-net.bin", 4, 64, 1, 0, 100},
                    GoldenFile{"net_early_d7", "early-net.bin", 7, 64, 1, 0, 100}),
    [](const testing::TestParamInfo<GoldenFile> &test) { return std::string(test.param.name); });

// Takes out a word and the number behind it, wherever they stand.
static void remove_number(std::string &text, const std::string &word) {
    for (std::size_t at; (at = text.find(word)) != std::string::npos;)
        text.erase(at, text.find_first_not_of("0123456789", at + word.size()) - at);
}

// Without time, rate and "info string" lines.
static std::string without_volatile_parts(std::string text) {
    remove_number(text, " time ");
    remove_number(text, " nps ");
    for (std::size_t at; (at = text.find("info string ")) != std::string::npos;)
        text.erase(at, text.find('\n', at) + 1 - at);
    return text;
}

// Each position's information lines, without time and rate, then the best move and the totals.
TEST(GoldenLines, InformationLines) {
    const std::string path = "golden/search/info_lines_hce_d7.txt";
    SKIP_WITHOUT_SHARED(path);
    start_engine();
    settings.use_nn = 0;
    settings.info_min_time = 0.0f;
    const std::vector<std::string> lines = read_lines(shared_path(path));
    int positions = 0;
    for (std::size_t i = 0; i < lines.size();) {
        if (lines[i].rfind("position ", 0) != 0) {
            ++i;
            continue;
        }
        const std::string fen = lines[i].substr(9);
        std::string want;
        for (++i; i < lines.size() && lines[i].rfind("position ", 0) != 0; ++i)
            if (!lines[i].empty()) want += lines[i] + "\n";
        testing::internal::CaptureStdout();
        const SearchResult result = fresh_search(fen, 7, 64);
        report_iteration(0, 1, published.depth, published.score, published.pv);
        std::string got = testing::internal::GetCapturedStdout();
        got = without_volatile_parts(got);
        got +=
            "bestmove " + result.best_move + (result.ponder_move.empty() ? "" : " ponder " + result.ponder_move) + "\n";
        got += "nodes " + std::to_string(result.nodes) + " score " + std::to_string(result.score) + " depth " +
               std::to_string(result.depth) + "\n";
        EXPECT_EQ(got, want) << fen;
        ++positions;
    }
    EXPECT_GT(positions, 0);
}

TEST(GoldenTables, PruningTables) {
    SKIP_WITHOUT_SHARED("golden/search/pruning_tables_100.txt");
    start_engine();
    for (const int selectivity : {20, 40, 70, 100, 150, 200}) {
        settings.selectivity = static_cast<i16>(selectivity);
        build_pruning_tables();
        testing::internal::CaptureStdout();
        print_pruning_tables();
        const std::string got = testing::internal::GetCapturedStdout();
        std::string want;
        const std::string name = "golden/search/pruning_tables_" + std::to_string(selectivity) + ".txt";
        for (const std::string &line : read_lines(shared_path(name))) want += line + "\n";
        EXPECT_EQ(got, want) << selectivity;
    }
    settings.selectivity = 100;
    build_pruning_tables();
}
