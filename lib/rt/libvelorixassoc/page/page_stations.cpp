#include "page_stations.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>

#include "platform/geodesy/geodesy.h"
#include "support/grid_view.h"

namespace velorix::assoc {
namespace {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

std::string code_of(const Station& station) {
    return {station.sta, strnlen(station.sta, sizeof station.sta)};
}

}  // namespace

std::vector<int64_t> PageStations::add(const Velorix& grid) {
    std::vector<int64_t> numbers;
    for (const Station& station : stations(grid)) {
        const auto [at, fresh] =
            in_grids_.emplace(code_of(station), static_cast<int64_t>(places_.size()));
        if (fresh) places_.push_back({at->first, station.lat, station.lon, station.elev, 0.0});
        numbers.push_back(at->second);
    }
    return numbers;
}

// As grids name them: with or without the network.
int64_t PageStations::find(const Pick& pick) {
    const std::string full =
        pick.network.empty() ? pick.station : pick.network + "." + pick.station;
    const auto known = by_pick_.find(full);
    if (known != by_pick_.end()) return known->second;
    for (const std::string& name : {full, pick.network + "_" + pick.station, pick.station}) {
        const auto at = in_grids_.find(name);
        if (at == in_grids_.end()) continue;
        Place& place = places_[static_cast<size_t>(at->second)];
        // Two networks may share a code that a grid knows once: each gets a row of its own.
        const bool taken = place.name != at->first;
        if (taken) places_.push_back(place);
        const int64_t number = taken ? static_cast<int64_t>(places_.size()) - 1 : at->second;
        places_[static_cast<size_t>(number)].name = full;
        return by_pick_[full] = number;
    }
    places_.push_back({full, kUnknown, kUnknown, kUnknown, std::numeric_limits<double>::max()});
    return by_pick_[full] = static_cast<int64_t>(places_.size()) - 1;
}

int64_t PageStations::of_pick(const Pick& pick) { return find(pick); }

int64_t PageStations::of_pick(const EventPick& pick, const Event& event) {
    constexpr double kRadians = std::numbers::pi / 180.0;
    const int64_t number = find(pick.pick);
    Place& place = places_[static_cast<size_t>(number)];
    if (!(pick.delta < place.seen_from) || !std::isfinite(pick.esaz)) return number;
    double lat = 0.0, lon = 0.0;
    latlon(event.lat * kRadians, event.lon * kRadians, pick.delta * kRadians, pick.esaz * kRadians,
           &lat, &lon);
    place.lat = lat / kRadians;
    place.lon = lon / kRadians;
    place.seen_from = pick.delta;
    return number;
}

std::string PageStations::json() const {
    constexpr double kDegreeParts = 1e5, kKmParts = 1e3;
    std::string names;
    Column lat, lon, elev;
    for (const Place& place : places_) {
        names += (names.empty() ? "" : ",") + json_text(place.name);
        lat.add(place.lat, kDegreeParts);
        lon.add(place.lon, kDegreeParts);
        elev.add(place.elev, kKmParts);
    }
    return Members()
        .add("name", "[" + names + "]")
        .add("lat", lat.json())
        .add("lon", lon.json())
        .add("elevation", elev.json())
        .json();
}

}  // namespace velorix::assoc
