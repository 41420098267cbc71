#include "platform/ttcalc/ray_table.h"

#include <algorithm>

#include "platform/ttcalc/segment.h"

namespace velorix::tt {
namespace {

// Levels and points closer than this (km) are one: depths carry rounding noise.
constexpr double kSameRadius = 1e-7;

double smaller_eta(const Shell& shell) { return std::min(shell.bottom.eta, shell.top.eta); }

// Rays through the innermost ball, where velocity is constant: straight chords.
Leg centre_leg(const Shell& ball, double p) {
    return {std::acos(std::clamp(p / ball.top.eta, 0.0, 1.0)),
            std::sqrt(std::max(0.0, (ball.top.eta - p) * (ball.top.eta + p)))};
}

// From the turning point of a ray in a shell up to a point of the same shell.
Leg turning_leg(const Profile& profile, int shell, double p, const RayPoint& end) {
    if (shell == 0) return centre_leg({profile.shells[0].bottom, end}, p);
    return shell_leg(point_at_eta(profile.shells[static_cast<size_t>(shell)], p), end, p);
}

}  // namespace

RayTable::RayTable(const EarthModel& model, Family family) : profile_(make_profile(model, family)) {
    for (int i = static_cast<int>(profile_.layers.size()) - 1; i >= 0; --i) add_turning_blocks(i);
    if (profile_.icb_level > 0) add_reflections();
    if (profile_.cmb_level > 0) add_diffraction();
    fill_legs();
}

Station RayTable::locate(double r) const {
    const std::vector<Shell>& shells = profile_.shells;
    const int k = profile_.shell_at(r);
    const Shell& shell = shells[static_cast<size_t>(k)];
    if (r - shell.bottom.r < kSameRadius) return {k, false, {}};
    if (shell.top.r - r < kSameRadius) return {k + 1, false, {}};
    return {k, true, point_at_radius(shell, r)};
}

double RayTable::largest_p(const Station& low, const Station& high) const {
    double p = kNoBoundary;
    if (low.inside) p = std::min(p, low.point.eta);
    if (high.inside) p = std::min(p, high.point.eta);
    if (low.level == high.level) {
        if (high.inside && !low.inside) {
            p = std::min(p, profile_.shells[static_cast<size_t>(low.level)].bottom.eta);
        }
        return p;
    }
    for (int k = low.level; k < high.level; ++k) {
        const Shell& shell = profile_.shells[static_cast<size_t>(k)];
        p = std::min(p, k == low.level && low.inside ? shell.top.eta : smaller_eta(shell));
    }
    if (high.inside) p = std::min(p, profile_.shells[static_cast<size_t>(high.level)].bottom.eta);
    return p;
}

Leg RayTable::leg_to(int sample, const Station& end) const {
    const size_t row = static_cast<size_t>(end.level - profile_.bottom_level);
    Leg leg = legs_[row * p_.size() + static_cast<size_t>(sample)];
    if (end.inside) {
        leg.add(shell_leg(profile_.shells[static_cast<size_t>(end.level)].bottom, end.point,
                          p_[static_cast<size_t>(sample)]));
    }
    return leg;
}

Leg RayTable::leg_between(const Station& low, const Station& high, double p) const {
    const auto shell = [this](int k) -> const Shell& {
        return profile_.shells[static_cast<size_t>(k)];
    };
    const RayPoint& start = low.inside ? low.point : shell(low.level).bottom;
    if (low.level == high.level) {
        return high.inside ? shell_leg(start, high.point, p) : Leg{};
    }
    Leg leg = shell_leg(start, shell(low.level).top, p);
    for (int k = low.level + 1; k < high.level; ++k)
        leg.add(shell_leg(shell(k).bottom, shell(k).top, p));
    if (high.inside) leg.add(shell_leg(shell(high.level).bottom, high.point, p));
    return leg;
}

Leg RayTable::leg_from_turn(const Layer& layer, double p, const Station& end) const {
    int k = layer.first_shell;
    while (k + 1 < layer.end_shell && profile_.shells[static_cast<size_t>(k)].top.eta < p) ++k;
    if (end.inside && end.level <= k) return turning_leg(profile_, k, p, end.point);
    if (end.level <= k) return {};
    Leg leg = turning_leg(profile_, k, p, profile_.shells[static_cast<size_t>(k)].top);
    leg.add(leg_between({k + 1, false, {}}, end, p));
    return leg;
}

int RayTable::reach_of(int level, double p) const {
    const int end = static_cast<int>(profile_.shells.size());
    while (level < end && smaller_eta(profile_.shells[static_cast<size_t>(level)]) >= p) ++level;
    return level;
}

void RayTable::add_turning_blocks(int index) {
    const Layer& layer = profile_.layers[static_cast<size_t>(index)];
    const double low = profile_.shells[static_cast<size_t>(layer.first_shell)].bottom.eta;
    double high = profile_.shells[static_cast<size_t>(layer.end_shell - 1)].top.eta;
    // The layer's range falls apart where part of its rays stays below some lid.
    while (high > low) {
        const int reach = reach_of(layer.end_shell, high);
        const bool open = reach == static_cast<int>(profile_.shells.size());
        double next = open ? low : smaller_eta(profile_.shells[static_cast<size_t>(reach)]);
        next = std::max(next, low);
        if (layer.end_shell > profile_.bottom_level || reach > profile_.bottom_level) {
            add_block({RayKind::kTurning, index, layer.end_shell, reach, next, high, 0, 0});
        }
        high = next;
    }
}

void RayTable::add_reflections() {
    const int level = profile_.icb_level;
    double p = kNoBoundary;
    for (size_t k = static_cast<size_t>(level); k < profile_.shells.size(); ++k) {
        p = std::min(p, smaller_eta(profile_.shells[k]));
    }
    if (p > 0.0) add_block({RayKind::kReflected, -1, level, reach_of(level, p), 0.0, p, 0, 0});
}

void RayTable::add_diffraction() {
    const int level = profile_.cmb_level;
    const double p = profile_.shells[static_cast<size_t>(level)].bottom.eta;
    if (p > 0.0) add_block({RayKind::kDiffracted, -1, level, reach_of(level, p), p, p, 0, 0});
}

// Calls visit(level, leg up to it) for every level that the rays of the block reach.
template <class Visit>
void RayTable::climb(const Block& block, double p, Visit visit) const {
    Leg leg;
    int level = block.start_level;
    if (block.kind == RayKind::kTurning) {
        const Layer& layer = profile_.layers[static_cast<size_t>(block.layer)];
        leg = leg_from_turn(layer, p, {level, false, {}});
    }
    visit(level, leg);
    for (; level < block.reach; ++level) {
        const Shell& shell = profile_.shells[static_cast<size_t>(level)];
        leg.add(shell_leg(shell.bottom, shell.top, p));
        visit(level + 1, leg);
    }
}

Leg RayTable::leg_to_level(const Block& block, double p, int wanted) const {
    Leg result;
    climb(block, p, [&](int level, const Leg& leg) {
        if (level == wanted) result = leg;
    });
    return result;
}

void RayTable::add_block(Block block) {
    block.first = static_cast<int>(p_.size());
    const int n = block.kind == RayKind::kDiffracted ? 0 : 12;
    for (int i = 0; i <= n; ++i) {
        const double u = n == 0 ? 0.0 : static_cast<double>(i) / n;
        const double p = i == n ? block.p_low : block.p_high - (block.p_high - block.p_low) * u * u;
        const double next = u + (n == 0 ? 1.0 : 1.0 / n);
        p_.push_back(p);
        shape_.push_back(2.0 * u / (u + next));
    }
    block.count = static_cast<int>(p_.size()) - block.first;
    blocks_.push_back(block);
}

void RayTable::fill_legs() {
    const int rows = static_cast<int>(profile_.shells.size()) + 1 - profile_.bottom_level;
    legs_.resize(static_cast<size_t>(rows) * p_.size());
    for (const Block& block : blocks_) {
        for (int i = block.first; i < block.first + block.count; ++i) {
            climb(block, p_[static_cast<size_t>(i)], [&](int level, const Leg& leg) {
                if (level < profile_.bottom_level) return;
                const size_t row = static_cast<size_t>(level - profile_.bottom_level);
                legs_[row * p_.size() + static_cast<size_t>(i)] = leg;
            });
        }
    }
}

}  // namespace velorix::tt
