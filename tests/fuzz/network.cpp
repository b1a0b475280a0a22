// Network files. What a readable one says of a position is compared with a second forward pass.
#include "eval/network/file.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "base/settings.h"
#include "base/text.h"
#include "board/fen.h"
#include "eval/network/forward.h"
#include "eval/network/reference_network.h"
#include "fuzz/fuzz.h"
#include "fuzz/support.h"
#include "support/files.h"
#include "support/positions.h"

static constexpr const char *FILE_NAME = "network.bin";
static constexpr std::size_t HEADER_SIZE = 24;
static constexpr int WORD_SCALE = 128;  // a weight scale below it: the weights are bytes

static constexpr const char *POSITIONS[] = {
    STARTPOS_FEN,
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R b KQkq -",
    "8/2k5/8/8/3PK3/8/8/8 w - -",
    "QQQQKQQQ/QQQQQQQQ/8/8/8/8/qqqqqqqq/qqqqkqqq w - -",
};

// The network as the file has it, taken from its bytes.
static TestNetwork network_of_bytes(const std::string &bytes) {
    TestNetwork sample;
    i16 fields[10];
    std::memcpy(fields, bytes.data(), sizeof fields);
    sample.activation_scale = fields[1];
    sample.weight_scale = fields[2];
    sample.output_scale = fields[3];
    sample.king_buckets = fields[4];
    sample.hidden_size = fields[6];
    sample.output_count = fields[9];
    const std::size_t width = sample.weight_scale < WORD_SCALE ? 1 : 2;
    for (std::size_t i = 0; i < static_cast<std::size_t>(sample.total()); ++i) {
        const char *at = bytes.data() + HEADER_SIZE + width * i;
        i16 word;
        std::memcpy(&word, at, width);
        sample.weights.push_back(width == 1 ? static_cast<i16>(static_cast<i8>(*at)) : word);
    }
    return sample;
}

static void evaluate(const std::string &bytes, ThreadState *thread) {
    const TestNetwork sample = network_of_bytes(bytes);
    REQUIRE(network.king_buckets == sample.buckets() && network.hidden_size == sample.hidden_size);
    REQUIRE(network.weight_count == sample.total());
    REQUIRE(std::memcmp(network.weights, sample.weights.data(), sample.weights.size() * sizeof(i16)) == 0);
    ReferencePass reference;
    reference.sample = &sample;
    for (const char *fen : POSITIONS) {
        const Position *position = set_up(fen);
        thread->eval.eval_ply = 1;
        int score = EVAL_LIMIT + 1;
        REQUIRE(network_eval(&thread->eval, *position, &score));
        REQUIRE(score >= -EVAL_LIMIT && score <= EVAL_LIMIT);
        REQUIRE(score == reference.evaluate(*position, 1));
    }
}

void fuzz_network(const std::string &input) {
    ThreadState *thread = fresh_engine();
    free_network();
    REQUIRE(write_file(FILE_NAME, input));
    std::FILE *file = std::fopen(FILE_NAME, "rb");
    REQUIRE(file != nullptr);
    char text[NETWORK_DEFECT_SIZE] = "";
    const bool readable = read_network(file, text);
    std::fclose(file);
    REQUIRE(readable == (network.weights != nullptr));
    REQUIRE(readable || (text[0] && std::memchr(text, 0, sizeof text)));
    if (!readable) return;
    copy_text(settings.nn_file, FILE_NAME, sizeof settings.nn_file);
    load_network();
    REQUIRE(taken_output() == "info string loaded network.bin\n");
    evaluate(input, thread);
}
