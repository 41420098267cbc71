// The travel-time pass: one function per table shape.
#include <algorithm>
#include <cstring>
#include <new>
#include <optional>
#include <vector>

#include "node_rows.h"
#include "platform/elog/elog.h"
#include "platform/ttcalc/arrival_selection.h"
#include "support/arc.h"
#include "support/grid_name.h"
#include "support/grid_view.h"
#include "velorix_pvt.h"

Hook* hook = nullptr;

namespace velorix {
namespace {

// Fewer pairs are done before threads have their tables.
constexpr int64_t kPairsForThreads = 50000;

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
    bool position(const Source& node, size_t first, int64_t row);
    bool start_rows(const Source& first, int64_t pairs);
    void copy_rows(const NodeRows& rows, int64_t first_entry, int64_t count);
    template <class Done>
    bool nodes(const std::vector<Source>& all, int64_t first_entry, Done done);
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
    std::optional<NodeRows> rows_;
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

// The stations of one node from `first` on, one by one.
bool Pass::position(const Source& node, size_t first, int64_t row) {
    TTGeometry geometry{{node.lat, node.lon, node.depth, 0.0, ""}, {}};
    for (size_t i = first; i < stations(grid_).size(); ++i) {
        const Station& station = stations(grid_)[i];
        const int64_t entry = row + static_cast<int64_t>(i);
        geometry.receiver = {station.lat, station.lon, -station.elev, 0.0, ""};
        const double distance = arc_degrees(station.lat, station.lon, node.lat, node.lon);
        if (!store(geometry, distance, entry, station.sta)) return false;
        if (grid_.distances) grid_.distances[entry] = static_cast<float>(distance);
    }
    return true;
}

void Pass::copy_rows(const NodeRows& rows, int64_t first_entry, int64_t count) {
    const auto bytes = static_cast<size_t>(count) * sizeof(float);
    if (count == 0) return;
    if (grid_.P_times) std::memcpy(grid_.P_times + first_entry, rows.p(), bytes);
    if (grid_.S_times) std::memcpy(grid_.S_times + first_entry, rows.s(), bytes);
    if (grid_.distances) std::memcpy(grid_.distances + first_entry, rows.distances(), bytes);
}

// Nodes whose rows stand one after another in the tables. What rows cannot hold is left to ttcalc,
// which says why; when it can compute the entry after all, the pass goes on.
template <class Done>
bool Pass::nodes(const std::vector<Source>& all, int64_t first_entry, Done done) {
    if (!rows_) {
        for (size_t n = 0; n < all.size(); ++n) {
            if (!position(all[n], 0, first_entry + static_cast<int64_t>(n) * grid_.ns))
                return false;
            done(n);
        }
        return true;
    }
    for (size_t n = 0; n < all.size();) {
        const size_t count = std::min(rows_->most_nodes(), all.size() - n);
        const int64_t entry = first_entry + static_cast<int64_t>(n) * grid_.ns;
        const int64_t filled = rows_->compute(std::span(all).subspan(n, count));
        copy_rows(*rows_, entry, filled);
        const size_t whole = grid_.ns > 0 ? static_cast<size_t>(filled / grid_.ns) : count;
        for (size_t k = 0; k < whole; ++k) done(n + k);
        n += whole;
        if (whole == count) continue;
        const auto station = static_cast<size_t>(filled % grid_.ns);
        if (!position(all[n], station, first_entry + static_cast<int64_t>(n) * grid_.ns))
            return false;
        done(n++);
    }
    return true;
}

// The first entry is ttcalc's: it opens the model, and says what is wrong with method and model.
bool Pass::start_rows(const Source& first, int64_t pairs) {
    if (grid_.ns < 1 || pairs < 1) return true;
    const Station& station = stations(grid_)[0];
    const TTGeometry geometry{{first.lat, first.lon, first.depth, 0.0, ""},
                              {station.lat, station.lon, -station.elev, 0.0, ""}};
    const double distance = arc_degrees(station.lat, station.lon, first.lat, first.lon);
    if (!store(geometry, distance, 0, station.sta)) return false;
    if (!grid_.P_times && !grid_.S_times) return true;
    int threads = pmtcomp_threads();
    if (threads < 1) return false;
    if (pairs < kPairsForThreads) threads = 1;
    rows_.emplace(grid_,
                  NodeRows::Tables{grid_.P_times != nullptr, grid_.S_times != nullptr,
                                   grid_.distances != nullptr},
                  &hook, threads);
    return rows_->is_ready();
}

bool Pass::general_mesh() {
    const int64_t pairs = int64_t{grid_.ns} * grid_.nn;
    const Progress progress(pairs - 1);
    const std::vector<Source> all(grid_.sources, grid_.sources + std::max(grid_.nn, 0));
    if (!all.empty() && !start_rows(all[0], pairs)) return false;
    return nodes(all, 0, [&](size_t n) {
        const Source& source = all[n];
        report(1, source.lat, source.lon, source.depth,
               progress.percent(static_cast<int64_t>(n + 1) * grid_.ns));
    });
}

bool Pass::regular_mesh() {
    const int64_t in_layer = int64_t{grid_.ns} * grid_.nh;
    const Progress progress(in_layer - 1);
    int64_t entry = 0;
    for (const double depth : depths(grid_)) {
        std::vector<Source> layer(sources(grid_).begin(), sources(grid_).end());
        for (Source& source : layer) source.depth = depth;
        if (!rows_ && !layer.empty() && !start_rows(layer[0], in_layer * grid_.nd)) return false;
        const bool filled = nodes(layer, entry, [&](size_t n) {
            const Source& source = layer[n];
            report(0, source.lat, source.lon, depth,
                   progress.percent(static_cast<int64_t>(n + 1) * grid_.ns));
        });
        if (!filled) return false;
        entry += in_layer;
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
            grid_.ttoffsets[entry++] = nearest_sample(
                arc_degrees(station.lat, station.lon, source.lat, source.lon), mind, ddist, last);
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
    try {
        return velorix::compute(*grid, callback) ? 0 : -1;
    } catch (const std::bad_alloc&) {
        return elog_log(1, "velorix_compute_travel_times: malloc() error.\n"), -1;
    }
}
