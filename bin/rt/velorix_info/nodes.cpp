#include "nodes.h"

#include <array>
#include <cmath>
#include <numbers>

namespace velorix::info {
namespace {

constexpr double kEarthRadius = 6371.0;  // km

using Vector = std::array<double, 3>;

Vector cartesian(const Point& point) {
    constexpr double kRadians = std::numbers::pi / 180;
    const double radius = kEarthRadius - point.depth;
    const double lat = point.lat * kRadians;
    const double lon = point.lon * kRadians;
    return {radius * std::cos(lat) * std::cos(lon), radius * std::cos(lat) * std::sin(lon),
            radius * std::sin(lat)};
}

double squared_distance(const Vector& a, const Vector& b) {
    double sum = 0;
    for (size_t i = 0; i < a.size(); ++i) sum += (a[i] - b[i]) * (a[i] - b[i]);
    return sum;
}

}  // namespace

double rounded_degrees(double degrees) { return std::round(degrees * 1e6) / 1e6; }

Node node(const Velorix& grid, int64_t number) {
    if (!is_regular(grid)) {
        const Source& source = grid.sources[number];
        return {number, static_cast<int32_t>(number), 0, 0, {source.lat, source.lon, source.depth}};
    }
    const int64_t position = number % grid.nh;
    const auto id = static_cast<int32_t>(number / grid.nh);
    const Source& source = grid.sources[position];
    return {number,
            static_cast<int32_t>(position % grid.nx),
            static_cast<int32_t>(position / grid.nx),
            id,
            {source.lat, source.lon, grid.depths[id]}};
}

Node nearest_node(const Velorix& grid, const Point& point) {
    const Vector target = cartesian(point);
    Node best = node(grid, 0);
    double smallest = squared_distance(cartesian(best.at), target);
    for (int64_t number = 1; number < grid.nn; ++number) {
        const Node candidate = node(grid, number);
        const double distance = squared_distance(cartesian(candidate.at), target);
        if (distance < smallest) {
            smallest = distance;
            best = candidate;
        }
    }
    return best;
}

}  // namespace velorix::info
