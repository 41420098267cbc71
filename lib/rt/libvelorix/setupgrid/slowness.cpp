// Rings of nodes about a reference point, from a regular mesh in horizontal-slowness space.
#include <cmath>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "platform/elog/elog.h"
#include "platform/elog/guard.h"
#include "platform/geodesy/geodesy.h"
#include "setupgrid/builder_params.h"
#include "setupgrid/heap_layout.h"
#include "slow2d.h"
#include "support/grid_name.h"
#include "support/grid_view.h"
#include "support/units.h"
#include "velorix_pvt.h"

namespace velorix {
namespace {

constexpr const char* kWho = "velorix_setup_slowness_grid";
using Naming = BuilderParams::Naming;

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

bool read_mesh(const Velorix& grid, const BuilderParams& params, Mesh& mesh) {
    if (!params.reference(grid, mesh.latr, mesh.lonr) ||
        !params.integer("nx", mesh.nx, Naming::none) ||
        !params.integer("ny", mesh.ny, Naming::none)) {
        return false;
    }
    if (mesh.nx > 0 && mesh.ny > 0 && int64_t{mesh.nx} * mesh.ny > kMostPoints) {
        elog_log(0, "velorix_setup_slowness_grid: %d x %d mesh points exceed the limit of %d.\n",
                 mesh.nx, mesh.ny, kMostPoints);
        return false;
    }
    Text method, model;
    if (!params.real("xmin", mesh.xmin) || !params.real("xmax", mesh.xmax) ||
        !params.real("ymin", mesh.ymin) || !params.real("ymax", mesh.ymax) ||
        !params.real("depth", mesh.depth, true, Naming::none) ||
        !params.name("method", method, Naming::none) ||
        !params.name("model", model, Naming::none) ||
        !params.bound("maxslow", mesh.maxslow, Naming::none) ||
        !params.bound("minslow", mesh.minslow, Naming::none)) {
        return false;
    }
    mesh.method.assign(method.get(), strnlen(method.get(), VELORIX_NAME_SIZE));
    mesh.model.assign(model.get(), strnlen(model.get(), VELORIX_NAME_SIZE));
    return true;
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
    const BuilderParams params(kWho, pf);
    if (!read_mesh(grid, params, mesh)) return false;
    complain_of_other_table(name, mesh);
    set_geometry(grid, mesh);
    int64_t count = 0;
    if (!walk(mesh, [&](const Ring&) { ++count; })) return false;
    if (count == 0) {
        elog_log(0, "velorix_setup_slowness_grid: No grid nodes to process.\n");
        return false;
    }
    if (!params.tables(grid) || !size_point_list(kWho, grid, count)) return false;
    set_names(grid, name, mesh.method.c_str(), mesh.model.c_str());
    return place(grid, mesh);
}

}  // namespace
}  // namespace velorix

extern "C" int velorix_setup_slowness_grid(Velorix* grid, const char* name, Pf* pf) {
    return velorix::guarded(velorix::kWho, -1,
                            [&] { return velorix::build(*grid, name, pf) ? 0 : -1; });
}
