// Where a point lies relative to a regular mesh.
#include <cmath>

#include "velorix_pvt.h"

namespace {

/// East and north offsets, degrees of arc.
struct Offset {
    double east = 0.0;
    double north = 0.0;
};

Offset offset(const Velorix& grid, double lat, double lon) {
    Offset result;
    latlon2xydel(grid.latr, grid.lonr, lat, lon, &result.east, &result.north);
    return result;
}

Offset offset(const Velorix& grid, const Source& position) {
    return offset(grid, position.lat, position.lon);
}

Offset minus(const Offset& a, const Offset& b) { return {a.east - b.east, a.north - b.north}; }

double length(const Offset& a) { return std::sqrt(a.east * a.east + a.north * a.north); }

// Length of p along the axis a, in units of the axis' own length.
double along(const Offset& p, const Offset& a, double axis_length) {
    return (p.east / axis_length) * (a.east / axis_length) +
           (p.north / axis_length) * (a.north / axis_length);
}

}  // namespace

extern "C" int velorix_project(const Velorix* grid, double lat, double lon, double* xproj,
                               double* yproj) {
    *xproj = 0.0;
    *yproj = 0.0;
    if (grid->mode != VELORIX_MODE_REGULAR || grid->nh < 1 || grid->nx < 1) return 0;
    const Offset corner = offset(*grid, grid->sources[0]);
    const Offset p = minus(offset(*grid, lat, lon), corner);
    const Offset row = minus(offset(*grid, grid->sources[grid->nx - 1]), corner);
    const double row_length = length(row);
    if (row_length == 0.0) return 0;
    *xproj = along(p, row, row_length);
    const Offset column = minus(offset(*grid, grid->sources[grid->nh - grid->nx]), corner);
    const double column_length = length(column);
    if (column_length == 0.0) return 0;
    *yproj = along(p, column, column_length);
    return 0;
}

extern "C" int velorix_inside(const Velorix* grid, double lat, double lon) {
    if (grid->mode != VELORIX_MODE_REGULAR) return 1;
    double x = 0.0;
    double y = 0.0;
    velorix_project(grid, lat, lon, &x, &y);
    return x < 0.0 || x > 1.0 || y < 0.0 || y > 1.0 ? 0 : 1;
}
