// Initial station weights: from name patterns, then from station density.
#include <cstdint>
#include <cstdio>

#include "grsubs/internal.h"
#include "platform/elog/elog.h"
#include "platform/geodesy/geodesy.h"
#include "platform/netname/seednet.h"
#include "support/c_array.h"
#include "support/units.h"

namespace velorix {
namespace {

// What the cache holds for a station that no pattern matches.
void* no_pattern() { return reinterpret_cast<void*>(uintptr_t{1}); }

/// "network_code" of a station; an unusable name ends the process.
void qualified_name(const char* sta, char (&name)[2 * SEEDNET_CODE_SIZE]) {
    char network[SEEDNET_CODE_SIZE];
    char code[SEEDNET_CODE_SIZE];
    if (seed_net(sta, network, code) < 0) {
        elog_die(0, "velorix_get_station_weight: seed_net(%s) error.\n", sta);
    }
    std::snprintf(name, sizeof name, "%s_%s", network, code);
}

/// The first pattern that matches, null when none does; -1 after a logged line.
int find_pattern(SearchParams& sp, const char* sta, station_weights_*& found) {
    found = nullptr;
    for (int i = 0; i < sp.nstation_weights; ++i) {
        station_weights_& entry = sp.station_weights[i];
        char name[2 * SEEDNET_CODE_SIZE];
        const char* text = sta;
        if (std::strchr(entry.sta_expr, '_')) {
            qualified_name(sta, name);
            text = name;
        }
        const int matched = strmatches(text, entry.sta_expr, &entry.match_hook);
        if (matched < 0) {
            return elog_log(0, "get_station_weight: strmatches(%s,%s) error.\n", sta,
                            entry.sta_expr),
                   -1;
        }
        if (matched == 1) return found = &entry, 0;
    }
    return 0;
}

void set_if_wanted(double* wanted, double value) {
    if (wanted) *wanted = value;
}

// Density weighting: how much a neighbour counts at a distance.
class NeighbourCount {
  public:
    explicit NeighbourCount(const SearchParams& sp)
        : sp_(sp),
          slope_(sp.swt_dist_far == sp.swt_dist_near
                     ? 0
                     : (sp.swt_wt_far - sp.swt_wt_near) / (sp.swt_dist_far - sp.swt_dist_near)) {}

    double between(const StationObs& a, const StationObs& b) const {
        double delta = 0;
        double azimuth = 0;
        dist(radians(a.lat), radians(a.lon), radians(b.lat), radians(b.lon), &delta, &azimuth);
        const double d = delta * kDegreesPerRadian;
        if (d <= sp_.swt_dist_near) return sp_.swt_wt_near;
        if (d >= sp_.swt_dist_far) return sp_.swt_wt_far;
        return sp_.swt_wt_near + slope_ * (d - sp_.swt_dist_near);
    }

  private:
    const SearchParams& sp_;
    double slope_;
};

using Weight = double StationObs::*;

/// The count of every station's neighbours, itself included, among those with a weight.
template <class StationAt>
void sum_neighbours(int n, StationAt station_at, const NeighbourCount& count, Weight weight,
                    double* sums) {
    for (int a = 0; a < n; ++a) {
        const StationObs& station = station_at(a);
        if (station.is == -1 || station.*weight == 0) continue;
        for (int b = 0; b < n; ++b) {
            const StationObs& other = station_at(b);
            if (other.is == -1 || other.*weight == 0) continue;
            sums[a] += count.between(station, other);
        }
    }
}

template <class StationAt>
void divide_by(int n, StationAt station_at, Weight weight, const double* sums) {
    for (int a = 0; a < n; ++a) {
        StationObs& station = station_at(a);
        if (station.is != -1 && station.*weight != 0 && sums[a] != 0) station.*weight /= sums[a];
    }
}

}  // namespace
}  // namespace velorix

int velorix_get_station_weight(SearchParams* sp, const char* sta, double* p_weight,
                               double* s_weight, double* p_max_resid, double* s_max_resid) {
    using velorix::set_if_wanted;
    set_if_wanted(p_weight, 1.0);
    set_if_wanted(s_weight, 1.0);
    set_if_wanted(p_max_resid, sp->p_max_resid);
    set_if_wanted(s_max_resid, sp->s_max_resid);
    if (!sp->station_weights_arr) return 0;
    void* cached = getarr(sp->station_weights_arr, sta);
    if (!cached) {
        station_weights_* found = nullptr;
        if (velorix::find_pattern(*sp, sta, found) < 0) return -1;
        cached = found ? found : velorix::no_pattern();
        setarr(sp->station_weights_arr, sta, cached);
    }
    if (cached == velorix::no_pattern()) return 0;
    const auto& entry = *static_cast<const station_weights_*>(cached);
    set_if_wanted(p_weight, entry.p_weight);
    set_if_wanted(s_weight, entry.s_weight);
    set_if_wanted(p_max_resid, entry.p_max_resid);
    set_if_wanted(s_max_resid, entry.s_max_resid);
    return 0;
}

int velorix_setup_swt(Arr* stao_arr, SearchParams* sp) {
    if (!stao_arr || sp->use_swt == 0) return 0;
    const velorix::Keys names(stao_arr);
    if (!names.listed()) return elog_log(1, "velorix_setup_swt: malloc() error.\n"), -1;
    const int n = names.size();
    if (n == 0) return 0;
    const auto bytes = static_cast<long>(static_cast<size_t>(n) * sizeof(double));
    const auto p_sums = velorix::make_c_array<double>(static_cast<size_t>(n));
    if (!p_sums)
        return elog_log(1, "velorix_setup_swt: malloc(p_weights, %ld) error.\n", bytes), -1;
    const auto s_sums = velorix::make_c_array<double>(static_cast<size_t>(n));
    if (!s_sums)
        return elog_log(1, "velorix_setup_swt: malloc(s_weights, %ld) error.\n", bytes), -1;
    const auto stations = velorix::make_c_array<StationObs*>(static_cast<size_t>(n));
    if (!stations) return elog_log(1, "velorix_setup_swt: malloc() error.\n"), -1;
    for (int i = 0; i < n; ++i) {
        stations[size_t(i)] = static_cast<StationObs*>(getarr(stao_arr, names[i]));
    }
    const auto station_at = [&](int i) -> StationObs& { return *stations[size_t(i)]; };
    const velorix::NeighbourCount count(*sp);
    velorix::sum_neighbours(n, station_at, count, &StationObs::p_weight_initial, p_sums.get());
    velorix::sum_neighbours(n, station_at, count, &StationObs::s_weight_initial, s_sums.get());
    velorix::divide_by(n, station_at, &StationObs::p_weight_initial, p_sums.get());
    velorix::divide_by(n, station_at, &StationObs::s_weight_initial, s_sums.get());
    return 0;
}
