#include "grsubs/node_scores.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "grsubs/candidates.h"
#include "grsubs/distance_weight.h"

namespace velorix {
namespace {

double above_zero(double weight) { return weight > 0 ? weight : 0; }

}  // namespace

bool NodeScores::prepare(const SearchParams& sp, std::span<StationObs* const> stations,
                         ClusterScratch& cluster) try {
    sp_ = &sp;
    const Velorix& grid = *sp.velorix;
    if (grid.type != VELORIX_TYPE_1D && grid.type != VELORIX_TYPE_3D) return false;
    if (!candidates_.build(sp, stations)) return false;
    nearest_only_ = sp.closest_stations != 0 && grid.distances;
    curves_ = (sp.use_dwt != 0 || sp.use_dwts != 0) && grid.distances;
    stations_.assign(stations.begin(), stations.end());
    const auto n = static_cast<size_t>(candidates_.n);
    bound_.prepare(candidates_, sp.cluster_prewin);
    index_rows(grid);
    slot_weight_.resize(static_cast<size_t>(candidates_.ngroups));
    weight_.resize(n);
    by_distance_.resize(nearest_only_ ? stations.size() : 0);
    for (auto* values : {&part_.value, &part_.weight}) values->resize(n);
    for (auto* numbers : {&part_.group, &part_.subgroup}) numbers->resize(n);
    if (!curves_) {
        for (size_t i = 0; i < candidates_.slots.size(); ++i) {
            const StationObs& station = *candidates_.slots[i];
            slot_weight_[2 * i] = above_zero(station.p_weight_initial);
            slot_weight_[2 * i + 1] = above_zero(station.s_weight_initial);
        }
        narrow_weights();
    }
    return cluster.reserve(candidates_.n, candidates_.ngroups, candidates_.nsubgroups);
} catch (const std::bad_alloc&) {
    return false;
}

// Per-pair tables are read where they are; times behind offsets, and tables that the grid does not
// carry, through one value a slot.
void NodeScores::index_rows(const Velorix& grid) {
    const size_t nslots = candidates_.slots.size();
    slot_p_.assign(nslots, 0);
    slot_s_.assign(nslots, 0);
    const bool direct = grid.type == VELORIX_TYPE_3D;
    const ScanCandidates& c = candidates_;
    rows_.p = slot_p_.data();
    rows_.s = slot_s_.data();
    rows_.p_index = (direct && grid.P_times ? c.is : c.slot).data();
    rows_.s_index = (direct && grid.S_times ? c.is : c.slot).data() + c.np;
}

void NodeScores::set_rows(const NodeTables& tables) {
    if (tables.pair_times()) {
        if (tables.p_row()) rows_.p = tables.p_row();
        if (tables.s_row()) rows_.s = tables.s_row();
        return;
    }
    for (size_t i = 0; i < candidates_.slots.size(); ++i) {
        const int is = candidates_.slots[i]->is;
        slot_p_[i] = static_cast<float>(tables.p_time(is));
        slot_s_[i] = static_cast<float>(tables.s_time(is));
    }
}

void NodeScores::set_weights(const NodeTables& tables) {
    for (size_t i = 0; i < candidates_.slots.size(); ++i) {
        StationObs& station = *candidates_.slots[i];
        if (curves_) set_node_weights(*sp_, station, tables.distance_entry(station.is));
        slot_weight_[2 * i] = above_zero(curves_ ? station.p_weight : station.p_weight_initial);
        slot_weight_[2 * i + 1] = above_zero(curves_ ? station.s_weight : station.s_weight_initial);
    }
    if (nearest_only_) keep_nearest_only(tables);
    narrow_weights();
}

// Of stations at one distance the lower number comes first, as in the full search.
void NodeScores::keep_nearest_only(const NodeTables& tables) {
    const auto key = [&](const StationObs& station) {
        const double distance = tables.distance(station.is);
        return std::pair(std::isnan(distance) ? HUGE_VAL : distance, station.is);
    };
    std::pair<double, int32_t> last(cutoff_distance(*sp_), INT32_MAX);
    const auto wanted = static_cast<size_t>(std::max(sp_->closest_stations, 0));
    if (wanted == 0) last = {-1, -1};
    if (wanted > 0 && wanted < stations_.size()) {
        for (size_t i = 0; i < stations_.size(); ++i) by_distance_[i] = key(*stations_[i]);
        const auto nth = by_distance_.begin() + static_cast<std::ptrdiff_t>(wanted - 1);
        std::nth_element(by_distance_.begin(), nth, by_distance_.end());
        last = std::min(last, *nth);
    }
    for (size_t i = 0; i < candidates_.slots.size(); ++i) {
        if (key(*candidates_.slots[i]) <= last) continue;
        slot_weight_[2 * i] = slot_weight_[2 * i + 1] = 0;
    }
}

void NodeScores::narrow_weights() {
    weighted_ = false;
    for (int k = 0; k < candidates_.n; ++k) {
        const double weight = slot_weight_[static_cast<size_t>(candidates_.group[size_t(k)])];
        weight_[size_t(k)] = static_cast<float>(weight);
        if (weight > 0 && weight != 1.0) weighted_ = true;
    }
}

void NodeScores::enter(const NodeTables& tables) {
    if (curves_ || nearest_only_) set_weights(tables);
    set_rows(tables);
}

bool NodeScores::may_reach(const NodeTables& tables, double bar) {
    enter(tables);
    const bool all_count = !weighted_ && !curves_ && !nearest_only_;
    known_ = bound_.take(rows_, all_count ? nullptr : weight_.data());
    if (!known_ || !(bound_.largest() < bar)) return true;
    ++refused;
    return false;
}

NodeScores::Score NodeScores::score(double bar, ClusterScratch& cluster) {
    if (!known_ || nearest_only_) return {Kind::kUnknown, 0};
    ++clustered;
    bound_.keep_from(bar);
    if (!collect([this](int32_t k) { return bound_.kept(k); })) return {Kind::kUnknown, 0};
    const double found = cluster_collected(cluster);
    return {found >= bar ? Kind::kExact : Kind::kBelow, found};
}

NodeScores::Score NodeScores::score_all(const NodeTables& tables, ClusterScratch& cluster) {
    if (nearest_only_) return {Kind::kUnknown, 0};
    enter(tables);
    if (!collect([](int32_t) { return true; })) return {Kind::kUnknown, 0};
    return {Kind::kExact, cluster_collected(cluster)};
}

double NodeScores::travel_time(int k) const {
    const bool is_p = k < candidates_.np;
    return double{is_p ? rows_.p[rows_.p_index[k]] : rows_.s[rows_.s_index[k - candidates_.np]]};
}

// False when an origin time is broken: the full search then leaves that candidate out.
template <class Wanted>
bool NodeScores::collect(Wanted wanted) {
    size_t count = 0;
    bool broken = false;
    for (const int32_t k : candidates_.order) {
        if (!wanted(k)) continue;
        const auto place = static_cast<size_t>(k);
        const double weight = slot_weight_[static_cast<size_t>(candidates_.group[place])];
        if (!(weight > 0)) continue;
        const double value = candidates_.time[place] - travel_time(k);
        broken = broken || !std::isfinite(value);
        part_.value[count] = value;
        part_.weight[count] = weight;
        part_.group[count] = candidates_.group[place];
        part_.subgroup[count] = candidates_.subgroup[place];
        ++count;
    }
    part_.count = count;
    return !broken;
}

double NodeScores::cluster_collected(ClusterScratch& cluster) const {
    const Candidates candidates{static_cast<int>(part_.count),
                                part_.value.data(),
                                weighted_ ? part_.weight.data() : nullptr,
                                part_.group.data(),
                                part_.subgroup.data(),
                                candidates_.ngroups,
                                candidates_.nsubgroups};
    return best_cluster(candidates, sp_->cluster_twin, sp_->cluster_prewin, cluster).score;
}

}  // namespace velorix
