#include "platform/ttcalc/ray_table.h"

#include <algorithm>
#include <numbers>

#include "platform/ttcalc/segment.h"

namespace velorix::tt {
namespace {

// Interpolation errors at which an interval of samples is halved.
constexpr double kTimeError = 4e-7;                               // s
constexpr double kSlownessError = 1e-4 * 180 / std::numbers::pi;  // s/rad
constexpr int kMostHalvings = 8;

// Rows of the table: not closer than this, and in no more memory than that for a dense user model.
constexpr double kRowSpacing = 10.0;  // km
constexpr double kMostBytes = 48e6;

// A model with very many lids could make blocks without end; those under the lids go first.
constexpr size_t kMostBuriedBlocks = 2000;

Branch branch_at(const EarthModel& model, double depth) {
    if (depth > model.icb) return Branch::kInnerCore;
    if (depth > model.cmb) return Branch::kOuterNear;
    if (depth > model.transition) return Branch::kMantle;
    if (depth > model.moho) return Branch::kUpperMantle;
    return depth > model.conrad ? Branch::kLowerCrust : Branch::kUpperCrust;
}

// Whether a segment has an arrival close to a ray at the ray's distance.
bool meets(const Segment& segment, const Ray& exact) {
    double w[2];
    const int n = segment.find(exact.x, w);
    for (int i = 0; i < n; ++i) {
        const Hit hit = segment.at(w[i]);
        if (std::fabs(hit.p - exact.p) < kSlownessError &&
            std::fabs(hit.t - exact.t) < kTimeError) {
            return true;
        }
    }
    return false;
}

Ray make_ray(double p, const Leg& a, const Leg& b) { return {p, a.x + b.x, a.t + b.t}; }

}  // namespace

RayTable::RayTable(const EarthModel& model, Family family) : profile_(make_profile(model, family)) {
    for (int i = static_cast<int>(profile_.layers.size()) - 1; i >= 0; --i) {
        add_turning_blocks(model, i);
    }
    if (profile_.icb_level > 0) add_reflections();
    if (profile_.cmb_level > 0) add_diffraction();
    choose_rows();
    fill_legs();
    fill_windows();
}

void RayTable::add_turning_blocks(const EarthModel& model, int index) {
    const Layer& layer = profile_.layers[static_cast<size_t>(index)];
    const int top_level = layer.end_shell;
    const double low = profile_.shell(layer.first_shell).bottom.eta;
    const double top = profile_.shell(top_level - 1).top.eta;
    const double depth =
        kEarthRadius - 0.5 * (profile_.radius(layer.first_shell) + profile_.radius(top_level));
    // The layer's range falls apart where part of its rays stays below some lid.
    for (double rest = top; rest > low;) {
        const double high = rest;
        const int reach = reach_of(top_level, high);
        const bool emerges = reach + 1 == profile_.levels();
        rest = low;
        if (!emerges) {
            const Shell& lid = profile_.shell(reach);
            rest = std::max(low, std::min(lid.bottom.eta, lid.top.eta));
        }
        const bool in_core = top_level <= profile_.cmb_level;
        if (in_core && reach <= profile_.cmb_level) continue;
        if (!emerges && blocks_.size() > kMostBuriedBlocks) continue;
        add_block({RayKind::kTurning, branch_at(model, depth), index, top_level, reach, rest, high,
                   0, 0, 0.0, 0.0});
    }
}

void RayTable::add_reflections() {
    const int level = profile_.icb_level;
    double p = profile_.shell(level).bottom.eta;
    for (int k = level; k + 1 < profile_.levels(); ++k) {
        p = std::min({p, profile_.shell(k).bottom.eta, profile_.shell(k).top.eta});
    }
    if (!(p > 0.0)) return;
    add_block({RayKind::kReflected, Branch::kReflected, -1, level, reach_of(level, p), 0.0, p, 0, 0,
               0.0, 0.0});
}

void RayTable::add_diffraction() {
    const int level = profile_.cmb_level;
    const double p = profile_.shell(level).bottom.eta;
    if (!(p > 0.0)) return;
    Block block{RayKind::kDiffracted,
                Branch::kDiffracted,
                -1,
                level,
                reach_of(level, p),
                p,
                p,
                static_cast<int>(p_.size()),
                1,
                0.0,
                0.0};
    push(p, 1.0);
    blocks_.push_back(block);
}

// Calls visit(level, leg up to it) for every level that the rays of the block reach.
template <class Visit>
void RayTable::climb(const Block& block, double p, Visit visit) const {
    Leg leg;
    int level = block.start_level;
    if (block.kind == RayKind::kTurning) {
        leg =
            leg_from_turn(profile_.layers[static_cast<size_t>(block.layer)], p, {level, false, {}});
    }
    visit(level, leg);
    for (; level < block.reach; ++level) {
        leg.add(shell_leg(profile_.shell(level).bottom, profile_.shell(level).top, p));
        visit(level + 1, leg);
    }
}

RayTable::Sample RayTable::sample_at(const Block& block, double u) const {
    const double p = u >= 1.0 ? block.p_low : block.p_high - (block.p_high - block.p_low) * u * u;
    const int top = std::max(block.start_level, std::min(block.reach, profile_.surface_level));
    Sample sample{u, p, {}, {}};
    climb(block, p, [&](int level, const Leg& leg) {
        if (level == block.start_level) sample.turn = leg;
        if (level == top) sample.total = leg;
    });
    return sample;
}

void RayTable::push(double p, double shape) {
    p_.push_back(p);
    shape_.push_back(shape);
}

// Whether the interval a to b meets its middle ray, for a source at the surface as well as for one
// at the top of the turning layer, and for stations at several heights where rays leave the surface
// almost horizontally.
bool RayTable::is_interpolated(const Block& block, const Sample& a, const Sample& middle,
                               const Sample& b) const {
    const double shape = 2.0 * a.u / (a.u + b.u);
    const bool grazes = block.p_high > 0.9 * profile_.shell(profile_.surface_level).bottom.eta;
    for (const double height : {0.0, 0.1, 0.5, 2.0, kTopHeight}) {
        if (height > 0.0 && !grazes) break;
        const Lift lift(profile_, height);
        for (const Leg Sample::*source : {&Sample::turn, &Sample::total}) {
            const auto ray = [&](const Sample& sample) {
                Leg end = sample.total;
                if (height > 0.0) end.add(lift.leg(sample.p));
                return make_ray(sample.p, sample.*source, end);
            };
            const Ray exact = ray(middle);
            if (!meets(Segment(ray(a), ray(b), shape), exact)) return false;
        }
    }
    return true;
}

// Pushes the samples from a up to but without b, close enough together.
void RayTable::refine(const Block& block, const Sample& a, const Sample& b, int depth) {
    const double shape = 2.0 * a.u / (a.u + b.u);
    if (depth < kMostHalvings) {
        const Sample middle = sample_at(block, 0.5 * (a.u + b.u));
        if (!is_interpolated(block, a, middle, b)) {
            refine(block, a, middle, depth + 1);
            refine(block, middle, b, depth + 1);
            return;
        }
    }
    push(a.p, shape);
}

void RayTable::add_block(const Block& planned) {
    Block block = planned;
    block.first = static_cast<int>(p_.size());
    const Sample top = sample_at(block, 0.0), middle = sample_at(block, 0.5);
    const Sample bottom = sample_at(block, 1.0);
    refine(block, top, middle, 1);
    refine(block, middle, bottom, 1);
    push(block.p_low, 1.0);
    block.count = static_cast<int>(p_.size()) - block.first;
    blocks_.push_back(block);
}

void RayTable::choose_rows() {
    const int first = profile_.bottom_level;
    const double most_rows = kMostBytes / static_cast<double>(sizeof(Leg) * p_.size());
    const double spacing =
        std::max(kRowSpacing, (kEarthRadius + kTopHeight - profile_.radius(first)) / most_rows);
    row_of_level_.assign(static_cast<size_t>(profile_.levels()), 0);
    for (int level = first; level < profile_.levels(); ++level) {
        if (level_of_row_.empty() || level == profile_.surface_level ||
            profile_.radius(level) - profile_.radius(level_of_row_.back()) >= 0.999 * spacing) {
            level_of_row_.push_back(level);
        }
        row_of_level_[static_cast<size_t>(level)] = static_cast<int>(level_of_row_.size()) - 1;
    }
}

void RayTable::fill_legs() {
    legs_.resize(level_of_row_.size() * p_.size());
    for (Block& block : blocks_) {
        const RayPoint& surface = profile_.shell(profile_.surface_level).bottom;
        const RayPoint& top = profile_.shell(profile_.surface_level).top;
        if (block.p_high <= surface.eta) block.highest_x = shell_leg(surface, top, block.p_high).x;
        for (int i = block.first; i < block.first + block.count; ++i) {
            climb(block, p(i), [&](int level, const Leg& leg) {
                if (level == block.start_level) block.widest_x = std::max(block.widest_x, leg.x);
                if (level < profile_.bottom_level) return;
                const size_t row = static_cast<size_t>(row_of(level));
                if (level_of_row_[row] != level) return;
                legs_[row * p_.size() + static_cast<size_t>(i)] = leg;
            });
        }
    }
}

size_t RayTable::bytes() const {
    return legs_.capacity() * sizeof(Leg) + windows_.capacity() * sizeof(Window) +
           (p_.capacity() + shape_.capacity()) * sizeof(double);
}

}  // namespace velorix::tt
