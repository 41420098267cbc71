#ifndef VELORIX_SUPPORT_ARC_H
#define VELORIX_SUPPORT_ARC_H
#include "platform/geodesy/geodesy.h"
#include "support/units.h"

namespace velorix {

/// Great-circle distance of two points, all in degrees.
inline double arc_degrees(double lat1, double lon1, double lat2, double lon2) {
    double delta = 0.0;
    dist(radians(lat1), radians(lon1), radians(lat2), radians(lon2), &delta, nullptr);
    return delta * kDegreesPerRadian;
}

}  // namespace velorix
#endif
