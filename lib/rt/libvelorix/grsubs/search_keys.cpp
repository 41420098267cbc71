#include "grsubs/search_keys.h"

#include <cstring>

namespace velorix {
namespace {

constexpr int kEngine = 1;  // the engine reads the field
constexpr int kCaller = 0;  // it is held for the calling program

#define REAL(name, unit, who, line) \
    { {#name, "real", unit, line, who}, KeyKind::real, offsetof(SearchParams, name) }
#define INTEGER(name, unit, who, line) \
    { {#name, "integer", unit, line, who}, KeyKind::integer, offsetof(SearchParams, name) }
#define FLAG(name, who, line) \
    { {#name, "boolean", "", line, who}, KeyKind::flag, offsetof(SearchParams, name) }
#define TEXT(name, who, line) \
    { {#name, "string", "", line, who}, KeyKind::text, offsetof(SearchParams, name) }
#define LIST(name, unit, who, line) \
    { {#name, "list", unit, line, who}, KeyKind::name, 0 }

constexpr KeyEntry kKeys[] = {
    REAL(cluster_twin, "s", kEngine, "window of origin times that make a cluster"),
    REAL(cluster_prewin, "s", kEngine, "window before it, whose candidates count against it"),
    REAL(p_max_resid, "s", kEngine, "largest P residual for association"),
    REAL(s_max_resid, "s", kEngine, "largest S residual for association"),
    REAL(p_max_resid_sweep, "s", kCaller, "largest P residual of a pick that is associated only"),
    REAL(s_max_resid_sweep, "s", kCaller, "largest S residual of a pick that is associated only"),
    REAL(p_deltim, "s", kCaller, "a priori error of a P time"),
    REAL(s_deltim, "s", kCaller, "a priori error of an S time"),
    INTEGER(nxd, "nodes", kEngine, "columns of the block searched at further depths"),
    INTEGER(nyd, "nodes", kEngine, "rows of the block searched at further depths"),
    FLAG(try_S, kEngine, "picks may be S in the search"),
    FLAG(associate_S, kEngine, "S picks may be associated"),
    FLAG(reprocess_S, kCaller, "S picks are looked at again after an association"),
    LIST(nsta_thresh, "degrees, stations", kCaller,
         "least stations within a distance, one entry is enough: distance and count an entry"),
    FLAG(drop_if_on_edge, kCaller, "events on the edge of the mesh are dropped"),
    FLAG(no_output, kCaller, "events of this grid are not written"),
    INTEGER(priority, "", kEngine, "an event inside another grid of higher priority is marked"),
    LIST(drop_if_in_grid, "", kCaller,
         "names of grids inside which events of this one are dropped"),
    TEXT(phase_sifter, kEngine, "pattern of the phases that are used"),
    TEXT(p_channel_sifter, kEngine, "pattern of the channels that may serve as P"),
    TEXT(s_channel_sifter, kEngine, "pattern of the channels that may serve as S"),
    REAL(det_tmin, "s", kEngine, "a P so soon after the last one of its station is left out"),
    TEXT(auth, kCaller, "author of the events"),
    TEXT(dtype, kCaller, "depth type of the events"),
    TEXT(algorithm, kCaller, "algorithm that the events name"),
    TEXT(relocate, kCaller, "program that relocates the events"),
    FLAG(use_swt, kEngine, "station weights are divided by the density of stations"),
    FLAG(use_only_relocation, kCaller, "only the relocated event is kept"),
    FLAG(dont_apply_weights_for_relocation, kCaller, "a relocation has no weights"),
    FLAG(drop_original_if_relocation_fails, kCaller,
         "an event that cannot be relocated is dropped"),
    REAL(drop_relocation_depth, "km", kCaller, "a relocation below this depth is dropped"),
    {{"relocate_params", "table", "", "parameters of the relocation", kCaller},
     KeyKind::relocate_params,
     0},
    REAL(orphan_time_range, "s", kCaller,
         "time around an event whose left-over picks are looked at"),
    INTEGER(closest_stations, "stations", kEngine,
            "only so many, the nearest to a node, take part"),
    LIST(station_weights, "s", kEngine,
         "pattern, P and S weight, P and S residual, perhaps two sweep residuals an entry"),
    REAL(swt_dist_near, "degrees", kEngine, "a neighbour up to here counts swt_wt_near"),
    REAL(swt_dist_far, "degrees", kEngine, "a neighbour from here on counts swt_wt_far"),
    REAL(swt_wt_near, "", kEngine, "count of a near neighbour"),
    REAL(swt_wt_far, "", kEngine, "count of a far neighbour"),
    LIST(p_weights, "degrees", kEngine, "P weight against distance: distance and weight an entry"),
    LIST(s_weights, "degrees", kEngine, "S weight against distance: distance and weight an entry"),
    REAL(sta_defining_xmin, "", kCaller, "least x of the stations that define an event"),
    REAL(sta_defining_xmax, "", kCaller, "greatest x of the stations that define an event"),
    REAL(sta_defining_ymin, "", kCaller, "least y of the stations that define an event"),
    REAL(sta_defining_ymax, "", kCaller, "greatest y of the stations that define an event"),
    LIST(sta_defining_arr, "", kEngine, "codes of the only stations that take part in the scan"),
    INTEGER(origin_cache_maxsize, "events", kCaller, "earlier events that are remembered"),
    REAL(origin_lat_tolerance, "degrees", kCaller, "an event so near in latitude is the same"),
    REAL(origin_lon_tolerance, "degrees", kCaller, "an event so near in longitude is the same"),
    REAL(origin_depth_tolerance, "km", kCaller, "an event so near in depth is the same"),
    REAL(origin_time_tolerance, "s", kCaller, "an event so near in time is the same"),
    INTEGER(number_threads, "threads", kEngine, "workers of a scan"),
    FLAG(plot, kCaller, "events are plotted"),
    TEXT(bugrid_filename, kEngine, "when set, the score of every horizontal node is kept"),
};

#undef REAL
#undef INTEGER
#undef FLAG
#undef TEXT
#undef LIST

}  // namespace

std::span<const KeyEntry> search_keys() { return kKeys; }

}  // namespace velorix

extern "C" const SearchKey* velorix_search_key(int i) {
    const auto keys = velorix::search_keys();
    return i >= 0 && static_cast<size_t>(i) < keys.size() ? &keys[static_cast<size_t>(i)].key
                                                          : nullptr;
}
