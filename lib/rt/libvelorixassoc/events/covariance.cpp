// Standard errors of a solution.
#include <algorithm>
#include <array>
#include <cmath>

#include "location.h"

namespace velorix::assoc {
namespace {

// Parts of a node's spacing: what interpolation between nodes leaves, and what following rays does.
// They enter the errors alone, not the places: 0 and a half of a node gave the same events.
constexpr double kLeftOfMesh = 0.25, kLeftOfRays = 1.0 / 16.0;
constexpr double kLooseNodes = 10.0;

using Matrix = std::array<std::array<double, 4>, 4>;

// Inverse of a symmetric positive matrix by Gauss-Jordan with pivots; false when singular.
bool invert(Matrix a, Matrix& out) {
    for (size_t i = 0; i < 4; ++i) {
        for (size_t j = 0; j < 4; ++j) out[i][j] = i == j ? 1.0 : 0.0;
    }
    for (size_t c = 0; c < 4; ++c) {
        size_t pivot = c;
        for (size_t r = c + 1; r < 4; ++r) {
            if (std::fabs(a[r][c]) > std::fabs(a[pivot][c])) pivot = r;
        }
        if (std::fabs(a[pivot][c]) < 1e-12) return false;
        std::swap(a[c], a[pivot]);
        std::swap(out[c], out[pivot]);
        const double inverse = 1.0 / a[c][c];
        for (size_t j = 0; j < 4; ++j) {
            a[c][j] *= inverse;
            out[c][j] *= inverse;
        }
        for (size_t r = 0; r < 4; ++r) {
            if (r == c) continue;
            const double f = a[r][c];
            for (size_t j = 0; j < 4; ++j) {
                a[r][j] -= f * a[c][j];
                out[r][j] -= f * out[c][j];
            }
        }
    }
    return true;
}

// Derivatives of a travel time by east and north (s/km) from the path's end, and by depth, over a
// quarter of a node each way.
struct Slope {
    double east, north, depth;
};

Slope slope_of(const GridTimes& times, const Spot& spot, int station, char phase) {
    const auto value = [&](double dx, double dy, double dz) {
        const Times t = times.times(times.shifted(spot, dx, dy, dz), station);
        return phase == 'S' ? t.s : t.p;
    };
    constexpr double kStep = 0.25;  // nodes; 0.1 and 0.5: the same events
    const Position w = times.position(times.shifted(spot, -kStep, 0, 0));
    const Position e = times.position(times.shifted(spot, kStep, 0, 0));
    const Position s = times.position(times.shifted(spot, 0, -kStep, 0));
    const Position n = times.position(times.shifted(spot, 0, kStep, 0));
    const double up = times.position(times.shifted(spot, 0, 0, -kStep)).depth;
    const double down = times.position(times.shifted(spot, 0, 0, kStep)).depth;
    const double shrink = std::cos(w.lat * kPi / 180.0);
    // The mesh's axes in km east and north, then the gradient by solving the 2 x 2 system.
    const auto km_east = [&](const Position& from, const Position& to) {
        return std::remainder(to.lon - from.lon, 360.0) * shrink * kKmPerDegree;
    };
    const double ax = km_east(w, e), ay = (e.lat - w.lat) * kKmPerDegree;
    const double bx = km_east(s, n), by = (n.lat - s.lat) * kKmPerDegree;
    const double da = value(kStep, 0, 0) - value(-kStep, 0, 0);
    const double db = value(0, kStep, 0) - value(0, -kStep, 0);
    const double det = ax * by - ay * bx;
    Slope out{0.0, 0.0, 0.0};
    if (std::fabs(det) > 1e-9) {
        out.east = (da * by - db * ay) / det;
        out.north = (ax * db - bx * da) / det;
    }
    if (down - up > 1e-6) out.depth = (value(0, 0, kStep) - value(0, 0, -kStep)) / (down - up);
    return out;
}

void add_ellipse(Uncertainty& out) {
    const double a = out.covariance[0][0], b = out.covariance[1][1], c = out.covariance[0][1];
    const double mean = 0.5 * (a + b), half = std::hypot(0.5 * (a - b), c);
    out.major = std::sqrt(std::max(0.0, mean + half));
    out.minor = std::sqrt(std::max(0.0, mean - half));
    const double angle = 0.5 * std::atan2(2.0 * c, b - a) * 180.0 / kPi;
    out.strike = angle < 0.0 ? angle + 180.0 : angle;
}

}  // namespace

// Least-squares covariance scaled by the scatter found, but by no less than the a priori
// deviations; a quarter of the node spacing is what refinement leaves of the mesh (interpolation
// is not exact between the nodes), a sixteenth where rays are followed off the nodes, the whole
// spacing's uniform spread what an unrefined node has.
Uncertainty Locator::uncertainty(const Solution& solution) const {
    const bool moved = grid_.times.movable() && grid_.rules.refine != 0;
    Matrix normal{}, inverse{};
    double sum = 0.0, weights = 0.0;
    int n = 0;
    for (const Member& m : solution.members) {
        if (!m.defining) continue;
        if (moved) {
            const Slope g = slope_of(grid_.times, solution.spot, m.station, m.phase);
            const double row[4] = {g.east, g.north, g.depth, 1.0};
            for (size_t i = 0; i < 4; ++i) {
                for (size_t j = 0; j < 4; ++j) normal[i][j] += m.weight * row[i] * row[j];
            }
        }
        sum += m.weight * m.residual * m.residual;
        weights += m.weight;
        ++n;
    }
    const double variance = std::max(1.0, sum / std::max(1, n - 4));
    const double left = solution.spot.free ? kLeftOfRays : moved ? kLeftOfMesh : 1.0;
    const double spacing = grid_.times.spacing_km() * left;
    const double depth_spacing = grid_.times.depth_spacing_km() * left;
    // What no pick constrains gets the extent of ten nodes instead of infinity.
    const double loose = kLooseNodes * std::max(1.0, grid_.times.spacing_km());
    for (size_t i = 0; i < 3; ++i) normal[i][i] += variance / (loose * loose);
    if (normal[3][3] <= 0.0) normal[3][3] = std::max(1e-6, weights);
    Uncertainty out;
    if (!invert(normal, inverse)) return out;
    for (size_t i = 0; i < 4; ++i) {
        for (size_t j = 0; j < 4; ++j)
            out.covariance[i][j] = moved || i == 3 ? variance * inverse[i][j] : 0.0;
    }
    out.covariance[0][0] += spacing * spacing / 12.0;
    out.covariance[1][1] += spacing * spacing / 12.0;
    out.covariance[2][2] += depth_spacing * depth_spacing / 12.0;
    out.east = std::sqrt(out.covariance[0][0]);
    out.north = std::sqrt(out.covariance[1][1]);
    out.depth = std::sqrt(out.covariance[2][2]);
    out.time = std::sqrt(out.covariance[3][3]);
    add_ellipse(out);
    return out;
}

}  // namespace velorix::assoc
