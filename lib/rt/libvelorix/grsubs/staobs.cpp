// Picks grouped by station; deep copies; release.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>

#include "grsubs/internal.h"
#include "platform/elog/elog.h"

namespace velorix {
namespace {

// Replaces the station's two arrays by larger ones; selected observations and the picks' references
// follow. False when memory fails, with the station as it was.
bool grow_observations(StationObs& station, int capacity) {
    const auto count = static_cast<size_t>(capacity);
    auto* fresh = static_cast<sta_obs2*>(std::calloc(count, sizeof(sta_obs2)));
    auto* obs = static_cast<sta_obs2**>(std::calloc(count, sizeof(sta_obs2*)));
    if (!fresh || !obs) {
        std::free(fresh);
        std::free(obs);
        return false;
    }
    std::copy(station.obs_orig, station.obs_orig + station.nobs_orig, fresh);
    for (int i = 0; i < station.nobs; ++i) obs[i] = fresh + (station.obs[i] - station.obs_orig);
    for (int i = 0; i < station.nobs_orig; ++i) {
        PickList* pick = fresh[i].plist;
        if (pick && pick->stao_obs == station.obs_orig + i) pick->stao_obs = fresh + i;
    }
    std::free(station.obs_orig);
    std::free(station.obs);
    station.obs_orig = fresh;
    station.obs = obs;
    station.obs_capacity = capacity;
    return true;
}

// Room for one more observation.
bool make_room(StationObs& station) {
    const int capacity = std::max(station.obs_capacity, station.nobs_orig);
    if (station.nobs_orig < capacity) return true;
    if (capacity > INT_MAX / 2) return false;
    return grow_observations(station, std::max(2 * capacity, 1));
}

StationObs* new_station(const PickList& pick, Arr* stao_arr) {
    auto* station = static_cast<StationObs*>(std::calloc(1, sizeof(StationObs)));
    if (!station) return nullptr;
    std::memcpy(station->sta, pick.sta, sizeof station->sta);
    station->sta[sizeof station->sta - 1] = '\0';
    if (make_room(*station) && setarr(stao_arr, station->sta, station) == 0) return station;
    velorix_free_staobs(station);
    return nullptr;
}

StationObs* station_of(const PickList& pick, Arr** stao_arr) {
    if (!*stao_arr) *stao_arr = newarr(nullptr);
    if (!*stao_arr) return elog_log(1, "velorix_fill_staobs: newarr() error.\n"), nullptr;
    auto* station = static_cast<StationObs*>(getarr(*stao_arr, pick.sta));
    if (!station) {
        station = new_station(pick, *stao_arr);
        if (!station) elog_log(1, "velorix_fill_staobs: malloc() error.\n");
        return station;
    }
    if (!make_room(*station)) {
        return elog_log(1, "velorix_fill_staobs: realloc() error.\n"), nullptr;
    }
    return station;
}

void add_observation(StationObs& station, PickList& pick, bool with_arid, bool keep_pick) {
    sta_obs2& obs = station.obs_orig[station.nobs_orig++];
    obs = {};
    if (with_arid) obs.arid = pick.arid;
    obs.time = pick.time;
    obs.snr = pick.snr;
    obs.useforP = 1;
    obs.useforS = 1;
    std::memcpy(obs.phase, pick.phase, sizeof obs.phase);
    std::memcpy(obs.chan, pick.chan, sizeof obs.chan);
    obs.plist = keep_pick ? &pick : nullptr;
    obs.parent = &station;
    pick.stao = &station;
}

// A pick of an earlier solution stays with it.
void leave_out(PickList& pick) {
    pick.used_save = 1;
    pick.associated = 0;
    pick.defining = 0;
    pick.stao = nullptr;
}

void reset(PickList& pick) {
    pick.associated = 0;
    pick.defining = 0;
    pick.used = 0;
    pick.used_save = 0;
    pick.resid = 0;
    pick.stao = nullptr;
}

bool copy_observations(const StationObs& from, StationObs& to) {
    const size_t orig_bytes = static_cast<size_t>(std::max(from.nobs_orig, 0)) * sizeof(sta_obs2);
    const size_t obs_bytes = static_cast<size_t>(std::max(from.nobs, 0)) * sizeof(sta_obs2*);
    to.obs_orig = static_cast<sta_obs2*>(std::malloc(std::max(orig_bytes, size_t{1})));
    if (!to.obs_orig) {
        elog_log(1, "velorix_fill_staobs: malloc(stao->obs_orig,%ld) error.\n", long(orig_bytes));
        return false;
    }
    to.obs = static_cast<sta_obs2**>(std::malloc(std::max(obs_bytes, size_t{1})));
    if (!to.obs) {
        elog_log(1, "velorix_fill_staobs: malloc(sta->obs,%ld) error.\n", long(obs_bytes));
        return false;
    }
    if (orig_bytes) std::memcpy(to.obs_orig, from.obs_orig, orig_bytes);
    for (int i = 0; i < from.nobs; ++i) to.obs[i] = to.obs_orig + (from.obs[i] - from.obs_orig);
    return true;
}

bool append_copy(const StationObs& from, Tbl* copies) {
    auto* copy = static_cast<StationObs*>(std::malloc(sizeof(StationObs)));
    if (copy) *copy = from;
    if (copy) copy->obs_orig = nullptr, copy->obs = nullptr;
    if (!copy || settbl(copies, -1, copy) < 0) {
        std::free(copy);
        elog_log(1, "velorix_copy_stao_tbl: malloc(stao,%ld) error.\n", long(sizeof(StationObs)));
        return false;
    }
    // The copy's list of selected observations has room for those alone.
    copy->obs_capacity = 0;
    return copy_observations(from, *copy);
}

}  // namespace

int group_picks(Tbl* picktbl, Arr** stao_arr, bool with_arid, bool reprocess, bool keep_picks) {
    int without_time = 0;
    for (int i = 0; i < maxtbl(picktbl); ++i) {
        auto& pick = *static_cast<PickList*>(gettbl(picktbl, i));
        if (reprocess && pick.used > 0) {
            leave_out(pick);
            continue;
        }
        reset(pick);
        if (!std::isfinite(pick.time)) ++without_time;
        StationObs* station = station_of(pick, stao_arr);
        if (!station) return -1;
        add_observation(*station, pick, with_arid, keep_picks);
    }
    if (without_time > 0) {
        elog_complain(0, "velorix_fill_staobs: %d picks take no part, their time is not finite.\n",
                      without_time);
    }
    const bool nothing = maxtbl(picktbl) == 0 || maxarr(*stao_arr) == 0;
    if (*stao_arr && nothing) {
        freearr(*stao_arr, nullptr);
        *stao_arr = nullptr;
    }
    return 0;
}

}  // namespace velorix

extern "C" int velorix_fill_staobs_tbl(Tbl* picktbl, Arr** stao_arr, int dbloc2, int reprocess) {
    return velorix::group_picks(picktbl, stao_arr, dbloc2 != 0, reprocess != 0, true);
}

extern "C" int velorix_fill_staobs(Pf* pf_phases, Arr** stao_arr, int dbloc2) {
    Tbl* picks = nullptr;
    if (velorix_fill_plist(pf_phases, &picks, dbloc2) < 0) {
        freetbl(picks, std::free);
        return elog_log(0, "velorix_fill_staobs: velorix_fill_plist() error.\n"), -1;
    }
    if (!picks) return 0;
    const int result = velorix::group_picks(picks, stao_arr, dbloc2 != 0, false, false);
    freetbl(picks, std::free);
    return result;
}

Tbl* velorix_copy_stao_tbl(Tbl* stao_tbl) {
    Tbl* copies = newtbl(maxtbl(stao_tbl));
    if (!copies) return elog_log(0, "velorix_copy_stao_tbl: newtbl() error.\n"), nullptr;
    for (int i = 0; i < maxtbl(stao_tbl); ++i) {
        if (velorix::append_copy(*static_cast<StationObs*>(gettbl(stao_tbl, i)), copies)) continue;
        freetbl(copies, velorix_free_staobs);
        return nullptr;
    }
    return copies;
}

extern "C" void velorix_free_staobs(void* stao) {
    auto* station = static_cast<StationObs*>(stao);
    if (!station) return;
    std::free(station->obs_orig);
    std::free(station->obs);
    std::free(station);
}

extern "C" int velorix_free_staobs_arr(Arr* stao_arr) {
    freearr(stao_arr, velorix_free_staobs);
    return 0;
}
