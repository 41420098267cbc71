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

}  // namespace velorix
#endif
