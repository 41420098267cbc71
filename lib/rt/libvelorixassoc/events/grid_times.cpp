#include "grid_times.h"

#include <algorithm>
#include <cmath>

#include "../support/say.h"
#include "../support/text_values.h"
#include "platform/geodesy/geodesy.h"
#include "support/grid_name.h"

namespace velorix::assoc {
namespace {

constexpr double kRadians = kPi / 180.0;

/// A cell along one axis and the place in it, 0 .. 1.
struct Cell {
    int32_t low, high;
    double part;
};

Cell cell_of(double at, int32_t count) {
    const double inside = std::clamp(at, 0.0, static_cast<double>(count - 1));
    const int32_t low = std::min(static_cast<int32_t>(inside), std::max(0, count - 2));
    return {low, std::min(low + 1, count - 1), inside - low};
}

double mix(double a, double b, double part) { return a + (b - a) * part; }

/// `b` moved by whole turns next to `a`.
double near_longitude(double b, double a) { return b - 360.0 * std::round((b - a) / 360.0); }

}  // namespace

Path path_between(const Position& event, double lat, double lon) {
    Path path;
    double delta = 0.0, forth = 0.0, back = 0.0;
    dist(event.lat * kRadians, event.lon * kRadians, lat * kRadians, lon * kRadians, &delta,
         &forth);
    dist(lat * kRadians, lon * kRadians, event.lat * kRadians, event.lon * kRadians, &delta, &back);
    path.delta = delta / kRadians;
    path.esaz = forth / kRadians;
    path.seaz = back / kRadians;
    return path;
}

GridTimes::GridTimes(const Velorix* grid) : grid_(grid) {
    if (!regular()) {
        spacing_ = general_spacing();
        follow_rays();
        return;
    }
    const auto step = [](double low, double high, int32_t n) {
        return n > 1 ? std::fabs(high - low) / (n - 1) * kKmPerDegree : 0.0;
    };
    spacing_ =
        std::max(step(grid->xmin, grid->xmax, grid->nx), step(grid->ymin, grid->ymax, grid->ny));
    for (int32_t i = 1; i < grid->nd; ++i) {
        depth_spacing_ = std::max(depth_spacing_, std::fabs(grid->depths[i] - grid->depths[i - 1]));
    }
}

void GridTimes::follow_rays() {
    constexpr double kBelow = 100.0;  // km under the deepest source
    if (grid_->method[0] == '\0') return;
    auto rays = std::make_unique<RayTimes>(*grid_);
    if (!rays->agrees()) {
        const NameText name(grid_->name), model(grid_->model);
        complain(
            format("grid %s: model %s, as found here, does not give its times: events stay on "
                   "its nodes",
                   name.text, model.text));
        return;
    }
    rays_ = std::move(rays);
    for (int32_t i = 0; i < grid_->nh; ++i) {
        deepest_ = std::max(deepest_, grid_->sources[i].depth + kBelow);
    }
}

// Median distance to the nearest other position, over a sample: a source list is denser where
// earthquakes are, and what counts is the spacing there.
double GridTimes::general_spacing() const {
    constexpr int32_t kSample = 60;
    std::vector<double> nearest;
    for (int32_t i = 0; i < grid_->nh; i += std::max(1, grid_->nh / kSample)) {
        const Source& at = grid_->sources[i];
        double best = 1e9;
        for (int32_t j = 0; j < grid_->nh; ++j) {
            const Source& other = grid_->sources[j];
            if (std::fabs(other.lat - at.lat) * kKmPerDegree > best) continue;
            const double d =
                path_between({at.lat, at.lon, 0.0}, other.lat, other.lon).delta * kKmPerDegree;
            if (d > 0.1) best = std::min(best, d);
        }
        nearest.push_back(best);
    }
    if (nearest.empty()) return 0.0;
    std::nth_element(nearest.begin(), nearest.begin() + nearest.size() / 2, nearest.end());
    return nearest[nearest.size() / 2] < 1e9 ? nearest[nearest.size() / 2] : 0.0;
}

Spot GridTimes::shifted(const Spot& spot, double dx, double dy, double dz) const {
    constexpr double kPole = 89.9;
    if (regular()) {
        return {std::clamp(spot.x + dx, 0.0, grid_->nx - 1.0),
                std::clamp(spot.y + dy, 0.0, grid_->ny - 1.0),
                std::clamp(spot.z + dz, 0.0, grid_->nd - 1.0)};
    }
    if (!rays_) return spot;
    const Position at = position(spot);
    const double degrees = spacing_ / kKmPerDegree;
    const double lat = std::clamp(at.lat + dy * degrees, -kPole, kPole);
    const double lon = at.lon + dx * degrees / std::cos(at.lat * kRadians);
    return {near_longitude(lon, 0.0), lat, std::clamp(at.depth + dz * spacing_, 0.0, deepest_),
            true};
}

Spot GridTimes::spot_of(int64_t node) const {
    if (!regular()) return {static_cast<double>(node), 0.0, 0.0};
    const int64_t layer = node % grid_->nh;
    const int64_t row = layer / grid_->nx, depth = node / grid_->nh;
    return {static_cast<double>(layer % grid_->nx), static_cast<double>(row),
            static_cast<double>(depth)};
}

Position GridTimes::position(const Spot& spot) const {
    if (spot.free) return {spot.y, spot.x, spot.z};
    if (!regular()) {
        const Source& node = grid_->sources[static_cast<int64_t>(spot.x)];
        return {node.lat, node.lon, node.depth};
    }
    const Cell x = cell_of(spot.x, grid_->nx), y = cell_of(spot.y, grid_->ny);
    const Cell z = cell_of(spot.z, grid_->nd);
    const Source* row[2] = {grid_->sources + static_cast<int64_t>(y.low) * grid_->nx,
                            grid_->sources + static_cast<int64_t>(y.high) * grid_->nx};
    const double base = row[0][x.low].lon;
    double lat[2], lon[2];
    for (int j = 0; j < 2; ++j) {
        lat[j] = mix(row[j][x.low].lat, row[j][x.high].lat, x.part);
        lon[j] = mix(near_longitude(row[j][x.low].lon, base),
                     near_longitude(row[j][x.high].lon, base), x.part);
    }
    const double longitude = mix(lon[0], lon[1], y.part);
    return {mix(lat[0], lat[1], y.part), near_longitude(longitude, 0.0),
            mix(grid_->depths[z.low], grid_->depths[z.high], z.part)};
}

Times GridTimes::node_times(int64_t node, int station) const {
    Times out;
    if (!regular()) {
        velorix_get_ttimes(grid_, station, static_cast<int32_t>(node), 0, 0, &out.p, &out.s);
        return out;
    }
    const int64_t layer = node % grid_->nh;
    velorix_get_ttimes(grid_, station, static_cast<int32_t>(layer % grid_->nx),
                       static_cast<int32_t>(layer / grid_->nx),
                       static_cast<int32_t>(node / grid_->nh), &out.p, &out.s);
    return out;
}

Times GridTimes::times(const Spot& spot, int station) const {
    if (spot.free) return rays_->at(position(spot), station);
    if (!regular()) return node_times(static_cast<int64_t>(spot.x), station);
    return grid_->type == VELORIX_TYPE_1D ? table_times(spot, station) : mesh_times(spot, station);
}

// Trilinear between the eight nodes around. At a distance x from a shallow source straight below,
// the error is about h^2 / (8 v z): 0.02 s for nodes 2 km apart around a source at 5 km.
Times GridTimes::mesh_times(const Spot& spot, int station) const {
    const Cell x = cell_of(spot.x, grid_->nx), y = cell_of(spot.y, grid_->ny);
    const Cell z = cell_of(spot.z, grid_->nd);
    const auto interpolate = [&](const float* table) {
        const auto at = [&](int32_t ix, int32_t iy, int32_t iz) {
            const int64_t node = (static_cast<int64_t>(iz) * grid_->ny + iy) * grid_->nx + ix;
            return static_cast<double>(table[node * grid_->ns + station]);
        };
        const auto layer = [&](int32_t iz) {
            return mix(mix(at(x.low, y.low, iz), at(x.high, y.low, iz), x.part),
                       mix(at(x.low, y.high, iz), at(x.high, y.high, iz), x.part), y.part);
        };
        return z.part > 0.0 ? mix(layer(z.low), layer(z.high), z.part) : layer(z.low);
    };
    Times out;
    if (grid_->P_times) out.p = interpolate(grid_->P_times);
    if (grid_->S_times) out.s = interpolate(grid_->S_times);
    return out;
}

// A distance table is read at the true distance, not at the sample nearest to it.
Times GridTimes::table_times(const Spot& spot, int station) const {
    const Station& sta = grid_->stations[station];
    const double delta = path_between(position(spot), sta.lat, sta.lon).delta;
    const float* first = grid_->distances;
    const float* above = std::upper_bound(first, first + grid_->ndist, static_cast<float>(delta));
    const int32_t high = static_cast<int32_t>(
        std::clamp<std::ptrdiff_t>(above - first, 1, std::max(1, grid_->ndist - 1)));
    const int32_t low = high - 1;
    const int32_t top = std::min(high, grid_->ndist - 1);
    const double width = grid_->distances[top] - grid_->distances[low];
    const double part =
        width > 0.0 ? std::clamp((delta - grid_->distances[low]) / width, 0.0, 1.0) : 0.0;
    const Cell z = cell_of(spot.z, grid_->nd);
    const auto interpolate = [&](const float* table) {
        const auto layer = [&](int32_t iz) {
            const float* row = table + static_cast<int64_t>(iz) * grid_->ndist;
            return mix(row[low], row[top], part);
        };
        return mix(layer(z.low), layer(z.high), z.part);
    };
    Times out;
    if (grid_->P_times) out.p = interpolate(grid_->P_times);
    if (grid_->S_times) out.s = interpolate(grid_->S_times);
    return out;
}

}  // namespace velorix::assoc
