#include "listings.h"

#include <array>
#include <cmath>
#include <numbers>

#include "number_text.h"
#include "platform/elog/elog.h"
#include "platform/geodesy/geodesy.h"

namespace velorix::info {
namespace {

constexpr std::array<std::string_view, 5> kStationColumns = {"index", "sta", "lat", "lon",
                                                             "elev_km"};
constexpr std::array<std::string_view, 7> kNodeColumns = {"node", "ix",  "iy",      "id",
                                                          "lat",  "lon", "depth_km"};
constexpr std::array<std::string_view, 8> kTimeColumns = {"node", "lat",          "lon", "depth_km",
                                                          "sta",  "distance_deg", "p_s", "s_s"};

double distance_deg(const Point& from, const Station& to) {
    constexpr double kRadians = std::numbers::pi / 180;
    double arc = 0;
    double azimuth = 0;
    dist(from.lat * kRadians, from.lon * kRadians, to.lat * kRadians, to.lon * kRadians, &arc,
         &azimuth);
    return rounded_degrees(arc / kRadians);
}

/// A table's entry as it is stored; an empty cell when the grid lacks the table.
Cell time_cell(const float* table, double seconds) {
    return table ? Cell(static_cast<float>(seconds)) : Cell();
}

Cell mesh_number(const Velorix& grid, int32_t number) {
    return is_regular(grid) ? Cell(int64_t{number}) : Cell();
}

}  // namespace

void list_stations(const Velorix& grid, RowSink& rows) {
    rows.begin(kStationColumns);
    for (int32_t is = 0; is < grid.ns; ++is) {
        const Station& station = grid.stations[is];
        rows.row(std::array<Cell, 5>{int64_t{is}, fixed_name(station.sta), station.lat, station.lon,
                                     station.elev});
    }
    rows.end();
}

void list_nodes(const Velorix& grid, RowSink& rows) {
    rows.begin(kNodeColumns);
    for (int64_t number = 0; number < grid.nn; ++number) {
        const Node at = node(grid, number);
        rows.row(std::array<Cell, 7>{number, mesh_number(grid, at.ix), mesh_number(grid, at.iy),
                                     mesh_number(grid, at.id), at.at.lat, at.at.lon, at.at.depth});
    }
    rows.end();
}

void list_times(const Velorix& grid, const Node& from, RowSink& rows) {
    rows.begin(kTimeColumns);
    for (int32_t is = 0; is < grid.ns; ++is) {
        double p = NAN;
        double s = NAN;
        velorix_get_ttimes(&grid, is, from.ix, from.iy, from.id, &p, &s);
        const Station& station = grid.stations[is];
        rows.row(std::array<Cell, 8>{from.number, from.at.lat, from.at.lon, from.at.depth,
                                     fixed_name(station.sta), distance_deg(from.at, station),
                                     time_cell(grid.P_times, p), time_cell(grid.S_times, s)});
    }
    rows.end();
}

std::optional<Node> chosen_node(const Velorix& grid, const NodeChoice& choice) {
    const std::string name(fixed_name(grid.name));
    const auto* number = std::get_if<int64_t>(&choice);
    if (grid.nn == 0) {
        elog_complain(0, "Grid %s has no nodes.\n", name.c_str());
        return std::nullopt;
    }
    if (!number) return nearest_node(grid, std::get<Point>(choice));
    if (*number >= 0 && *number < grid.nn) return node(grid, *number);
    elog_complain(0, "Grid %s has no node %lld: its nodes are 0 to %d.\n", name.c_str(),
                  static_cast<long long>(*number), grid.nn - 1);
    return std::nullopt;
}

}  // namespace velorix::info
