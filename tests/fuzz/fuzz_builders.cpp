// The parameters of one grid: every builder, packing, and reading back what was packed.
#include <cstdlib>
#include <iterator>
#include <string>

#include "fuzz.h"
#include "velorix.h"

namespace {

using velorix_fuzz::require;

// Keeps a fuzzer from spending its time on large grids.
constexpr int kMostNodes = 5000;

bool small(Pf* pf) {
    long nodes = 1;
    for (const char* key : {"nx", "ny"}) {
        int count = 1;
        if (parse_param(pf, key, PF_INT, 0, &count) == 1 && count > 0) nodes *= count;
        if (nodes > kMostNodes) return false;
    }
    return true;
}

void set_stations(Velorix& grid) {
    constexpr Station stations[] = {{40.0, 25.0, 0.1, "AAA", 0, 0},
                                    {-89.9, -179.9, 0.0, "BBB", 1, 0},
                                    {0.0, 0.0, 3.0, "CCC", 2, 0}};
    grid.ns = static_cast<int32_t>(std::size(stations));
    grid.stsize = static_cast<int32_t>(sizeof stations);
    grid.stations = static_cast<Station*>(std::malloc(sizeof stations));
    grid.sta_arr = newarr(nullptr);
    for (int i = 0; i < grid.ns; ++i) {
        grid.stations[i] = stations[i];
        setarr(grid.sta_arr, stations[i].sta, &grid.stations[i]);
    }
}

using Builder = int (*)(Velorix*, const char*, Pf*);
int from_array(Velorix* grid, const char* name, Pf* pf) {
    constexpr Source sources[] = {{1.0, 2.0, 3.0}, {-90.0, 180.0, 700.0}};
    return velorix_setup_fromsourcearray_grid(grid, name, 2, sources, pf);
}

void build(Builder builder, Pf* pf) {
    const velorix_fuzz::Lines lines;
    Velorix* grid = velorix_new();
    set_stations(*grid);
    char* heap = nullptr;
    int32_t bytes = 0, capacity = 0;
    if (builder(grid, "g", pf) != 0) {
        require(lines.number() > 0);
    } else if (velorix_create_heap(grid, &heap, &bytes, &capacity) < 0) {
        require(lines.number() > 0);
    } else {
        Tbl* read = nullptr;
        require(velorix_read_buffer(heap, static_cast<uint64_t>(bytes), "heap", &read) == 1);
        freetbl(read, velorix_release);
    }
    velorix_free(grid);
    std::free(heap);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const velorix_fuzz::Lines lines;
    const std::string text(velorix_fuzz::text_of(data, size));
    Pf* pf = nullptr;
    if (pfparse(text.c_str(), "input", &pf) != 0) return 0;
    if (small(pf)) {
        for (const Builder builder : {velorix_setup_edp_grid, velorix_setup_slowness_grid,
                                      velorix_setup_readfromfile_grid, from_array})
            build(builder, pf);
    }
    pffree(pf);
    return 0;
}
