// Grids whose nodes are a list of positions: from a coordinates file, or from an array.
#include <cmath>
#include <memory>
#include <new>

#include "platform/elog/elog.h"
#include "platform/elog/guard.h"
#include "setupgrid/builder_params.h"
#include "setupgrid/coords_file.h"
#include "setupgrid/heap_layout.h"
#include "support/grid_name.h"
#include "support/grid_view.h"

namespace velorix {
namespace {

using Naming = BuilderParams::Naming;
using CoordsPtr = Owned<Coords, coords_free>;

constexpr const char* kFileBuilder = "velorix_setup_readfromfile_grid";
constexpr const char* kArrayBuilder = "velorix_setup_fromsourcearray_grid";

void make_room(Velorix& grid) {
    CArray<double> depths = make_c_array<double>(1);
    CArray<Source> sources = make_c_array<Source>(static_cast<size_t>(grid.nn));
    if (!depths || !sources) throw std::bad_alloc();
    replace_array(grid.depths, std::move(depths));
    replace_array(grid.sources, std::move(sources));
}

// Everything but the positions themselves.
bool lay_out(const BuilderParams& params, Velorix& grid, const char* name, int count) {
    Text method, model;
    if (!params.name("method", method, Naming::none) || !params.name("model", model, Naming::none))
        return false;
    clear_layout(grid);
    grid.mode = VELORIX_MODE_GENERAL;
    grid.type = VELORIX_TYPE_3D;
    grid.latr = 0.0;
    grid.lonr = 0.0;
    if (!params.tables(grid) || !size_point_list(params.who(), grid, count)) return false;
    make_room(grid);
    set_names(grid, name, method.get(), model.get());
    return true;
}

bool is_position(double lat, double lon, double depth) {
    return std::fabs(lat) <= 90.0 && std::fabs(lon) <= 360.0 && std::isfinite(depth);
}

bool check_points(const Coords& coords, const char* filename) {
    for (int i = 0; i < coords.npoints; ++i) {
        if (is_position(coords.lat[i], coords.lon[i], coords.depth[i])) continue;
        elog_log(0, "velorix_setup_readfromfile_grid: %s: point %d (%g %g %g) is not a position.\n",
                 filename, i + 1, coords.lat[i], coords.lon[i], coords.depth[i]);
        return false;
    }
    return true;
}

bool build_from_file(Velorix& grid, const char* name, Pf* pf) {
    constexpr const char* keys[] = {"coords_file", "method",    "model",
                                    "compute_P",   "compute_S", "compute_distances"};
    complain_unknown_keys(kFileBuilder, pf, name, keys);
    const BuilderParams params(kFileBuilder, pf);
    Text filename;
    if (!params.text("coords_file", filename, Naming::key)) return false;
    Coords* read = nullptr;
    if (read_coords(filename.get(), &read, 0.0) < 0) {
        elog_log(0, "velorix_setup_readfromfile_grid: read_coords(%s) error.\n", filename.get());
        return false;
    }
    const CoordsPtr coords(read);
    if (!check_points(*coords, filename.get()) || !lay_out(params, grid, name, coords->npoints)) {
        return false;
    }
    for (int i = 0; i < coords->npoints; ++i) {
        grid.sources[i] = Source{coords->lat[i], coords->lon[i], coords->depth[i]};
    }
    return true;
}

bool build_from_array(Velorix& grid, const char* name, int nsrc, const Source* srcs, Pf* pf) {
    constexpr const char* keys[] = {"method", "model", "compute_P", "compute_S",
                                    "compute_distances"};
    complain_unknown_keys(kArrayBuilder, pf, name, keys);
    if (nsrc < 0 || (nsrc > 0 && !srcs)) {
        elog_log(0, "velorix_setup_fromsourcearray_grid: no array of %d positions.\n", nsrc);
        return false;
    }
    if (!lay_out(BuilderParams(kArrayBuilder, pf), grid, name, nsrc)) return false;
    for (int i = 0; i < nsrc; ++i) grid.sources[i] = srcs[i];
    return true;
}

}  // namespace
}  // namespace velorix

extern "C" int velorix_setup_readfromfile_grid(Velorix* grid, const char* name, Pf* pf) {
    return velorix::guarded(velorix::kFileBuilder, -1,
                            [&] { return velorix::build_from_file(*grid, name, pf) ? 0 : -1; });
}

extern "C" int velorix_setup_fromsourcearray_grid(Velorix* grid, const char* name, int nsrc,
                                                  const Source* srcs, Pf* pf) {
    return velorix::guarded(velorix::kArrayBuilder, -1, [&] {
        return velorix::build_from_array(*grid, name, nsrc, srcs, pf) ? 0 : -1;
    });
}
