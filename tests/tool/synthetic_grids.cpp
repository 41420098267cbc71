#include "synthetic_grids.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

#include "velorix.h"

namespace velorix_test {
namespace {

template <class T>
T* marker() {
    return reinterpret_cast<T*>(1);
}

/// A record and what it points to until it is packed.
struct Layout {
    Velorix grid{};
    std::vector<Station> stations{{0, 30, 0.5, "AAA", 0, 0}, {0, -60, -0.25, "B", 1, 0}};
    std::vector<Source> sources;
    std::vector<double> depths;
};

Layout general_mesh(const std::string& name, std::vector<Source> sources) {
    Layout layout;
    Velorix& grid = layout.grid;
    grid.mode = VELORIX_MODE_GENERAL;
    grid.type = VELORIX_TYPE_3D;
    grid.nn = static_cast<int32_t>(sources.size());
    grid.nh = grid.nn;
    grid.ttsize = grid.nn * 2 * 4;
    grid.P_times = marker<float>();
    for (double* unset : {&grid.strike, &grid.xmin, &grid.xmax, &grid.ymin, &grid.ymax}) {
        *unset = -999.0;
    }
    std::memcpy(grid.name, name.data(), name.size());
    layout.sources = std::move(sources);
    layout.depths = {0.0};
    return layout;
}

Layout distance_table() {
    Layout layout = general_mesh("table", {{-10, 179, 0}, {-10, -179, 0}});
    Velorix& grid = layout.grid;
    grid.mode = VELORIX_MODE_REGULAR;
    grid.type = VELORIX_TYPE_1D;
    grid.nx = 2;
    grid.ny = 1;
    grid.nn = 4;
    grid.ndist = 3;
    grid.dssize = 3 * 4;
    grid.ttsize = 3 * 2 * 4;
    grid.ttosize = 2 * 2 * 2;
    grid.S_times = marker<float>();
    grid.distances = marker<float>();
    grid.ttoffsets = marker<uint16_t>();
    grid.latr = -10;
    grid.lonr = 180;
    grid.strike = 90;
    grid.xmin = -1;
    grid.xmax = 1;
    grid.ymin = grid.ymax = 0;
    layout.depths = {0, 33.5};
    return layout;
}

void fill_tables(const Velorix& grid) {
    const bool table = grid.type == VELORIX_TYPE_1D;
    for (int32_t k = 0; k < grid.ttsize / 4; ++k) {
        const int row = k / 2 * 100 + k % 2;
        grid.P_times[k] =
            table ? 10.0F * static_cast<float>(k + 1) : static_cast<float>(row) + 0.5F;
        if (grid.S_times) grid.S_times[k] = 2 * grid.P_times[k];
    }
    for (int32_t k = 0; table && k < grid.ndist; ++k) grid.distances[k] = static_cast<float>(k);
    const uint16_t offsets[] = {0, 1, 2, 0};
    if (table) std::memcpy(grid.ttoffsets, offsets, sizeof offsets);
}

std::string heap(Layout layout) {
    Velorix& grid = layout.grid;
    grid.magic = VELORIX_MAGIC;
    std::strcpy(grid.method, "tttaup");
    std::strcpy(grid.model, "iasp91");
    grid.ns = static_cast<int32_t>(layout.stations.size());
    grid.nd = static_cast<int32_t>(layout.depths.size());
    grid.stsize = grid.ns * static_cast<int32_t>(sizeof(Station));
    grid.dpsize = grid.nd * static_cast<int32_t>(sizeof(double));
    grid.srsize = grid.nh * static_cast<int32_t>(sizeof(Source));
    grid.stations = layout.stations.data();
    grid.depths = layout.depths.data();
    grid.sources = layout.sources.data();
    char* packed = nullptr;
    int32_t nbytes = 0;
    int32_t capacity = 0;
    if (velorix_create_heap(&grid, &packed, &nbytes, &capacity) < 0) {
        throw std::runtime_error("cannot pack a synthetic grid");
    }
    const std::unique_ptr<char, void (*)(void*)> owner(packed, std::free);
    fill_tables(grid);
    return {packed, static_cast<size_t>(nbytes)};
}

/// 64 bytes and no terminator.
std::string odd_name() {
    std::string name = "say \"hi\",\n\x01 \xC3\xA9 \xFF\xC3 \xED\xA0\x80 back\\slash ";
    return name + std::string(VELORIX_NAME_SIZE - name.size(), 'x');
}

}  // namespace

std::string synthetic_grids(const std::string& kind) {
    if (kind == "empty") return heap(general_mesh("empty", {}));
    if (kind == "odd") return heap(general_mesh(odd_name(), {{0, 0, 10}}));
    return heap(general_mesh("list, of points", {{0, 0, 10}, {45, 90, 600}})) +
           heap(distance_table());
}

}  // namespace velorix_test
