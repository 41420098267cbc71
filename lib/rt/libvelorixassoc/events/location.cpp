#include "location.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velorix::assoc {
namespace {

// Measured on Italian picks (two spans of four hours: 255 | 448 events, medians 0.6 km and 0.7 km
// in depth from the agency's).

// Residuals beyond this many deviations count linearly (Huber, 1964). 1: 253 | 446 events, 2.5: 257
// | 450, places the same.
constexpr double kHuber = 1.5;
// A pick's weight halves at a travel time of this share of the window: models err with the way.
// 0.2: 257 | 447 events, 0.5: 255 | 447, places the same.
constexpr double kNearPart = 0.35;
constexpr int kReweightings = 4;  // 2: 256 events of the first span; 8: the same as 4
// The search's steps, in nodes. First 1 or 4: the same places. Last 1/8: epicentres 0.2 km farther
// off; 1/32: the same places for 5 % more time.
constexpr double kFirstStep = 2.0, kLastStep = 1.0 / 16.0;
constexpr size_t kLeastMembers = 4;  // unknowns of a location
constexpr double kAround = 3.0;      // degrees

double huber(double x) {
    const double a = std::fabs(x);
    return a <= kHuber ? 0.5 * a * a : kHuber * (a - 0.5 * kHuber);
}

double deviation(const SearchParams& sp, char phase) {
    return std::max(0.01, phase == 'S' ? sp.s_deltim : sp.p_deltim);
}

}  // namespace

double Locator::predicted(const Spot& spot, const Member& member) const {
    const Times times = grid_.times.times(spot, member.station);
    return member.phase == 'S' ? times.s : times.p;
}

// Near stations say most about depth and least about the model's errors, which grow with distance.
double Locator::weight_of(const Member& member, const Spot& spot) const {
    const double sigma = deviation(*grid_.search, member.phase);
    const double time = grid_.times.times(spot, member.station).p;
    const double scale = kNearPart * grid_.rules.window;
    return std::max(0.0, station_weight(grid_, member.station, member.phase, spot)) /
           (sigma * sigma) / (1.0 + time * time / (scale * scale));
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
    for (int round = 0; round < kReweightings; ++round) {
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
    for (double step = kFirstStep; step >= kLastStep;) {
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
    if (grid_.rules.refine != 0 && solution.members.size() >= kLeastMembers) search(solution);
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

}  // namespace velorix::assoc
