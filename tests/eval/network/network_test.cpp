// The network: where it comes from, damaged files, the forward pass against a second one, the snapshot.
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "base/output.h"
#include "base/settings.h"
#include "base/text.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/moves.h"
#include "eval/network/file.h"
#include "eval/network/forward.h"
#include "eval/network/reference_network.h"
#include "eval/network/rows.h"
#include "support/engine.h"
#include "support/shared_data.h"

namespace {

// While set, aligned allocations that may fail do fail.
bool refuse_memory;

int network_score(ThreadState *thread) {
    int score = 0;
    EXPECT_TRUE(network_eval(&thread->eval, thread->position, &score));
    return score;
}

struct NetworkTest : ::testing::Test {
    ThreadState *thread = start_engine();

    // Sets up a position and evaluates it at `ply`.
    int score_of(const char *fen, int ply) {
        set_position_from_text(&thread->position, fen);
        thread->eval.eval_ply = static_cast<i16>(ply);
        return network_score(thread);
    }
    // Loads a file (or source) and returns what was printed.
    std::string load(const std::string &name) {
        copy_text(settings.nn_file, name.c_str(), sizeof settings.nn_file);
        ::testing::internal::CaptureStdout();
        load_network();
        return ::testing::internal::GetCapturedStdout();
    }
    ~NetworkTest() override {
        load("embedded");
        refuse_memory = false;
    }
};

std::string fen_of(const Position &position) {
    char text[FEN_SIZE];
    position_to_fen(&position, text, 0);
    return text;
}

constexpr const char *KIWI = "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -";

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

// Aligned blocks of the test program, with room for the address that malloc gave just before them.
void *operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t &) noexcept {
    if (refuse_memory) return nullptr;
    const std::size_t align = static_cast<std::size_t>(alignment);
    char *block = static_cast<char *>(std::malloc(size + align + sizeof(void *)));
    if (!block) return nullptr;
    const std::size_t start = reinterpret_cast<std::size_t>(block) + sizeof(void *);
    void *result = block + sizeof(void *) + (align - start % align) % align;
    std::memcpy(static_cast<char *>(result) - sizeof(void *), &block, sizeof block);
    return result;
}
void *operator new(std::size_t size, std::align_val_t alignment) {
    return ::operator new(size, alignment, std::nothrow);
}
void operator delete(void *block, std::align_val_t) noexcept {
    if (!block) return;
    void *origin;
    std::memcpy(&origin, static_cast<char *>(block) - sizeof(void *), sizeof origin);
    std::free(origin);
}
void operator delete(void *block, std::size_t, std::align_val_t alignment) noexcept {
    ::operator delete(block, alignment);
}

TEST_F(NetworkTest, EmbeddedNetworkIsWhatTheFileSays) {
    EXPECT_EQ(load("embedded"), "info string loaded embedded network\n");
    const std::string path = project_path("Source/eval/network/embedded_network.bin");
    std::ifstream file(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    ASSERT_GT(bytes.size(), 24u);
    i16 header[10];
    std::memcpy(header, bytes.data(), sizeof header);
    EXPECT_EQ(network.id, header[0]);
    EXPECT_EQ(network.activation_scale, header[1]);
    EXPECT_EQ(network.hidden_size, header[6]);
    EXPECT_EQ(network.output_count, header[9]);
    EXPECT_EQ(network.weight_count, network.king_buckets * network.hidden_size * 384 + 9 * network.hidden_size);
    ASSERT_GE(network.weight_scale, 128);
    ASSERT_EQ(bytes.size(), 24u + 2u * static_cast<std::size_t>(network.weight_count));
    EXPECT_EQ(std::memcmp(network.weights, bytes.data() + 24, bytes.size() - 24), 0);
}

TEST_F(NetworkTest, NewNetworkHasTheStandardShape) {
    EXPECT_EQ(load("new"), "creating new net...\n");
    EXPECT_EQ(network.id, 770);
    EXPECT_EQ(network.activation_scale, 1500);
    EXPECT_EQ(network.weight_scale, 3000);
    EXPECT_EQ(network.output_scale, 400);
    EXPECT_EQ(network.king_buckets, 2);
    EXPECT_EQ(network.flags, 1);
    EXPECT_EQ(network.hidden_size, 2560);
    EXPECT_EQ(network.output_count, 5);
    EXPECT_EQ(network.first_layer_count, 1966080);
    EXPECT_EQ(network.weight_count, 1989120);
    EXPECT_EQ(network.output_rows - network.first_layer, 1966080);
    EXPECT_EQ(network.hidden_biases - network.output_rows, 20480);
    EXPECT_EQ(score_of(KIWI, 1), 0);
}

TEST_F(NetworkTest, StoredBucketsMayBeFeatures) {
    for (const auto &[stored, buckets] : {std::pair<i16, int>{1536, 2}, {2, 2}, {768, 1}, {2303, 2}, {767, 767}}) {
        TestNetwork sample;
        sample.king_buckets = stored;
        sample.hidden_size = 2;
        fill_weights(sample, 100, 1);
        const std::string path = write_network(sample, "tarn_buckets.bin");
        EXPECT_EQ(load(path), "info string loaded " + path + "\n");
        EXPECT_EQ(network.king_buckets, buckets);
        EXPECT_EQ(network.first_layer_count, buckets * 768);
        EXPECT_EQ(network.weight_count, buckets * 768 + 18);
        EXPECT_EQ(network.flags, 1);
    }
}

TEST_F(NetworkTest, WeightScaleChoosesTheWidth) {
    for (const i16 scale : {i16{127}, i16{128}, i16{-5}}) {
        TestNetwork sample;
        sample.weight_scale = scale;
        fill_weights(sample, 127, 7);
        sample.weights[0] = -128;
        const std::string path = write_network(sample, "tarn_width.bin");
        EXPECT_EQ(load(path), "info string loaded " + path + "\n");
        ASSERT_EQ(network.weight_count, sample.total());
        for (int i = 0; i < network.weight_count; ++i) ASSERT_EQ(network.weights[i], sample.weights[i]) << i;
    }
}

TEST_F(NetworkTest, NamesAreComparedWhole) {
    EXPECT_EXIT(load("embedded2"), ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(load("new.bin"), ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(
        {
            copy_text(settings.nn_file, "/no/such/file", sizeof settings.nn_file);
            std::fflush(stdout);
            dup2(2, 1);  // the message, where the test can see it
            load_network();
        },
        ::testing::ExitedWithCode(0), "^info string can't open /no/such/file\n$");
}

TEST_F(NetworkTest, CutFilesFallBackToTheEmbeddedNetwork) {
    load("embedded");
    const int expected = score_of(KIWI, 1);
    TestNetwork sample;
    fill_weights(sample, 300, 3);
    const std::size_t size = 24 + 2 * sample.weights.size();
    const std::string loaded = "; using the embedded network\ninfo string loaded embedded network\n";
    for (const std::size_t left : {std::size_t{0}, std::size_t{1}, std::size_t{23}}) {
        const std::string path = write_network(sample, "tarn_cut.bin", size - left);
        EXPECT_EQ(load(path), "info string " + path + ": header cut short" + loaded);
        EXPECT_EQ(score_of(KIWI, 1), expected);
    }
    const std::string total = std::to_string(sample.total());
    for (const std::size_t cut : {std::size_t{1}, std::size_t{2}, size - 24}) {
        const std::string path = write_network(sample, "tarn_cut.bin", cut);
        const std::string came = std::to_string((size - 24 - cut) / 2);
        EXPECT_EQ(load(path), "info string " + path + ": cut short, " + came + " of " + total + " weights" + loaded);
        EXPECT_EQ(score_of(KIWI, 1), expected);
    }
    const std::string folder = ::testing::TempDir();
    EXPECT_EQ(load(folder), "info string " + folder + ": header cut short" + loaded);
    EXPECT_EQ(score_of(KIWI, 1), expected);
}

TEST_F(NetworkTest, AbsurdHeadersFallBackToTheEmbeddedNetwork) {
    load("embedded");
    const int expected = score_of(KIWI, 1);
    const auto refused = [&](const TestNetwork &absurd, const std::string &reason) {
        TestNetwork small = absurd;  // a few weights behind the header, whatever it says
        small.weights.assign(1000, 5);
        const std::string path = write_network(small, "tarn_absurd.bin");
        EXPECT_EQ(load(path), "info string " + path + ": " + reason +
                                  "; using the embedded network\ninfo string loaded embedded network\n");
        EXPECT_EQ(score_of(KIWI, 1), expected);
    };
    TestNetwork sample;
    for (const i16 size : {i16{0}, i16{-2}, i16{63}, i16{-32768}, i16{32767}}) {
        sample.hidden_size = size;
        refused(sample, "hidden size " + std::to_string(size) + " is not a positive even number");
    }
    sample.hidden_size = 32766;
    refused(sample, "cut short, 1000 of 25459182 weights");
    sample.king_buckets = 767;
    refused(sample, "9650799342 weights are too many");
    sample.king_buckets = 0;
    refused(sample, "0 king buckets");
    sample.king_buckets = -3;
    refused(sample, "-3 king buckets");
    sample = TestNetwork();
    sample.activation_scale = 0;
    refused(sample, "activation scale 0");
}

TEST_F(NetworkTest, MoreBytesThanNeededAreNoFault) {
    TestNetwork sample;
    fill_weights(sample, 300, 3);
    sample.weights.push_back(77);
    sample.weight_count = 12;  // never believed
    const std::string path = write_network(sample, "tarn_long.bin");
    EXPECT_EQ(load(path), "info string loaded " + path + "\n");
    EXPECT_EQ(network.weight_count, sample.total());
}

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

// Own pawns on eight squares with 4000 each and one bias: 32000 + bias must stay below 32767.
TEST_F(NetworkTest, RangeOfSums) {
    for (const int sign : {-1, 1})
        for (const int bias : {0, 766, 767, 800}) {
            TestNetwork sample;
            sample.hidden_size = 130;
            fill_weights(sample, 0, 1);
            constexpr int NODE = 64, HALF = 65, SECOND_BUCKET = 768;
            for (int square = 16; square < 56; ++square)  // forty squares, of which eight count
                sample.weights[static_cast<std::size_t>((SECOND_BUCKET + square) * HALF + NODE)] =
                    static_cast<i16>(sign * 4000);
            sample.weights[sample.weights.size() - HALF + NODE] = static_cast<i16>(sign * bias);
            load(write_network(sample, "tarn_range.bin"));
            EXPECT_EQ(network.never_saturates, bias < 767) << bias;
        }
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

TEST_F(NetworkTest, NoMemoryForTheWeightsEndsTheProgram) {
    EXPECT_EXIT(
        {
            std::fflush(stdout);
            dup2(2, 1);
            rlimit no_more{};
            no_more.rlim_cur = no_more.rlim_max = 1;
            setrlimit(RLIMIT_AS, &no_more);
            std::strcpy(settings.nn_file, "new");
            load_network();
        },
        ::testing::ExitedWithCode(1), "allocating memory for net failed!");
}

// Vector code against its plain twin, on rows and lengths chosen for the borders of saturation.
TEST(NetworkRows, VectorEqualsPortable) {
    constexpr int LENGTH = 431;
    u32 seed = 17;
    std::vector<std::vector<i16>> rows(9, std::vector<i16>(LENGTH));
    const i16 edges[] = {32767, -32768, 0, -1, 1, -63, -64, -65, 63, 64, 32766, -32767};
    for (std::vector<i16> &row : rows)
        for (i16 &word : row)
            word = next_random(seed) % 3 ? static_cast<i16>(next_random(seed)) : edges[next_random(seed) % 12];
    for (int length : {1, 15, 16, 17, 127, 128, 129, 144, 256, 300, LENGTH})
        for (int count = 0; count <= 6; ++count) {
            RowStep steps[6];
            for (int i = 0; i < count; ++i)
                steps[i] = {rows[static_cast<std::size_t>(i)].data(), next_random(seed) % 2 == 0};
            std::vector<i16> sums(rows[7]), twin_sums(LENGTH, 9);
            // In place, as from the snapshot, against apart, as from the biases.
            const u32 sum = pass_half({sums.data(), steps, count, sums.data(), rows[8].data()}, length);
            const u32 twin =
                pass_half_portable({rows[7].data(), steps, count, twin_sums.data(), rows[8].data()}, 0, length);
            EXPECT_EQ(sum, twin);
            for (int i = 0; i < length; ++i) ASSERT_EQ(sums[i], twin_sums[i]);
            if (length < LENGTH) {
                EXPECT_EQ(twin_sums[static_cast<std::size_t>(length)], 9);
            }
        }
}
