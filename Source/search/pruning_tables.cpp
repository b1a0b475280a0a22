// Building and printing the margins and reductions of a search.
#include "search/pruning_tables.h"

#include <algorithm>
#include <cmath>

#include "base/output.h"
#include "base/settings.h"

i16 fp_margins[8];
i16 sep_margins[8];
i8 lmr_pv[32][32];
i8 lmr_nonpv[32][32];
int fp_depth, sep_depth, nmp_depth, lmp_depth, lmr_depth;

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

// Working copies first: the tables depend on them.
void build_pruning_tables() {
    // The margins have eight entries; deeper settings can't be served.
    fp_depth = std::min<int>(settings.fp_depth, 7);
    sep_depth = std::min<int>(settings.sep_depth, 7);
    nmp_depth = settings.nmp_depth;
    lmp_depth = settings.lmp_depth;
    lmr_depth = settings.lmr_depth;
    // Margins shrink and reductions grow with the selectivity.
    const int s = std::clamp<int>(settings.selectivity, 20, 200);
    const float factor = static_cast<float>(1.5 / (0.5 + 0.01 * s));
    for (int depth = 0; depth < 8; ++depth) {
        const float steps = static_cast<float>(depth);
        fp_margins[depth] = depth <= fp_depth ? static_cast<i16>(factor * 100.0f * steps) : NO_MARGIN;
        sep_margins[depth] = depth <= sep_depth ? static_cast<i16>(factor * 50.0f * steps) : NO_MARGIN;
    }
    for (int depth = 0; depth < 32; ++depth)
        for (int move_number = 0; move_number < 32; ++move_number) {
            lmr_pv[depth][move_number] = reduction(depth, move_number, -0.5, s, 300.0f, 3);
            lmr_nonpv[depth][move_number] = reduction(depth, move_number, 0.6, s, 500.0f, 5);
        }
}

// One line: margins of depths 1 to 7.
static void print_margins(const char *title, const i16 *margins) {
    print_plain("%s", title);
    for (int depth = 1; depth < 8; ++depth) print_plain(" %d", margins[depth]);
    print_plain("\n");
}

// A line for each depth, a column for each move number.
static void print_reductions(const i8 (*table)[32]) {
    for (int depth = 3; depth < 32; ++depth) {
        print_plain("%2d  ", depth);
        for (int move_number = 0; move_number < 32; ++move_number) print_plain("%d ", table[depth][move_number]);
        print_plain("\n");
    }
}

void print_pruning_tables() {
    print_margins("FP_margins= ", fp_margins);
    print_margins("SEP_margins= ", sep_margins);
    print_plain("NMP_depth= %d\n", nmp_depth);
    print_plain("LMR_depth= %d\n", lmr_depth);
    print_plain("LMR table:\n");
    print_reductions(lmr_pv);
    print_plain("\n");
    print_reductions(lmr_nonpv);
}
