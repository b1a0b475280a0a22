// The fixture of the hand-crafted evaluation's tests: scores and single terms of positions.
#pragma once

#include <cstdlib>
#include <string>

#include "board/fen.h"
#include "eval/handcrafted/hand_eval.h"
#include "gtest/gtest.h"
#include "search/thread_state.h"
#include "support/engine.h"

inline i32 packed(int mg, int eg) { return mg + eg * 65536; }

struct HandEval : ::testing::Test {
    ThreadState *thread = start_engine();
    EvalScratch &scratch = thread->eval.scratch;

    ~HandEval() override { start_engine(); }
    // The score, computed with all snapshots and no help from the pawn cache.
    int score(const std::string &fen) {
        set_position_from_text(&thread->position, fen.c_str());
        thread->eval.eval_ply = 1;
        scratch.trace_on = 1;
        const int result = hand_eval(&thread->eval, thread->position);
        scratch.trace_on = 0;
        return result;
    }
    i32 term(const std::string &fen, TraceTerm which, int side) {
        score(fen);
        return scratch.trace_terms[which][side];
    }
    // The score that the stages add up to before the ending scale, from white's view.
    int unscaled(const std::string &fen) {
        score(fen);
        u32 difference = 0;
        for (const i32(&stage)[2] : scratch.trace_terms)
            difference += static_cast<u32>(stage[WHITE]) - static_cast<u32>(stage[BLACK]);
        return blend_score(static_cast<i32>(difference), scratch.phase);
    }
    void expect_scale(const std::string &fen, float scale) {
        const int value = unscaled(fen);
        EXPECT_GT(std::abs(value), 20) << fen;  // else the factor would hardly show
        const int expected = static_cast<int>(static_cast<float>(value) * scale);
        EXPECT_EQ(score(fen), thread->position.stm == WHITE ? expected : -expected) << fen << ": " << value;
    }
};
