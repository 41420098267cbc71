#include "platform/ttcalc/pair.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velorix::tt {
namespace {

Branch upgoing_branch(const EarthModel& model, double depth) {
    constexpr double kNoise =
        1e-6;  // km; a source on a boundary leaves upward through the layer above
    if (depth <= model.conrad + kNoise) return Branch::kUpperCrust;
    return depth <= model.moho + kNoise ? Branch::kLowerCrust : Branch::kUp;
}

// A block whose upper end is cut off at the source's depth is sampled like the whole one, but each
// interval in parts: layers above the source are met at grazing angles too.
constexpr int kParts = 3;
int resampled_count(const Block& block) { return kParts * (block.count - 1) + 1; }

double upgoing_u(const Run& run, int i) {
    return run.scale * std::sinh(run.span * i / (run.count - 1));
}

}  // namespace

Pair::Pair(const RayTable& table, const EarthModel& model, double r_low, double r_high)
    : table_(&table), low_(table.locate(r_low)), high_(table.locate(r_high)) {
    is_point_ = low_.level == high_.level && low_.inside == high_.inside &&
                !(low_.inside && high_.point.r > low_.point.r);
    p_max_ = table.largest_p(low_, high_);
    caustic_p_ = table.caustic_p(row());
    up_branch_ = upgoing_branch(model, kEarthRadius - r_low);
}

bool Pair::ends_at_surface() const {
    return high_.level == table_->profile().surface_level && !high_.inside;
}

Run Pair::upgoing() const {
    Run run{Run::Kind::kUpgoing, up_branch_};
    run.p_top = largest_p();
    if (!(run.p_top > 0.0)) return run;
    run.flat = is_point_;
    // Distance grows like tan(incidence) until the earth's curvature ends it at u of the order of
    // sqrt(height / radius): even steps beyond that scale in log(u), below it in u.
    const double r_low = low_.inside ? low_.point.r : table_->profile().radius(low_.level);
    const double r_high = high_.inside ? high_.point.r : table_->profile().radius(high_.level);
    const double height = std::max(r_high - r_low, 1e-3);
    run.scale = std::sqrt(height / (r_high + height));
    run.span = std::asinh(1.0 / run.scale);
    // Long paths need more rays for the same error in seconds.
    const double density = 28.0 + 32.0 * std::min(1.0, height / 200.0);
    run.count = 16 + static_cast<int>(density * run.span);
    return run;
}

// A source close above the turning layer: rays that graze there leave it almost horizontally, where
// the block's own samples are too far apart.
bool Pair::starts_near(const Block& block) const {
    return block.kind == RayKind::kTurning && p_max_ - block.p_high < block.p_high - block.p_low;
}

// The largest ray parameter of a cut block; nothing passes when it is not above p_low.
double Pair::resampled_top(const Block& block) const {
    double top = std::min(block.p_high, p_max_);
    if (in_turning_layer(block)) {
        const Layer& layer = table_->profile().layers[static_cast<size_t>(block.layer)];
        const bool above_bottom = low_.level > layer.first_shell || low_.inside;
        if (low_.level < layer.first_shell || !above_bottom) return 0.0;
        top = std::min(top, table_->eta_below(low_));
    }
    return top;
}

Run Pair::downgoing(const Block& block) const {
    Run run{Run::Kind::kSampled, block.branch};
    run.block = &block;
    const bool cut = in_turning_layer(block);
    if (!cut && (block.reach < low_.level || block.p_low > p_max_)) return run;
    if (!cut && block.p_high <= p_max_ && !starts_near(block)) {
        run.count = block.count;
        if (block.kind != RayKind::kDiffracted) return run;
        run.kind = Run::Kind::kDiffracted;
        const Leg a = table_->leg_to(block, block.first, low_),
                  b = table_->leg_to(block, block.first, high_);
        run.count = a.x + b.x < std::numbers::pi ? 2 : 0;
        return run;
    }
    if (block.kind != RayKind::kTurning) return run;
    run.kind = Run::Kind::kResampled;
    run.p_top = resampled_top(block);
    run.count = run.p_top > block.p_low ? resampled_count(block) : 0;
    return run;
}

double Pair::resampled_u(const Run& run, int i) const {
    const Block& block = *run.block;
    const auto sample_u = [&](int j) {
        return std::sqrt((block.p_high - table_->p(block.first + j)) /
                         (block.p_high - block.p_low));
    };
    const int j = i / kParts, part = i % kParts;
    if (part == 0) return sample_u(j);
    return sample_u(j) + (sample_u(j + 1) - sample_u(j)) * part / kParts;
}

Ray Pair::ray(const Run& run, int i) const {
    if (run.kind == Run::Kind::kUpgoing) {
        const double u = i + 1 == run.count ? 1.0 : upgoing_u(run, i);
        const double p = run.p_top * (1.0 - u) * (1.0 + u);
        const Leg leg = table_->leg_between(low_, high_, p);
        return {p, leg.x, leg.t};
    }
    const Block& block = *run.block;
    if (run.kind == Run::Kind::kResampled) {
        const double u = resampled_u(run, i);
        const double p =
            i + 1 == run.count ? block.p_low : run.p_top - (run.p_top - block.p_low) * u * u;
        const Layer& layer = table_->profile().layers[static_cast<size_t>(block.layer)];
        const Leg turn = table_->leg_from_turn(layer, p, low_);
        const Leg up = table_->leg_between(low_, high_, p);
        return {p, 2.0 * turn.x + up.x, 2.0 * turn.t + up.t};
    }
    const int sample = run.kind == Run::Kind::kDiffracted ? block.first : block.first + i;
    const Leg a = table_->leg_to(block, sample, low_), b = table_->leg_to(block, sample, high_);
    const Ray ray{table_->p(sample), a.x + b.x, a.t + b.t};
    if (run.kind != Run::Kind::kDiffracted || i == 0) return ray;
    return {ray.p, std::numbers::pi, ray.t + ray.p * (std::numbers::pi - ray.x)};
}

double Pair::shape(const Run& run, int i) const {
    switch (run.kind) {
        case Run::Kind::kSampled:
            return table_->shape(run.block->first + i);
        case Run::Kind::kDiffracted:
            return 1.0;
        case Run::Kind::kResampled: {
            const double u = resampled_u(run, i), next = resampled_u(run, i + 1);
            return 2.0 * u / (u + next);
        }
        default: {
            const double u = upgoing_u(run, i), next = upgoing_u(run, i + 1);
            return 2.0 * u / (u + next);
        }
    }
}

}  // namespace velorix::tt
