// Network files: the built-in network, shapes, damaged and overlong files.
#include "eval/network/file.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cstring>

#include "eval/network/network_fixture.h"
#include "eval/network/reference_network.h"
#include "support/sanitizers.h"
#include "support/shared_data.h"

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

TEST_F(NetworkTest, NoMemoryForTheWeightsEndsTheProgram) {
    SKIP_MEMORY_LIMIT_UNDER_SANITIZERS();
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
