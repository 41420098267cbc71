// Which stations and observations of a map take part in the search of one grid.
#include <cmath>

#include "grsubs/internal.h"
#include "platform/elog/elog.h"

namespace velorix {
namespace {

void select(StationObs& station, sta_obs2& obs) {
    obs.useforP = 1;
    obs.useforS = 1;
    obs.used = 0;
    station.obs[station.nobs++] = &obs;
}

// A time that is not a number agrees with nothing and would make every sum one like it.
template <class Predicate>
void select_if(StationObs& station, Predicate predicate) {
    station.nobs = 0;
    for (int i = 0; i < station.nobs_orig; ++i) {
        sta_obs2& obs = station.obs_orig[i];
        if (std::isfinite(obs.time) && predicate(obs)) select(station, obs);
    }
}

/// Selects by phase pattern; false when that leaves the station nothing of what it had.
bool select_by_phase(StationObs& station, SearchParams& sp) {
    select_if(station, [&](const sta_obs2& obs) {
        return sifted(obs.phase, sp.phase_sifter, &sp.hook_phase_sifter);
    });
    return station.nobs > 0 || (!sp.phase_sifter && station.nobs_orig == 0);
}

/// Selects the observations of an earlier association; false when that leaves the station nothing.
bool select_associated(StationObs& station, SearchParams&) {
    select_if(station, [](const sta_obs2& obs) { return obs.plist && obs.plist->associated == 1; });
    return station.nobs > 0;
}

void sift_channels(StationObs& station, SearchParams& sp) {
    for (int i = 0; i < station.nobs; ++i) {
        sta_obs2& obs = *station.obs[i];
        if (!sifted(obs.chan, sp.p_channel_sifter, &sp.hook_p_channel_sifter)) obs.useforP = 0;
        if (!sifted(obs.chan, sp.s_channel_sifter, &sp.hook_s_channel_sifter)) obs.useforS = 0;
    }
}

// A second P so soon after another is its coda.
void thin_p(StationObs& station, double det_tmin) {
    const sta_obs2* reference = nullptr;
    for (int i = 0; i < station.nobs; ++i) {
        sta_obs2& obs = *station.obs[i];
        if (obs.useforP == 0) continue;
        if (reference && obs.time - reference->time < det_tmin) {
            obs.useforP = 0;
        } else {
            reference = &obs;
        }
    }
}

void place(StationObs& station, const Station& site) {
    station.is = site.index;
    station.lat = site.lat;
    station.lon = site.lon;
    station.elev = site.elev;
}

void leave_out(StationObs& station) {
    station.p_weight_initial = 0;
    station.s_weight_initial = 0;
    station.is = -1;
}

struct Selection {
    bool (*select)(StationObs&, SearchParams&);
    const char* weight_error;
    const char* swt_error;
};

/// 1 listed, 0 left out, -1 after a logged line.
int list_station(StationObs& station, SearchParams& sp, const Selection& how, Tbl* stao_tbl) {
    const auto* site = static_cast<const Station*>(getarr(sp.velorix->sta_arr, station.sta));
    if (!site || !how.select(station, sp)) {
        leave_out(station);
        return 0;
    }
    sift_channels(station, sp);
    if (sp.det_tmin > 0) thin_p(station, sp.det_tmin);
    place(station, *site);
    if (velorix_get_station_weight(&sp, station.sta, &station.p_weight_initial,
                                   &station.s_weight_initial, nullptr, nullptr) < 0) {
        return elog_log(0, "%s", how.weight_error), -1;
    }
    if (settbl(stao_tbl, -1, &station) >= 0) return 1;
    return elog_log(1, "velorix_setup_staobs: malloc() error.\n"), -1;
}

int list_stations(Arr* stao_arr, SearchParams& sp, const Selection& how, Tbl* stao_tbl) {
    const Keys names(stao_arr);
    if (!names.listed()) return elog_log(1, "velorix_setup_staobs: malloc() error.\n"), -1;
    for (int i = 0; i < names.size(); ++i) {
        auto& station = *static_cast<StationObs*>(getarr(stao_arr, names[i]));
        if (list_station(station, sp, how, stao_tbl) < 0) return -1;
    }
    if (velorix_setup_swt(stao_arr, &sp) < 0) return elog_log(0, "%s", how.swt_error), -1;
    return maxtbl(stao_tbl);
}

int setup(Arr* stao_arr, SearchParams& sp, Tbl** stao_tbl, const Selection& how) {
    if (!stao_arr) return 0;
    *stao_tbl = newtbl(maxarr(stao_arr));
    if (!*stao_tbl) return elog_log(0, "velorix_setup_staobs:newtbl() error.\n"), -1;
    return list_stations(stao_arr, sp, how, *stao_tbl);
}

}  // namespace
}  // namespace velorix

extern "C" int velorix_setup_staobs(Arr* stao_arr, SearchParams* sp, Tbl** stao_tbl) {
    return velorix::setup(
        stao_arr, *sp, stao_tbl,
        {velorix::select_by_phase, "velorix_setup_staobs: velorix_get_station_weight() error.\n",
         "velorix_setup_staobs: velorix_setup_swt() error.\n"});
}

extern "C" int velorix_setup_staobs_from_plist(Arr* stao_arr, SearchParams* sp, Tbl** stao_tbl) {
    return velorix::setup(stao_arr, *sp, stao_tbl,
                          {velorix::select_associated,
                           "velorix_setup_staobs_from_plist: velorix_get_station_weight() error.\n",
                           "velorix_setup_staobs_from_plist: velorix_setup_swt() error.\n"});
}
