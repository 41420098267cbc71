#include "synthetic_grids.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "support/parameters.h"
#include "support/tiny_grid.h"

namespace velorix_test {
namespace {

const std::vector<Station> kStations{{0, 30, 0.5, "AAA", 0, 0}, {0, -60, -0.25, "B", 1, 0}};

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

std::string heap(TinyGrid& tiny, const std::vector<Source>& sources) {
    Velorix& grid = tiny.grid;
    std::copy(sources.begin(), sources.end(), grid.sources);
    std::strcpy(grid.method, "tttaup");
    std::strcpy(grid.model, "iasp91");
    grid.stsize = grid.ns * static_cast<int32_t>(sizeof(Station));
    grid.dpsize = grid.nd * static_cast<int32_t>(sizeof(double));
    grid.srsize = grid.nh * static_cast<int32_t>(sizeof(Source));
    Heap packed;
    if (packed.pack(&grid) < 0) throw std::runtime_error("cannot pack a synthetic grid");
    fill_tables(grid);
    return packed.text();
}

std::string general_mesh(const std::string& name, const std::vector<Source>& sources) {
    TinyGrid tiny(kStations, {.mode = VELORIX_MODE_GENERAL,
                              .nx = static_cast<int>(sources.size()),
                              .ny = 1,
                              .depths = {0.0},
                              .s_times = false,
                              .distances = false,
                              .name = name});
    Velorix& grid = tiny.grid;
    grid.ttsize = grid.nn * 2 * 4;
    float present = 0.0F;
    grid.P_times = &present;  // without nodes there is a table without entries
    for (double* unset : {&grid.strike, &grid.xmin, &grid.xmax, &grid.ymin, &grid.ymax}) {
        *unset = -999.0;
    }
    return heap(tiny, sources);
}

std::string distance_table() {
    TinyGrid tiny(kStations, {.type = VELORIX_TYPE_1D,
                              .nx = 2,
                              .ny = 1,
                              .depths = {0, 33.5},
                              .ndist = 3,
                              .name = "table"});
    Velorix& grid = tiny.grid;
    grid.dssize = 3 * 4;
    grid.ttsize = 3 * 2 * 4;
    grid.ttosize = 2 * 2 * 2;
    grid.latr = -10;
    grid.lonr = 180;
    grid.strike = 90;
    grid.xmin = -1;
    grid.xmax = 1;
    return heap(tiny, {{-10, 179, 0}, {-10, -179, 0}});
}

/// 64 bytes and no terminator.
std::string odd_name() {
    std::string name = "say \"hi\",\n\x01 \xC3\xA9 \xFF\xC3 \xED\xA0\x80 back\\slash ";
    return name + std::string(VELORIX_NAME_SIZE - name.size(), 'x');
}

}  // namespace

std::string synthetic_grids(const std::string& kind) {
    if (kind == "empty") return general_mesh("empty", {});
    if (kind == "odd") return general_mesh(odd_name(), {{0, 0, 10}});
    return general_mesh("list, of points", {{0, 0, 10}, {45, 90, 600}}) + distance_table();
}

}  // namespace velorix_test
