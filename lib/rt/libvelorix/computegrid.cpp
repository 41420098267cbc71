// The travel-time pass: one function per table shape.
#include <algorithm>

#include "platform/elog/elog.h"
#include "platform/geodesy/geodesy.h"
#include "support/arrival_selection.h"
#include "support/grid_name.h"
#include "support/grid_view.h"
#include "support/units.h"
#include "velorix_pvt.h"

Hook* hook = nullptr;

namespace velorix {
namespace {

/// One pass over one grid.
class Pass {
  public:
    Pass(Velorix& grid, velorix_progress callback)
        : grid_(grid),
          callback_(callback),
          name_(grid.name),
          method_(grid.method),
          model_(grid.model) {}

    bool general_mesh();
    bool regular_mesh();
    bool distance_table();

  private:
    bool store(const TTGeometry& geometry, double distance, int64_t entry, const char* station);
    bool position(const Source& source, double depth, int64_t first_entry);
    void sample_distances(double mind, double ddist);
    bool sample_times(double mind, double ddist);
    void report(int genmode, double lat, double lon, double depth, double percent) const {
        if (callback_) callback_(name_.text, genmode, lat, lon, depth, percent);
    }

    Velorix& grid_;
    velorix_progress callback_;
    const NameText name_;
    const NameText method_;
    const NameText model_;
    Tbl* times_ = nullptr;  // the calculator's answer, owned by its state
};

/// Percentages of a counter that runs to `last`; a single step is all of it, none is nothing.
class Progress {
  public:
    explicit Progress(int64_t last) : single_(last == 0), scale_(1.0 / static_cast<double>(last)) {}
    double percent(int64_t count) const {
        return single_ ? 100.0 : static_cast<double>(count) * 100.0 * scale_;
    }

  private:
    bool single_;
    double scale_;
};

double degrees_between(const Station& station, const Source& source) {
    double delta = 0.0;
    dist(radians(station.lat), radians(station.lon), radians(source.lat), radians(source.lon),
         &delta, nullptr);
    return delta * kDegreesPerRadian;
}

// Asks the calculator for one pair and stores its first P and first S.
bool Pass::store(const TTGeometry& geometry, double distance, int64_t entry, const char* station) {
    if (ttcalc(method_.text, model_.text, "P,S", 0, &geometry, &times_, &hook) < 0) {
        elog_log(0, "velorix_compute_travel_times: ttcalc() error.\n");
        return false;
    }
    if (maxtbl(times_) < 1) {
        const TTPoint& node = geometry.source;
        elog_log(0,
                 "velorix_compute_travel_times: ttcalc() gave no arrival from node (%g, %g, %g) to "
                 "station %s.\n",
                 node.lat, node.lon, node.z, station);
        return false;
    }
    if (grid_.P_times)
        grid_.P_times[entry] = static_cast<float>(first_arrival(times_, distance, qualifies_as_P));
    if (grid_.S_times)
        grid_.S_times[entry] = static_cast<float>(first_arrival(times_, distance, qualifies_as_S));
    return true;
}

// Every station of one position at one depth, from `first_entry` of the tables on.
bool Pass::position(const Source& source, double depth, int64_t first_entry) {
    TTGeometry geometry{{source.lat, source.lon, depth, 0.0, ""}, {}};
    int64_t entry = first_entry;
    for (const Station& station : stations(grid_)) {
        geometry.receiver = {station.lat, station.lon, -station.elev, 0.0, ""};
        const double distance = degrees_between(station, source);
        if (!store(geometry, distance, entry, station.sta)) return false;
        if (grid_.distances) grid_.distances[entry] = static_cast<float>(distance);
        ++entry;
    }
    return true;
}

bool Pass::general_mesh() {
    const Progress progress(int64_t{grid_.ns} * grid_.nn - 1);
    int64_t entry = 0;
    for (int32_t node = 0; node < grid_.nn; ++node) {
        const Source& source = grid_.sources[node];
        if (!position(source, source.depth, entry)) return false;
        entry += grid_.ns;
        report(1, source.lat, source.lon, source.depth, progress.percent(entry));
    }
    return true;
}

bool Pass::regular_mesh() {
    const Progress progress(int64_t{grid_.ns} * grid_.nh - 1);
    int64_t entry = 0;
    for (const double depth : depths(grid_)) {
        int64_t in_layer = 0;
        for (const Source& source : sources(grid_)) {
            if (!position(source, depth, entry)) return false;
            entry += grid_.ns;
            in_layer += grid_.ns;
            report(0, source.lat, source.lon, depth, progress.percent(in_layer));
        }
    }
    return true;
}

// The nearest distance sample, halves rounded up. REQUIRES: last >= 0. A NaN counts as 0.
uint16_t nearest_sample(double distance, double mind, double ddist, int32_t last) {
    if (!(ddist > 0.0)) return 0;
    const double sample = (distance - mind) / ddist + 0.5;
    if (!(sample > 0.0)) return 0;
    return static_cast<uint16_t>(std::min(sample, static_cast<double>(last)));
}

void Pass::sample_distances(double mind, double ddist) {
    const int32_t last = std::max(grid_.ndist - 1, 0);
    int64_t entry = 0;
    for (const Source& source : sources(grid_)) {
        for (const Station& station : stations(grid_)) {
            grid_.ttoffsets[entry++] =
                nearest_sample(degrees_between(station, source), mind, ddist, last);
        }
    }
}

bool Pass::sample_times(double mind, double ddist) {
    const Progress progress(int64_t{grid_.ndist} - 1);
    int64_t entry = 0;
    for (const double depth : depths(grid_)) {
        for (int32_t i = 0; i < grid_.ndist; ++i) {
            const double distance = i * ddist + mind;
            grid_.distances[i] = static_cast<float>(distance);
            const TTGeometry geometry{{0.0, distance, depth, 0.0, ""}, {}};
            if (!store(geometry, distance, entry, "of the distance table")) return false;
            report(0, 0.0, distance, depth, progress.percent(i));
            ++entry;
        }
    }
    return true;
}

bool Pass::distance_table() {
    double mind = 0.0;
    double maxd = 0.0;
    velorix_get_minmax_distance(&grid_, &mind, &maxd);
    const double ddist = grid_.ndist > 1 ? (maxd - mind) / (grid_.ndist - 1) : 0.0;
    sample_distances(mind, ddist);
    return sample_times(mind, ddist);
}

bool compute(Velorix& grid, velorix_progress callback) {
    Pass pass(grid, callback);
    if (grid.mode == VELORIX_MODE_GENERAL) return pass.general_mesh();
    if (grid.mode == VELORIX_MODE_REGULAR) {
        return grid.type == VELORIX_TYPE_1D ? pass.distance_table() : pass.regular_mesh();
    }
    elog_log(0, "velorix_compute_travel_times: error.\n");
    return false;
}

}  // namespace
}  // namespace velorix

extern "C" int velorix_compute_travel_times(Velorix* grid, velorix_progress callback) {
    return velorix::compute(*grid, callback) ? 0 : -1;
}
