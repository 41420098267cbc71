// What is reported of an event.
#include <algorithm>
#include <map>

#include "defining.h"
#include "proposal.h"
#include "support/grid_name.h"

namespace velorix::assoc {
namespace {

/// The largest azimuth without a station, degrees.
double largest_gap(std::vector<double> azimuths) {
    if (azimuths.empty()) return 360.0;
    std::sort(azimuths.begin(), azimuths.end());
    double gap = azimuths.front() + 360.0 - azimuths.back();
    for (size_t i = 1; i < azimuths.size(); ++i) gap = std::max(gap, azimuths[i] - azimuths[i - 1]);
    return gap;
}

void add_picks(Event& event, const SearchGrid& grid, const Solution& solution) {
    double largest = 0.0;
    for (const Member& m : solution.members)
        largest = std::max(largest, m.defining ? m.weight : 0.0);
    for (const Member& m : solution.members) {
        const Station& sta = grid.station(m.station);
        const Path path = path_between({event.lat, event.lon, event.depth}, sta.lat, sta.lon);
        const double weight = m.defining && largest > 0.0 ? m.weight / largest : 0.0;
        event.picks.push_back({m.waiting->pick, m.phase, m.defining, m.residual, path.delta,
                               path.esaz, path.seaz, weight});
        (m.phase == 'S' ? event.s : event.p) += 1;
    }
    std::ranges::stable_sort(event.picks, [](const EventPick& a, const EventPick& b) {
        if (a.delta != b.delta) return a.delta < b.delta;
        if (a.pick.station != b.pick.station) return a.pick.station < b.pick.station;
        return a.phase < b.phase;
    });
}

void add_geometry(Event& event, const SearchGrid& grid, const Solution& solution) {
    const Position at{event.lat, event.lon, event.depth};
    std::map<int, Path> paths;
    for (const Member& m : solution.members) {
        const Station& sta = grid.station(m.station);
        paths.emplace(m.station, path_between(at, sta.lat, sta.lon));
    }
    std::vector<double> azimuths, distances;
    for (const auto& [station, path] : paths) {
        azimuths.push_back(path.esaz);
        distances.push_back(path.delta);
    }
    std::ranges::sort(distances);
    event.stations = static_cast<int>(distances.size());
    event.gap = largest_gap(azimuths);
    if (distances.empty()) return;
    event.nearest = distances.front();
    event.farthest = distances.back();
    event.median = distances[distances.size() / 2];
}

}  // namespace

Event Proposer::event_of(const Proposal& proposal, const PickView& picks) const {
    const SearchGrid& grid = grids_[proposal.grid];
    const Velorix& record = grid.times.grid();
    const Solution& solution = proposal.solution;
    const Position at = grid.times.position(solution.spot);
    const Defining defining(solution);
    Event event;
    event.time = solution.time;
    event.lat = at.lat;
    event.lon = at.lon;
    event.depth = at.depth;
    event.grid = grid.name;
    event.model = name_text(record.model);
    event.defining = defining.picks();
    event.scatter = defining.scatter();
    event.scatter_weighted = defining.weighted_scatter();
    event.score = proposal.scan.score;
    event.on_edge = solution.on_edge;
    event.fixed_depth = record.mode == VELORIX_MODE_REGULAR && record.nd == 1;
    event.coverage = proposal.coverage;
    event.error = locators_[proposal.grid].uncertainty(solution);
    add_picks(event, grid, solution);
    add_geometry(event, grid, solution);
    const double end = solution.time + grid.rules.window;
    const auto nearby =
        picks.between(solution.time - slack_, end + slack_, proposal.grid, PickView::Which::all);
    event.left_out = left_out_of(grid, proposal.grid, solution, nearby);
    return event;
}

}  // namespace velorix::assoc
