// A rotated regular mesh about a reference point, repeated at a list of depths.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/elog/elog.h"
#include "platform/elog/guard.h"
#include "platform/geodesy/geodesy.h"
#include "setupgrid/builder_params.h"
#include "setupgrid/heap_layout.h"
#include "setupgrid/mesh_check.h"
#include "setupgrid/station_window.h"
#include "support/grid_view.h"
#include "support/scan_number.h"
#include "support/units.h"

namespace velorix {
namespace {

constexpr const char* kWho = "velorix_setup_edp_grid";
using Naming = BuilderParams::Naming;

constexpr double kRadiansPerDegree = 0.017453292519943295;

/// What the parameters say, before anything is put into the record.
struct Mesh {
    double strike = 90.0;
    double latr = 0.0, lonr = 0.0;
    int32_t type = VELORIX_TYPE_3D;
    int ndist = 0;
    int nx = 0, ny = 0;
    double xmin = 0.0, xmax = 0.0, ymin = 0.0, ymax = 0.0;
    std::vector<double> depths;
    Text method, model;
    Wanted wanted;

    int64_t positions() const { return int64_t{nx} * ny; }
    int64_t nodes() const;
};

int64_t Mesh::nodes() const {
    int64_t count = 0;
    const auto nd = static_cast<int64_t>(depths.size());
    return __builtin_mul_overflow(positions(), nd, &count) ? INT64_MAX : count;
}

bool read_type(const BuilderParams& params, Mesh& mesh) {
    Text type;
    if (!params.text("type", type, Naming::key, false)) return false;
    if (!type || std::strcmp(type.get(), "3d") == 0)
        return params.flag("compute_distances", mesh.wanted.distances);
    if (std::strcmp(type.get(), "1d") == 0) {
        mesh.type = VELORIX_TYPE_1D;
        return params.count("ndist", kMostDistanceSamples, mesh.ndist);
    }
    elog_log(0, "velorix_setup_edp_grid: Unrecognized 'type' parameter (%s).\n", type.get());
    return false;
}

// The number that a text starts with, or 0; a list in quotes would be its first number alone.
double depth_of(const char* text) {
    std::string_view rest = text;
    double depth = 0.0;
    const bool number = scan_number(rest, depth);
    skip_blanks(rest);
    if (!number || !rest.empty()) {
        elog_complain(0,
                      "velorix_setup_edp_grid: depths: '%s' is not one number, %g km is taken.\n",
                      text, depth);
    }
    return depth;
}

bool read_depths(const BuilderParams& params, Mesh& mesh) {
    Tbl* entries = nullptr;
    if (!params.list("depths", entries)) return false;
    const OwnedTexts list(entries);
    for (int i = 0; i < maxtbl(entries); ++i) {
        const char* text = static_cast<const char*>(gettbl(entries, i));
        const double depth = depth_of(text);
        mesh.depths.push_back(depth);
        if (std::isfinite(depth)) continue;
        elog_log(0, "velorix_setup_edp_grid: depths must be finite (%s).\n", text);
        return false;
    }
    if (!mesh.depths.empty()) return true;
    elog_log(0, "velorix_setup_edp_grid: depths must hold at least one depth (0).\n");
    return false;
}

bool read_mesh(const Velorix& grid, const BuilderParams& params, Mesh& mesh) {
    constexpr int any = INT32_MAX;
    constexpr double turn = 360.0;
    return params.real("strike", mesh.strike, false) &&
           params.reference(grid, mesh.latr, mesh.lonr) && read_type(params, mesh) &&
           params.count("nx", any, mesh.nx) && params.count("ny", any, mesh.ny) &&
           params.angle("xmin", turn, mesh.xmin) && params.angle("xmax", turn, mesh.xmax) &&
           params.angle("ymin", turn, mesh.ymin) && params.angle("ymax", turn, mesh.ymax) &&
           read_depths(params, mesh) && params.name("method", mesh.method, Naming::key) &&
           params.name("model", mesh.model, Naming::key) &&
           params.flag("compute_P", mesh.wanted.P) && params.flag("compute_S", mesh.wanted.S) &&
           params.times_wanted(mesh.wanted);
}

// Table sizes for the grid's current stations; false after a logged line.
bool size_tables(Velorix& grid) {
    if (grid.type == VELORIX_TYPE_3D) {
        if (!pair_table_size(kWho, grid.nn, grid.ns, grid.ttsize)) return false;
        if (grid.distances) grid.dssize = grid.ttsize;
        return true;
    }
    const int64_t ttsize = int64_t{grid.ndist} * grid.nd * 4;
    const int64_t ttosize = int64_t{grid.ns} * grid.nh * 2;
    if (!fits_size_field(kWho, "a travel-time table", ttsize) ||
        !fits_size_field(kWho, "the offset table", ttosize)) {
        return false;
    }
    grid.ttsize = static_cast<int32_t>(ttsize);
    grid.dssize = grid.ndist * 4;
    grid.ttosize = static_cast<int32_t>(ttosize);
    grid.ttoffsets = presence_marker<uint16_t>();
    return true;
}

bool check_node_count(const Mesh& mesh) {
    if (mesh.nodes() <= INT32_MAX) return true;
    elog_log(0, "velorix_setup_edp_grid: %d x %d x %zu nodes exceed the limit of %d.\n", mesh.nx,
             mesh.ny, mesh.depths.size(), INT32_MAX);
    return false;
}

bool set_fields(Velorix& grid, const char* name, const Mesh& mesh) {
    if (!check_node_count(mesh)) return false;
    const int64_t srsize = mesh.positions() * static_cast<int64_t>(sizeof(Source));
    if (!fits_size_field(kWho, "the position array", srsize)) return false;
    clear_layout(grid);
    grid.mode = VELORIX_MODE_REGULAR;
    grid.type = mesh.type;
    grid.nx = mesh.nx;
    grid.ny = mesh.ny;
    grid.nd = static_cast<int32_t>(mesh.depths.size());
    grid.nh = static_cast<int32_t>(mesh.positions());
    grid.nn = static_cast<int32_t>(mesh.nodes());
    if (mesh.type == VELORIX_TYPE_1D) grid.ndist = mesh.ndist;
    grid.latr = mesh.latr;
    grid.lonr = mesh.lonr;
    grid.strike = mesh.strike;
    grid.xmin = mesh.xmin;
    grid.xmax = mesh.xmax;
    grid.ymin = mesh.ymin;
    grid.ymax = mesh.ymax;
    set_names(grid, name, mesh.method.get(), mesh.model.get());
    mark_times(grid, mesh.wanted);
    Wanted tables = mesh.wanted;
    if (mesh.type == VELORIX_TYPE_1D) tables.distances = 1;
    mark_distances(grid, tables);
    grid.srsize = static_cast<int32_t>(srsize);
    grid.dpsize = grid.nd * static_cast<int32_t>(sizeof(double));
    return true;
}

void lay_out_positions(Velorix& grid) {
    const double sin_strike = std::sin(grid.strike * kPi / 180.0);
    const double cos_strike = std::cos(grid.strike * kPi / 180.0);
    const double latr = grid.latr * kRadiansPerDegree;
    const double lonr = grid.lonr * kRadiansPerDegree;
    const double xmin = grid.xmin * kRadiansPerDegree;
    const double xmax = grid.xmax * kRadiansPerDegree;
    const double ymin = grid.ymin * kRadiansPerDegree;
    const double ymax = grid.ymax * kRadiansPerDegree;
    const double ddelx = grid.nx >= 2 ? (xmax - xmin) / (grid.nx - 1) : 0.0;
    const double ddely = grid.ny >= 2 ? (ymax - ymin) / (grid.ny - 1) : 0.0;
    Source* source = grid.sources;
    for (int32_t iy = 0; iy < grid.ny; ++iy) {
        for (int32_t ix = 0; ix < grid.nx; ++ix, ++source) {
            const double delx = ix * ddelx + xmin;
            const double dely = iy * ddely + ymin;
            const double rdelx = delx * sin_strike - dely * cos_strike;
            const double rdely = delx * cos_strike + dely * sin_strike;
            const double delta = std::sqrt(rdelx * rdelx + rdely * rdely);
            double lat = 0.0;
            double lon = 0.0;
            latlon(latr, lonr, delta, std::atan2(rdelx, rdely), &lat, &lon);
            *source = Source{degrees(lat), degrees(lon), grid.depths[0]};
        }
    }
}

bool build(Velorix& grid, const char* name, Pf* pf) {
    constexpr const char* keys[] = {
        "strike",   "refsta",   "latr",     "lonr",    "type",      "compute_distances",
        "ndist",    "nx",       "ny",       "xmin",    "xmax",      "ymin",
        "ymax",     "depths",   "method",   "model",   "compute_P", "compute_S",
        "pxstamin", "pxstamax", "pystamin", "pystamax"};
    complain_unknown_keys(kWho, pf, name, keys);
    Mesh mesh;
    StationWindow window;
    const BuilderParams params(kWho, pf);
    if (!read_mesh(grid, params, mesh) || !set_fields(grid, name, mesh) ||
        !read_station_window(params, window)) {
        return false;
    }
    // Tables too large for all stations may fit those that a window leaves.
    if (window.open() && !size_tables(grid)) return false;
    CArray<Source> sources = make_c_array<Source>(static_cast<size_t>(grid.nh));
    CArray<double> depths = make_c_array<double>(mesh.depths.size());
    if (!sources || !depths) throw std::bad_alloc();
    std::copy(mesh.depths.begin(), mesh.depths.end(), depths.get());
    replace_array(grid.sources, std::move(sources));
    replace_array(grid.depths, std::move(depths));
    lay_out_positions(grid);
    complain_of_mesh(grid);
    return window.open() || (apply_station_window(grid, window) && size_tables(grid));
}

}  // namespace
}  // namespace velorix

extern "C" int velorix_setup_edp_grid(Velorix* grid, const char* name, Pf* pf) {
    return velorix::guarded(velorix::kWho, -1,
                            [&] { return velorix::build(*grid, name, pf) ? 0 : -1; });
}
