// Whether a proposal is an event of its own.
#include <algorithm>
#include <cmath>

#include "proposal.h"

namespace velorix::assoc {

const Kept* Proposer::twin_of(const Proposal& proposal, std::span<const Kept> kept) const {
    const SearchGrid& grid = grids_[proposal.grid];
    const Position at = grid.times.position(proposal.solution.spot);
    for (const Kept& other : kept) {
        const double apart = std::fabs(other.solution.time - proposal.solution.time);
        if (apart > grid.rules.separation_time) continue;
        const double km =
            path_between(at, other.position.lat, other.position.lon).delta * kKmPerDegree;
        if (km <= grid.rules.separation_km) return &other;
    }
    return nullptr;
}

// Of the larger event: a pick near its time for the phase, or at its time for the other one.
bool Proposer::accounts_for(const Kept& kept, const Member& member) const {
    constexpr double kNear = 3.0;  // residual limits; 1.5: 1 Italian event more of 703; 5: the same
    if (kept.stations.count(member.station) == 0) return false;
    const SearchGrid& grid = grids_[kept.grid];
    const Times times = slowed_times(grid, kept.solution, member.station);
    const double travel = member.waiting->pick.time - kept.solution.time;
    const double p = std::fabs(travel - times.p) / grid.search->p_max_resid;
    const double s = std::fabs(travel - times.s) / grid.search->s_max_resid;
    const double same = member.phase == 'S' ? s : p, other = member.phase == 'S' ? p : s;
    return same <= kNear || (times.s >= 0.0 && other <= 1.0);
}

// A second trigger on a large event's coda, or a pick that just missed its limit, stays free when
// the event is committed. At the stations of a large event enough of them come together to make a
// small one: it lies at the same stations, near the same times.
const Kept* Proposer::echo_of(const Proposal& proposal, std::span<const Kept> kept) const {
    // Of Italian picks (two spans, 255 | 448 events): 0.5 of the picks 253 | 448, 0.9 257 | 449;
    // 1 times as many picks 255 | 448, 3 times 257 | 448.
    constexpr double kShare = 0.7;  // of the picks that the larger event accounts for
    constexpr size_t kLarger = 2;   // times as many picks
    const SearchGrid& grid = grids_[proposal.grid];
    const auto& members = proposal.solution.members;
    for (const Kept& larger : kept) {
        if (larger.grid != proposal.grid) continue;
        if (std::fabs(larger.solution.time - proposal.solution.time) > grid.rules.window) continue;
        if (larger.solution.members.size() < kLarger * members.size()) continue;
        const auto accounted = std::ranges::count_if(
            members, [&](const Member& m) { return accounts_for(larger, m); });
        if (static_cast<double>(accounted) >= kShare * static_cast<double>(members.size())) {
            return &larger;
        }
    }
    return nullptr;
}

}  // namespace velorix::assoc
