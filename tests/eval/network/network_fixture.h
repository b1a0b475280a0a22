// The fixture of the network's tests: loads networks from files, scores positions, lets allocations fail.
#pragma once

#include <string>

#include "base/settings.h"
#include "base/text.h"
#include "board/fen.h"
#include "eval/network/file.h"
#include "eval/network/forward.h"
#include "gtest/gtest.h"
#include "search/thread_state.h"
#include "support/engine.h"

// While set, aligned allocations that may fail do fail.
extern bool refuse_memory;

inline int network_score(ThreadState *thread) {
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

constexpr const char *KIWI = "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -";
