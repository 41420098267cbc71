// Grid heaps: the reader, and on what it accepts every query, and a scan of three picks.
#include <cmath>
#include <cstring>
#include <vector>

#include "fuzz.h"
#include "support/tiny_grid.h"

namespace {

using velorix_fuzz::require;

void query(const Velorix& grid) {
    char name[64];
    require(velorix_get_mode(&grid, name) == 0 && velorix_get_type(&grid, name) == 0);
    double low = -1, high = -1, s_low = -1, s_high = -1;
    velorix_get_minmax_distance(&grid, &low, &high);
    require(!(high < low));
    velorix_get_minmax_ttimes(&grid, &low, &high, &s_low, &s_high);
    velorix_project(&grid, 1.0, 2.0, &low, &high);
    velorix_inside(&grid, 1.0, 2.0);
    require(maxarr(grid.sta_arr) == grid.ns);
    const bool regular = grid.mode == VELORIX_MODE_REGULAR;
    for (int is = 0; is < grid.ns; ++is) {
        require(getarr(grid.sta_arr, grid.stations[is].sta) == &grid.stations[is]);
        for (int node = 0; node < grid.nn; ++node) {
            const int column = regular ? node % grid.nx : node;
            const int row = regular ? node / grid.nx % grid.ny : 0;
            velorix_get_ttimes(&grid, is, column, row, regular ? node / grid.nh : 0, &low, &high);
        }
    }
}

// What passes the check is what its name says.
void check(const Velorix& grid, const velorix_fuzz::Lines& lines) {
    const int before = lines.number();
    const int result = velorix_check_times(&grid);
    require(lines.number() == before + (result == 0 ? 0 : 1));
    double p_low = 0, p_high = 0, s_low = 0, s_high = 0;
    velorix_get_minmax_ttimes(&grid, &p_low, &p_high, &s_low, &s_high);
    if (result == 0 && grid.ttsize > 0) {
        require(!grid.P_times || (p_low >= 0 && p_high <= 3600));
        require(!grid.S_times || (s_low >= 0 && s_high <= 3600));
    }
}

void scan(Velorix& grid) {
    const velorix_test::Search search(grid);
    if (!search.sp || velorix_setup_search(search.sp) != 0) return;
    velorix_test::Picks picks;
    for (int is = 0; is < grid.ns && is < 3; ++is)
        picks.add(grid.stations[is].sta, "BHZ", is == 1 ? "S" : "P", 1e9 + is);
    if (picks.set_up(*search.sp) <= 0) return;
    const velorix_test::Scan found(*search.sp, picks.stao_tbl);
    GridResults* result = nullptr;
    Arr* grids = newarr(nullptr);
    setarr(grids, "g", search.sp);
    if (found.result == 0 && found.ncluster > 0) {
        velorix_make_result(grids, "g", picks.stao_tbl, picks.list, found.std, found.stduw,
                            found.ncluster, found.ix, found.iy, found.id, found.time, found.lat,
                            found.lon, found.depth, &result);
    }
    velorix_free_result(result);
    freearr(grids, nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const velorix_fuzz::Lines lines;
    std::vector<double> aligned(size / sizeof(double) + 1);
    std::memcpy(aligned.data(), data, size);
    Tbl* grids = nullptr;
    const int count = velorix_read_buffer(aligned.data(), size, "input", &grids);
    require(count == maxtbl(grids) && (count > 0) == (lines.number() == 0) ? true : count == -1);
    require((count < 0) == (grids == nullptr));
    require(std::memcmp(aligned.data(), data, size) == 0);
    for (int i = 0; i < maxtbl(grids); ++i) {
        auto* grid = static_cast<Velorix*>(gettbl(grids, i));
        query(*grid);
        check(*grid, lines);
        scan(*grid);
    }
    freetbl(grids, velorix_release);
    return 0;
}
