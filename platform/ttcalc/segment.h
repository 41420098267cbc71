#ifndef VELORIX_TTCALC_SEGMENT_H
#define VELORIX_TTCALC_SEGMENT_H
// Interpolation of travel time between two neighbouring rays of a branch.
#include <algorithm>
#include <cmath>

namespace velorix::tt {

/// A sampled ray: ray parameter (s/rad), distance (rad), time (s).
struct Ray {
    double p, x, t;
};

/// An arrival at a given distance.
struct Hit {
    double p, t;
};

/// Smallest and largest distance (rad) of some rays.
struct Window {
    double nearest, farthest;
};

/**
 * The rays between two samples, as polynomials in w = 0 .. 1 from the first to the second:
 *   p(w) = p + p1 w + p2 w^2,  x(w) = x + x1 w + x2 w^2,
 * with x2 chosen so that the time difference of the samples is the integral of p dx. Time then errs
 * in second order of the error of x, and both kinds of singularity are met exactly: at the top of a
 * layer x is linear in sqrt(p_high - p), and at a caustic x is quadratic in p.
 */
struct Segment {
    double p, p1, p2;
    double x, x1, x2;
    double t;

    /// @param shape the linear share of the change of p, 0 .. 1
    Segment(const Ray& a, const Ray& b, double shape) : p(a.p), x(a.x), t(a.t) {
        const double dp = b.p - a.p, dx = b.x - a.x;
        p1 = shape * dp;
        p2 = dp - p1;
        x2 = 0.0;
        if (std::fabs(dp) > 1e-9 * a.p) {
            x2 = 6.0 * (b.t - a.t - p * dx - p1 * dx / 2.0 - p2 * dx / 3.0) / dp;
        }
        x1 = dx - x2;
    }

    Hit at(double w) const {
        const double c1 = p * x1;
        const double c2 = p * x2 + 0.5 * p1 * x1;
        const double c3 = (2.0 * p1 * x2 + p2 * x1) / 3.0;
        const double c4 = 0.5 * p2 * x2;
        return {p + w * (p1 + w * p2), t + w * (c1 + w * (c2 + w * (c3 + w * c4)))};
    }

    /// Distances between which the segment lies, its caustic included.
    Window window() const {
        const double end = x + x1 + x2;
        Window window{std::min(x, end), std::max(x, end)};
        const double w = x2 != 0.0 ? -x1 / (2.0 * x2) : 0.0;
        if (w > 0.0 && w < 1.0) {
            window.nearest = std::min(window.nearest, x + 0.5 * w * x1);
            window.farthest = std::max(window.farthest, x + 0.5 * w * x1);
        }
        return window;
    }

    /**
     * Places w at which the segment meets a distance; a segment with a caustic meets it twice.
     * @return the number of places, 0 to 2
     */
    int find(double distance, double (&w)[2]) const {
        constexpr double kSlack = 1e-12;  // rad; neighbours leave no gap
        const double c = distance - x;
        const double square = x1 * x1 + 4.0 * x2 * c;
        if (square < 0.0) return 0;
        const double root = std::copysign(std::sqrt(square), x1);
        const double q = x1 + root;
        int n = 0;
        const double slack = kSlack / std::max(std::fabs(x1) + std::fabs(x2), kSlack);
        const auto take = [&](double place) {
            if (place >= -slack && place <= 1.0 + slack) w[n++] = std::clamp(place, 0.0, 1.0);
        };
        if (q != 0.0) {
            take(2.0 * c / q);
        } else if (c == 0.0) {
            w[n++] = 0.0;
        }
        if (x2 != 0.0) take(-q / (2.0 * x2));
        return n;
    }
};

}  // namespace velorix::tt
#endif
