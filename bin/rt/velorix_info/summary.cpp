#include "summary.h"

#include <algorithm>
#include <span>

#include "nodes.h"

namespace velorix::info {
namespace {

constexpr double kUnset = -999.0;  // a fresh record's geometric fields

std::span<const Source> positions(const Velorix& grid) {
    return {grid.sources, static_cast<size_t>(grid.nh)};
}

std::vector<double> distinct_depths(const Velorix& grid) {
    std::vector<double> depths;
    if (is_regular(grid)) {
        depths.assign(grid.depths, grid.depths + grid.nd);
    } else {
        for (const Source& source : positions(grid)) depths.push_back(source.depth);
    }
    std::ranges::sort(depths);
    depths.erase(std::unique(depths.begin(), depths.end()), depths.end());
    return depths;
}

/// The arc that is left when the widest gap between neighbouring longitudes is taken out; the whole
/// circle when no gap is wider than a degree.
Range longitude_arc(std::vector<double> longitudes) {
    std::ranges::sort(longitudes);
    Range arc{longitudes.front(), longitudes.back()};
    double widest = 360.0 - (arc.max - arc.min);
    for (size_t i = 1; i < longitudes.size(); ++i) {
        const double gap = longitudes[i] - longitudes[i - 1];
        if (gap <= widest) continue;
        widest = gap;
        arc = {longitudes[i], longitudes[i - 1]};
    }
    constexpr double kNoGap = 1.0;
    return widest > kNoGap ? arc : Range{-180.0, 180.0};
}

std::optional<Area> area(const Velorix& grid) {
    if (grid.nh == 0) return std::nullopt;
    const auto [south, north] = std::ranges::minmax(positions(grid), {}, &Source::lat);
    std::vector<double> longitudes;
    for (const Source& source : positions(grid)) longitudes.push_back(source.lon);
    const Range arc = longitude_arc(std::move(longitudes));
    return Area{south.lat, north.lat, arc.min, arc.max};
}

std::optional<Range> distances(const Velorix& grid) {
    if (grid.nh == 0 || grid.ns == 0) return std::nullopt;
    Range range{};
    velorix_get_minmax_distance(&grid, &range.min, &range.max);
    return Range{rounded_degrees(range.min), rounded_degrees(range.max)};
}

void summarize_times(const Velorix& grid, Summary& summary) {
    if (grid.ttsize == 0) return;
    Range p{};
    Range s{};
    velorix_get_minmax_ttimes(&grid, &p.min, &p.max, &s.min, &s.max);
    if (grid.P_times) summary.p_times = p;
    if (grid.S_times) summary.s_times = s;
}

}  // namespace

Summary summarize(const Velorix& grid) {
    char mode[16] = "unknown";
    char type[43] = "unknown";
    velorix_get_mode(&grid, mode);
    velorix_get_type(&grid, type);
    Summary summary;
    summary.mode = mode;
    summary.type = type;
    summary.depths = distinct_depths(grid);
    summary.area = area(grid);
    summary.distances = distances(grid);
    summarize_times(grid, summary);
    return summary;
}

std::vector<std::string_view> tables(const Velorix& grid) {
    std::vector<std::string_view> names;
    if (grid.distances) names.emplace_back("distances");
    if (grid.P_times) names.emplace_back("P");
    if (grid.S_times) names.emplace_back("S");
    if (grid.ttoffsets) names.emplace_back("offsets");
    return names;
}

bool is_set(double field) { return field != kUnset; }

}  // namespace velorix::info
