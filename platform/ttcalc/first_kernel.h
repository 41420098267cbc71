#ifndef VELORIX_TTCALC_FIRST_KERNEL_H
#define VELORIX_TTCALC_FIRST_KERNEL_H
// The inner loops of first arrivals, on plain arrays so that the compiler can vectorise them. They
// do the arithmetic of Segment and Lift, operation by operation.
#include <cstddef>

namespace velorix::tt {

/// Points as unit vectors.
struct UnitVector {
    double x, y, z;
};

/**
 * Angles between one point and n others (rad), to 3e-14 up to 3.14 rad; beyond, to the rounding of
 * the vectors as their antipodes see it (4e-13 at 0.002 rad from there).
 */
void arc_distances(size_t n, const double* x, const double* y, const double* z,
                   const UnitVector& from, double* distance);

/// Segments to be evaluated at a distance each, and what came of it.
struct SegmentItems {
    static constexpr size_t kMost = 64;  // all arrays in the first cache
    // Arrays a power of two apart would contend for the same lines of the cache.
    static constexpr size_t kRoom = kMost + 8;

    double distance[kRoom];
    // Set by the caller for unlifted rays, by lift_segments() else; see Segment.
    double p[kRoom], p1[kRoom], p2[kRoom], x[kRoom], x1[kRoom], x2[kRoom], t[kRoom];
    // For lift_segments(): two rays, their segment's shape and the way above the surface.
    double pa[kRoom], xa[kRoom], ta[kRoom], pb[kRoom], xb[kRoom], tb[kRoom], shape[kRoom];
    double height[kRoom], eta[kRoom], slowness[kRoom];
    // Results of evaluate_segments().
    double place[kRoom];     // w; not a number where the distance is beyond a caustic
    double time[kRoom];      // s
    double ray[kRoom];       // ray parameter, s/rad
    double doubtful[kRoom];  // 1: near a caustic, or the segment meets distances twice
};

/// Makes segments of the first n items from their rays.
void lift_segments(size_t n, SegmentItems& items);

/// Evaluates the first n segments.
void evaluate_segments(size_t n, SegmentItems& items);

}  // namespace velorix::tt
#endif
