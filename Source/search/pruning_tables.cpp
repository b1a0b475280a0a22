// Building and printing the margins and reductions of a search.
#include "search/pruning_tables.h"

#include <algorithm>
#include <cmath>

#include "base/output.h"
#include "base/settings.h"

i16 FP_margins[8];
i16 SEP_margins[8];
i8 lmr_pv[32][32];
i8 lmr_nonpv[32][32];
int FP_depth, SEP_depth, NMP_depth, LMP_depth, LMR_depth;

static constexpr i16 NO_MARGIN = 9000;  // never reached: the depth is not pruned

// Reduction in plies: grows with the root of depth times move number, scaled by selectivity s and
// capped. `a` and `x` are single precision.
static i8 reduction(int depth, int move_number, double offset, int s, float limit, int cap) {
    if (depth <= 2 || move_number == 0) return 0;
    const float a = static_cast<float>(0.23 * std::sqrt(static_cast<double>(depth * move_number)) + offset);
    const float x = a * static_cast<float>(s);
    const double y = static_cast<double>(x) * 0.01;
    if (y < 0.0) return 0;
    if (x > limit) return static_cast<i8>(cap);
    return static_cast<i8>(std::round(static_cast<float>(y)));
}

void build_pruning_tables() {
    // The margins have eight entries; deeper settings can't be served.
    FP_depth = std::min<int>(settings.FP_depth, 7);
    SEP_depth = std::min<int>(settings.SEP_depth, 7);
    NMP_depth = settings.NMP_depth;
    LMP_depth = settings.LMP_depth;
    LMR_depth = settings.LMR_depth;
    const int s = std::clamp<int>(settings.selectivity, 20, 200);
    const float factor = static_cast<float>(1.5 / (0.5 + 0.01 * s));
    for (int depth = 0; depth < 8; ++depth) {
        const float steps = static_cast<float>(depth);
        FP_margins[depth] = depth <= FP_depth ? static_cast<i16>(factor * 100.0f * steps) : NO_MARGIN;
        SEP_margins[depth] = depth <= SEP_depth ? static_cast<i16>(factor * 50.0f * steps) : NO_MARGIN;
    }
    for (int depth = 0; depth < 32; ++depth)
        for (int move_number = 0; move_number < 32; ++move_number) {
            lmr_pv[depth][move_number] = reduction(depth, move_number, -0.5, s, 300.0f, 3);
            lmr_nonpv[depth][move_number] = reduction(depth, move_number, 0.6, s, 500.0f, 5);
        }
}

static void print_margins(const char *title, const i16 *margins) {
    print_plain("%s", title);
    for (int depth = 1; depth < 8; ++depth) print_plain(" %d", margins[depth]);
    print_plain("\n");
}

static void print_reductions(const i8 (*table)[32]) {
    for (int depth = 3; depth < 32; ++depth) {
        print_plain("%2d  ", depth);
        for (int move_number = 0; move_number < 32; ++move_number) print_plain("%d ", table[depth][move_number]);
        print_plain("\n");
    }
}

void print_pruning_tables() {
    print_margins("FP_margins= ", FP_margins);
    print_margins("SEP_margins= ", SEP_margins);
    print_plain("NMP_depth= %d\n", NMP_depth);
    print_plain("LMR_depth= %d\n", LMR_depth);
    print_plain("LMR table:\n");
    print_reductions(lmr_pv);
    print_plain("\n");
    print_reductions(lmr_nonpv);
}
