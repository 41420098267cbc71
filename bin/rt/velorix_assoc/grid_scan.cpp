#include "grid_scan.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

namespace velorix::assoc {
namespace {

struct FreeList {
    void operator()(Tbl* list) const { freetbl(list, nullptr); }
};
struct FreeStations {
    void operator()(Arr* map) const { velorix_free_staobs_arr(map); }
};
struct FreeResult {
    void operator()(GridResults* result) const { velorix_free_result(result); }
};
using List = std::unique_ptr<Tbl, FreeList>;

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

}  // namespace

bool scan_grid(GridSet& grids, size_t number, std::span<Waiting* const> picks, ScanResult& result) {
    SearchGrid& grid = grids.grids()[number];
    SearchParams* sp = grid.search.get();
    result = ScanResult();
    if (picks.empty()) return true;
    const List list = records_of(grid, number, picks);
    Arr* map = nullptr;
    if (!list || velorix_fill_staobs_tbl(list.get(), &map, 0, 0) != 0) return false;
    const std::unique_ptr<Arr, FreeStations> owned(map);
    Tbl* table = nullptr;
    const int count = velorix_setup_staobs(map, sp, &table);
    const List stations(table);
    if (count < 0) return false;
    if (count == 0 || apply_roles(table, number, picks, grid.rules.s_doubt) == 0) return true;

    double f = 0.0, score = 0.0, std = 0.0, stduw = 0.0, lat = 0.0, lon = 0.0, depth = 0.0;
    int32_t ix = 0, iy = 0, id = 0;
    sp->grid_type_string[0] = '\0';
    if (velorix_scan_grid(sp, table, &f, &score, &std, &stduw, &lat, &lon, &depth, &result.time,
                          &ix, &iy, &id) != 0) {
        return false;
    }
    if (score <= 0.0) return true;
    GridResults* made = nullptr;
    if (velorix_make_result(grids.by_name(), grid.name.c_str(), table, list.get(), stduw, std,
                            score, ix, iy, id, result.time, lat, lon, depth, &made) != 0) {
        return false;
    }
    const std::unique_ptr<GridResults, FreeResult> solution(made);
    result.good = true;
    result.score = score;
    result.scatter = stduw;
    result.scatter_weighted = std;
    result.stations = solution->nsta;
    result.edge = solution->edge_fault != 0;
    result.priority = solution->priority_fault != 0;
    result.position = {lat, lon, depth};
    result.spot = {static_cast<double>(ix), static_cast<double>(std::max(iy, 0)),
                   static_cast<double>(std::max(id, 0))};
    return true;
}

}  // namespace velorix::assoc
