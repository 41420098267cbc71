#ifndef VELORIX_TTCALC_ARRIVAL_SELECTION_H
#define VELORIX_TTCALC_ARRIVAL_SELECTION_H
// Which arrival of the calculator's answer is the first P, and which the first S.
#include <cstring>

#include "platform/ttcalc/ttcalc.h"

namespace velorix {

/// Degrees; beyond it diffracted first arrivals are too weak to be picked.
inline constexpr double kLastDiffracted = 102.0;

inline bool ends_in(const char* phase, char upper, char lower) {
    const size_t length = std::strlen(phase);
    return length > 0 && (phase[length - 1] == upper || phase[length - 1] == lower);
}

inline bool ends_in_diff(const char* phase) {
    const size_t length = std::strlen(phase);
    return length >= 4 && std::memcmp(phase + length - 4, "diff", 4) == 0;
}

/// Whether an arrival at `distance` degrees may be the first P. A NaN distance counts as far.
inline bool qualifies_as_P(const char* phase, double distance) {
    if (ends_in(phase, 'S', 's')) return false;
    return distance <= kLastDiffracted || !ends_in_diff(phase);
}

inline bool qualifies_as_S(const char* phase, double distance) {
    if (phase[0] == 'P' || phase[0] == 'p' || ends_in(phase, 'P', 'p')) return false;
    return distance <= kLastDiffracted || std::strcmp(phase, "sPdiff") != 0;
}

/// Time of the first qualifying arrival, of the last one when none qualifies.
/// REQUIRES: at least one arrival.
template <class Qualifies>
double first_arrival(const Tbl* times, double distance, Qualifies qualifies) {
    const int count = maxtbl(times);
    double time = 0.0;
    for (int i = 0; i < count; ++i) {
        const auto& arrival = *static_cast<const TTTime*>(gettbl(times, i));
        time = arrival.value;
        if (qualifies(arrival.phase, distance)) break;
    }
    return time;
}

}  // namespace velorix

#endif
