// The network's output sum taken apart.
#include <algorithm>
#include <cmath>

#include "base/output.h"
#include "eval/network/file.h"
#include "eval/network/forward.h"
#include "eval/trace.h"

static constexpr float NOTEWORTHY = 20.0f;  // centipawns

struct HiddenRange {
    int low, high;  // smallest and largest hidden value
};

// One perspective's half: the nodes with a noteworthy share; returns the sum of all shares.
static float trace_half(const char *name, const i16 *hidden, const i16 *weights, HiddenRange *range) {
    const float activation_scale = static_cast<float>(network.activation_scale);
    const float scale = static_cast<float>(network.output_scale) / (activation_scale * activation_scale);
    print_plain("%s nodes contributing more than %.0f cp\n", name, static_cast<double>(NOTEWORTHY));
    float sum = 0.0f;
    for (int i = 0; i < network.hidden_size / 2; ++i) {
        const float share = static_cast<float>(hidden[i]) * static_cast<float>(weights[i]) * scale;
        sum += share;
        if (std::fabs(share) > NOTEWORTHY)
            print_plain("%4d.  %5d * %5d ->  %5.0f\n", i, hidden[i], weights[i], static_cast<double>(share));
        range->low = std::min<int>(range->low, hidden[i]);
        range->high = std::max<int>(range->high, hidden[i]);
    }
    return sum;
}

void trace_network(EvalState *state, const Position &position) {
    int score;
    if (!network_eval(state, position, &score) || !fill_accumulator(state)) return;
    const i16 *white_row, *black_row;
    network_output_rows(state, position.stm, &white_row, &black_row);
    HiddenRange range{99999, -99999};
    const float white = trace_half("HL1wp", state->accumulator, white_row, &range);
    const float black = trace_half("HL1bp", state->accumulator + network.hidden_size / 2, black_row, &range);
    print_plain("\n nneval= %5.0f, ev_wp= %5.0f, ev_bp= %5.0f, output node= %d\n\n", static_cast<double>(white + black),
                static_cast<double>(white), static_cast<double>(black), state->output_head);
    print_plain("\n hmin= %d, hmax= %d\n\n", range.low, range.high);
}
