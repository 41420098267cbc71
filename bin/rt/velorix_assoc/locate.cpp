#include "locate.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velorix::assoc {
namespace {

constexpr double kHuber = 1.5;  // residuals beyond this many deviations count linearly

double huber(double x) {
    const double a = std::fabs(x);
    return a <= kHuber ? 0.5 * a * a : kHuber * (a - 0.5 * kHuber);
}

double deviation(const SearchParams& sp, char phase) {
    return std::max(0.01, phase == 'S' ? sp.s_deltim : sp.p_deltim);
}

}  // namespace

double Locator::limit(const Member& member) const {
    const SearchParams& sp = *grid_.search;
    return member.phase == 'S' ? sp.s_max_resid : sp.p_max_resid;
}

double Locator::predicted(const Spot& spot, const Member& member) const {
    const Times times = grid_.times.times(spot, member.station);
    return member.phase == 'S' ? times.s : times.p;
}

// ---- Association ----

namespace {

/// The best P and S so far of one station.
struct Slots {
    int station = -1;
    Times times;
    Member p, s;
};

void offer(Member& slot, const Member& offered) {
    if (!slot.waiting || std::fabs(offered.residual) < std::fabs(slot.residual)) slot = offered;
}

}  // namespace

std::vector<Member> Locator::associate(std::span<Waiting* const> picks, const Spot& spot,
                                       double time, double widen) const {
    std::vector<Slots> slots;
    std::vector<int> slot_of(static_cast<size_t>(grid_.times.grid().ns), -1);
    for (Waiting* waiting : picks) {
        const Role& role = waiting->roles[static_cast<size_t>(number_)];
        if (waiting->event != 0 || role.station < 0) continue;
        const double travel = waiting->pick.time - time;
        if (travel < 0.0 || travel > grid_.rules.window) continue;
        int& at = slot_of[static_cast<size_t>(role.station)];
        if (at < 0) {
            at = static_cast<int>(slots.size());
            slots.emplace_back().station = role.station;
            slots.back().times = grid_.times.times(spot, role.station);
        }
        Slots& slot = slots[static_cast<size_t>(at)];
        Member as_p{waiting, role.station, 'P', travel - slot.times.p, 1.0, true};
        Member as_s{waiting, role.station, 'S', travel - slot.times.s, 1.0, true};
        const double p_ratio =
            role.p && slot.times.p >= 0.0 ? std::fabs(as_p.residual) / (widen * limit(as_p)) : 2.0;
        const double s_ratio =
            role.s && slot.times.s >= 0.0 ? std::fabs(as_s.residual) / (widen * limit(as_s)) : 2.0;
        if (std::min(p_ratio, s_ratio) > 1.0) continue;
        if (p_ratio <= s_ratio) {
            offer(slot.p, as_p);
        } else {
            offer(slot.s, as_s);
        }
    }
    std::vector<Member> members;
    for (const Slots& slot : slots) {
        if (slot.p.waiting) members.push_back(slot.p);
        if (slot.s.waiting) members.push_back(slot.s);
    }
    return members;
}

// ---- Location ----

// Near stations say most about depth and least about the model's errors, which grow with distance.
double Locator::weight_of(const Member& member, const Spot& spot) const {
    const double sigma = deviation(*grid_.search, member.phase);
    const double time = grid_.times.times(spot, member.station).p;
    const double scale = 0.35 * grid_.rules.window;
    return 1.0 / (sigma * sigma) / (1.0 + time * time / (scale * scale));
}

double Locator::misfit(const Spot& spot, std::span<const Member> members, double& time) const {
    origins_.clear();
    for (const Member& m : members) origins_.push_back(m.waiting->pick.time - predicted(spot, m));
    sorted_ = origins_;
    const auto middle = sorted_.begin() + static_cast<std::ptrdiff_t>(sorted_.size() / 2);
    std::nth_element(sorted_.begin(), middle, sorted_.end());
    double origin = *middle;
    // A few reweighted means from the median settle the origin time of the Huber misfit.
    for (int round = 0; round < 4; ++round) {
        double sum = 0.0, weights = 0.0;
        for (size_t i = 0; i < members.size(); ++i) {
            const double r = origins_[i] - origin;
            const double x = std::fabs(r) / deviation(*grid_.search, members[i].phase);
            const double w = members[i].weight * (x > kHuber ? kHuber / x : 1.0);
            sum += w * r;
            weights += w;
        }
        if (weights <= 0.0) break;
        origin += sum / weights;
    }
    double total = 0.0;
    for (size_t i = 0; i < members.size(); ++i) {
        const double sigma = deviation(*grid_.search, members[i].phase);
        total += members[i].weight * sigma * sigma * huber((origins_[i] - origin) / sigma);
    }
    time = origin;
    return total;
}

// The misfit often has two minima in depth; each node depth is tried.
Spot Locator::best_depth(const Solution& solution) const {
    Spot best = solution.spot;
    double least = std::numeric_limits<double>::infinity(), time = 0.0;
    for (int32_t id = 0; id < grid_.times.grid().nd; ++id) {
        const Spot spot{solution.spot.x, solution.spot.y, static_cast<double>(id)};
        const double value = misfit(spot, solution.members, time);
        if (value < least) {
            least = value;
            best = spot;
        }
    }
    return best;
}

void Locator::locate(Solution& solution) const {
    if (solution.members.empty()) return;
    for (Member& m : solution.members) m.weight = weight_of(m, solution.spot);
    double least = 0.0;
    if (grid_.times.movable() && grid_.rules.refine != 0 && solution.members.size() >= 4) {
        solution.spot = best_depth(solution);
        least = misfit(solution.spot, solution.members, solution.time);
        for (double step = 2.0; step >= 1.0 / 16.0;) {
            Spot best = solution.spot;
            double best_value = least;
            for (int n = 0; n < 27; ++n) {
                const Spot tried = grid_.times.clamped({solution.spot.x + step * (n % 3 - 1),
                                                        solution.spot.y + step * (n / 3 % 3 - 1),
                                                        solution.spot.z + step * (n / 9 - 1)});
                double time = 0.0;
                const double value = misfit(tried, solution.members, time);
                if (value < best_value - 1e-9) {
                    best_value = value;
                    best = tried;
                }
            }
            if (best_value < least) {
                least = best_value;
                solution.spot = best;
            } else {
                step *= 0.5;
            }
        }
    }
    misfit(solution.spot, solution.members, solution.time);
    update_residuals(solution);
}

void Locator::update_residuals(Solution& solution) const {
    for (Member& m : solution.members) {
        m.residual = m.waiting->pick.time - solution.time - predicted(solution.spot, m);
    }
    const Velorix& grid = grid_.times.grid();
    const Spot& at = solution.spot;
    solution.on_edge =
        grid_.times.movable() && ((grid.nx > 1 && (at.x <= 0.0 || at.x >= grid.nx - 1.0)) ||
                                  (grid.ny > 1 && (at.y <= 0.0 || at.y >= grid.ny - 1.0)));
}

double largest_gap(std::vector<double> azimuths) {
    if (azimuths.empty()) return 360.0;
    std::sort(azimuths.begin(), azimuths.end());
    double gap = azimuths.front() + 360.0 - azimuths.back();
    for (size_t i = 1; i < azimuths.size(); ++i) gap = std::max(gap, azimuths[i] - azimuths[i - 1]);
    return gap;
}

}  // namespace velorix::assoc
