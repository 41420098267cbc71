#ifndef VELORIX_TESTS_SUPPORT_PASS_YARDSTICK_H
#define VELORIX_TESTS_SUPPORT_PASS_YARDSTICK_H
// The travel-time pass as one reads it: one call of ttcalc and one of dist a pair, in order.
// Yardstick of results, and of speed in the benchmarks.
#include <string>
#include <vector>

#include "platform/ttcalc/arrival_selection.h"
#include "support/arc.h"
#include "support/grid_name.h"
#include "support/grid_view.h"

namespace velorix_test {

/// Fills the tables of a general mesh, or of a regular one with times by station.
/// @return the entries before the first failure
inline int64_t literal_pass(Velorix& grid, Hook** hook) {
    const velorix::NameText method(grid.method), model(grid.model);
    Tbl* times = nullptr;
    int64_t entry = 0;
    const auto node = [&](const Source& at, double depth) {
        for (const Station& station : velorix::stations(grid)) {
            const TTGeometry geometry{{at.lat, at.lon, depth, 0.0, ""},
                                      {station.lat, station.lon, -station.elev, 0.0, ""}};
            const double distance = velorix::arc_degrees(station.lat, station.lon, at.lat, at.lon);
            if (ttcalc(method.text, model.text, "P,S", 0, &geometry, &times, hook) < 1)
                return false;
            if (grid.P_times)
                grid.P_times[entry] = static_cast<float>(
                    velorix::first_arrival(times, distance, velorix::qualifies_as_P));
            if (grid.S_times)
                grid.S_times[entry] = static_cast<float>(
                    velorix::first_arrival(times, distance, velorix::qualifies_as_S));
            if (grid.distances) grid.distances[entry] = static_cast<float>(distance);
            ++entry;
        }
        return true;
    };
    if (grid.mode == VELORIX_MODE_GENERAL) {
        for (int32_t n = 0; n < grid.nn; ++n) {
            if (!node(grid.sources[n], grid.sources[n].depth)) break;
        }
        return entry;
    }
    for (const double depth : velorix::depths(grid)) {
        for (const Source& position : velorix::sources(grid)) {
            if (!node(position, depth)) return entry;
        }
    }
    return entry;
}

/// A grid in memory whose tables are vectors.
struct PassGrid {
    Velorix record{};
    std::vector<Station> stations;
    std::vector<Source> sources;
    std::vector<double> depths;
    std::vector<float> p, s, distances;

    PassGrid() = default;
    PassGrid(const PassGrid&) = delete;
    PassGrid& operator=(const PassGrid&) = delete;

    /// Ties the record to the arrays; tables that are wanted hold `before`. Without depths the mesh
    /// is a general one.
    void finish(const std::string& model, bool want_p, bool want_s, bool want_distances,
                float before) {
        const size_t layers = depths.empty() ? 1 : depths.size();
        const size_t entries = stations.size() * sources.size() * layers;
        record.mode = depths.empty() ? VELORIX_MODE_GENERAL : VELORIX_MODE_REGULAR;
        record.type = VELORIX_TYPE_3D;
        velorix::set_name(record.name, "g");
        velorix::set_name(record.method, "tttaup");
        velorix::set_name(record.model, model);
        record.ns = static_cast<int32_t>(stations.size());
        record.nh = static_cast<int32_t>(sources.size());
        record.nd = static_cast<int32_t>(layers);
        record.nn = static_cast<int32_t>(sources.size() * layers);
        record.stations = stations.data();
        record.sources = sources.data();
        record.depths = depths.data();
        const auto provide = [&](bool wanted, std::vector<float>& table) {
            table.assign(wanted ? entries + 1 : 0, before);
            return wanted ? table.data() : nullptr;
        };
        record.P_times = provide(want_p, p);
        record.S_times = provide(want_s, s);
        record.distances = provide(want_distances, distances);
    }
};

}  // namespace velorix_test
#endif
