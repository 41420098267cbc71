// What an event must have, and what is reported of it.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <set>

#include "associator.h"
#include "text.h"

namespace velorix::assoc {
namespace {

/// Counts of the picks that define a solution.
struct Counts {
    int p = 0, s = 0;
    std::set<int> stations;
    double sum = 0.0, weights = 0.0, squares = 0.0;

    explicit Counts(const Solution& solution) {
        for (const Member& m : solution.members) {
            if (!m.defining) continue;
            (m.phase == 'S' ? s : p) += 1;
            stations.insert(m.station);
            sum += m.weight * m.residual * m.residual;
            squares += m.residual * m.residual;
            weights += m.weight;
        }
    }
    int picks() const { return p + s; }
    double scatter() const { return picks() > 1 ? std::sqrt(squares / (picks() - 1)) : 0.0; }
    double weighted() const {
        return picks() > 1 && weights > 0.0 ? std::sqrt(sum / weights * picks() / (picks() - 1))
                                            : 0.0;
    }
};

double distance_of(const SearchGrid& grid, const Solution& solution, int station) {
    const Station& sta = grid.station(station);
    return path_between(grid.times.position(solution.spot), sta.lat, sta.lon).delta;
}

// An entry of nsta_thresh is met when so many stations within its distance have a pick; one entry
// that is met is enough.
bool enough_by_distance(const SearchGrid& grid, const Solution& solution, const Counts& counts) {
    const SearchParams& sp = *grid.search;
    if (sp.nnsta_thresh == 0) return true;
    for (int i = 0; i < sp.nnsta_thresh; ++i) {
        int within = 0;
        for (int station : counts.stations) {
            within += distance_of(grid, solution, station) <= sp.nsta_thresh[i].distance ? 1 : 0;
        }
        if (within >= sp.nsta_thresh[i].thresh) return true;
    }
    return false;
}

std::string short_of(const char* what, int have, int need) {
    return have >= need ? "" : format("too few %s: %d of %d", what, have, need);
}

}  // namespace

double coverage_of(const SearchGrid& grid, const Solution& solution) {
    std::set<int> with;
    for (const Member& m : solution.members) with.insert(m.station);
    std::vector<double> reached;
    reached.reserve(with.size());
    for (int station : with) reached.push_back(grid.times.times(solution.spot, station).p);
    if (reached.empty()) return 0.0;
    const auto middle = reached.begin() + static_cast<std::ptrdiff_t>(reached.size() / 2);
    std::nth_element(reached.begin(), middle, reached.end());
    int at_work = 0, recorded = 0;
    for (int is = 0; is < grid.times.grid().ns; ++is) {
        if (!grid.at_work(is, solution.time)) continue;
        if (grid.times.times(solution.spot, is).p > *middle) continue;
        ++at_work;
        recorded += with.count(is) ? 1 : 0;
    }
    return at_work > 0 ? static_cast<double>(recorded) / at_work : 0.0;
}

std::string Associator::lacking(Proposal& proposal) const {
    const SearchGrid& grid = grids_.grids()[proposal.grid];
    const GridRules& rules = grid.rules;
    const Solution& solution = proposal.solution;
    const Counts counts(solution);
    for (const std::string& reason :
         {short_of("P picks", counts.p, rules.min_p), short_of("S picks", counts.s, rules.min_s),
          short_of("picks", counts.picks(), rules.min_picks),
          short_of("stations", static_cast<int>(counts.stations.size()), rules.min_stations)}) {
        if (!reason.empty()) return reason;
    }
    if (!enough_by_distance(grid, solution, counts)) return "too few stations within nsta_thresh";
    if (proposal.scan.priority) return "inside a grid of higher priority";
    if (grid.search->drop_if_on_edge && (solution.on_edge || proposal.scan.edge)) {
        return "on the edge of the grid";
    }
    const Position at = grid.times.position(solution.spot);
    for (int i = 0; i < maxtbl(grid.search->drop_if_in_grid); ++i) {
        const char* name = static_cast<const char*>(gettbl(grid.search->drop_if_in_grid, i));
        const auto* other = static_cast<const SearchParams*>(getarr(grids_.by_name(), name));
        if (other && velorix_inside(other->velorix, at.lat, at.lon)) {
            return std::string("inside a grid of drop_if_in_grid: ") + name;
        }
    }
    if (counts.weighted() > rules.max_scatter) {
        return format("too much scatter: %.2f of %.2f s", counts.weighted(), rules.max_scatter);
    }
    const double coverage = coverage_of(grid, solution);
    proposal.sparse = coverage < rules.min_coverage;
    if (proposal.sparse) {
        return format("near stations without picks: coverage %.2f of %.2f", coverage,
                      rules.min_coverage);
    }
    if (const Event* twin = twin_of(proposal)) {
        return "the same as another event: " + iso_time(twin->time, 2);
    }
    if (const Kept* larger = echo_of(proposal)) {
        return "an echo of a larger event: " + iso_time(larger->solution.time, 2);
    }
    return "";
}

Event make_event(const SearchGrid& grid, const Locator& locator, const Solution& solution) {
    const Velorix& record = grid.times.grid();
    const Position at = grid.times.position(solution.spot);
    const Counts counts(solution);
    Event event;
    event.time = solution.time;
    event.lat = at.lat;
    event.lon = at.lon;
    event.depth = at.depth;
    event.grid = grid.name;
    event.model = std::string(record.model, strnlen(record.model, VELORIX_NAME_SIZE));
    event.defining = counts.picks();
    event.scatter = counts.scatter();
    event.scatter_weighted = counts.weighted();
    event.on_edge = solution.on_edge;
    event.fixed_depth = record.mode == VELORIX_MODE_REGULAR && record.nd == 1;
    event.coverage = coverage_of(grid, solution);
    event.error = locator.uncertainty(solution);
    std::map<int, double> distances;
    std::vector<double> azimuths, sorted;
    double largest = 0.0;
    for (const Member& m : solution.members)
        largest = std::max(largest, m.defining ? m.weight : 0.0);
    for (const Member& m : solution.members) {
        const Station& sta = grid.station(m.station);
        const Path path = path_between(at, sta.lat, sta.lon);
        const double weight = m.defining && largest > 0.0 ? m.weight / largest : 0.0;
        event.picks.push_back({m.waiting->pick, m.phase, m.defining, m.residual, path.delta,
                               path.esaz, path.seaz, weight});
        (m.phase == 'S' ? event.s : event.p) += 1;
        if (distances.emplace(m.station, path.delta).second) azimuths.push_back(path.esaz);
    }
    for (const auto& [station, distance] : distances) sorted.push_back(distance);
    std::sort(sorted.begin(), sorted.end());
    if (!sorted.empty()) {
        event.nearest = sorted.front();
        event.farthest = sorted.back();
        event.median = sorted[sorted.size() / 2];
    }
    event.stations = static_cast<int>(sorted.size());
    event.gap = largest_gap(azimuths);
    std::stable_sort(event.picks.begin(), event.picks.end(),
                     [](const EventPick& a, const EventPick& b) {
                         if (a.delta != b.delta) return a.delta < b.delta;
                         if (a.pick.station != b.pick.station)
                             return a.pick.station < b.pick.station;
                         return a.phase < b.phase;
                     });
    return event;
}

std::vector<LeftOut> left_out_of(const SearchGrid& grid, size_t number, const Solution& solution,
                                 std::span<Waiting* const> nearby) {
    constexpr double kNear = 3.0;  // times the residual limit: farther picks are no question
    const SearchParams& sp = *grid.search;
    std::set<std::pair<int, char>> taken;
    std::set<const Waiting*> own;
    for (const Member& m : solution.members) {
        taken.emplace(m.station, m.phase);
        own.insert(m.waiting);
    }
    std::vector<LeftOut> out;
    for (const Waiting* w : nearby) {
        if (own.count(w)) continue;
        const Role& role = w->roles[number];
        Times times = grid.times.times(solution.spot, role.place);
        times.p *= 1.0 + solution.slowing;
        times.s *= 1.0 + solution.slowing;
        const double rp = w->pick.time - solution.time - times.p;
        const double rs = w->pick.time - solution.time - times.s;
        // The phase the pick may be comes first; another one is named when only that would fit.
        const double p_ratio = std::fabs(rp) / sp.p_max_resid;
        const double s_ratio = times.s >= 0.0 ? std::fabs(rs) / sp.s_max_resid : 2.0 * kNear;
        const bool may_p = role.p && p_ratio <= kNear, may_s = role.s && s_ratio <= kNear;
        const bool as_s = may_p == may_s ? s_ratio < p_ratio : may_s;
        const double residual = as_s ? rs : rp;
        const double limit = as_s ? sp.s_max_resid : sp.p_max_resid;
        if (std::fabs(residual) > kNear * limit) continue;
        const char phase = as_s ? 'S' : 'P';
        std::string why = format("residual beyond %.2f s", limit);
        if (w->event != 0) {
            why = "in another event";
        } else if (!(as_s ? role.s : role.p)) {
            why = role.sifted ? "kept out by a sifter" : "labelled '" + w->pick.phase + "'";
        } else if (taken.count({role.place, phase})) {
            why = "another pick of the station fits better";
        }
        out.push_back({w->pick, phase, residual, why});
    }
    return out;
}

}  // namespace velorix::assoc
