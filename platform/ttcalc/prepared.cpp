#include "platform/ttcalc/prepared.h"

#include <algorithm>
#include <numbers>

namespace velorix::tt {

Prepared::Prepared(const EarthModel& model, const RayTable& table, double r_low, double r_high)
    : model_(model), low_(table.locate(r_low)), high_(table.locate(r_high)) {
    p_max_ = table.largest_p(low_, high_);
    const double depth = kEarthRadius - r_low;
    add_upgoing(table, depth <= model.conrad ? Phase::kUpper
                       : depth <= model.moho ? Phase::kLower
                                             : Phase::kUp);
    for (const Block& block : table.blocks()) add_block(table, block);
}

Phase Prepared::turning_phase(const RayTable& table, const Block& block) const {
    if (block.kind == RayKind::kReflected) return Phase::kReflected;
    if (block.kind == RayKind::kDiffracted) return Phase::kDiffracted;
    const Profile& profile = table.profile();
    const Shell& top = profile.shells[static_cast<size_t>(block.start_level - 1)];
    const double depth = kEarthRadius - 0.5 * (top.bottom.r + top.top.r);
    if (depth > model_.icb) return Phase::kInner;
    if (depth > model_.cmb) return Phase::kOuter;
    if (depth > model_.transition) return Phase::kMantle;
    if (depth > model_.moho) return Phase::kUppermost;
    return depth > model_.conrad ? Phase::kLower : Phase::kUpper;
}

void Prepared::add_run(const std::vector<Ray>& rays, const std::vector<double>& shapes,
                       Phase phase) {
    for (size_t i = 0; i + 1 < rays.size(); ++i) {
        segments_.push_back({Segment(rays[i], rays[i + 1], shapes[i]), phase});
    }
}

void Prepared::add_upgoing(const RayTable& table, Phase phase) {
    if (!(p_max_ > 0.0) || p_max_ == kNoBoundary) return;
    std::vector<Ray> rays;
    std::vector<double> shapes;
    constexpr int kCount = 60;
    const double c = 1e-3, y1 = std::asinh(1.0 / c);
    for (int i = 0; i <= kCount; ++i) {
        const double u = i == kCount ? 1.0 : c * std::sinh(y1 * i / kCount);
        const double next = c * std::sinh(y1 * (i + 1) / kCount);
        const double p = p_max_ * (1.0 - u * u);
        const Leg leg = table.leg_between(low_, high_, p);
        rays.push_back({p, leg.x, leg.t});
        shapes.push_back(2.0 * u / (u + next));
    }
    add_run(rays, shapes, phase);
}

void Prepared::add_block(const RayTable& table, const Block& block) {
    const Profile& profile = table.profile();
    const bool same_layer = block.start_level > low_.level;
    std::vector<Ray> rays;
    std::vector<double> shapes;
    if (!same_layer) {
        if (block.reach < low_.level || block.p_low >= p_max_) return;
        if (block.p_high <= p_max_) {
            for (int i = block.first; i < block.first + block.count; ++i) {
                Leg leg = table.leg_to(i, low_);
                leg.add(table.leg_to(i, high_));
                rays.push_back({table.p(i), leg.x, leg.t});
                shapes.push_back(table.shape(i));
            }
        }
    } else if (block.kind != RayKind::kTurning) {
        return;
    }
    if (rays.empty()) {
        const Layer& layer = profile.layers[static_cast<size_t>(block.layer)];
        if (block.kind != RayKind::kTurning) return;
        if (low_.level < layer.first_shell) return;
        const RayPoint& at =
            low_.inside ? low_.point : profile.shells[static_cast<size_t>(low_.level)].bottom;
        double top = std::min(block.p_high, p_max_);
        if (same_layer) {
            if (!low_.inside && low_.level == layer.first_shell) return;
            const RayPoint& here =
                low_.inside ? at : profile.shells[static_cast<size_t>(low_.level - 1)].top;
            top = std::min(top, here.eta);
        }
        if (!(top > block.p_low)) return;
        constexpr int kCount = 24;
        for (int i = 0; i <= kCount; ++i) {
            const double u = static_cast<double>(i) / kCount, next = u + 1.0 / kCount;
            const double p = i == kCount ? block.p_low : top - (top - block.p_low) * u * u;
            Leg leg = table.leg_from_turn(layer, p, low_);
            leg.add(leg);
            leg.add(table.leg_between(low_, high_, p));
            rays.push_back({p, leg.x, leg.t});
            shapes.push_back(2.0 * u / (u + next));
        }
    }
    const Phase phase = turning_phase(table, block);
    if (phase == Phase::kDiffracted) {
        const Ray& end = rays[0];
        if (end.x >= std::numbers::pi) return;
        const double dx = std::numbers::pi - end.x;
        rays.push_back({end.p, std::numbers::pi, end.t + end.p * dx});
        shapes[0] = 1.0;
        shapes.push_back(1.0);
    }
    add_run(rays, shapes, phase);
}

void Prepared::arrivals(double distance, std::vector<Arrival>& out) const {
    for (const PreparedSegment& s : segments_) {
        for (int fold = 0; fold < 2; ++fold) {
            const double x = fold == 0 ? distance : 2.0 * std::numbers::pi - distance;
            double w[2];
            const int n = s.segment.find(x, w);
            for (int i = 0; i < n; ++i) {
                const Hit hit = s.segment.at(w[i]);
                out.push_back({hit.t, hit.p, s.phase, fold == 0 ? 1.0 : -1.0});
            }
        }
    }
}

}  // namespace velorix::tt
