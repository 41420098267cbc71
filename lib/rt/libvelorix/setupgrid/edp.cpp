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
constexpr double kRadiansPerDegree = 0.017453292519943295;

struct FreeList {
    void operator()(Tbl* list) const { freetbl(list, std::free); }
};

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

bool bad_key(const char* key) {
    elog_log(0, "velorix_setup_edp_grid: parse_param(%s) error.\n", key);
    return false;
}

bool read_real(Pf* pf, const char* key, bool required, double& value) {
    if (parse_param(pf, key, PF_DOUBLE, required, &value) < 0) return bad_key(key);
    if (std::isfinite(value)) return true;
    elog_log(0, "velorix_setup_edp_grid: %s must be finite (%g).\n", key, value);
    return false;
}

bool read_count(Pf* pf, const char* key, int largest, int& value) {
    if (parse_param(pf, key, PF_INT, 1, &value) < 0) return bad_key(key);
    if (value >= 1 && value <= largest) return true;
    elog_log(0, "velorix_setup_edp_grid: %s must be between 1 and %d (%d).\n", key, largest, value);
    return false;
}

bool read_text(Pf* pf, const char* key, Text& value) {
    if (parse_param(pf, key, PF_STRING, 1, out(value)) < 0) return bad_key(key);
    complain_if_cut(kWho, key, value.get());
    return true;
}

bool read_switch(Pf* pf, const char* key, int& value) {
    if (parse_param(pf, key, PF_BOOLEAN, 0, &value) >= 0) return true;
    elog_log(0, "velorix_setup_edp_grid: parse_param() error.\n");
    return false;
}

bool station_position(const Velorix& grid, const char* code, Mesh& mesh) {
    if (!grid.sta_arr) {
        elog_log(0, "velorix_setup_edp_grid: Must setup stations first.\n");
        return false;
    }
    const auto* station = static_cast<const Station*>(getarr(grid.sta_arr, code));
    if (!station) {
        elog_log(0, "velorix_setup_edp_grid: Cannot find coordinates for %s.\n", code);
        return false;
    }
    mesh.latr = station->lat;
    mesh.lonr = station->lon;
    return true;
}

bool check_angle(const char* key, double value, double limit) {
    if (std::fabs(value) <= limit) return true;
    elog_log(0, "velorix_setup_edp_grid: %s must be between %g and %g (%g).\n", key, -limit, limit,
             value);
    return false;
}

bool read_reference(const Velorix& grid, Pf* pf, Mesh& mesh) {
    Text refsta;
    if (parse_param(pf, "refsta", PF_STRING, 0, out(refsta)) < 0) return bad_key("refsta");
    if (refsta) return station_position(grid, refsta.get(), mesh);
    return read_real(pf, "latr", true, mesh.latr) && check_angle("latr", mesh.latr, 90.0) &&
           read_real(pf, "lonr", true, mesh.lonr) && check_angle("lonr", mesh.lonr, 360.0);
}

// Arcs beyond a full turn lead nowhere new, and their squares may overflow.
bool read_extent(Pf* pf, const char* key, double& value) {
    return read_real(pf, key, true, value) && check_angle(key, value, 360.0);
}

bool read_type(Pf* pf, Mesh& mesh) {
    Text type;
    if (parse_param(pf, "type", PF_STRING, 0, out(type)) < 0) return bad_key("type");
    if (!type || std::strcmp(type.get(), "3d") == 0)
        return read_switch(pf, "compute_distances", mesh.wanted.distances);
    if (std::strcmp(type.get(), "1d") == 0) {
        mesh.type = VELORIX_TYPE_1D;
        return read_count(pf, "ndist", kMostDistanceSamples, mesh.ndist);
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

bool read_depths(Pf* pf, Mesh& mesh) {
    Tbl* entries = nullptr;
    if (parse_param(pf, "depths", PF_LIST, 1, &entries) < 0) return bad_key("depths");
    const std::unique_ptr<Tbl, FreeList> list(entries);
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

bool read_mesh(const Velorix& grid, Pf* pf, Mesh& mesh) {
    constexpr int any = INT32_MAX;
    if (!read_real(pf, "strike", false, mesh.strike) || !read_reference(grid, pf, mesh) ||
        !read_type(pf, mesh) || !read_count(pf, "nx", any, mesh.nx) ||
        !read_count(pf, "ny", any, mesh.ny) || !read_extent(pf, "xmin", mesh.xmin) ||
        !read_extent(pf, "xmax", mesh.xmax) || !read_extent(pf, "ymin", mesh.ymin) ||
        !read_extent(pf, "ymax", mesh.ymax) || !read_depths(pf, mesh) ||
        !read_text(pf, "method", mesh.method) || !read_text(pf, "model", mesh.model) ||
        !read_switch(pf, "compute_P", mesh.wanted.P) ||
        !read_switch(pf, "compute_S", mesh.wanted.S)) {
        return false;
    }
    if (mesh.wanted.P || mesh.wanted.S) return true;
    elog_log(0, "velorix_setup_edp_grid: Must compute P or S times.\n");
    return false;
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
    if (!read_mesh(grid, pf, mesh) || !set_fields(grid, name, mesh) ||
        !read_station_window(pf, window)) {
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
    try {
        return velorix::build(*grid, name, pf) ? 0 : -1;
    } catch (const std::bad_alloc&) {
        elog_log(1, "velorix_setup_edp_grid: malloc() error.\n");
        return -1;
    }
}
