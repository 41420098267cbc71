// Grids whose nodes are a list of positions: from a coordinates file, or from an array.
#include <cmath>
#include <memory>
#include <new>

#include "platform/elog/elog.h"
#include "setupgrid/builder_params.h"
#include "setupgrid/coords_file.h"
#include "setupgrid/heap_layout.h"
#include "support/grid_view.h"
#include "support/text.h"

namespace velorix {
namespace {

/// What the two builders say when a step that they share fails.
struct Builder {
    const char* name;
    const char* bad_param;
    const char* no_times;
    const char* no_memory;
};
constexpr Builder kFileBuilder{"velorix_setup_readfromfile_grid",
                               "velorix_setup_readfromfile_grid: parse_param() error.\n",
                               "velorix_setup_readfromfile_grid: Must compute P or S times.\n",
                               "velorix_setup_readfromfile_grid: malloc() error.\n"};
constexpr Builder kArrayBuilder{"velorix_setup_fromsourcearray_grid",
                                "velorix_setup_fromsourcearray_grid: parse_param() error.\n",
                                "velorix_setup_fromsourcearray_grid: Must compute P or S times.\n",
                                "velorix_setup_fromsourcearray_grid: malloc() error.\n"};

struct FreeCoords {
    void operator()(Coords* coords) const { coords_free(coords); }
};
using CoordsPtr = std::unique_ptr<Coords, FreeCoords>;

struct Calculator {
    Text method;
    Text model;
};

bool failed(int flag, const char* message) {
    elog_log(flag, "%s", message);
    return false;
}

bool read_calculator(const Builder& builder, Pf* pf, Calculator& calculator) {
    if (parse_param(pf, "method", PF_STRING, 1, out(calculator.method)) < 0 ||
        parse_param(pf, "model", PF_STRING, 1, out(calculator.model)) < 0) {
        return failed(0, builder.bad_param);
    }
    complain_if_cut(builder.name, "method", calculator.method.get());
    complain_if_cut(builder.name, "model", calculator.model.get());
    return true;
}

bool read_wanted(const Builder& builder, Pf* pf, Velorix& grid) {
    Wanted wanted;
    if (parse_param(pf, "compute_P", PF_BOOLEAN, 0, &wanted.P) < 0 ||
        parse_param(pf, "compute_S", PF_BOOLEAN, 0, &wanted.S) < 0) {
        return failed(0, builder.bad_param);
    }
    mark_times(grid, wanted);
    if (!wanted.P && !wanted.S) return failed(0, builder.no_times);
    if (parse_param(pf, "compute_distances", PF_BOOLEAN, 0, &wanted.distances) < 0)
        return failed(0, builder.bad_param);
    mark_distances(grid, wanted);
    return true;
}

// Counts, sizes and the arrays for `count` positions; false after a logged line.
bool make_room(const Builder& builder, Velorix& grid, int count) {
    grid.nx = 0;
    grid.ny = 0;
    grid.nd = 1;
    grid.nn = count;
    grid.nh = count;
    const int64_t srsize = int64_t{count} * static_cast<int64_t>(sizeof(Source));
    if (!pair_table_size(builder.name, count, grid.ns, grid.ttsize) ||
        !fits_size_field(builder.name, "the position array", srsize)) {
        return false;
    }
    grid.dpsize = static_cast<int32_t>(sizeof(double));
    grid.srsize = static_cast<int32_t>(srsize);
    if (grid.distances) grid.dssize = grid.ttsize;
    CArray<double> depths = make_c_array<double>(1);
    CArray<Source> sources = make_c_array<Source>(static_cast<size_t>(count));
    if (!depths || !sources) return failed(1, builder.no_memory);
    replace_array(grid.depths, std::move(depths));
    replace_array(grid.sources, std::move(sources));
    return true;
}

// Everything but the positions themselves.
bool lay_out(const Builder& builder, Velorix& grid, const char* name, int count, Pf* pf) {
    Calculator calculator;
    if (!read_calculator(builder, pf, calculator)) return false;
    clear_layout(grid);
    grid.mode = VELORIX_MODE_GENERAL;
    grid.type = VELORIX_TYPE_3D;
    grid.latr = 0.0;
    grid.lonr = 0.0;
    if (!read_wanted(builder, pf, grid) || !make_room(builder, grid, count)) return false;
    set_names(grid, name, calculator.method.get(), calculator.model.get());
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
    complain_unknown_keys(kFileBuilder.name, pf, name, keys);
    Text filename;
    if (parse_param(pf, "coords_file", PF_STRING, 1, out(filename)) < 0) {
        elog_log(0, "velorix_setup_readfromfile_grid: parse_param(coords_file) error.\n");
        return false;
    }
    Coords* read = nullptr;
    if (read_coords(filename.get(), &read, 0.0) < 0) {
        elog_log(0, "velorix_setup_readfromfile_grid: read_coords(%s) error.\n", filename.get());
        return false;
    }
    const CoordsPtr coords(read);
    if (!check_points(*coords, filename.get()) ||
        !lay_out(kFileBuilder, grid, name, coords->npoints, pf)) {
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
    complain_unknown_keys(kArrayBuilder.name, pf, name, keys);
    if (nsrc < 0 || (nsrc > 0 && !srcs)) {
        elog_log(0, "velorix_setup_fromsourcearray_grid: no array of %d positions.\n", nsrc);
        return false;
    }
    if (!lay_out(kArrayBuilder, grid, name, nsrc, pf)) return false;
    for (int i = 0; i < nsrc; ++i) grid.sources[i] = srcs[i];
    return true;
}

}  // namespace
}  // namespace velorix

extern "C" int velorix_setup_readfromfile_grid(Velorix* grid, const char* name, Pf* pf) {
    try {
        return velorix::build_from_file(*grid, name, pf) ? 0 : -1;
    } catch (const std::bad_alloc&) {
        elog_log(1, "%s", velorix::kFileBuilder.no_memory);
        return -1;
    }
}

extern "C" int velorix_setup_fromsourcearray_grid(Velorix* grid, const char* name, int nsrc,
                                                  const Source* srcs, Pf* pf) {
    try {
        return velorix::build_from_array(*grid, name, nsrc, srcs, pf) ? 0 : -1;
    } catch (const std::bad_alloc&) {
        elog_log(1, "%s", velorix::kArrayBuilder.no_memory);
        return -1;
    }
}
