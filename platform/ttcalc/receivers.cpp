#include "platform/ttcalc/receivers.h"

#include <algorithm>
#include <cmath>

#include "platform/ttcalc/state.h"

namespace velorix::tt {

bool is_ordinary(double lat, double lon) {
    return std::fabs(lat) <= 90.0 && std::fabs(lon) <= 360.0;
}

UnitVector unit_vector(double lat, double lon) {
    const double cos_lat = std::cos(lat * kDegree);
    return {cos_lat * std::cos(lon * kDegree), cos_lat * std::sin(lon * kDegree),
            std::sin(lat * kDegree)};
}

}  // namespace velorix::tt

using namespace velorix::tt;

TTReceivers::TTReceivers(int64_t n, const double* lat, const double* lon, const double* elev)
    : lat_(lat, lat + n), lon_(lon, lon + n), elev_(elev, elev + n) {
    sort_into_groups();
}

TTReceivers::TTReceivers(int64_t n, const double* distance, const double* elev)
    : distance_(distance, distance + n), elev_(elev, elev + n) {
    sort_into_groups();
}

bool TTReceivers::is_odd(uint32_t receiver) const {
    const double elev = elev_[receiver];
    if (!(elev <= kTopHeight && elev >= -kEarthRadius)) return true;
    if (by_distance()) return !(distance_[receiver] >= 0.0 && distance_[receiver] <= 180.0);
    return !is_ordinary(lat_[receiver], lon_[receiver]);
}

void TTReceivers::sort_into_groups() {
    const auto n = static_cast<uint32_t>(size());
    for (uint32_t i = 0; i < n; ++i) (is_odd(i) ? odd_ : order_).push_back(i);
    // As the calculator makes them of a depth.
    const auto radius = [&](uint32_t i) { return kEarthRadius + elev_[i]; };
    const auto end = [&](uint32_t i) { return std::min(radius(i), kEarthRadius); };
    const auto is_above = [&](uint32_t i) { return radius(i) > kEarthRadius; };
    std::stable_sort(order_.begin(), order_.end(), [&](uint32_t a, uint32_t b) {
        return end(a) != end(b) ? end(a) < end(b) : is_above(a) < is_above(b);
    });
    for (size_t k = 0; k < order_.size(); ++k) {
        const uint32_t i = order_[k];
        const double height = is_above(i) ? radius(i) - kEarthRadius : 0.0;
        if (k == 0 || end(i) != groups_.back().radius || is_above(i) != is_above(order_[k - 1])) {
            groups_.push_back({end(i), 0.0, k, 0});
        }
        Group& group = groups_.back();
        ++group.count;
        group.highest = std::max(group.highest, height);
        height_.push_back(height);
        const UnitVector at = by_distance() ? UnitVector{distance_[i] * kDegree, 0.0, 0.0}
                                            : unit_vector(lat_[i], lon_[i]);
        x_.push_back(at.x);
        y_.push_back(at.y);
        z_.push_back(at.z);
    }
}

void TTReceivers::distances(const UnitVector& from, size_t first, size_t count, double* out) const {
    if (by_distance()) {
        std::copy_n(x_.data() + first, count, out);
    } else {
        arc_distances(count, x_.data() + first, y_.data() + first, z_.data() + first, from, out);
    }
}

TTGeometry TTReceivers::geometry(const TTPoint& source, uint32_t receiver) const {
    TTGeometry geometry{};
    geometry.source = source;
    geometry.receiver.z = -elev_[receiver];
    if (by_distance()) {
        geometry.source.lat = geometry.source.lon = 0.0;
        geometry.receiver.lon = distance_[receiver];
    } else {
        geometry.receiver.lat = lat_[receiver];
        geometry.receiver.lon = lon_[receiver];
    }
    return geometry;
}
