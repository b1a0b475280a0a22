// The forward pass against a second implementation: accumulators, output heads, bounds.
#include "eval/network/forward.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/moves.h"
#include "eval/network/network_fixture.h"
#include "eval/network/reference_network.h"
#include "support/shared_data.h"

namespace {

std::string fen_of(const Position &position) {
    char text[FEN_SIZE];
    position_to_fen(&position, text, 0);
    return text;
}

// Plays random legal moves; true when one was found. Starts again from `fen` at the end of a game.
void random_step(ThreadState *thread, u32 &seed, const char *fen) {
    Position &position = thread->position;
    std::vector<Move> moves;
    MoveEntry list[MOVE_LIST_SIZE];
    generate_all(&position, list);
    for (const MoveEntry *entry = list; entry->move != END_OF_LIST; ++entry)
        if (is_move_legal(&position, position.stm, entry->move)) moves.push_back(entry->move);
    if (moves.empty() || thread->game.game_ply > 300) {
        set_position_from_text(&position, fen);
        return;
    }
    make_game_move(&position, moves[next_random(seed) % moves.size()]);
}

void compare_halves(ThreadState *thread, const ReferencePass &reference) {
    ASSERT_TRUE(fill_accumulator(&thread->eval));
    const int half = reference.sample->half();
    for (int node = 0; node < half; ++node) {
        ASSERT_EQ(thread->eval.acc_cache->white_acc[node], reference.sums[node]) << node;
        ASSERT_EQ(thread->eval.acc_cache->black_acc[node], reference.sums[half + node]) << node;
    }
    for (int node = 0; node < 2 * half; ++node) ASSERT_EQ(thread->eval.accumulator[node], reference.active[node]);
}

}  // namespace

// Random games on made-up networks of many sizes, each pass against the reference: sums, activated
// values, head, unscaled output and score. Large weights saturate the sums, where the order shows.
TEST_F(NetworkTest, ForwardPassEqualsTheReference) {
    struct Case {
        i16 hidden_size, king_buckets, output_count, weight_scale;
        int limit;
    };
    // Tiles, single vectors, scalar rests: 128 and 16 nodes are the steps of a half.
    const Case cases[] = {{512, 2, 5, 3000, 600},     {544, 2, 5, 3000, 32767}, {2, 2, 5, 3000, 30000},
                          {34, 1, 5, 3000, 20000},    {300, 3, 5, 3000, 5000},  {320, 768, 4, 100, 127},
                          {256, 1536, 5, 3000, 9000}, {30, 2, 1, 3000, 32767}};
    u32 seed = 99;
    int incremental = 0, rebuilt = 0, heads = 0, saturated = 0;
    for (const Case &shape : cases) {
        TestNetwork sample;
        sample.hidden_size = shape.hidden_size;
        sample.king_buckets = shape.king_buckets;
        sample.output_count = shape.output_count;
        sample.weight_scale = shape.weight_scale;
        fill_weights(sample, shape.limit, seed++);
        const std::string path = write_network(sample, "tarn_reference.bin");
        ASSERT_EQ(load(path), "info string loaded " + path + "\n");
        ReferencePass reference;
        reference.sample = &sample;
        set_position_from_text(&thread->position, KIWI);
        for (int step = 0; step < 400; ++step) {
            // Mostly the next position; at times several moves on, or near the root.
            const int moves = next_random(seed) % 8 ? 1 : 5;
            for (int i = 0; i < moves; ++i) random_step(thread, seed, KIWI);
            const int ply = next_random(seed) % 20 ? 3 : 2;
            thread->eval.eval_ply = static_cast<i16>(ply);
            const int expected = reference.evaluate(thread->position, ply);
            ASSERT_EQ(network_score(thread), expected);
            ASSERT_EQ(thread->eval.output_head, reference.head);
            ASSERT_EQ(thread->eval.raw_net_score, reference.raw);
            compare_halves(thread, reference);
            if (HasFatalFailure()) return;
            (reference.rebuilt ? rebuilt : incremental) += 1;
            heads |= 1 << reference.head;
            for (const int sum : reference.sums) saturated += sum == 32767 || sum == -32768;
        }
    }
    EXPECT_GT(incremental, 500);
    EXPECT_GT(rebuilt, 300);
    EXPECT_GT(saturated, 1000);
    EXPECT_EQ(heads, 31);
}

// Some scores of a made-up network of full size, so that the numbers themselves stand fixed.
TEST_F(NetworkTest, FixedScores) {
    TestNetwork sample;
    sample.hidden_size = 2560;
    fill_weights(sample, 150, 2024);
    load(write_network(sample, "tarn_fixed.bin"));
    const std::pair<const char *, int> expected[] = {
        {STARTPOS_FEN, -35},
        {KIWI, 116},
        {"8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -", 129},
        {"r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 b - -", -222},
        {"8/8/4k3/8/8/3PK3/8/8 b - -", 4},
        {"4k3/8/8/8/8/8/8/4KQ2 w - -", 93},
    };
    ReferencePass reference;
    reference.sample = &sample;
    for (const auto &[fen, score] : expected) {
        EXPECT_EQ(score_of(fen, 1), score) << fen;
        EXPECT_EQ(reference.evaluate(thread->position, 1), score) << fen;
    }
}

TEST_F(NetworkTest, GoldenScores) {
    SKIP_WITHOUT_SHARED("golden/eval/network_early.tsv");
    for (const char *name : {"early", "random"}) {
        copy_text(settings.nn_file, shared_path(std::string("golden/eval/") + name + "-net.bin").c_str(),
                  sizeof settings.nn_file);
        load_network();
        int positions = 0;
        for (const std::string &line : read_lines(shared_path(std::string("golden/eval/network_") + name + ".tsv"))) {
            if (line.empty() || line[0] == '#') continue;
            const std::vector<std::string> fields = split_tabs(line);
            ASSERT_EQ(fields.size(), 2u) << line;
            EXPECT_EQ(score_of(fields[0].c_str(), 1), std::stoi(fields[1])) << fields[0];
            ++positions;
        }
        EXPECT_EQ(positions, 1500);
    }
}

// The program's own network and its sums far from saturation: the way to a position must not show.
TEST_F(NetworkTest, DifferenceEqualsRebuild) {
    load("embedded");
    network.never_saturates = false;  // starts as the rules of saturating sums say
    u32 seed = 5;
    set_position_from_text(&thread->position, STARTPOS_FEN);
    for (int step = 0; step < 1500; ++step) {
        random_step(thread, seed, STARTPOS_FEN);
        thread->eval.eval_ply = 3;
        const int score = network_score(thread);
        EXPECT_EQ(network_score(thread), score);  // again, with no row applied
        thread->eval.eval_ply = 2;
        ASSERT_EQ(network_score(thread), score) << step;
    }
}

// A snapshot that was changed behind the pass's back tells whether the pass used it.
TEST_F(NetworkTest, SnapshotServesOrNot) {
    load("embedded");
    network.never_saturates = false;
    const char *start = "r3k2r/pppppppp/8/8/8/8/PPPPPPPP/R2QK2R w - -";
    const auto used = [&](const char *before, const char *after, int ply) {
        score_of(before, 1);
        const int clean = score_of(after, 1);
        score_of(before, 1);
        for (int node = 0; node < network.hidden_size / 2; ++node) {
            thread->eval.acc_cache->white_acc[node] = static_cast<i16>(20000 - thread->eval.acc_cache->white_acc[node]);
            thread->eval.acc_cache->black_acc[node] = static_cast<i16>(10000 - thread->eval.acc_cache->black_acc[node]);
        }
        const int score = score_of(after, ply);
        const bool raw_kept = thread->eval.acc_cache->white_acc[0] > 10000;
        EXPECT_TRUE(raw_kept || score == clean);
        return raw_kept;
    };
    EXPECT_TRUE(used(start, start, 3));
    EXPECT_FALSE(used(start, start, 2));
    EXPECT_FALSE(used(start, start, 1));
    // Three white pawns moved: six squares changed; with one gone besides, seven.
    EXPECT_TRUE(used(start, "r3k2r/pppppppp/8/8/8/PPP5/3PPPPP/R2QK2R w - -", 3));
    EXPECT_FALSE(used(start, "r3k2r/pppppppp/8/8/8/PPP5/4PPPP/R2QK2R w - -", 3));
    EXPECT_TRUE(used(start, "r3k2r/3ppppp/ppp5/8/8/PPP5/3PPPPP/R2QK2R w - -", 3));
    EXPECT_FALSE(used(start, "r3k2r/4pppp/ppp5/8/8/8/PPPPPPPP/R2QK2R w - -", 3));
    // Mirror: the kings cross between d and e; bucket: between the third and the fourth rank.
    EXPECT_FALSE(used("4k3/8/8/8/8/8/8/3KQ3 w - -", "4k3/8/8/8/8/8/8/2Q1K3 w - -", 3));
    EXPECT_FALSE(used("3k4/8/8/8/8/8/8/4KQ2 w - -", "4k3/8/8/8/8/8/8/4KQ2 w - -", 3));
    EXPECT_TRUE(used("4k3/8/8/8/8/8/8/4KQ2 w - -", "5k2/8/8/8/8/8/5K2/5Q2 w - -", 3));
    EXPECT_FALSE(used("4k3/8/8/8/8/4K3/8/5Q2 w - -", "4k3/8/8/8/4K3/8/8/5Q2 w - -", 3));
    EXPECT_FALSE(used("8/8/4k3/8/8/8/4K3/5Q2 w - -", "8/8/8/4k3/8/8/4K3/5Q2 w - -", 3));
    EXPECT_TRUE(used("8/8/8/4k3/8/8/4K3/5Q2 w - -", "8/8/8/8/4k3/8/8/4K2Q w - -", 3));
    // The same squares taken by other types: no square of a side changed, and yet rows to apply.
    EXPECT_TRUE(used("r3k2r/pppppppp/8/8/8/8/PPPPPPPP/R3K2R w - -", "b3k2n/nnnnpppp/8/8/8/8/PQQQQPPP/R3K2R b - -", 3));
}

// Starting from the nearest of the kept passes must give what starting from the last one gives, also after positions
// whose sums may have saturated: with a third knight or a second queen.
TEST_F(NetworkTest, NearestPassEqualsLastPass) {
    constexpr const char *STARTS[] = {STARTPOS_FEN, KIWI, "r3k2r/pppppppp/2n5/8/QN2N3/2N5/PPP2PPP/R2QK2R w KQkq -",
                                      "8/PPk5/8/3q4/8/2K5/5ppp/8 w - -"};
    ThreadState *other = allocate_thread_state(3);
    ASSERT_NE(other, nullptr);
    for (const int limit : {0, 990, 3000}) {
        TestNetwork sample;
        sample.hidden_size = 96;
        fill_weights(sample, limit, 21);
        load(limit ? write_network(sample, "tarn_nearest.bin") : "embedded");
        const bool in_range = network.never_saturates;
        EXPECT_EQ(in_range, limit < 1000);
        u32 seed = 31;
        const char *start = STARTPOS_FEN;
        set_position_from_text(&thread->position, start);
        for (int step = 0; step < 2000; ++step) {
            if (next_random(seed) % 16 == 0) {
                start = STARTS[next_random(seed) % 4];
                set_position_from_text(&thread->position, start);
            }
            random_step(thread, seed, start);
            thread->eval.eval_ply = other->eval.eval_ply = static_cast<i16>(1 + next_random(seed) % 12);
            set_position_from_text(&other->position, fen_of(thread->position).c_str());
            network.never_saturates = in_range;
            const int nearest = network_score(thread);
            network.never_saturates = false;
            ASSERT_EQ(nearest, network_score(other)) << step;
            ASSERT_EQ(thread->eval.raw_net_score, other->eval.raw_net_score) << step;
            for (int node = 0; node < network.hidden_size / 2; ++node) {
                ASSERT_EQ(thread->eval.acc_cache->white_acc[node], other->eval.acc_cache->white_acc[node]) << step;
                ASSERT_EQ(thread->eval.acc_cache->black_acc[node], other->eval.acc_cache->black_acc[node]) << step;
            }
        }
    }
    free_network_buffers(&other->eval);
    free_thread_state(other);
}

TEST_F(NetworkTest, HeadsByMaterial) {
    // clang-format off
    const std::pair<const char *, int> heads[] = {
        {"4k3/8/8/8/8/8/8/4K3 w - -", 4},     {"4k3/pppp4/8/8/8/8/PPPPPPPP/4K3 w - -", 4},
        {"4k3/8/8/8/8/8/8/4KN2 w - -", 3},    {"4k2r/8/8/8/8/8/8/4KQ2 w - -", 3},
        {"4k3/8/8/8/8/8/8/4KBN1 w - -", 2},   {"4k3/8/8/8/8/8/8/3QKQ2 w - -", 2},
        {"4k3/8/8/8/8/8/8/4KQN1 w - -", 1},   {"r3k2r/8/8/8/8/8/8/4K3 w - -", 2},
        {"4k3/8/8/8/8/8/8/RRBNK3 w - -", 1},  {"4k3/8/8/8/8/8/8/QRRK4 w - -", 0},
        {"rnb1kbnr/8/8/8/8/8/8/4K3 w - -", 0}, {"4k3/8/8/8/8/8/8/RRBBNK2 w - -", 0},
        {"4k3/8/8/8/8/8/8/QBBBK3 w - -", 1},
    };
    // clang-format on
    load("embedded");
    for (const auto &[fen, head] : heads) {
        score_of(fen, 1);
        EXPECT_EQ(thread->eval.output_head, head) << fen;
    }
    score_of("4k2r/8/8/8/8/8/8/4KQ2 w - -", 1);
    EXPECT_EQ(thread->eval.net_material[0], 5);
    EXPECT_EQ(thread->eval.net_material[1], 5);
    score_of("r1bqk2r/pp6/8/8/8/8/PPPP4/RN1QKB2 w - -", 1);
    const i16 counts[10] = {4, 1, 1, 1, 1, 2, 0, 1, 2, 1};
    for (int i = 0; i < 10; ++i) EXPECT_EQ(thread->eval.piece_counts[i], counts[i]) << i;
}

TEST_F(NetworkTest, BareKingsHoldBiasesAndTwoRows) {
    load("embedded");
    score_of("4k3/8/8/8/8/8/8/4K3 w - -", 1);
    const int half = network.hidden_size / 2;
    const auto row = [half](int index) { return network.first_layer + static_cast<std::size_t>(index) * half; };
    for (int node = 0; node < half; ++node) {
        // e1 and e8 in white's frame; black's is turned upside down.
        EXPECT_EQ(thread->eval.acc_cache->white_acc[node],
                  network.hidden_biases[node] + row(320 + 4)[node] + row(704 + 60)[node]);
        EXPECT_EQ(thread->eval.acc_cache->black_acc[node],
                  network.hidden_biases[half + node] + row(320 + 4)[node] + row(704 + 60)[node]);
    }
}

TEST_F(NetworkTest, ScoreStaysInBounds) {
    TestNetwork sample;
    sample.hidden_size = 64;
    sample.activation_scale = 1;
    sample.output_scale = 32767;
    fill_weights(sample, 32767, 8);
    load(write_network(sample, "tarn_bounds.bin"));
    const int white = score_of(KIWI, 1);
    EXPECT_EQ(std::abs(white), 2500);
    EXPECT_GT(std::fabs(thread->eval.raw_net_score) * 32767.0, 2147483648.0);  // far outside of an integer
    sample.output_scale = -32768;
    load(write_network(sample, "tarn_bounds.bin"));
    EXPECT_EQ(score_of(KIWI, 1), -white);
}

// Another network on the same thread: buffers of its size, nothing left of the old sums even where the
// ply would allow the snapshot.
TEST_F(NetworkTest, ChangeOfNetworkLeavesNothingBehind) {
    TestNetwork first, second, third;
    first.hidden_size = second.hidden_size = 96;
    third.hidden_size = 640;
    fill_weights(first, 500, 11);
    fill_weights(second, 500, 12);
    fill_weights(third, 500, 13);
    for (int round = 0; round < 2; ++round)
        for (const TestNetwork *sample : {&first, &second, &third, &first}) {
            load(write_network(*sample, "tarn_change.bin"));
            ReferencePass reference;
            reference.sample = sample;
            set_position_from_text(&thread->position, KIWI);
            EXPECT_EQ(score_of(KIWI, 5), reference.evaluate(thread->position, 1));
            EXPECT_EQ(thread->eval.acc_hidden_size, sample->hidden_size);
            compare_halves(thread, reference);
        }
}

TEST_F(NetworkTest, OutputRowsFollowTheSideToMove) {
    load("embedded");
    const i16 *white_row;
    const i16 *black_row;
    score_of("r3k2r/8/8/8/8/8/8/4K3 w - -", 1);
    network_output_rows(&thread->eval, thread->position.stm, &white_row, &black_row);
    EXPECT_EQ(white_row, network.output_rows + 2 * network.hidden_size);
    EXPECT_EQ(black_row, white_row + network.hidden_size / 2);
    score_of("r3k2r/8/8/8/8/8/8/4K3 b - -", 1);
    network_output_rows(&thread->eval, thread->position.stm, &white_row, &black_row);
    EXPECT_EQ(black_row, network.output_rows + 2 * network.hidden_size);
    EXPECT_EQ(white_row, black_row + network.hidden_size / 2);
}

// Positions that no game reaches must still be read within bounds.
TEST_F(NetworkTest, StrangePositions) {
    load("embedded");
    for (const char *fen : {"8/8/8/8/8/8/8/8 w - -", "8/8/8/8/8/8/8/4K3 b - -", "4k3/8/8/8/8/8/8/8 w - -",
                            "qqqqqqqq/qqqqqqqq/qqqqqqqq/qqqqkqqq/QQQQKQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ w - -",
                            "kkkkkkkk/8/8/8/8/8/8/KKKKKKKK b - -", "PPPPpppp/4k3/8/8/8/8/4K3/ppppPPPP w - -"})
        for (const int ply : {1, 3, 3}) {
            const int score = score_of(fen, ply);
            EXPECT_LE(std::abs(score), 2500) << fen;
        }
}

// A thread with a copy of the first layer: the scores of the shared one, also after another network was loaded.
TEST_F(NetworkTest, CopyOfTheFirstLayerFollowsTheNetwork) {
    ThreadState *other = allocate_thread_state(3);
    ASSERT_NE(other, nullptr);
    EvalState &eval = other->eval;
    EXPECT_FALSE(eval.own_rows_wanted);
    eval.own_rows_wanted = true;
    set_position_from_text(&other->position, KIWI);
    eval.eval_ply = 3;
    TestNetwork small;
    small.hidden_size = 96;
    fill_weights(small, 500, 41);
    const std::string path = write_network(small, "tarn_copy.bin");
    for (const std::string &name : {std::string("embedded"), path, path, std::string("embedded")}) {
        load(name);
        EXPECT_EQ(network_score(other), score_of(KIWI, 1)) << name;
        ASSERT_NE(eval.own_rows, nullptr);
        EXPECT_NE(eval.own_rows, network.first_layer);
        EXPECT_EQ(eval.own_rows_generation, network.generation);
        const std::size_t bytes = static_cast<std::size_t>(network.first_layer_count) * sizeof(i16);
        EXPECT_EQ(std::memcmp(eval.own_rows, network.first_layer, bytes), 0) << name;
    }
    // The copy is what the pass reads.
    for (i32 i = 0; i < network.first_layer_count; ++i) eval.own_rows[i] = 0;
    eval.acc_generation = 0;
    EXPECT_NE(network_score(other), score_of(KIWI, 1));
    free_network_buffers(&eval);
    EXPECT_EQ(eval.own_rows, nullptr);
    free_thread_state(other);
}

TEST_F(NetworkTest, FailedAllocation) {
    ThreadState *other = allocate_thread_state(3);
    ASSERT_NE(other, nullptr);
    set_position_from_text(&other->position, KIWI);
    other->eval.eval_ply = 3;
    refuse_memory = true;
    ::testing::internal::CaptureStdout();
    int score = 77;
    const bool done = network_eval(&other->eval, other->position, &score);
    const std::string printed = ::testing::internal::GetCapturedStdout();
    refuse_memory = false;
    EXPECT_FALSE(done);
    EXPECT_EQ(score, 77);
    EXPECT_EQ(printed, "error initializing NN!\n");
    EXPECT_EQ(other->eval.accumulator, nullptr);
    EXPECT_EQ(network_score(other), score_of(KIWI, 1));  // memory is back
    free_network_buffers(&other->eval);
    EXPECT_EQ(other->eval.acc_cache, nullptr);
    free_network_buffers(&other->eval);
    free_thread_state(other);
}
