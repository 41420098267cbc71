#ifndef VELORIX_TESTS_ASSOC_DAMAGED_GRID_H
#define VELORIX_TESTS_ASSOC_DAMAGED_GRID_H
// From a grid file's bytes, damaged or not, and picks to events, and what must hold of the events.
#include <cmath>
#include <cstring>
#include <optional>
#include <string>

#include "synthetic_picks.h"

namespace velorix::assoc {

/// The bytes of a grid file: a small mesh over the synthetic network.
inline std::string grid_file() {
    velorix_test::TinyGrid tiny(
        network(), {.nx = 6, .ny = 6, .depths = {4, 11}, .spacing = 0.15, .distances = false});
    Velorix& grid = tiny.grid;
    grid.stsize = grid.ns * static_cast<int32_t>(sizeof(Station));
    grid.dpsize = grid.nd * static_cast<int32_t>(sizeof(double));
    grid.srsize = grid.nh * static_cast<int32_t>(sizeof(Source));
    grid.ttsize = grid.nn * grid.ns * static_cast<int32_t>(sizeof(float));
    const float *p = grid.P_times, *s = grid.S_times;
    char* heap = nullptr;
    int32_t bytes = 0, capacity = 0;
    if (velorix_create_heap(&grid, &heap, &bytes, &capacity) <= 0) return "";
    std::memcpy(grid.P_times, p, static_cast<size_t>(grid.ttsize));
    std::memcpy(grid.S_times, s, static_cast<size_t>(grid.ttsize));
    std::string out(heap, static_cast<size_t>(bytes));
    free(heap);
    return out;
}

inline bool within(double value, double low, double high) { return value >= low && value <= high; }

/// Every number of an event is one that an earthquake can have; says which is not.
inline std::string impossible_value(const Event& e) {
    // The nodes lie where the file says, which a damaged one may say wrongly, but finitely.
    constexpr double kDay = 86400.0;
    if (e.picks.empty()) return "no picks";
    if (!within(e.time, e.picks[0].pick.time - kDay, e.picks[0].pick.time)) return "time";
    if (!within(e.lat, -90.0, 90.0) || !within(e.lon, -180.0, 180.0)) return "place";
    if (!within(e.depth, -100.0, 6371.0)) return "depth";
    if (!within(e.coverage, 0.0, 1.0) || !within(e.gap, 0.0, 360.0)) return "coverage or gap";
    if (!within(e.scatter, 0.0, kDay) || !within(e.scatter_weighted, 0.0, kDay)) return "scatter";
    for (const double v : {e.error.major, e.error.minor, e.error.depth, e.error.time}) {
        if (!within(v, 0.0, 1e6)) return "uncertainty";
    }
    for (const EventPick& p : e.picks) {
        if (!within(std::fabs(p.residual), 0.0, kDay) || !within(p.delta, 0.0, 180.0))
            return "pick";
        if (!within(p.weight, 0.0, 1.0) || !within(p.esaz, 0.0, 360.0)) return "pick";
    }
    return "";
}

/// What comes of a grid file's bytes: nothing when it is refused.
struct Outcome {
    size_t events = 0;
    std::string impossible;
};

inline std::optional<Outcome> associate_on(std::string bytes, const std::vector<Pick>& picks) {
    Tbl* list = nullptr;
    if (velorix_read_buffer(bytes.data(), bytes.size(), "damaged", &list) < 0) return std::nullopt;
    const std::unique_ptr<Tbl, void (*)(Tbl*)> owned(
        list, [](Tbl* grids) { freetbl(grids, velorix_release); });
    GridSet grids;
    for (int i = 0; i < maxtbl(list); ++i) {
        if (!grids.add(static_cast<Velorix*>(gettbl(list, i)), Parameters(), 1))
            return std::nullopt;
    }
    Outcome outcome;
    Listener listener;
    listener.on_report = [&](const Report& report) {
        ++outcome.events;
        const std::string value = impossible_value(report.event);
        if (!value.empty()) outcome.impossible = value;
    };
    Associator associator(grids, StreamRules(), listener, true);
    for (const Pick& pick : picks) {
        if (associator.add(pick) == Added::failed) return std::nullopt;
    }
    if (!associator.finish()) return std::nullopt;
    return outcome;
}

}  // namespace velorix::assoc
#endif
