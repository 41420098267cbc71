// A solution with its picks as one record.
#include <cstdlib>
#include <memory>

#include "grsubs/internal.h"
#include "platform/elog/elog.h"
#include "platform/geodesy/geodesy.h"
#include "support/grid_name.h"
#include "support/units.h"

namespace velorix {
namespace {

/// Releases what a record owns and leaves it cleared.
void empty_result(GridResults& result) {
    std::free(result.grid_name);
    freetbl(result.pick_tbl, nullptr);
    freetbl(result.stao_tbl, velorix_free_staobs);
    result = {};
}

char* copy_name(const char (&field)[VELORIX_NAME_SIZE]) { return strndup(field, sizeof field); }

/// The deep copies of a result. False after a logged line.
bool copy_into(GridResults& result, const SearchParams& sp, Tbl* stao_tbl) {
    result.grid_name = copy_name(sp.velorix->name);
    result.stao_tbl = velorix_copy_stao_tbl(stao_tbl);
    if (!result.stao_tbl) {
        return elog_log(0, "velorix_make_result: velorix_copy_stao_tbl() error.\n"), false;
    }
    result.pick_tbl = newtbl(0);
    if (result.grid_name && result.pick_tbl) return true;
    return elog_log(1, "velorix_make_result: malloc() error.\n"), false;
}

double distance_degrees(const StationObs& station, double lat, double lon) {
    double delta = 0;
    double azimuth = 0;
    dist(radians(station.lat), radians(station.lon), radians(lat), radians(lon), &delta, &azimuth);
    return delta * kDegreesPerRadian;
}

void count_stations(GridResults& result) {
    for_each_entry<StationObs>(result.stao_tbl, [&](const StationObs& station) {
        bool used = false;
        bool associated = false;
        for (int i = 0; i < station.nobs; ++i) {
            const sta_obs2& obs = *station.obs[i];
            used = used || obs.used != 0;
            associated = associated || (obs.plist && obs.plist->associated != 0);
        }
        if (used) {
            ++result.nsta;
            result.nsta_weighted += station.p_weight_initial;
            const double delta = distance_degrees(station, result.lat, result.lon);
            if (delta > result.dmax) result.dmax = delta;
        }
        if (associated) {
            ++result.nsta_ass;
            result.nsta_ass_weighted += station.p_weight_initial;
        }
    });
}

/// False after a logged line.
bool list_picks(GridResults& result, Tbl* picks) {
    bool listed = true;
    for_each_entry<PickList>(picks, [&](PickList& pick) {
        if (!pick.used_save) return;
        listed = listed && settbl(result.pick_tbl, -1, &pick) >= 0;
        if (pick.defining) ++result.ndef;
        if (pick.defining || pick.associated) ++result.nass;
    });
    if (!listed) elog_log(1, "velorix_make_result: malloc() error.\n");
    return listed;
}

int edge_fault(const Velorix& grid, int32_t ix, int32_t iy) {
    if (grid.mode != VELORIX_MODE_REGULAR) return 0;
    return iy == 0 || ix == 0 || ix == grid.nx - 1 || iy == grid.ny - 1;
}

/// False after a logged line.
bool set_priority_fault(GridResults& result, const Arr* sp_arr, const char* gridname) {
    const Keys names(sp_arr);
    if (!names.listed()) return elog_log(1, "velorix_make_result: malloc() error.\n"), false;
    for (int i = 0; i < names.size(); ++i) {
        if (std::strcmp(names[i], gridname) == 0) continue;
        const auto* other = static_cast<const SearchParams*>(getarr(sp_arr, names[i]));
        if (other && result.sp->priority < other->priority &&
            velorix_inside(other->velorix, result.lat, result.lon)) {
            result.priority_fault = 1;
        }
    }
    return true;
}

}  // namespace
}  // namespace velorix

extern "C" int velorix_make_result(Arr* sp_arr, const char* gridname, Tbl* stao_tbl, Tbl* ptbl,
                                   double std, double std_weighted, double performance, int32_t eix,
                                   int32_t eiy, int32_t eid, double etime, double elat, double elon,
                                   double edepth, GridResults** res) {
    auto* sp = static_cast<SearchParams*>(getarr(sp_arr, gridname));
    if (!sp) {
        return elog_log(0, "velorix_make_result: no parameters for grid %s.\n",
                        gridname ? gridname : "(null)"),
               -1;
    }
    std::unique_ptr<GridResults, decltype(&velorix_free_result)> fresh(nullptr,
                                                                       velorix_free_result);
    if (!*res) {
        fresh.reset(static_cast<GridResults*>(std::calloc(1, sizeof(GridResults))));
        if (!fresh) {
            return elog_log(1, "velorix_make_result: malloc(GridResults,%ld) error.\n",
                            static_cast<long>(sizeof(GridResults))),
                   -1;
        }
    }
    GridResults& result = fresh ? *fresh : **res;
    velorix::empty_result(result);
    const int nsass = velorix_setup_plist(stao_tbl, ptbl, sp, etime, elat, elon, eix, eiy, eid);
    result.sp = sp;
    result.nsass = nsass;
    result.std = std;
    result.std_weighted = std_weighted;
    result.performance = performance;
    result.grid_ix = eix;
    result.grid_iy = eiy;
    result.grid_id = eid;
    result.time = etime;
    result.lat = elat;
    result.lon = elon;
    result.depth = edepth;
    if (!velorix::copy_into(result, *sp, stao_tbl) || !velorix::list_picks(result, ptbl) ||
        !velorix::set_priority_fault(result, sp_arr, gridname)) {
        velorix::empty_result(result);
        return -1;
    }
    velorix::count_stations(result);
    result.edge_fault = velorix::edge_fault(*sp->velorix, eix, eiy);
    if (fresh) *res = fresh.release();
    return 0;
}

extern "C" void velorix_free_result(GridResults* res) {
    if (!res) return;
    velorix::empty_result(*res);
    std::free(res);
}
