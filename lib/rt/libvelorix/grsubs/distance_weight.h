#ifndef VELORIX_GRSUBS_DISTANCE_WEIGHT_H
#define VELORIX_GRSUBS_DISTANCE_WEIGHT_H
#include "velorix_pvt.h"

namespace velorix {

/// `initial` times the curve's weight at a distance, not below 0; `initial` without a curve.
inline double weight_at(double initial, double distance, int npts, const weights_* curve) {
    if (npts == 0) return initial;
    const double weight = initial * get_weight(distance, npts, curve);
    return weight < 0 ? 0 : weight;
}

/// getweights, inlined into the loop over the stations of a node.
inline void set_node_weights(const SearchParams& sp, StationObs& stao, int64_t goff) {
    const float* distances = sp.velorix->distances;
    const bool curves = distances && (sp.use_dwt != 0 || sp.use_dwts != 0);
    const double distance = curves ? static_cast<double>(distances[goff]) : 0;
    stao.p_weight = curves ? weight_at(stao.p_weight_initial, distance, sp.use_dwt, sp.p_weights)
                           : stao.p_weight_initial;
    stao.s_weight = curves ? weight_at(stao.s_weight_initial, distance, sp.use_dwts, sp.s_weights)
                           : stao.s_weight_initial;
}

}  // namespace velorix
#endif
