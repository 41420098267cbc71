// Origin time, scatter and residuals at one node from the marks of the last back-projection.
#include <algorithm>
#include <cmath>

#include "grsubs/internal.h"
#include "grsubs/node_tables.h"
#include "grsubs/weighted_variance.h"

namespace velorix {
namespace {

/// Of a table that a caller has made, too, only finite times take part.
template <class Function>
void for_each_observation(const Tbl* stao_tbl, Function function) {
    for_each_entry<StationObs>(stao_tbl, [&](StationObs& station) {
        for (int i = 0; i < station.nobs; ++i) {
            if (std::isfinite(station.obs[i]->time)) function(station, *station.obs[i]);
        }
    });
}

/// Arrival time of the table's first observation; sums measured from it stay small.
double reference_time(const Tbl* stao_tbl) {
    double time = 0;
    bool found = false;
    for_each_observation(stao_tbl, [&](const StationObs&, const sta_obs2& obs) {
        if (!found) time = obs.time;
        found = true;
    });
    return time;
}

class Residuals {
  public:
    Residuals(const Velorix& grid, const Node& node, Tbl* stao_tbl)
        : tables_(grid, node), stao_tbl_(stao_tbl) {}

    /// Calls function(station, observation, arrival time - (origin + travel time)).
    template <class Function>
    void each(double origin, Function function) const {
        for_each_observation(stao_tbl_, [&](StationObs& station, sta_obs2& obs) {
            if (!tables_.has_station(station.is)) return;
            const double travel =
                obs.used == 2 ? tables_.s_time(station.is) : tables_.p_time(station.is);
            function(station, obs, obs.time - (origin + travel));
        });
    }

  private:
    NodeTables tables_;
    Tbl* stao_tbl_;
};

/// Weighted mean and unbiased weighted standard deviation of the used observations' residuals.
void weighted_origin(const Residuals& residuals, double t0, double* etime, double* std) {
    WeightedSums sums;
    residuals.each(t0, [&](const StationObs& station, const sta_obs2& obs, double r) {
        if (obs.used == 0) return;
        sums.add(r, station.p_weight_initial);
    });
    if (!(sums.w > 0)) return;
    *std = std::sqrt(std::max(weighted_variance(sums, 0.0), 0.0));
    *etime = t0 + sums.mean();
}

double unweighted_deviation(const Residuals& residuals, double etime) {
    int n = 0;
    double rr = 0;
    residuals.each(etime, [&](const StationObs&, const sta_obs2& obs, double r) {
        if (obs.used == 0) return;
        ++n;
        rr += r * r;
    });
    return n > 1 ? std::sqrt(rr / (n - 1)) : 0;
}

}  // namespace
}  // namespace velorix

extern "C" int velorix_node_residual(const Velorix* grid, int32_t ix, int32_t iy, int32_t id,
                                     Tbl* stao_tbl, double* etime, double* std, double* stduw,
                                     int32_t compute_resids) {
    const velorix::Residuals residuals(*grid, {ix, iy, id}, stao_tbl);
    if (compute_resids != 0) {
        residuals.each(*etime, [](const StationObs&, sta_obs2& obs, double r) { obs.resid = r; });
        return 0;
    }
    *std = 0;
    *etime = velorix::reference_time(stao_tbl);
    velorix::weighted_origin(residuals, *etime, etime, std);
    if (stduw) *stduw = velorix::unweighted_deviation(residuals, *etime);
    return 0;
}
