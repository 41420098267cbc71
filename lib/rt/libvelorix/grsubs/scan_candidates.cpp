#include "grsubs/scan_candidates.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <tuple>

#include "grsubs/candidates.h"

namespace velorix {
namespace {

// Differences of two arrivals and a travel time stay far from the ends of 32 bits.
constexpr double kMostTicks = 1 << 29;

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

// A float counts them one by one.
constexpr size_t kMostCandidates = 1 << 23;

}  // namespace

bool ScanCandidates::build(const SearchParams& sp, std::span<StationObs* const> stations) {
    if (!list(sp, stations) || !set_ticks(sp.cluster_twin)) return false;
    arrange();
    return true;
}

// The conditions are those of one node's search, but for the weights: a curve may change them, even
// their sign.
bool ScanCandidates::list(const SearchParams& sp, std::span<StationObs* const> stations) {
    slots.clear();
    listed_.clear();
    nsubgroups = 0;
    for (StationObs* station : stations) {
        if (station->is < 0 || station->is >= sp.velorix->ns) return false;
        if (defines(sp, *station)) list_station(sp, *station);
    }
    return true;
}

void ScanCandidates::list_station(const SearchParams& sp, StationObs& station) {
    const auto number = static_cast<int32_t>(slots.size());
    const auto counts = [curves = sp.use_dwt != 0 || sp.use_dwts != 0](double weight) {
        return weight > 0 || (curves && weight < 0);
    };
    const bool try_p = counts(station.p_weight_initial);
    const bool try_s = counts(station.s_weight_initial) && sp.try_S != 0;
    each_candidate(station, try_p, try_s, [&](const sta_obs2& obs, bool as_p, bool as_s) {
        if (as_p) listed_.push_back({obs.time, number, nsubgroups, false});
        if (as_s) listed_.push_back({obs.time, number, nsubgroups, true});
        ++nsubgroups;
    });
    const bool any = !listed_.empty() && listed_.back().slot == number;
    if (any) slots.push_back(&station);
}

bool ScanCandidates::set_ticks(double cluster_twin) {
    ticks_per_second = (1 << kTickBits) * kBinsPerWindow / cluster_twin;
    if (!(ticks_per_second > 0) || !std::isfinite(ticks_per_second)) return false;
    if (listed_.empty()) return true;
    if (listed_.size() > kMostCandidates) return false;
    double first = listed_.front().time;
    double last = first;
    for (const Candidate& c : listed_) {
        if (!std::isfinite(c.time)) return false;
        first = std::min(first, c.time);
        last = std::max(last, c.time);
    }
    if (!((last - first) * ticks_per_second < kMostTicks)) return false;
    // One node's search subtracts travel times from epoch seconds; its steps must be small too.
    const double step = std::max(std::abs(first), std::abs(last)) * kEpsilon;
    if (!(step * ticks_per_second < 1)) return false;
    arrival.resize(listed_.size());
    for (size_t k = 0; k < listed_.size(); ++k) {
        arrival[k] = static_cast<int32_t>((listed_[k].time - first) * ticks_per_second);
    }
    return true;
}

void ScanCandidates::arrange() {
    const size_t count = listed_.size();
    n = static_cast<int>(count);
    np = static_cast<int>(
        std::count_if(listed_.begin(), listed_.end(), [](const Candidate& c) { return !c.is_s; }));
    ngroups = 2 * static_cast<int>(slots.size());
    std::vector<int32_t> by_place(count);
    std::iota(by_place.begin(), by_place.end(), 0);
    std::sort(by_place.begin(), by_place.end(), [&](int32_t a, int32_t b) {
        const auto key = [&](int32_t number) {
            const Candidate& c = listed_[size_t(number)];
            return std::tuple(c.is_s, slots[size_t(c.slot)]->is, number);
        };
        return key(a) < key(b);
    });
    const std::vector<int32_t> listed_arrival(arrival);
    for (auto* array : {&slot, &is, &group, &subgroup, &order}) array->resize(count);
    time.resize(count);
    for (size_t place = 0; place < count; ++place) {
        const auto number = static_cast<size_t>(by_place[place]);
        const Candidate& c = listed_[number];
        order[number] = static_cast<int32_t>(place);
        arrival[place] = listed_arrival[number];
        time[place] = c.time;
        slot[place] = c.slot;
        is[place] = slots[size_t(c.slot)]->is;
        group[place] = 2 * c.slot + (c.is_s ? 1 : 0);
        subgroup[place] = c.subgroup;
    }
}

}  // namespace velorix
