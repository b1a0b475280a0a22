// Compressed streams by themselves: written values come back, and damage is noticed.
#include <algorithm>
#include <memory>
#include <random>

#include "gtest/gtest.h"
#include "support/table_writer.h"
#include "tablebase/tb_stream.h"

// A stream in memory of its exact size, so that a sanitizer sees every byte read too far.
struct StreamInMemory {
    std::unique_ptr<u8[]> bytes;
    TbPairsData *pairs = nullptr;
    bool complete = false;  // all its sections are there
    ~StreamInMemory() {
        if (pairs) tb_free_pairs(pairs);
    }
};

static void read_stream(StreamInMemory *stream, const std::string &text, std::size_t values) {
    stream->bytes.reset(new u8[text.size() + text.empty()]);
    for (std::size_t i = 0; i < text.size(); ++i) stream->bytes[i] = static_cast<u8>(text[i]);
    TbCursor cursor = {stream->bytes.get(), text.size(), 0};
    TbStreamSizes sizes;
    u8 flags = 0;
    TbPairsData *pairs = stream->pairs = tb_setup_pairs(&cursor, values, &sizes, &flags, TB_DTZ);
    EXPECT_LE(cursor.at, cursor.size);
    if (!pairs) return;
    pairs->index_table = tb_take(&cursor, sizes.index);
    pairs->size_table = pairs->index_table ? tb_take(&cursor, sizes.sizes) : nullptr;
    stream->complete = pairs->size_table && tb_align(&cursor, 2) && (pairs->data = tb_take(&cursor, sizes.data));
}

static StreamPlan random_plan(std::mt19937 *random) {
    StreamPlan plan;
    for (int i = 0; i < 3000; ++i)
        plan.values.push_back(static_cast<std::uint16_t>((*random)() % 5 * ((*random)() % 2)));
    return plan;
}

// The stream's bytes from its header on: a table file begins with the magic, a flag and a filling byte.
static std::string stream_bytes(const StreamPlan &plan) {
    TablePlan table;
    table.streams = {plan};
    return table_bytes(table).substr(6);
}

TEST(Stream, ValuesComeBack) {
    std::mt19937 random(5);
    const StreamPlan plan = random_plan(&random);
    StreamInMemory stream;
    read_stream(&stream, stream_bytes(plan), plan.values.size());
    ASSERT_TRUE(stream.complete);
    // In the file the blocks begin at a multiple of 64, counted with the 6 bytes that are left out here.
    const std::size_t data_at = static_cast<std::size_t>(stream.pairs->data - stream.bytes.get());
    stream.pairs->data += (64 - (data_at + 6) % 64) % 64;
    for (std::size_t i = 0; i < plan.values.size(); ++i) {
        const u8 *value = tb_decompress(stream.pairs, i);
        ASSERT_NE(value, nullptr);
        ASSERT_EQ(value[0] | (value[1] & 15) << 8, plan.values[i]) << i;
    }
    // Nothing lies beyond the last index entry.
    EXPECT_EQ(tb_decompress(stream.pairs, stream.pairs->index_count << stream.pairs->idx_bits), nullptr);
}

TEST(Stream, Constant) {
    StreamPlan plan;
    plan.constant = true;
    plan.values = {3};
    StreamInMemory stream;
    read_stream(&stream, stream_bytes(plan), 1000);
    ASSERT_NE(stream.pairs, nullptr);
    EXPECT_EQ(tb_decompress(stream.pairs, 999)[0], 0) << "a constant distance is 0 whatever the byte";
}

TEST(Stream, Garbage) {
    std::mt19937 random(11);
    const StreamPlan plan = random_plan(&random);
    const std::string whole = stream_bytes(plan);
    int set_up_count = 0, read_count = 0;
    for (int round = 0; round < 3000; ++round) {
        std::string bytes = random() % 4 ? whole : whole.substr(0, random() % whole.size());
        const std::size_t reach = std::min<std::size_t>(bytes.size(), random() % 2 ? 60 : bytes.size());
        for (int i = static_cast<int>(random() % 6); i > 0 && reach > 0; --i)
            bytes[random() % reach] = static_cast<char>(random());
        StreamInMemory stream;
        read_stream(&stream, bytes, plan.values.size());
        set_up_count += stream.pairs != nullptr;
        if (!stream.complete) continue;
        for (u64 index = 0; index < plan.values.size() + 5000; index += 7)
            read_count += tb_decompress(stream.pairs, index) != nullptr;
    }
    EXPECT_GT(set_up_count, 300);
    EXPECT_GT(read_count, 10000);
}
