#include "grsubs/distance_weight.h"

double get_weight(double distance, int npts, const weights_* weights) {
    if (distance <= weights[0].distance) return weights[0].weight;
    const weights_& last = weights[npts - 1];
    if (distance > last.distance) return last.weight;
    for (int i = 0; i + 1 < npts; ++i) {
        if (weights[i + 1].distance >= distance) {
            return weights[i].weight + weights[i].slope * (distance - weights[i].distance);
        }
    }
    return last.weight;  // a distance that is not a number
}

int getweights(const SearchParams* sp, StationObs* stao, int64_t goff) {
    velorix::set_node_weights(*sp, *stao, goff);
    return 0;
}

int mydistcompare(const void* a, const void* b, void*) {
    const double first = (*static_cast<StationObs* const*>(a))->distance;
    const double second = (*static_cast<StationObs* const*>(b))->distance;
    if (first > second) return 1;
    return second > first ? -1 : 0;
}
