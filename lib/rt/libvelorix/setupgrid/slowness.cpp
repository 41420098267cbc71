// Rings of nodes about a reference point, from a regular mesh in horizontal-slowness space.
#include <cmath>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "platform/elog/elog.h"
#include "platform/geodesy/geodesy.h"
#include "setupgrid/builder_params.h"
#include "setupgrid/heap_layout.h"
#include "slow2d.h"
#include "support/grid_view.h"
#include "support/text.h"
#include "support/units.h"
#include "velorix_pvt.h"

namespace velorix {
namespace {

constexpr const char* kWho = "velorix_setup_slowness_grid";
constexpr double kRadiansPerDegree = 0.017453292519943295;
// As many positions as the record's 32-bit sizes hold; a larger mesh would only take hours to walk.
constexpr int kMostPoints = INT32_MAX / static_cast<int>(sizeof(Source));
// slow2d reports -1 where a slowness has no distance.
constexpr double kNoDistance = -0.5;

/// The mesh in slowness space and what goes with it.
struct Mesh {
    double latr = 0.0, lonr = 0.0;
    int nx = 0, ny = 0;
    double xmin = 0.0, xmax = 0.0, ymin = 0.0, ymax = 0.0;
    double depth = 0.0;
    std::string method, model;  // as the record holds them, at most 64 characters
    double maxslow = 2e30, minslow = -2e30;
};

/// A mesh point that became a node.
struct Ring {
    double distance;  // degrees
    double azimuth;   // radians
};

bool bad_param() {
    elog_log(0, "velorix_setup_slowness_grid: parse_param() error.\n");
    return false;
}

bool bad_key(const char* key) {
    elog_log(0, "velorix_setup_slowness_grid: parse_param(%s) error.\n", key);
    return false;
}

bool finite(const char* key, double value) {
    if (std::isfinite(value)) return true;
    elog_log(0, "velorix_setup_slowness_grid: %s must be finite (%g).\n", key, value);
    return false;
}

bool read_named(Pf* pf, const char* key, double& value) {
    if (parse_param(pf, key, PF_DOUBLE, 1, &value) < 0) return bad_key(key);
    return finite(key, value);
}

bool check_angle(const char* key, double value, double limit) {
    if (std::fabs(value) <= limit) return true;
    elog_log(0, "velorix_setup_slowness_grid: %s must be between %g and %g (%g).\n", key, -limit,
             limit, value);
    return false;
}

bool read_real(Pf* pf, const char* key, double& value) {
    if (parse_param(pf, key, PF_DOUBLE, 1, &value) < 0) return bad_param();
    return finite(key, value);
}

// A bound on slownesses, which an infinite one leaves open.
bool read_bound(Pf* pf, const char* key, double& value) {
    if (parse_param(pf, key, PF_DOUBLE, 0, &value) < 0) return bad_param();
    return !std::isnan(value) || finite(key, value);
}

bool read_name(Pf* pf, const char* key, std::string& value) {
    Text text;
    if (parse_param(pf, key, PF_STRING, 1, out(text)) < 0) return bad_param();
    complain_if_cut(kWho, key, text.get());
    value.assign(text.get(), strnlen(text.get(), VELORIX_NAME_SIZE));
    return true;
}

bool read_reference(const Velorix& grid, Pf* pf, Mesh& mesh) {
    Text refsta;
    if (parse_param(pf, "refsta", PF_STRING, 0, out(refsta)) < 0) return bad_key("refsta");
    if (!refsta) {
        return read_named(pf, "latr", mesh.latr) && check_angle("latr", mesh.latr, 90.0) &&
               read_named(pf, "lonr", mesh.lonr) && check_angle("lonr", mesh.lonr, 360.0);
    }
    if (!grid.sta_arr) {
        elog_log(0, "velorix_setup_slowness_grid: Must setup stations first.\n");
        return false;
    }
    const auto* station = static_cast<const Station*>(getarr(grid.sta_arr, refsta.get()));
    if (!station) {
        elog_log(0, "velorix_setup_slowness_grid: Cannot find coordinates for %s.\n", refsta.get());
        return false;
    }
    mesh.latr = station->lat;
    mesh.lonr = station->lon;
    return true;
}

bool read_mesh(const Velorix& grid, Pf* pf, Mesh& mesh) {
    if (!read_reference(grid, pf, mesh)) return false;
    if (parse_param(pf, "nx", PF_INT, 1, &mesh.nx) < 0 ||
        parse_param(pf, "ny", PF_INT, 1, &mesh.ny) < 0) {
        return bad_param();
    }
    if (mesh.nx > 0 && mesh.ny > 0 && int64_t{mesh.nx} * mesh.ny > kMostPoints) {
        elog_log(0, "velorix_setup_slowness_grid: %d x %d mesh points exceed the limit of %d.\n",
                 mesh.nx, mesh.ny, kMostPoints);
        return false;
    }
    return read_named(pf, "xmin", mesh.xmin) && read_named(pf, "xmax", mesh.xmax) &&
           read_named(pf, "ymin", mesh.ymin) && read_named(pf, "ymax", mesh.ymax) &&
           read_real(pf, "depth", mesh.depth) && read_name(pf, "method", mesh.method) &&
           read_name(pf, "model", mesh.model) && read_bound(pf, "maxslow", mesh.maxslow) &&
           read_bound(pf, "minslow", mesh.minslow);
}

// The process has one conversion table, of its first slowness grid.
void complain_of_other_table(const char* name, const Mesh& mesh) {
    const SlownessTable built = slowness_table();
    if (!built.model || (mesh.model == built.model && mesh.depth == built.depth)) return;
    elog_complain(
        0,
        "velorix_setup_slowness_grid: Grid %s of model %s at %g km is placed by the "
        "slownesses of model %s at %g km, those of the run's first slowness grid; compute "
        "it in a run of its own.\n",
        name, mesh.model.c_str(), mesh.depth, built.model, built.depth);
}

// Azimuth of a mesh point: the mesh's own angle, not the compass form.
double mesh_azimuth(double x, double y) { return x == 0.0 && y == 0.0 ? 0.0 : std::atan2(y, x); }

/**
 * Hands every mesh point that has a distance to `visit`, row by row.
 * The conversion answers from one fixed table, so that two walks meet the same points.
 */
template <class Visit>
bool walk(const Mesh& mesh, Visit visit) {
    const double ddelx = mesh.nx > 1 ? (mesh.xmax - mesh.xmin) / (mesh.nx - 1) : 0.0;
    const double ddely = mesh.ny > 1 ? (mesh.ymax - mesh.ymin) / (mesh.ny - 1) : 0.0;
    for (int iy = 0; iy < mesh.ny; ++iy) {
        for (int ix = 0; ix < mesh.nx; ++ix) {
            const double y = iy * ddely + mesh.ymin;
            const double x = ix * ddelx + mesh.xmin;
            const double s = std::sqrt(y * y + x * x);
            if (s > mesh.maxslow || s < mesh.minslow) continue;
            double distance = 0.0;
            double slowout = 0.0;
            if (slow2d(mesh.model.c_str(), mesh.depth, 0.0, s, &distance, &slowout) < 0) {
                elog_log(0, "parse_pf: slow2d() error.\n");
                return false;
            }
            if (!(distance < kNoDistance)) visit(Ring{distance, mesh_azimuth(x, y)});
        }
    }
    return true;
}

bool read_wanted(Velorix& grid, Pf* pf) {
    Wanted wanted;
    if (parse_param(pf, "compute_P", PF_BOOLEAN, 0, &wanted.P) < 0 ||
        parse_param(pf, "compute_S", PF_BOOLEAN, 0, &wanted.S) < 0) {
        return bad_param();
    }
    mark_times(grid, wanted);
    if (!wanted.P && !wanted.S) {
        elog_log(0, "velorix_setup_slowness_grid: Must compute P or S times.\n");
        return false;
    }
    if (parse_param(pf, "compute_distances", PF_BOOLEAN, 0, &wanted.distances) < 0)
        return bad_param();
    mark_distances(grid, wanted);
    return true;
}

bool size_tables(Velorix& grid, int64_t count) {
    const int64_t srsize = count * static_cast<int64_t>(sizeof(Source));
    if (!pair_table_size(kWho, count, grid.ns, grid.ttsize) ||
        !fits_size_field(kWho, "the position array", srsize)) {
        return false;
    }
    grid.nx = 0;
    grid.ny = 0;
    grid.nd = 1;
    grid.nn = static_cast<int32_t>(count);
    grid.nh = grid.nn;
    grid.dpsize = static_cast<int32_t>(sizeof(double));
    grid.srsize = static_cast<int32_t>(srsize);
    if (grid.distances) grid.dssize = grid.ttsize;
    return true;
}

bool place(Velorix& grid, const Mesh& mesh) {
    CArray<double> depths = make_c_array<double>(1);
    CArray<Source> sources = make_c_array<Source>(static_cast<size_t>(grid.nn));
    if (!depths || !sources) throw std::bad_alloc();
    depths[0] = mesh.depth;
    const double latr = mesh.latr * kRadiansPerDegree;
    const double lonr = mesh.lonr * kRadiansPerDegree;
    size_t k = 0;
    const bool placed = walk(mesh, [&](const Ring& ring) {
        double lat = 0.0;
        double lon = 0.0;
        latlon(latr, lonr, radians(ring.distance), ring.azimuth, &lat, &lon);
        sources[k++] = Source{degrees(lat), degrees(lon), mesh.depth};
    });
    replace_array(grid.depths, std::move(depths));
    replace_array(grid.sources, std::move(sources));
    return placed;
}

void set_geometry(Velorix& grid, const Mesh& mesh) {
    clear_layout(grid);
    grid.mode = VELORIX_MODE_GENERAL;
    grid.type = VELORIX_TYPE_3D;
    grid.latr = mesh.latr;
    grid.lonr = mesh.lonr;
    grid.xmin = mesh.xmin;
    grid.xmax = mesh.xmax;
    grid.ymin = mesh.ymin;
    grid.ymax = mesh.ymax;
}

bool build(Velorix& grid, const char* name, Pf* pf) {
    constexpr const char* keys[] = {"refsta",
                                    "latr",
                                    "lonr",
                                    "nx",
                                    "ny",
                                    "xmin",
                                    "xmax",
                                    "ymin",
                                    "ymax",
                                    "depth",
                                    "method",
                                    "model",
                                    "maxslow",
                                    "minslow",
                                    "compute_P",
                                    "compute_S",
                                    "compute_distances"};
    complain_unknown_keys(kWho, pf, name, keys);
    Mesh mesh;
    if (!read_mesh(grid, pf, mesh)) return false;
    complain_of_other_table(name, mesh);
    set_geometry(grid, mesh);
    int64_t count = 0;
    if (!walk(mesh, [&](const Ring&) { ++count; })) return false;
    if (count == 0) {
        elog_log(0, "velorix_setup_slowness_grid: No grid nodes to process.\n");
        return false;
    }
    if (!read_wanted(grid, pf) || !size_tables(grid, count)) return false;
    set_names(grid, name, mesh.method.c_str(), mesh.model.c_str());
    return place(grid, mesh);
}

}  // namespace
}  // namespace velorix

extern "C" int velorix_setup_slowness_grid(Velorix* grid, const char* name, Pf* pf) {
    try {
        return velorix::build(*grid, name, pf) ? 0 : -1;
    } catch (const std::bad_alloc&) {
        elog_log(1, "velorix_setup_slowness_grid: malloc() error.\n");
        return -1;
    }
}
