// Whether a proposal is an event of its own.
#include <algorithm>
#include <cmath>

#include "associator.h"

namespace velorix::assoc {

const Event* Associator::twin_of(const Proposal& proposal) const {
    const SearchGrid& grid = grids_.grids()[proposal.grid];
    const Position at = grid.times.position(proposal.solution.spot);
    for (auto event = events_.rbegin(); event != events_.rend(); ++event) {
        if (std::fabs(event->time - proposal.solution.time) > grid.rules.separation_time) continue;
        const double km = path_between(at, event->lat, event->lon).delta * kKmPerDegree;
        if (km <= grid.rules.separation_km) return &*event;
    }
    return nullptr;
}

bool Associator::same_event(const Proposal& a, const Proposal& b, double time, double km) const {
    if (std::fabs(a.solution.time - b.solution.time) > time) return false;
    const Position one = grids_.grids()[a.grid].times.position(a.solution.spot);
    const Position two = grids_.grids()[b.grid].times.position(b.solution.spot);
    return path_between(one, two.lat, two.lon).delta * kKmPerDegree <= km;
}

void Associator::keep(const Proposal& proposal) {
    Kept kept{proposal.grid, proposal.solution, {}};
    for (Member& member : kept.solution.members) {
        kept.stations.insert(member.station);
        member.waiting = nullptr;  // picks do not live as long
    }
    kept_.push_back(std::move(kept));
}

// A second trigger on a large event's coda, or a pick that just missed its limit, stays free when
// the event is committed. At the stations of a large event enough of them come together to make a
// small one: it lies at the same stations, near the same times.
const Associator::Kept* Associator::echo_of(const Proposal& proposal) const {
    constexpr double kNear = 3.0;   // residual limits, for the same phase; 1 for the other one
    constexpr double kShare = 0.7;  // of the picks that the larger event accounts for
    const SearchGrid& grid = grids_.grids()[proposal.grid];
    const Locator& locator = locators_[proposal.grid];
    const auto& members = proposal.solution.members;
    for (const Kept& kept : kept_) {
        if (kept.grid != proposal.grid) continue;
        if (std::fabs(kept.solution.time - proposal.solution.time) > grid.rules.window) continue;
        if (kept.solution.members.size() < 2 * members.size()) continue;
        const auto accounted = std::count_if(members.begin(), members.end(), [&](const Member& m) {
            if (kept.stations.count(m.station) == 0) return false;
            const Times times = locator.slowed(kept.solution, m.station);
            const double travel = m.waiting->pick.time - kept.solution.time;
            const double p = std::fabs(travel - times.p) / grid.search->p_max_resid;
            const double s = std::fabs(travel - times.s) / grid.search->s_max_resid;
            const double same = m.phase == 'S' ? s : p, other = m.phase == 'S' ? p : s;
            return same <= kNear || (times.s >= 0.0 && other <= 1.0);
        });
        if (static_cast<double>(accounted) >= kShare * static_cast<double>(members.size())) {
            return &kept;
        }
    }
    return nullptr;
}

}  // namespace velorix::assoc
