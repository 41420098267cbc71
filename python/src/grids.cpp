// Grid files and their arrays as numpy sees them: views of the heap, not copies.
#include "grids.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "bindings.h"
#include "log.h"
#include "setupgrid/heap_layout.h"

namespace velorix::python {

GridRecord::~GridRecord() {
    velorix_free(grid_);
    std::free(heap_);
}

// A built record keeps stations of its own; in one that was read they are the heap's first block.
const char* GridRecord::bytes() const {
    if (heap_) return heap_;
    return reinterpret_cast<const char*>(grid_->stations) - kHeaderSize;
}

namespace {

using Shape = std::vector<py::ssize_t>;

struct ReleaseGrids {
    void operator()(Tbl* grids) const { freetbl(grids, nullptr); }
};

std::vector<GridPtr> read(const std::string& path) {
    const py::gil_scoped_release unlocked;
    const LogScope log;
    Tbl* list = nullptr;
    const int count = velorix_read_file(path.c_str(), &list);
    if (count < 0) throw log.failure("no grids");
    const std::unique_ptr<Tbl, ReleaseGrids> owned(list);
    std::vector<GridPtr> grids;
    for (int i = 0; i < count; ++i) {
        grids.push_back(
            std::make_shared<GridRecord>(static_cast<Velorix*>(gettbl(list, i)), nullptr));
    }
    return grids;
}

GridPtr build(const std::string& name, const std::string& toml, const std::string& label,
              const std::string& stations, const py::object& progress) {
    LogScope log;
    GridPtr grid;
    {
        const py::gil_scoped_release unlocked;
        Patience patience;
        double told = -1.0;
        grid = build_grid(
            {name, toml, label, stations},
            [&](double percent) {
                patience.check();
                if (progress.is_none() || (percent < told + 1.0 && percent < 100.0)) return;
                told = percent;
                const py::gil_scoped_acquire lock;
                progress(percent);
            },
            log);
    }
    log.warn();
    return grid;
}

struct FreePf {
    void operator()(Pf* pf) const { pffree(pf); }
};
struct FreeKeys {
    void operator()(Tbl* keys) const { freetbl(keys, nullptr); }
};

/// The grids of a parameter text.
std::vector<std::string> grid_names(const std::string& toml) {
    const LogScope log;
    Pf *root = nullptr, *grids = nullptr;
    if (pfparse(toml.c_str(), "parameters", &root) < 0) throw log.failure("no parameters");
    const std::unique_ptr<Pf, FreePf> owned(root);
    if (parse_param(root, "grids", PF_ARRAY, 1, &grids) < 0) throw log.failure("no grids");
    const std::unique_ptr<Tbl, FreeKeys> keys(keysarr(pfarr(grids)));
    std::vector<std::string> names;
    for (int i = 0; i < maxtbl(keys.get()); ++i) {
        names.emplace_back(static_cast<const char*>(gettbl(keys.get(), i)));
    }
    return names;
}

bool is_regular(const Velorix& grid) { return grid.mode == VELORIX_MODE_REGULAR; }
bool is_table(const Velorix& grid) { return is_regular(grid) && grid.type == VELORIX_TYPE_1D; }

Shape positions(const Velorix& grid) {
    return is_regular(grid) ? Shape{grid.ny, grid.nx} : Shape{grid.nn};
}

/// Of a table with one entry a node and station.
Shape pairs(const Velorix& grid) {
    return is_regular(grid) ? Shape{grid.nd, grid.ny, grid.nx, grid.ns} : Shape{grid.nn, grid.ns};
}

Shape times_shape(const Velorix& grid) {
    return is_table(grid) ? Shape{grid.nd, grid.ndist} : pairs(grid);
}

/// A read-only view that keeps the grid; None for a table that the grid does not carry.
template <class T>
py::object view(const GridPtr& grid, const T* data, const Shape& shape) {
    if (!data) return py::none();
    py::array_t<T> out(shape, data, py::cast(grid));
    out.attr("setflags")(py::arg("write") = false);
    return out;
}

py::object distances(const GridPtr& grid) {
    const Velorix& g = **grid;
    return view(grid, g.distances, is_table(g) ? Shape{g.ndist} : pairs(g));
}

py::object offsets(const GridPtr& grid) {
    Shape shape = positions(**grid);
    shape.push_back((**grid).ns);
    return view(grid, (**grid).ttoffsets, shape);
}

py::object heap(const GridPtr& grid) {
    return view(grid, reinterpret_cast<const uint8_t*>(grid->bytes()), Shape{(**grid).size});
}

std::string name_of(const char (&field)[VELORIX_NAME_SIZE]) {
    return {field, strnlen(field, sizeof field)};
}

std::string type_name(const Velorix& grid) {
    char text[64] = "";
    velorix_get_type(&grid, text);
    return text;
}

py::tuple times(const Velorix& grid, int32_t station, int32_t ix, int32_t iy, int32_t id) {
    const bool regular = is_regular(grid);
    const auto within = [](int32_t i, int32_t count) { return i >= 0 && i < count; };
    if (!within(station, grid.ns)) throw py::index_error("no such station");
    if (!within(ix, regular ? grid.nx : grid.nn) || !within(iy, regular ? grid.ny : 1) ||
        !within(id, regular ? grid.nd : 1)) {
        throw py::index_error("no such node");
    }
    double p = NAN, s = NAN;
    velorix_get_ttimes(&grid, station, ix, iy, id, &p, &s);
    return py::make_tuple(p, s);
}

void check(const Velorix& grid) {
    const py::gil_scoped_release unlocked;
    const LogScope log;
    if (velorix_check_times(&grid) != 0) throw log.failure("impossible times");
}

template <class Get>
auto number(Get get) {
    return [get](const GridPtr& grid) { return get(**grid); };
}

}  // namespace

void bind_grids(py::module_& module) {
    PYBIND11_NUMPY_DTYPE(Source, lat, lon, depth);
    PYBIND11_NUMPY_DTYPE_EX(Station, lat, "lat", lon, "lon", elev, "elevation", sta, "code", index,
                            "index");
    py::class_<GridRecord, GridPtr> grid(module, "Grid");
    grid.def_property_readonly("name", number([](const Velorix& g) { return name_of(g.name); }));
    grid.def_property_readonly("model", number([](const Velorix& g) { return name_of(g.model); }));
    grid.def_property_readonly("method",
                               number([](const Velorix& g) { return name_of(g.method); }));
    grid.def_property_readonly("type", number(type_name));
    grid.def_property_readonly("regular", number(is_regular));
    grid.def_property_readonly("size", number([](const Velorix& g) { return g.size; }));
    grid.def_property_readonly("mesh", number([](const Velorix& g) {
                                   return py::dict(
                                       py::arg("lat") = g.latr, py::arg("lon") = g.lonr,
                                       py::arg("strike") = g.strike, py::arg("xmin") = g.xmin,
                                       py::arg("xmax") = g.xmax, py::arg("ymin") = g.ymin,
                                       py::arg("ymax") = g.ymax);
                               }));
    grid.def_property_readonly("number_of_nodes", number([](const Velorix& g) { return g.nn; }));
    grid.def_property_readonly(
        "stations", [](const GridPtr& g) { return view(g, (**g).stations, Shape{(**g).ns}); });
    grid.def_property_readonly(
        "depths", [](const GridPtr& g) { return view(g, (**g).depths, Shape{(**g).nd}); });
    grid.def_property_readonly(
        "sources", [](const GridPtr& g) { return view(g, (**g).sources, positions(**g)); });
    grid.def_property_readonly(
        "p_times", [](const GridPtr& g) { return view(g, (**g).P_times, times_shape(**g)); });
    grid.def_property_readonly(
        "s_times", [](const GridPtr& g) { return view(g, (**g).S_times, times_shape(**g)); });
    grid.def_property_readonly("distances", distances);
    grid.def_property_readonly("offsets", offsets);
    grid.def_property_readonly("heap", heap);
    grid.def(
        "times",
        [](const GridPtr& g, int32_t station, int32_t ix, int32_t iy, int32_t id) {
            return times(**g, station, ix, iy, id);
        },
        py::arg("station"), py::arg("ix"), py::arg("iy") = 0, py::arg("id") = 0);
    grid.def("check", [](const GridPtr& g) { check(**g); });
    module.def("grid_names", grid_names);
    module.def("read", read);
    module.def("build", build);
}

}  // namespace velorix::python
