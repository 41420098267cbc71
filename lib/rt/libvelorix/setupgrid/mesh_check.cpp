#include "setupgrid/mesh_check.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <string>

#include "platform/elog/elog.h"
#include "support/arc.h"
#include "support/grid_name.h"
#include "support/grid_view.h"

namespace velorix {
namespace {

// Networks look for events inside and around themselves. Coordinates that were swapped, or a sign
// that was lost, put a mesh farther away than any of that.
constexpr double kFarFromStations = 20.0;  // degrees
// A mesh of a local network in kilometres reaches tens of degrees, many times as far as its
// stations.
constexpr double kLeastSuspect = 5.0;  // degrees
constexpr double kMostReaches = 5.0;

class Words {
  public:
    __attribute__((format(printf, 2, 3))) void add(const char* format, ...) {
        char text[256];
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text, sizeof text, format, arguments);
        va_end(arguments);
        if (!text_.empty()) text_ += "; ";
        text_ += text;
    }
    const std::string& text() const { return text_; }

  private:
    std::string text_;
};

const Source& position(const Velorix& grid, int32_t ix, int32_t iy) {
    return grid.sources[int64_t{iy} * grid.nx + ix];
}

void check_order(const Velorix& grid, Words& words) {
    if (grid.xmin > grid.xmax) words.add("xmin %g is above xmax %g", grid.xmin, grid.xmax);
    if (grid.ymin > grid.ymax) words.add("ymin %g is above ymax %g", grid.ymin, grid.ymax);
}

bool within(double value, double low, double high) { return value >= low && value <= high; }

// Longitudes and latitudes around the reference point, where offsets from it belong.
void check_absolute(const Velorix& grid, Words& words) {
    const bool around_reference =
        within(grid.lonr, grid.xmin, grid.xmax) && within(grid.latr, grid.ymin, grid.ymax);
    const bool around_zero = within(0.0, grid.xmin, grid.xmax) && within(0.0, grid.ymin, grid.ymax);
    if (around_reference && !around_zero) {
        words.add("extents are offsets from the reference point (%g %g), not coordinates",
                  grid.latr, grid.lonr);
    }
}

void check_unit(const Velorix& grid, Words& words) {
    double farthest = 0.0;
    for (const Station& station : stations(grid)) {
        farthest = std::max(farthest, arc_degrees(grid.latr, grid.lonr, station.lat, station.lon));
    }
    const double reach = std::max(
        {std::fabs(grid.xmin), std::fabs(grid.xmax), std::fabs(grid.ymin), std::fabs(grid.ymax)});
    if (reach <= kLeastSuspect || reach <= kMostReaches * farthest) return;
    words.add(
        "extents are degrees, not km: they reach %g degrees from the reference point, the "
        "farthest station is at %.2f",
        reach, farthest);
}

// No node is nearer to a station than the mesh's middle less the mesh's radius about it.
void check_stations(const Velorix& grid, Words& words) {
    const Source& middle = position(grid, grid.nx / 2, grid.ny / 2);
    double radius = 0.0;
    for (const Source& source : sources(grid)) {
        radius = std::max(radius, arc_degrees(middle.lat, middle.lon, source.lat, source.lon));
    }
    const Station* nearest = nullptr;
    double distance = HUGE_VAL;
    for (const Station& station : stations(grid)) {
        const double d = arc_degrees(middle.lat, middle.lon, station.lat, station.lon) - radius;
        if (!(d < distance)) continue;
        distance = d;
        nearest = &station;
    }
    if (!nearest || distance <= kFarFromStations) return;
    words.add("its nodes are far from every station: %s, the nearest, is %.0f degrees away",
              nearest->sta, distance);
}

std::string corners(const Velorix& grid) {
    const int32_t right = grid.nx - 1, top = grid.ny - 1;
    std::string text;
    for (const Source& corner : {position(grid, 0, 0), position(grid, right, 0),
                                 position(grid, 0, top), position(grid, right, top)}) {
        char place[64];
        std::snprintf(place, sizeof place, " (%.3f %.3f)", corner.lat, corner.lon);
        text += place;
    }
    return text;
}

}  // namespace

void complain_of_mesh(const Velorix& grid) {
    Words words;
    check_order(grid, words);
    check_absolute(grid, words);
    check_unit(grid, words);
    check_stations(grid, words);
    if (words.text().empty()) return;
    elog_complain(0, "velorix_setup_edp_grid: Grid %s: %s; its corners are at%s.\n",
                  name_text(grid.name).c_str(), words.text().c_str(), corners(grid).c_str());
}

}  // namespace velorix
