#include "grid_scan.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <tuple>

namespace velorix::assoc {
namespace {

using List = OwnedTbl;

// The engine's records of the picks. `arid` carries a pick's place in the list.
List records_of(const SearchGrid& grid, size_t number, std::span<Waiting* const> picks) {
    List list(newtbl(static_cast<int>(picks.size())));
    for (size_t i = 0; list && i < picks.size(); ++i) {
        Waiting& waiting = *picks[i];
        PickList& record = waiting.record;
        record = PickList();
        snprintf(record.sta, sizeof record.sta, "%s",
                 grid.station(waiting.roles[number].station).sta);
        snprintf(record.chan, sizeof record.chan, "%.15s", waiting.pick.channel.c_str());
        snprintf(record.phase, sizeof record.phase, "%.15s", waiting.pick.phase.c_str());
        record.time = waiting.pick.time;
        record.snr = waiting.pick.quality;
        record.arid = static_cast<int64_t>(i);
        if (settbl(list.get(), -1, &record) < 0) list.reset();
    }
    return list;
}

// Of two picks of a station at one instant that may be the same phases a scan, which takes one P
// and one S a station, sees one.
std::vector<Waiting*> distinct(std::span<Waiting* const> picks, size_t number) {
    std::set<std::tuple<double, int, bool, bool, bool>> known;
    std::vector<Waiting*> out;
    for (Waiting* w : picks) {
        const Role& role = w->roles[number];
        const bool called_s = label_of(w->pick.phase) == Label::s;
        if (known.emplace(w->pick.time, role.station, role.p, role.search_s, called_s).second) {
            out.push_back(w);
        }
    }
    return out;
}

// A storm of triggers would make a scan take hours, since its cost grows with the square of the
// picks in a window: of more than kMostPicks each station keeps its best ones. Windows of real
// networks hold fewer: 210 at 60 stations (aftershocks), 630 at 640 stations, 1544 at 1077 (a large
// teleseism).
std::vector<Waiting*> thinned(std::vector<Waiting*> picks, size_t number) {
    constexpr size_t kMostPicks = 2000, kLeastOfStation = 8;
    if (picks.size() <= kMostPicks) return picks;
    std::map<int, std::vector<Waiting*>> stations;
    for (Waiting* waiting : picks) stations[waiting->roles[number].station].push_back(waiting);
    const size_t quota = std::max(kLeastOfStation, kMostPicks / stations.size());
    picks.clear();
    for (auto& [station, own] : stations) {
        std::ranges::stable_sort(own, std::greater(),
                                 [](const Waiting* w) { return w->pick.quality; });
        own.resize(std::min(own.size(), quota));
        picks.insert(picks.end(), own.begin(), own.end());
    }
    std::ranges::sort(picks, [](const Waiting* a, const Waiting* b) {
        return compare_onsets(a->pick, b->pick) < 0;
    });
    return picks;
}

// The sifters have set what a channel may serve as; a phase label narrows it. A station none of
// whose picks is called S counts less as S: most of what a picker calls P is P.
int apply_roles(Tbl* stations, size_t number, std::span<Waiting* const> picks, double s_doubt) {
    int usable = 0;
    for (int i = 0; i < maxtbl(stations); ++i) {
        StationObs* station = static_cast<StationObs*>(gettbl(stations, i));
        bool called_s = false;
        for (int k = 0; k < station->nobs; ++k) {
            sta_obs2* observation = station->obs[k];
            const Role& role = picks[static_cast<size_t>(observation->plist->arid)]->roles[number];
            if (!role.p) observation->useforP = 0;
            if (!role.search_s) observation->useforS = 0;
            usable += observation->useforP + observation->useforS;
            called_s = called_s || label_of(observation->plist->phase) == Label::s;
        }
        if (!called_s) station->s_weight_initial *= s_doubt;
    }
    return usable;
}

/// The picks of a scan as the engine wants them.
struct Observed {
    std::vector<Waiting*> picks{};
    List records{};
    Owned<Arr, velorix_free_staobs_arr> map{};
    List stations{};
    bool usable = false;  ///< there is something to score

    bool prepare(const SearchGrid& grid, size_t number, std::span<Waiting* const> given);
};

bool Observed::prepare(const SearchGrid& grid, size_t number, std::span<Waiting* const> given) {
    if (given.empty()) return true;
    picks = thinned(distinct(given, number), number);
    records = records_of(grid, number, picks);
    Arr* by_station = nullptr;
    if (!records || velorix_fill_staobs_tbl(records.get(), &by_station, 0, 0) != 0) return false;
    map.reset(by_station);
    Tbl* table = nullptr;
    const int count = velorix_setup_staobs(by_station, grid.search.get(), &table);
    stations.reset(table);
    if (count < 0) return false;
    usable = count > 0 && apply_roles(table, number, picks, grid.rules.s_doubt) > 0;
    return true;
}

bool on_edge(const Velorix& grid, int32_t ix, int32_t iy) {
    if (grid.mode != VELORIX_MODE_REGULAR) return false;
    return ix == 0 || iy == 0 || ix == grid.nx - 1 || iy == grid.ny - 1;
}

bool inside_higher_priority(std::span<const SearchGrid> grids, size_t number, double lat,
                            double lon) {
    const int priority = grids[number].search->priority;
    return std::ranges::any_of(grids, [&](const SearchGrid& other) {
        return other.search->priority > priority &&
               velorix_inside(&other.times.grid(), lat, lon) != 0;
    });
}

}  // namespace

bool scan_grid(std::span<SearchGrid> grids, size_t number, std::span<Waiting* const> given,
               ScanResult& result) {
    const SearchGrid& grid = grids[number];
    SearchParams* sp = grid.search.get();
    result = ScanResult();
    Observed observed;
    if (!observed.prepare(grid, number, given)) return false;
    if (!observed.usable) return true;

    double f = 0.0, score = 0.0, std = 0.0, stduw = 0.0, lat = 0.0, lon = 0.0, depth = 0.0;
    int32_t ix = 0, iy = 0, id = 0;
    sp->grid_type_string[0] = '\0';
    if (velorix_scan_grid(sp, observed.stations.get(), &f, &score, &std, &stduw, &lat, &lon, &depth,
                          &result.time, &ix, &iy, &id) != 0) {
        return false;
    }
    if (score <= 0.0) return true;
    result.good = true;
    result.score = score;
    result.scatter = stduw;
    result.scatter_weighted = std;
    result.edge = on_edge(grid.times.grid(), ix, iy);
    result.priority = inside_higher_priority(grids, number, lat, lon);
    result.position = {lat, lon, depth};
    result.spot = {static_cast<double>(ix), static_cast<double>(std::max(iy, 0)),
                   static_cast<double>(std::max(id, 0))};
    return true;
}

bool score_nodes(SearchGrid& grid, size_t number, std::span<Waiting* const> picks,
                 std::vector<double>& scores) {
    const Velorix& nodes = grid.times.grid();
    scores.assign(static_cast<size_t>(nodes.nn), 0.0);
    Observed observed;
    if (!observed.prepare(grid, number, picks)) return false;
    if (!observed.usable) return true;
    const bool regular = grid.times.regular();
    const int32_t columns = regular ? nodes.nx : nodes.nn, rows = regular ? nodes.ny : 1;
    for (int32_t node = 0; node < nodes.nn; ++node) {
        const int32_t row = node / columns;
        double time = 0.0, width = 0.0, std = 0.0;
        if (velorix_node_backproj(grid.search.get(), 0, node % columns, row % rows, row / rows,
                                  observed.stations.get(), &time, &width,
                                  &scores[static_cast<size_t>(node)], &std) != 0) {
            return false;
        }
    }
    return true;
}

}  // namespace velorix::assoc
