#include "support/table_place.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "support/grid_view.h"

namespace velorix {
namespace {

std::string formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string formatted(const char* format, ...) {
    char text[160];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

// REQUIRES: pair numbers a node (of all depths) and a station.
std::string pair_text(const Velorix& grid, int64_t pair) {
    const int64_t node = pair / grid.ns;
    const Source& source = grid.sources[node % grid.nh];
    const bool regular = grid.mode == VELORIX_MODE_REGULAR;
    const double depth = regular ? grid.depths[node / grid.nh] : source.depth;
    return formatted("of node %lld (%.3f %.3f, %g km) to station %s", static_cast<long long>(node),
                     source.lat, source.lon, depth, grid.stations[pair % grid.ns].sta);
}

std::string sample_text(const Velorix& grid, int64_t sample, int64_t id) {
    std::string at = formatted("at %.3f degrees and %g km",
                               static_cast<double>(grid.distances[sample]), grid.depths[id]);
    const uint16_t* const first = grid.ttoffsets;
    const uint16_t* const end = first + int64_t{grid.nh} * grid.ns;
    const uint16_t* const user = std::find(first, end, static_cast<uint16_t>(sample));
    if (user == end) return at;
    return at + " " + pair_text(grid, id * grid.nh * grid.ns + (user - first));
}

}  // namespace

size_t table_entries(const Velorix& grid, TableKind kind) {
    const int64_t bytes = kind == TableKind::times       ? grid.ttsize
                          : kind == TableKind::distances ? grid.dssize
                                                         : grid.ttosize;
    return static_cast<size_t>(bytes) / (kind == TableKind::offsets ? 2 : 4);
}

std::string place_text(const Velorix& grid, TableKind kind, int64_t entry) {
    if (grid.type != VELORIX_TYPE_1D || kind == TableKind::offsets) return pair_text(grid, entry);
    return sample_text(grid, entry % grid.ndist, entry / grid.ndist);
}

}  // namespace velorix
