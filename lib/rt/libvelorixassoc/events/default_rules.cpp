// Rules that follow from a grid alone.
#include <algorithm>
#include <cmath>

#include "grid_rules.h"

namespace velorix::assoc {
namespace {

// Measured on the Italian picks of docs/assoc.md. "Events": all of the triggers' first four hours
// (255) and of the network's picks from 04 to 08 (448), or of both twelve hours (700 | 1309).

// Errors of a model: a few tenths of a second near the surface, and a share of the time.
constexpr double kPModel = 0.4;         // s; 0.2: 694 | 1296 events, 0.8: 716 | 1301
constexpr double kPModelShare = 0.003;  // 0: 699 | 1303, 0.006: 703 | 1303
constexpr double kSModel = 0.6;         // s; 0.4: 695 | 1302, 1.0: 704 | 1307
constexpr double kSModelShare = 0.004;  // 0: 255 | 446, 0.008: 256 | 447
// Picks at one time are not finer than they are picked; 0.25 and 1 s: the same events, since the
// share of model and cell is larger in grids of common spacing.
constexpr double kLeastTwin = 0.5;  // s
// What a location between the nodes leaves of a cell's part of the limit. 0.3: 254 | 444 events,
// 0.7: 257 | 449, 1: 258 | 447 with more scatter.
constexpr double kLocatedPart = 0.5;
// Late picks beyond the limit that are the event's nevertheless; 1: 260 | 447 events, 2: 253 | 441.
constexpr double kSweep = 1.5;
// A limit is four deviations; 0.12: 251 | 445 events, 0.5: 259 | 452.
constexpr double kDeviation = 0.25;
// Picks evenly spread up to the limit have 0.58 of it; 0.5 and 1: the same events.
constexpr double kMostScatter = 0.75;
// 0.3: 265 | 462 events; 0.5: 241 | 426.
constexpr double kMinCoverage = 0.4;
// Twins: seconds and widths of a cluster (2 and 5 s: the same; 5 widths: 255 | 446 events), km and
// nodes (5 km: the same, 30: 252 | 438; 3 nodes: the same, 12: 253 | 441).
constexpr double kApart = 3.0, kApartTwins = 3.0;
constexpr double kApartKm = 15.0, kApartNodes = 6.0;
// Most of what is not called S is P; 0.3 to 1: the same events.
constexpr double kSDoubt = 0.6;
// 20: 249 | 440 events in 0.56 of the time, 60: 259 | 449 in 1.26 of it.
constexpr int kScreenStations = 40;
// Stations that an event needs, for the window; 20: 262 | 445 events, 60: the same as 40.
constexpr size_t kNearest = 40;

// Median slowness in s/km between a node and its neighbour, over nodes and stations: what a node of
// error costs in time.
double slowness(const GridTimes& times, bool s_wave) {
    std::vector<double> values;
    const Velorix& grid = times.grid();
    const int64_t step = std::max<int64_t>(1, times.nodes() / 200);
    for (int64_t node = 0; node + 1 < times.nodes(); node += step) {
        const Position a = times.position(times.spot_of(node));
        const Position b = times.position(times.spot_of(node + 1));
        const double km = path_between(a, b.lat, b.lon).delta * kKmPerDegree;
        if (km < 0.1 || km > 3.0 * std::max(0.1, times.spacing_km())) continue;
        for (int is = 0; is < grid.ns; is += std::max(1, grid.ns / 50)) {
            const Times ta = times.node_times(node, is), tb = times.node_times(node + 1, is);
            const double difference = s_wave ? ta.s - tb.s : ta.p - tb.p;
            values.push_back(std::fabs(difference) / km);
        }
    }
    if (values.empty()) return s_wave ? 0.3 : 0.17;
    const auto high = values.begin() + static_cast<std::ptrdiff_t>(values.size() * 3 / 4);
    std::nth_element(values.begin(), high, values.end());
    return *high;
}

/// Longest P and S times that matter, s.
struct Reach {
    double p, s;
};

// Of a dense network inside its mesh an event needs the nearest stations only: the times to the
// kNearest-th of them, at four nodes of five. Otherwise (few stations, or a mesh seen from afar)
// all.
Reach reach_of(const GridTimes& times, double max_p, double max_s) {
    const Velorix& grid = times.grid();
    int inside = 0;
    for (int is = 0; is < grid.ns; ++is) {
        inside += velorix_inside(&grid, grid.stations[is].lat, grid.stations[is].lon);
    }
    if (!times.regular() || grid.ns < 2 * static_cast<int>(kNearest) || 2 * inside < grid.ns) {
        return {max_p, max_s};
    }
    std::vector<double> p, s, row(static_cast<size_t>(grid.ns));
    const auto nth = [](std::vector<double>& values, size_t n) {
        std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(n),
                         values.end());
        return values[n];
    };
    for (int64_t node = 0; node < times.nodes();
         node += std::max<int64_t>(1, times.nodes() / 300)) {
        for (bool s_wave : {false, true}) {
            for (int is = 0; is < grid.ns; ++is) {
                const Times at = times.node_times(node, is);
                row[static_cast<size_t>(is)] = s_wave ? at.s : at.p;
            }
            (s_wave ? s : p).push_back(nth(row, kNearest));
        }
    }
    return {nth(p, p.size() * 4 / 5), nth(s, s.size() * 4 / 5)};
}

}  // namespace

void derive_defaults(const GridTimes& times, SearchParams& sp, GridRules& rules) {
    double min_p = 0.0, max_p = 0.0, min_s = 0.0, max_s = 0.0;
    velorix_get_minmax_ttimes(&times.grid(), &min_p, &max_p, &min_s, &max_s);
    const bool with_s = times.grid().S_times != nullptr;
    const Reach reach = reach_of(times, max_p, max_s);
    const double longest = std::max(reach.p, reach.s);
    // An event is at most half a cell's diagonal from a node; models err by about half a percent of
    // the travel time, and by a few tenths of a second near the surface.
    const double offset_km = 0.5 * std::sqrt(2.0) * times.spacing_km();
    const double p_cell = offset_km * slowness(times, false);
    const double s_cell = with_s ? offset_km * slowness(times, true) : 0.0;
    const double p_model = kPModel + kPModelShare * reach.p;
    const double s_model = kSModel + kSModelShare * std::max(0.0, reach.s);
    sp.cluster_twin = std::max(kLeastTwin, p_model + p_cell + s_cell);
    sp.cluster_prewin = 0.0;
    sp.p_max_resid = p_model + kLocatedPart * p_cell;
    sp.s_max_resid = s_model + kLocatedPart * s_cell;
    sp.p_max_resid_sweep = kSweep * sp.p_max_resid;
    sp.s_max_resid_sweep = kSweep * sp.s_max_resid;
    sp.p_deltim = kDeviation * sp.p_max_resid;
    sp.s_deltim = kDeviation * sp.s_max_resid;
    sp.try_S = sp.associate_S = with_s ? 1 : 0;
    rules.min_p = 3;
    rules.min_s = 0;
    rules.min_picks = 8;
    rules.min_stations = 4;
    rules.min_coverage = kMinCoverage;
    rules.max_scatter = kMostScatter * std::max(sp.p_max_resid, with_s ? sp.s_max_resid : 0.0);
    rules.window = longest + 2.0 * sp.cluster_twin;
    rules.step = rules.window;
    rules.separation_time = std::max(kApart, kApartTwins * sp.cluster_twin);
    // Stations that disagree by a model error of a few seconds place one earthquake several nodes
    // apart.
    rules.separation_km = std::max(kApartKm, kApartNodes * times.spacing_km());
    rules.s_doubt = kSDoubt;
    rules.screen_stations = kScreenStations;
}

}  // namespace velorix::assoc
