#include "grsubs/candidates.h"

#include <algorithm>
#include <cmath>

#include "grsubs/distance_weight.h"

namespace velorix {
namespace {

// Distance first, then station number: the order must not depend on the nodes visited before.
bool nearer(StationObs* a, StationObs* b) {
    const int order = mydistcompare(&a, &b, nullptr);
    return order != 0 ? order < 0 : a->is < b->is;
}

class Builder {
  public:
    Builder(const SearchParams& sp, const NodeTables& tables, SearchThread& thread)
        : sp_(sp), tables_(tables), thread_(thread) {}

    void add(StationObs& station) {
        if (!tables_.has_station(station.is)) {
            station.p_weight = station.p_weight_initial;
            station.s_weight = station.s_weight_initial;
            return;
        }
        // Stations left out have weights too: an associated pick then reports the same weight
        // whatever was scored before its node.
        set_node_weights(sp_, station, tables_.distance_entry(station.is));
        if (station.used == 1 || station.nobs <= 0) return;
        if (defines(sp_, station)) add_observations(station);
    }
    const CandidateCounts& counts() const { return counts_; }

  private:
    void add_observations(const StationObs& station) {
        const double p_time = tables_.p_time(station.is);
        const double s_time = tables_.s_time(station.is);
        const bool try_p = station.p_weight > 0;
        const bool try_s = station.s_weight > 0 && sp_.try_S != 0;
        const bool any_p = try_p && std::any_of(station.obs, station.obs + station.nobs,
                                                [](const sta_obs2* o) { return o->useforP != 0; });
        const int p_group = counts_.groups;
        const int s_group = p_group + (any_p ? 1 : 0);
        bool any_s = false;
        each_candidate(station, try_p, try_s, [&](sta_obs2& obs, bool as_p, bool as_s) {
            const int before = counts_.candidates;
            if (as_p) append(&obs, obs.time - p_time, station.p_weight, p_group, 'P');
            if (as_s) append(&obs, obs.time - s_time, station.s_weight, s_group, 'S');
            any_s |= as_s;
            if (counts_.candidates > before) ++counts_.subgroups;
        });
        counts_.groups = s_group + (any_s ? 1 : 0);
    }

    void append(sta_obs2* obs, double value, double weight, int group, int phase) {
        if (!std::isfinite(value)) return;  // a broken table entry agrees with nothing
        const int k = counts_.candidates++;
        thread_.backproj_buf[k] = value;
        thread_.backproj_wt[k] = weight;
        thread_.backproj_group[k] = group;
        thread_.backproj_subgroup[k] = counts_.subgroups;
        thread_.backproj_ptype[k] = phase;
        thread_.backproj_staobs_p[k] = obs;
        if (weight != 1.0) counts_.weighted = true;
    }

    const SearchParams& sp_;
    const NodeTables& tables_;
    SearchThread& thread_;
    CandidateCounts counts_;
};

}  // namespace

double cutoff_distance(const SearchParams& sp) {
    if (sp.use_dwt == 0 || sp.use_dwts == 0) return 360.0;
    const weights_& p_end = sp.p_weights[sp.use_dwt - 1];
    const weights_& s_end = sp.s_weights[sp.use_dwts - 1];
    if (p_end.weight != 0.0 || s_end.weight != 0.0) return 360.0;
    return std::max(p_end.distance, s_end.distance);
}

int64_t enter_node(const NodeTables& tables, std::span<StationObs* const> stations) {
    int64_t observations = 0;
    for (StationObs* station : stations) {
        station->used = 0;
        observations += std::max(station->nobs, 0);
        if (tables.has_distances() && tables.has_station(station->is)) {
            station->distance = tables.distance(station->is);
            // A broken table entry sorts last and lies beyond every cut-off.
            if (std::isnan(station->distance)) station->distance = HUGE_VAL;
        }
    }
    return observations;
}

void keep_nearest(const SearchParams& sp, Tbl* stao_tbl, std::span<StationObs*> stations) {
    if (!std::is_sorted(stations.begin(), stations.end(), nearer)) {
        std::sort(stations.begin(), stations.end(), nearer);
        int place = 0;
        for (StationObs* station : stations) settbl(stao_tbl, place++, station);
    }
    const double cutoff = cutoff_distance(sp);
    int place = 0;
    for (StationObs* station : stations) {
        if (station->distance > cutoff || place >= sp.closest_stations) station->used = 1;
        ++place;
    }
}

CandidateCounts build_candidates(const SearchParams& sp, const NodeTables& tables,
                                 std::span<StationObs* const> stations, SearchThread& thread) {
    Builder builder(sp, tables, thread);
    for (StationObs* station : stations) builder.add(*station);
    return builder.counts();
}

}  // namespace velorix
