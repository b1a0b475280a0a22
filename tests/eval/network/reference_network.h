// Networks made up for tests, as files, and a second forward pass that shares nothing with the
// program's: it works node by node from plain boards, with a clamp after each addition.
#pragma once

#include <array>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "base/random.h"
#include "board/position.h"
#include "gtest/gtest.h"

struct TestNetwork {
    i16 id = 770, activation_scale = 1500, weight_scale = 3000, output_scale = 400, king_buckets = 2;
    i16 flags = 0, hidden_size = 64, reserved1 = 0, reserved2 = 0, output_count = 5;
    i32 weight_count = -1;
    std::vector<i16> weights;  // first layer, output rows, biases

    int buckets() const { return king_buckets >= 768 ? king_buckets / 768 : king_buckets; }
    int half() const { return hidden_size / 2; }
    int total() const { return buckets() * hidden_size * 384 + 9 * hidden_size; }
};

// The next value of the tests' own random sequence.
inline u32 next_random(u32 &state) {
    state = state * 1664525u + 1013904223u;
    return state >> 8;
}

// Weights spread evenly over -limit..limit.
inline void fill_weights(TestNetwork &sample, int limit, u32 seed) {
    sample.weights.resize(static_cast<std::size_t>(sample.total()));
    for (i16 &weight : sample.weights)
        weight = static_cast<i16>(static_cast<int>(next_random(seed) % (2 * limit + 1)) - limit);
}

// Writes header and weights, one byte each when the scale asks for it; drops `cut` bytes at the end.
inline std::string write_network(const TestNetwork &sample, const std::string &name, std::size_t cut = 0) {
    std::string bytes;
    const auto put = [&bytes](i32 value, int size) {
        for (int i = 0; i < size; ++i) bytes += static_cast<char>(value >> (8 * i) & 255);
    };
    for (const i16 field :
         {sample.id, sample.activation_scale, sample.weight_scale, sample.output_scale, sample.king_buckets,
          sample.flags, sample.hidden_size, sample.reserved1, sample.reserved2, sample.output_count})
        put(field, 2);
    put(sample.weight_count, 4);
    for (const i16 weight : sample.weights) put(weight, sample.weight_scale < 128 ? 1 : 2);
    const std::string path = ::testing::TempDir() + name;
    std::FILE *file = std::fopen(path.c_str(), "wb");
    if (!file) return "";
    std::fwrite(bytes.data(), 1, bytes.size() - cut, file);
    std::fclose(file);
    return path;
}

struct ReferencePass {
    const TestNetwork *sample = nullptr;
    std::array<u8, 64> last_board{};  // of the snapshot
    std::array<int, 4> last_frame{{-1, -1, -1, -1}};
    std::vector<int> sums, active;  // white half, black half
    bool rebuilt = false;
    int head = 0;
    float raw = 0;

    void add(const std::array<int, 4> &frame, int code, int square, int sign) {
        const int half = sample->half();
        const int type = type_of(code) - 1, colour = colour_of(code);
        const int rows[2] = {frame[2] + (colour ? 384 : 0) + 64 * type + (square ^ frame[0]),
                             frame[3] + (colour ? 0 : 384) + 64 * type + (square ^ frame[1])};
        for (int side = 0; side < 2; ++side)
            for (int node = 0; node < half; ++node) {
                int &sum = sums[static_cast<std::size_t>(side * half + node)];
                sum += sign * sample->weights[static_cast<std::size_t>(rows[side]) * half + node];
                sum = sum < -32768 ? -32768 : sum > 32767 ? 32767 : sum;
            }
    }

    int evaluate(const Position &position, int ply) {
        std::array<u8, 64> board{};
        int side_changes[2] = {0, 0}, counts[16] = {};
        for (int square = 0; square < 64; ++square) {
            board[static_cast<std::size_t>(square)] = position.board[square];
            ++counts[position.board[square]];
            for (int colour = 0; colour < 2; ++colour) {
                const int old_code = last_board[static_cast<std::size_t>(square)];
                const bool was = old_code && colour_of(old_code) == colour;
                const bool is = position.board[square] && colour_of(position.board[square]) == colour;
                side_changes[colour] += was != is;
            }
        }
        const int wk = position.king_sq[0], bk = position.king_sq[1];
        const bool two = sample->buckets() == 2;
        const std::array<int, 4> frame = {
            {wk % 8 >= 4 ? 0 : 7, bk % 8 >= 4 ? 56 : 63, two && wk / 8 > 2 ? 768 : 0, two && bk / 8 < 5 ? 768 : 0}};
        rebuilt = frame != last_frame || side_changes[0] > 6 || side_changes[1] > 6 || ply < 3;
        if (rebuilt) {
            last_board.fill(0);
            sums.assign(sample->weights.end() - sample->hidden_size, sample->weights.end());
        }
        for (int type = PAWN; type <= KING; ++type)
            for (int colour = 0; colour < 2; ++colour)
                for (int sign = -1; sign <= 1; sign += 2)
                    for (std::size_t square = 0; square < 64; ++square) {
                        const int code = piece_code(colour, type);
                        const bool was = last_board[square] == code, is = board[square] == code;
                        if (was != is && is == (sign > 0)) add(frame, code, static_cast<int>(square), sign);
                    }
        last_board = board;
        last_frame = frame;

        int value[2];
        for (int colour = 0; colour < 2; ++colour) {
            const int *of = counts + colour * 8;
            const int light = 3 * (of[KNIGHT] + of[BISHOP]) + 5 * of[ROOK];
            value[colour] = light > 0 ? light + 9 * of[QUEEN] : 5 * of[QUEEN];
        }
        const int most = std::max(value[0], value[1]);
        head = most < 3 ? 4 : most < 6 ? 3 : most < 12 ? 2 : most < 19 ? 1 : 0;
        if (sample->output_count != 5) head = 0;

        const std::size_t half = static_cast<std::size_t>(sample->half());
        const i16 *row = sample->weights.data() + static_cast<std::size_t>(sample->buckets()) * 768 * half +
                         static_cast<std::size_t>(head) * 2 * half;
        i64 sum = 0;
        active.assign(2 * half, 0);
        for (std::size_t node = 0; node < 2 * half; ++node) {
            active[node] = sums[node] >= 0 ? sums[node] : -(-sums[node] / 64);
            const std::size_t place = position.stm == WHITE ? node : (node + half) % (2 * half);
            sum += static_cast<i64>(active[node]) * row[place];
        }
        const float scale = static_cast<float>(sample->activation_scale);
        raw = static_cast<float>(static_cast<i32>(static_cast<u32>(sum))) / (scale * scale);
        const float scaled = static_cast<float>(sample->output_scale) * raw;
        const float rounded = std::trunc(scaled + (scaled < 0 ? -0.49999997f : 0.49999997f));
        return rounded < -2500.0f ? -2500 : rounded > 2500.0f ? 2500 : static_cast<int>(rounded);
    }
};
