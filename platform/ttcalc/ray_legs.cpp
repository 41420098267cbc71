// Integrals along pieces of rays, from the shells and from the table's rows.
#include <algorithm>

#include "platform/ttcalc/ray_table.h"

namespace velorix::tt {
namespace {

// Levels and points closer than this (km) are one: depths carry rounding noise.
constexpr double kSameRadius = 1e-7;

double smaller_eta(const Shell& shell) { return std::min(shell.bottom.eta, shell.top.eta); }

// Rays through the innermost ball, where velocity counts as constant: straight chords.
Leg centre_leg(const RayPoint& end, double p) {
    return {std::acos(std::clamp(p / end.eta, 0.0, 1.0)),
            std::sqrt(std::max(0.0, (end.eta - p) * (end.eta + p)))};
}

}  // namespace

Station RayTable::locate(double r) const {
    const int k = profile_.shell_at(r);
    const Shell& shell = profile_.shell(k);
    if (r - shell.bottom.r < kSameRadius) return {k, false, {}};
    if (shell.top.r - r < kSameRadius) return {k + 1, false, {}};
    return {k, true, point_at_radius(shell, r)};
}

double RayTable::eta_below(const Station& point) const {
    if (point.inside) return point.point.eta;
    return point.level > 0 ? profile_.shell(point.level - 1).top.eta : 0.0;
}

double RayTable::eta_above(const Station& point) const {
    if (point.inside) return point.point.eta;
    return profile_.shell(std::min(point.level, profile_.levels() - 2)).bottom.eta;
}

double RayTable::largest_p(const Station& low, const Station& high) const {
    double p = low.inside ? low.point.eta : kNoBoundary;
    for (int k = low.level; k < high.level; ++k) {
        const Shell& shell = profile_.shell(k);
        p = std::min(p, k == low.level && low.inside ? shell.top.eta : smaller_eta(shell));
    }
    if (!high.inside) return p;
    p = std::min(p, high.point.eta);
    const bool from_bottom = high.level > low.level || !low.inside;
    return from_bottom ? std::min(p, profile_.shell(high.level).bottom.eta) : p;
}

Leg RayTable::leg_to(const Block& block, int sample, const Station& end) const {
    const size_t row = static_cast<size_t>(row_of(end.level));
    const double p = p_[static_cast<size_t>(sample)];
    if (level_of_row_[row] < block.start_level && block.kind == RayKind::kTurning) {
        // No row between the top of a thin turning layer and the point.
        return leg_from_turn(profile_.layers[static_cast<size_t>(block.layer)], p, end);
    }
    Leg leg = legs_[row * p_.size() + static_cast<size_t>(sample)];
    for (int k = level_of_row_[row]; k < end.level; ++k) {
        leg.add(shell_leg(profile_.shell(k).bottom, profile_.shell(k).top, p));
    }
    if (end.inside) leg.add(shell_leg(profile_.shell(end.level).bottom, end.point, p));
    return leg;
}

Leg RayTable::leg_between(const Station& low, const Station& high, double p) const {
    if (low.level == high.level && !high.inside) return {};
    const RayPoint& start = low.inside ? low.point : profile_.shell(low.level).bottom;
    if (low.level == high.level) return shell_leg(start, high.point, p);
    Leg leg = shell_leg(start, profile_.shell(low.level).top, p);
    for (int k = low.level + 1; k < high.level; ++k) {
        leg.add(shell_leg(profile_.shell(k).bottom, profile_.shell(k).top, p));
    }
    if (high.inside) leg.add(shell_leg(profile_.shell(high.level).bottom, high.point, p));
    return leg;
}

Leg RayTable::leg_from_turn(const Layer& layer, double p, const Station& end) const {
    int k = layer.first_shell;
    while (k + 1 < layer.end_shell && profile_.shell(k).top.eta < p) ++k;
    if (end.level < k || (end.level == k && !end.inside)) return {};
    const RayPoint& top = end.level == k ? end.point : profile_.shell(k).top;
    Leg leg = k == 0 ? centre_leg(top, p) : shell_leg(point_at_eta(profile_.shell(k), p), top, p);
    if (end.level > k) leg.add(leg_between({k + 1, false, {}}, end, p));
    return leg;
}

int RayTable::reach_of(int level, double p) const {
    while (level + 1 < profile_.levels() && smaller_eta(profile_.shell(level)) >= p) ++level;
    return level;
}

}  // namespace velorix::tt
