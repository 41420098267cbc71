// What an event must have.
#include <algorithm>
#include <cmath>

#include "../support/text_values.h"
#include "defining.h"
#include "proposal.h"

namespace velorix::assoc {
namespace {

double distance_of(const SearchGrid& grid, const Solution& solution, int station) {
    const Station& sta = grid.station(station);
    return path_between(grid.times.position(solution.spot), sta.lat, sta.lon).delta;
}

// An entry of nsta_thresh is met when so many stations within its distance have a pick; one entry
// that is met is enough.
bool enough_by_distance(const SearchGrid& grid, const Solution& solution,
                        const Defining& defining) {
    const SearchParams& sp = *grid.search;
    const std::span<const nsta_thresh_entry_> entries(sp.nsta_thresh,
                                                      static_cast<size_t>(sp.nnsta_thresh));
    if (entries.empty()) return true;
    return std::ranges::any_of(entries, [&](const nsta_thresh_entry_& entry) {
        const auto within = std::ranges::count_if(defining.stations, [&](int station) {
            return distance_of(grid, solution, station) <= entry.distance;
        });
        return within >= entry.thresh;
    });
}

Verdict too_few(Lack lack, int have, int need) {
    return {.lack = lack, .have = static_cast<double>(have), .need = static_cast<double>(need)};
}

Verdict counts_verdict(const Defining& d, const GridRules& rules) {
    const int stations = static_cast<int>(d.stations.size());
    if (d.p < rules.min_p) return too_few(Lack::p_picks, d.p, rules.min_p);
    if (d.s < rules.min_s) return too_few(Lack::s_picks, d.s, rules.min_s);
    if (d.picks() < rules.min_picks) return too_few(Lack::picks, d.picks(), rules.min_picks);
    if (stations < rules.min_stations) {
        return too_few(Lack::stations, stations, rules.min_stations);
    }
    return {};
}

}  // namespace

bool Proposer::at_work(size_t grid, int station, double origin, double known) const {
    return rules_.at_work == AtWork::all || past_.at_work(grid, station, origin, known);
}

double Proposer::passed(size_t grid, const Solution& solution) const {
    // Times the way to the farthest station: S is there by then. 1.2 and 3: the same final events.
    constexpr double kSettled = 2.0;
    double farthest = 0.0;
    for (const Member& m : solution.members) {
        farthest = std::max(farthest, grids_[grid].times.times(solution.spot, m.station).p);
    }
    return solution.time + kSettled * farthest;
}

// P time up to which stations count: that of the event's median station. While waves are under way
// the stations that have it so far are the nearer half, and all of them count.
double Proposer::reach_of(size_t grid, const Solution& solution, const std::set<int>& with,
                          double now) const {
    std::vector<double> reached;
    reached.reserve(with.size());
    for (int station : with) {
        reached.push_back(grids_[grid].times.times(solution.spot, station).p);
    }
    if (reached.empty()) return -1.0;
    const bool forming = now < passed(grid, solution);
    const size_t place = forming ? reached.size() - 1 : reached.size() / 2;
    const auto nth = reached.begin() + static_cast<std::ptrdiff_t>(place);
    std::nth_element(reached.begin(), nth, reached.end());
    return *nth;
}

// Share of the stations at work within that reach that have a pick.
double Proposer::coverage_of(size_t number, const Solution& solution,
                             const Surroundings& around) const {
    const SearchGrid& grid = grids_[number];
    std::set<int> with;
    for (const Member& m : solution.members) with.insert(m.station);
    const double reach = reach_of(number, solution, with, around.now);
    int at_work_there = 0, recorded = 0;
    for (int is = 0; is < grid.times.grid().ns; ++is) {
        const bool has_pick = with.count(is) != 0;
        const double p = grid.times.times(solution.spot, is).p;
        if (p > reach) continue;
        if (!has_pick && !at_work(number, is, solution.time, around.known)) continue;
        const double latest =
            solution.time + p + grid.station_rules[static_cast<size_t>(is)].limit('P');
        if (!has_pick && latest > around.now) continue;
        ++at_work_there;
        recorded += has_pick ? 1 : 0;
    }
    return at_work_there > 0 ? static_cast<double>(recorded) / at_work_there : 0.0;
}

void Proposer::judge(Proposal& proposal, const Surroundings& around) const {
    proposal.coverage = coverage_of(proposal.grid, proposal.solution, around);
    proposal.verdict = verdict_of(proposal, around);
}

Verdict Proposer::place_verdict(const Proposal& proposal) const {
    const SearchGrid& grid = grids_[proposal.grid];
    if (proposal.scan.priority) return {.lack = Lack::priority};
    if (grid.search->drop_if_on_edge && (proposal.solution.on_edge || proposal.scan.edge)) {
        return {.lack = Lack::edge};
    }
    const Position at = grid.times.position(proposal.solution.spot);
    for (int i = 0; i < maxtbl(grid.search->drop_if_in_grid); ++i) {
        const std::string name = static_cast<const char*>(gettbl(grid.search->drop_if_in_grid, i));
        for (const SearchGrid& other : grids_) {
            if (other.name == name && velorix_inside(&other.times.grid(), at.lat, at.lon))
                return {.lack = Lack::other_grid, .other_grid = name};
        }
    }
    return {};
}

Verdict Proposer::verdict_of(const Proposal& proposal, const Surroundings& around) const {
    const SearchGrid& grid = grids_[proposal.grid];
    const GridRules& rules = grid.rules;
    const Defining defining(proposal.solution);
    if (Verdict counts = counts_verdict(defining, rules); !counts.passes()) return counts;
    if (!enough_by_distance(grid, proposal.solution, defining)) {
        return {.lack = Lack::stations_by_distance};
    }
    if (Verdict place = place_verdict(proposal); !place.passes()) return place;
    if (defining.weighted_scatter() > rules.max_scatter) {
        return {
            .lack = Lack::scatter, .have = defining.weighted_scatter(), .need = rules.max_scatter};
    }
    if (proposal.coverage < rules.min_coverage) {
        return {.lack = Lack::coverage, .have = proposal.coverage, .need = rules.min_coverage};
    }
    if (const Kept* twin = twin_of(proposal, around.kept)) {
        return {.lack = Lack::twin, .other_time = twin->solution.time};
    }
    if (const Kept* larger = echo_of(proposal, around.kept)) {
        return {.lack = Lack::echo, .other_time = larger->solution.time};
    }
    return {};
}

}  // namespace velorix::assoc
