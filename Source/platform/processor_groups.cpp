// The choice of a processor group.
#include "platform/processor_groups.h"

int choose_processor_group(const int *processors, const int *running, int groups) {
    int best = 0;
    for (int group = 0; group < groups; ++group) {
        if (running[group] < processors[group]) return group;
        if (processors[group] == 0) continue;
        // Fractions compared without division: running / processors.
        const bool fewer = running[group] * processors[best] < running[best] * processors[group];
        if (processors[best] == 0 || fewer) best = group;
    }
    return best;
}
