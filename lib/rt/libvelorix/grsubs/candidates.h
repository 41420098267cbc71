#ifndef VELORIX_GRSUBS_CANDIDATES_H
#define VELORIX_GRSUBS_CANDIDATES_H
// From a node and a station table to origin-time candidates.
#include <span>

#include "grsubs/node_tables.h"
#include "velorix_pvt.h"

namespace velorix {

struct CandidateCounts {
    int candidates = 0;
    int groups = 0;
    int subgroups = 0;
    bool weighted = false;  ///< some weight is not 1.0
};

/// Sets the stations' distances and clears their flags; returns the number of their observations.
int64_t enter_node(const NodeTables& tables, std::span<StationObs* const> stations);

/// Beyond this (degrees) no station takes part in a search of the closest stations: both weight
/// curves have come down to 0.
double cutoff_distance(const SearchParams& sp);

/// Sorts a table by distance (`stations` holds the same entries) and excludes the stations beyond
/// the nearest sp.closest_stations or beyond the end of both weight curves.
void keep_nearest(const SearchParams& sp, Tbl* stao_tbl, std::span<StationObs*> stations);

/// Fills the thread's six arrays. REQUIRES: room for two candidates an observation.
CandidateCounts build_candidates(const SearchParams& sp, const NodeTables& tables,
                                 std::span<StationObs* const> stations, SearchThread& thread);

/// Whether a station's picks make candidates at all: the defining list, when there is one, names
/// it.
inline bool defines(const SearchParams& sp, const StationObs& station) {
    return !sp.sta_defining_arr || getarr(sp.sta_defining_arr, station.sta);
}

/// Hands every observation that may be the P or the S of its station to `visit(obs, as_p, as_s)`,
/// in order; `try_p` and `try_s` say which phases the station is tried as.
template <class Visit>
void each_candidate(const StationObs& station, bool try_p, bool try_s, Visit visit) {
    for (int i = 0; i < station.nobs; ++i) {
        sta_obs2& obs = *station.obs[i];
        const bool as_p = try_p && obs.useforP != 0;
        const bool as_s = try_s && obs.useforS != 0;
        if (as_p || as_s) visit(obs, as_p, as_s);
    }
}

}  // namespace velorix
#endif
