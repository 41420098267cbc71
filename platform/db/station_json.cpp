// Stations as one JSON object: EQTransformer's station_list.json,
//   {"CA06": {"network": "GS", "channels": [...], "coords": [lat, lon, metres]}, ...}
// and the stations.json of PhaseNet's tools, {"CI.CCC..BH": {"longitude": .., "latitude": ..,
// "elevation_m": ..}, ...}.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "platform/db/internal.h"
#include "platform/elog/elog.h"

namespace velorix::db {
namespace {

using Json = nlohmann::json;

size_t line_of(std::string_view text, size_t byte) {
    const std::string_view before = text.substr(0, byte);
    return 1 + static_cast<size_t>(std::count(before.begin(), before.end(), '\n'));
}

// Which byte of its line a byte of a text is, from 1.
size_t column_of(std::string_view text, size_t byte) {
    const size_t newline = text.substr(0, byte).rfind('\n');
    return newline == text.npos ? byte + 1 : byte - newline;
}

/// Null, with a logged line, when the text is none.
Json parse(const std::string& text, const std::string& path) {
    const bool marked = text.starts_with("\xEF\xBB\xBF");
    try {
        return Json::parse(text.begin() + (marked ? 3 : 0), text.end());
    } catch (const Json::parse_error& error) {
        const size_t byte = std::min(text.size(), std::max<size_t>(error.byte, 1) - 1);
        malformed({path, line_of(text, byte)},
                  "not JSON (column " + std::to_string(column_of(text, byte)) + ")");
    } catch (const Json::exception&) {
        malformed({path, 1}, "not JSON that can be read: a number beyond all bounds");
    }
    return {};
}

bool number(const Json& value, const char* name, const RowPlace& at, double& out) {
    if (!value.is_number()) return malformed(at, std::string(name) + " is not a number");
    out = value.get<double>();
    return true;
}

bool take_position(const Json& station, const RowPlace& at, Site& epoch) {
    const auto coords = station.find("coords");
    if (coords != station.end()) {
        if (!coords->is_array() || coords->size() < 3)
            return malformed(at, "'coords' is not [latitude, longitude, elevation]");
        return number((*coords)[0], "latitude", at, epoch.lat) &&
               number((*coords)[1], "longitude", at, epoch.lon) &&
               number((*coords)[2], "elevation", at, epoch.elev);
    }
    for (const char* name : {"latitude", "longitude"}) {
        if (!station.contains(name))
            return malformed(at, std::string("neither 'coords' nor '") + name + "'");
    }
    return number(station["latitude"], "latitude", at, epoch.lat) &&
           number(station["longitude"], "longitude", at, epoch.lon) &&
           (!station.contains("elevation_m") ||
            number(station["elevation_m"], "elevation_m", at, epoch.elev));
}

bool take(const std::string& name, const Json& station, const RowPlace& at, Site& epoch) {
    if (!station.is_object()) return malformed(at, "station '" + name + "' is not an object");
    take_codes(name, epoch);
    if (const auto network = station.find("network");
        network != station.end() && network->is_string()) {
        epoch.net = trimmed(network->get_ref<const std::string&>());
    }
    const std::string fault = fault_of_codes(epoch.net.empty() ? "-" : epoch.net, epoch.code);
    if (!fault.empty()) return malformed(at, fault);
    if (!take_position(station, at, epoch)) return false;
    epoch.elev /= 1000.0;  // metres
    return true;
}

}  // namespace

Read read_station_json(const std::string& path, std::vector<Site>& epochs) {
    const auto text = read_text(path);
    if (!text) return Read::absent;
    const Json root = parse(*text, path);
    if (!root.is_object()) return Read::malformed;  // said already: it began with a brace
    for (const auto& [name, station] : root.items()) {
        // Members come in order of their names: the text says where one stands.
        const size_t byte = text->find("\"" + name + "\"");
        Site epoch;
        epoch.line = byte == text->npos ? 1 : line_of(*text, byte);
        if (!take(name, station, {path, epoch.line}, epoch)) return Read::malformed;
        epochs.push_back(std::move(epoch));
    }
    if (!epochs.empty()) return Read::good;
    elog_log(0, "dblookup: %s: no station in it\n", path.c_str());
    return Read::malformed;
}

}  // namespace velorix::db
