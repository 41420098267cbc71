#ifndef VELORIX_TESTS_LIB_LAID_OUT_GRID_H
#define VELORIX_TESTS_LIB_LAID_OUT_GRID_H
// Grids with hand-made stations, laid out by a builder from parameters given as text.
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <stdexcept>

#include "support/parameters.h"

namespace velorix_test {

struct TestStation {
    const char* sta;
    double lat;
    double lon;
    double elev = 0.0;
};

inline GridPtr grid_with_stations(std::initializer_list<TestStation> list) {
    GridPtr grid(velorix_new());
    grid->ns = static_cast<int32_t>(list.size());
    grid->stsize = grid->ns * static_cast<int32_t>(sizeof(Station));
    grid->stations = static_cast<Station*>(std::calloc(list.size(), sizeof(Station)));
    grid->sta_arr = newarr(nullptr);
    int32_t index = 0;
    for (const TestStation& from : list) {
        Station& station = grid->stations[index];
        station = Station{from.lat, from.lon, from.elev, {}, index, 0};
        std::strncpy(station.sta, from.sta, sizeof station.sta - 1);
        setarr(grid->sta_arr, station.sta, &station);
        ++index;
    }
    return grid;
}

/// Packs a grid and fills its tables; throws when either fails.
inline void compute(Velorix& grid, Heap& heap) {
    if (heap.pack(&grid) < 0 || velorix_compute_travel_times(&grid, nullptr) < 0)
        throw std::runtime_error("no times");
}

}  // namespace velorix_test
#endif
