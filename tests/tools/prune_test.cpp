// Network pruning, on networks made here: one king bucket, H hidden nodes.
#include "tools/prune.h"

#include <cstring>
#include <functional>

#include "base/settings.h"
#include "board/fen.h"
#include "eval/network/file.h"
#include "search/thread_state.h"
#include "support/engine.h"
#include "tools/tool_files.h"

static constexpr int FEATURES = 768;
static constexpr int QUEEN_ROW = 4 * 64;  // of the white queens, which no record here has

static void append_word(std::string *bytes, int word) {
    *bytes += static_cast<char>(word & 255);
    *bytes += static_cast<char>(word >> 8 & 255);
}

static int word_at(const std::string &bytes, std::size_t index) {
    return static_cast<i16>(static_cast<u8>(bytes[2 * index]) | static_cast<u8>(bytes[2 * index + 1]) << 8);
}

// A network whose hidden values are its biases, all 100, whatever the position: output weight w(c) of
// node c then decides its strength. The rows of the queens name their node.
static void load_made_network(const ScratchDirectory &directory, int hidden, const std::function<int(int)> &weight) {
    const int half = hidden / 2;
    std::string bytes;
    for (const int field : {770, 1500, 3000, 400, 1, 1, hidden, 0, 0, 5}) append_word(&bytes, field);
    bytes += std::string(4, '\0');
    for (int row = 0; row < FEATURES; ++row)
        for (int c = 0; c < half; ++c) append_word(&bytes, row == QUEEN_ROW ? c : 0);
    for (int head = 0; head < 8; ++head)
        for (int c = 0; c < hidden; ++c) append_word(&bytes, weight(c % half) + head);
    for (int c = 0; c < hidden; ++c) append_word(&bytes, c < half ? 100 : 101);
    write_file(directory.file("made.bin"), bytes);
    std::snprintf(settings.nn_file, sizeof settings.nn_file, "%s", directory.file("made.bin").c_str());
    testing::internal::CaptureStdout();
    load_network();
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(network.hidden_size, hidden);
}

static void load_embedded_network() {
    std::strcpy(settings.nn_file, "embedded");
    testing::internal::CaptureStdout();
    load_network();
    testing::internal::GetCapturedStdout();
}

// The record of a position with kings and pawns only: head 4 of the network.
static TrainRecord pawn_record(const char *fen) {
    TrainRecord record;
    set_position_from_text(&root_thread_state->position, fen);
    pack_train_record(&root_thread_state->position, &record);
    return record;
}

static std::string pruned(const std::vector<TrainRecord> &records, const ScratchDirectory &directory) {
    testing::internal::CaptureStdout();
    prune_to_file(records.data(), static_cast<i64>(records.size()), directory.file("pruned.bin").c_str());
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Collecting stats ...\n\nWriting pruned net to pruned.bin ...\n\n");
    return read_file(directory.file("pruned.bin"));
}

constexpr int WORDS = 12;  // of the header
constexpr std::size_t PRUNED_WORDS = 768 * 1536 + 9 * 3072;

// The old network's node at place r of the new one.
static int node_at(const std::string &file, int r) {
    return word_at(file, static_cast<std::size_t>(WORDS + QUEEN_ROW * 1536 + r));
}

TEST(Prune, DropsTheWeakestPairAndSortsTheOthers) {
    start_engine();
    ScratchDirectory directory;
    load_made_network(directory, 3074, [](int c) { return 10 + 5 * c; });  // node 0 is the weakest
    TrainRecord kingless{};
    const std::string file = pruned(
        {kingless, pawn_record("4k3/8/8/8/8/8/P7/4K3 w - -"), pawn_record("4k3/p7/8/8/8/8/8/4K3 b - -")}, directory);
    ASSERT_EQ(file.size(), 2 * (WORDS + PRUNED_WORDS));
    const int header[10] = {770, 1500, 3000, 400, 1, 1, 3072, 0, 0, 5};
    for (int i = 0; i < 10; ++i) EXPECT_EQ(word_at(file, i), header[i]) << i;
    EXPECT_EQ((word_at(file, 10) & 0xFFFF) | word_at(file, 11) << 16, static_cast<int>(PRUNED_WORDS));
    for (int r = 0; r < 1536; ++r) ASSERT_EQ(node_at(file, r), 1536 - r);

    const std::size_t outputs = WORDS + 768 * 1536, biases = outputs + 8 * 3072;
    for (int head = 0; head < 8; ++head)
        for (int r = 0; r < 1536; ++r) {
            const int expected = 10 + 5 * (1536 - r) + head;
            ASSERT_EQ(word_at(file, outputs + head * 3072 + r), expected);
            ASSERT_EQ(word_at(file, outputs + head * 3072 + 1536 + r), expected);
        }
    for (int r = 0; r < 1536; ++r) {
        ASSERT_EQ(word_at(file, biases + r), 100);
        ASSERT_EQ(word_at(file, biases + 1536 + r), 101);
    }
    // What was written is a network that loads.
    std::snprintf(settings.nn_file, sizeof settings.nn_file, "%s", directory.file("pruned.bin").c_str());
    testing::internal::CaptureStdout();
    load_network();
    EXPECT_NE(testing::internal::GetCapturedStdout().find("info string loaded "), std::string::npos);
    EXPECT_EQ(network.hidden_size, 3072);
    load_embedded_network();
}

TEST(Prune, EqualNodesKeepTheirOrderAndSignsDoNotMatter) {
    start_engine();
    ScratchDirectory directory;
    load_made_network(directory, 3080, [](int c) { return c < 4 ? 0 - 4 : c % 2 ? -64 : 56; });  // 4 is added by head 4
    const std::string file = pruned({pawn_record("4k3/8/8/8/8/8/P7/4K3 w - -")}, directory);
    ASSERT_EQ(file.size(), 2 * (WORDS + PRUNED_WORDS));
    for (int r = 0; r < 1536; ++r) ASSERT_EQ(node_at(file, r), r + 4);  // 60 and -60 are as strong
    load_embedded_network();
}

TEST(Prune, WithoutStrengthNodeZeroFillsThePlaces) {
    start_engine();
    ScratchDirectory directory;
    load_made_network(directory, 3080, [](int c) { return c == 7 ? 50 : -4; });
    const std::string file = pruned({pawn_record("4k3/8/8/8/8/8/P7/4K3 w - -")}, directory);
    ASSERT_EQ(file.size(), 2 * (WORDS + PRUNED_WORDS));
    EXPECT_EQ(node_at(file, 0), 7);
    for (int r = 1; r < 1536; ++r) ASSERT_EQ(node_at(file, r), 0);
    load_embedded_network();
}

TEST(Prune, SmallNetworksAndEmptyFilesWriteNothing) {
    start_engine();
    ScratchDirectory directory;
    EXPECT_EQ(network.hidden_size, 2560);
    EXPECT_EQ(pruned({pawn_record("4k3/8/8/8/8/8/P7/4K3 w - -")}, directory), "");
    load_made_network(directory, 3080, [](int c) { return c; });
    EXPECT_EQ(pruned({}, directory), "");
    EXPECT_EQ(pruned({TrainRecord{}}, directory), "");
    EXPECT_FALSE(std::filesystem::exists(directory.file("pruned.bin")));
    load_embedded_network();
}

TEST(Prune, WithoutItsRecordsTheToolEnds) {
    ScratchDirectory directory;
    EXPECT_EQ(run_tool({"-prune_nn"}, directory).output, "allocated 18000 Mbytes for training data.\n");
    EXPECT_TRUE(std::filesystem::is_empty(directory.path));
}
