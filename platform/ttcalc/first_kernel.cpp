// Built without the error number of sqrt and without floating-point traps (CMakeLists.txt), which
// change no result and let the loops become vector instructions.
#include "platform/ttcalc/first_kernel.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "platform/ttcalc/earth_model.h"

namespace velorix::tt {
namespace {

// asin(sqrt z) / sqrt z on 0 .. 0.5, interpolated at Chebyshev nodes in z; twice it times sqrt z is
// within 8e-15 of the angle.
constexpr int kArcSineTerms = 16;
constexpr double kArcSine[kArcSineTerms] = {
    0.999999999999997,      0.16666666666972133,  0.074999999483087942, 0.044642891587893793,
    0.03038074418331032,    0.022397329364085474, 0.017008204904979386, 0.017202260526879815,
    -0.0099823704647698224, 0.11291580892983616,  -0.34939293923879577, 0.89986199716815407,
    -1.5600352914110287,    1.8513192737480912,   -1.3176516921652137,  0.4506963741507311};

struct LiftedRay {
    double x, t;
};

inline LiftedRay lifted(double p, double x, double t, double low2, double step2,
                        double eta_product) {
    const double s0 = std::sqrt(std::max(0.0, low2 - p * p));
    const double s1 = std::sqrt(std::max(0.0, low2 + step2 - p * p));
    const double dt = step2 / (s0 + s1);
    const double y = p * dt / eta_product, y2 = y * y;
    const double series =
        1.0 + y2 * (1.0 / 6 + y2 * (3.0 / 40 + y2 * (15.0 / 336 + y2 * (105.0 / 3456))));
    return {x + y * series, t + dt};
}

}  // namespace

// From the chord: half of it is the sine of half the angle, and its complement the cosine.
void arc_distances(size_t n, const double* __restrict x, const double* __restrict y,
                   const double* __restrict z, const UnitVector& from,
                   double* __restrict distance) {
    const UnitVector at = from;
    for (size_t i = 0; i < n; ++i) {
        const double dx = x[i] - at.x, dy = y[i] - at.y, dz = z[i] - at.z;
        const double sine2 = 0.25 * (dx * dx + dy * dy + dz * dz);
        const bool far = sine2 > 0.5;
        const double small = std::max(0.0, far ? 1.0 - sine2 : sine2);
        double series = kArcSine[kArcSineTerms - 1];
        for (int k = kArcSineTerms - 2; k >= 0; --k) series = series * small + kArcSine[k];
        const double angle = 2.0 * std::sqrt(small) * series;
        distance[i] = far ? std::numbers::pi - angle : angle;
    }
}

void lift_segments(size_t n, SegmentItems& items) {
    SegmentItems& s = items;
    for (size_t i = 0; i < n; ++i) {
        const double high = (kEarthRadius + s.height[i]) * s.slowness[i];
        const double eta = s.eta[i];
        const double low2 = eta * eta, step2 = (high - eta) * (high + eta), product = high * eta;
        const LiftedRay a = lifted(s.pa[i], s.xa[i], s.ta[i], low2, step2, product);
        const LiftedRay b = lifted(s.pb[i], s.xb[i], s.tb[i], low2, step2, product);
        const double p = s.pa[i];
        const double dp = s.pb[i] - p, dx = b.x - a.x;
        const double p1 = s.shape[i] * dp, p2 = dp - p1;
        const double curved =
            6.0 * (b.t - a.t - p * dx - p1 * dx / 2.0 - p2 * dx * (1.0 / 3.0)) / dp;
        const double x2 = std::fabs(dp) > 1e-9 * p ? curved : 0.0;
        s.p[i] = p;
        s.p1[i] = p1;
        s.p2[i] = p2;
        s.x[i] = a.x;
        s.x1[i] = dx - x2;
        s.x2[i] = x2;
        s.t[i] = a.t;
    }
}

void evaluate_segments(size_t n, SegmentItems& items) {
    constexpr double kNearCaustic = 1e-9;
    SegmentItems& s = items;
    for (size_t i = 0; i < n; ++i) {
        const double p = s.p[i], p1 = s.p1[i], p2 = s.p2[i], x1 = s.x1[i], x2 = s.x2[i];
        const double c = s.distance[i] - s.x[i];
        const double square = x1 * x1 + 4.0 * x2 * c;
        const double root = std::copysign(std::sqrt(square), x1);
        const double w = 2.0 * c / (x1 + root);
        const double c1 = p * x1;
        const double c2 = p * x2 + 0.5 * p1 * x1;
        const double c3 = (2.0 * p1 * x2 + p2 * x1) * (1.0 / 3.0);
        const double c4 = 0.5 * p2 * x2;
        const double scale = x1 * x1 + std::fabs(4.0 * x2 * c);
        const bool folds = x1 * (x1 + 2.0 * x2) < 0.0;
        s.place[i] = w;
        s.time[i] = s.t[i] + w * (c1 + w * (c2 + w * (c3 + w * c4)));
        s.ray[i] = p + w * (p1 + w * p2);
        s.doubtful[i] = folds || std::fabs(square) < kNearCaustic * scale ? 1.0 : 0.0;
    }
}

}  // namespace velorix::tt
