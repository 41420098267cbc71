#include "page_grids.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "base64.h"
#include "columns.h"
#include "page_curves.h"
#include "support/grid_name.h"
#include "support/grid_view.h"

namespace velorix::assoc {
namespace {

constexpr double kDegrees = 1e5, kKm = 1e3;

std::string outline_json(const Velorix& grid) {
    Column out;
    if (grid.mode != VELORIX_MODE_REGULAR || grid.nx < 2 || grid.ny < 2) return out.json();
    const auto corner = [&](int64_t ix, int64_t iy) {
        const Source& at = grid.sources[iy * grid.nx + ix];
        out.add(at.lon, kDegrees);
        out.add(at.lat, kDegrees);
    };
    // A side is an arc: some points of it are enough to draw it.
    const int64_t sx = std::max(1, grid.nx / 16), sy = std::max(1, grid.ny / 16);
    const int64_t right = grid.nx - 1, top = grid.ny - 1;
    for (int64_t ix = 0; ix < right; ix += sx) corner(ix, 0);
    for (int64_t iy = 0; iy < top; iy += sy) corner(right, iy);
    for (int64_t ix = right; ix > 0; ix -= sx) corner(ix, top);
    for (int64_t iy = top; iy > 0; iy -= sy) corner(0, iy);
    corner(0, 0);
    return out.json();
}

/// The nodes that a page holds: all, or every n-th column and row (general mesh: node).
std::vector<int64_t> chosen_nodes(const Velorix& grid) {
    // Times of P and of S each: 4 MB, which a browser takes in at once.
    constexpr double kMostTimes = 1e6;
    const double share = static_cast<double>(grid.nn) * grid.ns / kMostTimes;
    const bool regular = grid.mode == VELORIX_MODE_REGULAR;
    const double ratio = share > 1.0 ? (regular ? std::sqrt(share) : share) : 1.0;
    const auto step = static_cast<int64_t>(std::ceil(ratio));
    std::vector<int64_t> out;
    if (!regular) {
        for (int64_t node = 0; node < grid.nn; node += step) out.push_back(node);
        return out;
    }
    for (int64_t id = 0; id < grid.nd; ++id) {
        for (int64_t iy = 0; iy < grid.ny; iy += step) {
            for (int64_t ix = 0; ix < grid.nx; ix += step) {
                out.push_back((id * grid.ny + iy) * grid.nx + ix);
            }
        }
    }
    return out;
}

/// The bits of a number as its four bytes, little-endian.
void append_float(std::string& bytes, double value) {
    const auto bits = std::bit_cast<uint32_t>(static_cast<float>(value));
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(static_cast<unsigned char>(bits >> shift));
    }
}

std::string nodes_json(const Velorix& grid) {
    const bool regular = grid.mode == VELORIX_MODE_REGULAR;
    Column number, lat, lon, depth;
    std::string p, s;
    for (const int64_t node : chosen_nodes(grid)) {
        const int64_t place = regular ? node % grid.nh : node;
        const Source& at = grid.sources[place];
        number.add(node);
        lat.add(at.lat, kDegrees);
        lon.add(at.lon, kDegrees);
        depth.add(regular ? grid.depths[node / grid.nh] : at.depth, kKm);
        const auto ix = static_cast<int32_t>(regular ? place % grid.nx : node);
        const auto iy = static_cast<int32_t>(regular ? place / grid.nx : 0);
        const auto id = static_cast<int32_t>(regular ? node / grid.nh : 0);
        for (int32_t is = 0; is < grid.ns; ++is) {
            double p_time = 0.0, s_time = 0.0;
            velorix_get_ttimes(&grid, is, ix, iy, id, &p_time, &s_time);
            if (grid.P_times) append_float(p, p_time);
            if (grid.S_times) append_float(s, s_time);
        }
    }
    return Members()
        .add("number", number.json())
        .add("lat", lat.json())
        .add("lon", lon.json())
        .add("depth", depth.json())
        .add("p", json_text(base64(p)))
        .add("s", json_text(base64(s)))
        .json();
}

}  // namespace

std::string page_grid(const Velorix& grid, const std::vector<int64_t>& stations, bool nodes) {
    Column depth, station;
    for (const double d : depths(grid)) depth.add(d, kKm);
    for (const int64_t number : stations) station.add(number);
    const bool regular = grid.mode == VELORIX_MODE_REGULAR;
    Members out;
    out.add("name", json_text(name_text(grid.name)))
        .add("model", json_text(name_text(grid.model)))
        .add("method", json_text(name_text(grid.method)))
        .add("regular", regular ? "true" : "false")
        .add("nodes", std::to_string(grid.nn))
        .add("columns", std::to_string(grid.nx))
        .add("rows", std::to_string(grid.ny))
        .add("depths", regular ? depth.json() : "[]")
        .add("stations", station.json())
        .add("outline", outline_json(grid))
        .add("curves", page_curves(grid));
    if (nodes) out.add("table", nodes_json(grid));
    return out.json();
}

}  // namespace velorix::assoc
