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
    return grid_.stations[static_cast<size_t>(member.station)].limit(member.phase);
}

double Locator::predicted(const Spot& spot, const Member& member) const {
    const Times times = grid_.times.times(spot, member.station);
    return member.phase == 'S' ? times.s : times.p;
}

Times Locator::slowed(const Solution& at, int station) const {
    Times times = grid_.times.times(at.spot, station);
    times.p *= 1.0 + at.slowing;
    times.s *= 1.0 + at.slowing;
    return times;
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

// S comes after P: of two picks the other way round the one that fits better stays.
void keep_in_order(Slots& slot, double p_limit, double s_limit) {
    if (slot.s.waiting->pick.time > slot.p.waiting->pick.time) return;
    const bool p_stays =
        std::fabs(slot.p.residual) * s_limit <= std::fabs(slot.s.residual) * p_limit;
    (p_stays ? slot.s : slot.p).waiting = nullptr;
}

}  // namespace

std::vector<Member> Locator::associate(std::span<Waiting* const> picks, const Solution& at,
                                       double widen) const {
    std::vector<Slots> slots;
    std::vector<int> slot_of(static_cast<size_t>(grid_.times.grid().ns), -1);
    for (Waiting* waiting : picks) {
        const Role& role = waiting->roles[static_cast<size_t>(number_)];
        if (role.station < 0) continue;
        const double travel = waiting->pick.time - at.time;
        if (travel < 0.0 || travel > grid_.rules.window) continue;
        int& number = slot_of[static_cast<size_t>(role.station)];
        if (number < 0) {
            number = static_cast<int>(slots.size());
            slots.emplace_back().station = role.station;
            slots.back().times = slowed(at, role.station);
        }
        Slots& slot = slots[static_cast<size_t>(number)];
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
    for (Slots& slot : slots) {
        if (slot.p.waiting && slot.s.waiting) keep_in_order(slot, limit(slot.p), limit(slot.s));
        for (Member* member : {&slot.p, &slot.s}) {
            if (!member->waiting) continue;
            member->defining = station_weight(*member, at.spot) > 0.0;
            members.push_back(*member);
        }
    }
    return members;
}

// ---- Location ----

// By the grid's pattern list and its curves of weight against distance.
double Locator::station_weight(const Member& member, const Spot& spot) const {
    const SearchParams& sp = *grid_.search;
    const bool s = member.phase == 'S';
    const double weight = grid_.stations[static_cast<size_t>(member.station)].weight(member.phase);
    const int nodes = s ? sp.use_dwts : sp.use_dwt;
    if (nodes == 0) return weight;
    const Station& sta = grid_.station(member.station);
    const double distance = path_between(grid_.times.position(spot), sta.lat, sta.lon).delta;
    return weight * get_weight(distance, nodes, s ? sp.s_weights : sp.p_weights);
}

// Near stations say most about depth and least about the model's errors, which grow with distance.
double Locator::weight_of(const Member& member, const Spot& spot) const {
    const double sigma = deviation(*grid_.search, member.phase);
    const double time = grid_.times.times(spot, member.station).p;
    const double scale = 0.35 * grid_.rules.window;
    return std::max(0.0, station_weight(member, spot)) / (sigma * sigma) /
           (1.0 + time * time / (scale * scale));
}

// Origin time and slowing by reweighted least squares from the median of the origin times. The
// slowing is drawn to 0 by its prior deviation.
double Locator::misfit(const Spot& spot, std::span<const Member> members, Origin& origin) const {
    origins_.clear();
    travels_.clear();
    for (const Member& m : members) {
        travels_.push_back(predicted(spot, m));
        origins_.push_back(m.waiting->pick.time - travels_.back());
    }
    sorted_ = origins_;
    const auto middle = sorted_.begin() + static_cast<std::ptrdiff_t>(sorted_.size() / 2);
    std::nth_element(sorted_.begin(), middle, sorted_.end());
    const double prior = grid_.rules.velocity_sigma;
    const double stiffness = prior > 0.0 ? 1.0 / (prior * prior) : 0.0;
    origin = {*middle, 0.0};
    for (int round = 0; round < 4; ++round) {
        double w1 = 0.0, wt = 0.0, wtt = stiffness, wr = 0.0, wrt = 0.0;
        for (size_t i = 0; i < members.size(); ++i) {
            const double r = origins_[i] - *middle;
            const double now = origins_[i] - origin.time - origin.slowing * travels_[i];
            const double x = std::fabs(now) / deviation(*grid_.search, members[i].phase);
            const double w = members[i].weight * (x > kHuber ? kHuber / x : 1.0);
            w1 += w;
            wt += w * travels_[i];
            wtt += w * travels_[i] * travels_[i];
            wr += w * r;
            wrt += w * r * travels_[i];
        }
        const double det = w1 * wtt - wt * wt;
        if (stiffness > 0.0 && det > 0.0) {
            origin.time = *middle + (wr * wtt - wrt * wt) / det;
            origin.slowing = (w1 * wrt - wt * wr) / det;
        } else if (w1 > 0.0) {
            origin.time = *middle + wr / w1;
        }
    }
    double total = 0.5 * stiffness * origin.slowing * origin.slowing;
    for (size_t i = 0; i < members.size(); ++i) {
        const double sigma = deviation(*grid_.search, members[i].phase);
        const double r = origins_[i] - origin.time - origin.slowing * travels_[i];
        total += members[i].weight * sigma * sigma * huber(r / sigma);
    }
    return total;
}

// The misfit often has two minima in depth; each node depth is tried.
Spot Locator::best_depth(const Solution& solution) const {
    Spot best = solution.spot;
    double least = std::numeric_limits<double>::infinity();
    Origin origin;
    for (int32_t id = 0; id < grid_.times.grid().nd; ++id) {
        const Spot spot{solution.spot.x, solution.spot.y, static_cast<double>(id)};
        const double value = misfit(spot, solution.members, origin);
        if (value < least) {
            least = value;
            best = spot;
        }
    }
    return best;
}

// On a general mesh the nodes around the scan's best one, at every depth: the scan counts picks
// within a window, the misfit tells the nodes apart that gather the same picks.
void Locator::search_nodes(Solution& solution) const {
    constexpr double kAround = 3.0;  // degrees
    const Position centre = grid_.times.position(solution.spot);
    Origin origin;
    double least = misfit(solution.spot, solution.members, origin);
    for (int64_t node = 0; node < grid_.times.nodes(); ++node) {
        const Spot spot = grid_.times.spot_of(node);
        const Position at = grid_.times.position(spot);
        if (std::fabs(at.lat - centre.lat) > kAround) continue;
        if (path_between(centre, at.lat, at.lon).delta > kAround) continue;
        const double value = misfit(spot, solution.members, origin);
        if (value >= least - 1e-9) continue;
        least = value;
        solution.spot = spot;
    }
}

void Locator::search(Solution& solution) const {
    Origin origin;
    if (grid_.times.regular()) {
        solution.spot = best_depth(solution);
    } else {
        search_nodes(solution);
    }
    if (!grid_.times.movable()) return;
    double least = misfit(solution.spot, solution.members, origin);
    for (double step = 2.0; step >= 1.0 / 16.0;) {
        const Spot centre = solution.spot;
        double best = least;
        for (int n = 0; n < 27; ++n) {
            const int dx = n % 3 - 1, dy = n / 3 % 3 - 1, dz = n / 9 - 1;
            const Spot tried = grid_.times.shifted(centre, step * dx, step * dy, step * dz);
            const double value = misfit(tried, solution.members, origin);
            if (value >= best - 1e-9) continue;
            best = value;
            solution.spot = tried;
        }
        if (best >= least) step *= 0.5;
        least = best;
    }
}

void Locator::locate(Solution& solution) const {
    if (solution.members.empty()) return;
    for (Member& m : solution.members) m.weight = weight_of(m, solution.spot);
    if (grid_.rules.refine != 0 && solution.members.size() >= 4) search(solution);
    Origin origin;
    misfit(solution.spot, solution.members, origin);
    solution.time = origin.time;
    solution.slowing = origin.slowing;
    update_residuals(solution);
}

void Locator::update_residuals(Solution& solution) const {
    for (Member& m : solution.members) {
        m.residual = m.waiting->pick.time - solution.time -
                     (1.0 + solution.slowing) * predicted(solution.spot, m);
    }
    const Velorix& grid = grid_.times.grid();
    const Spot& at = solution.spot;
    solution.on_edge =
        grid_.times.regular() && ((grid.nx > 1 && (at.x <= 0.0 || at.x >= grid.nx - 1.0)) ||
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
