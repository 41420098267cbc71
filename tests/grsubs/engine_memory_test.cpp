// Every allocation of an event's way through the engine fails once: the call says so, nothing
// leaks, and the next try finds everything usable.
#include <gtest/gtest.h>

#include <span>

#include "support/fail_each_allocation.h"
#include "support/parameters.h"
#include "support/tiny_grid.h"

namespace velorix_test {
namespace {

constexpr const char* kParameters = R"(
closest_stations = 6
phase_sifter = "P|S"
station_weights = ["S0. 1 1 2 3", "S1. 0.5 0.5 2 3 4 5"]
p_weights = ["0 1", "180 0.5"]
s_weights = ["0 1", "180 0.5"]
nsta_thresh = ["1.0 4", "2.0 5"]
sta_defining_arr = ["S00", "S01", "S02", "S03"]
drop_if_in_grid = ["other"]
use_swt = true
)";

TEST(EngineMemory, SearchParameters) {
    TinyGrid grid(ring_of_stations(8));
    walk("velorix_new_search", [&] {
        const Search made(grid.grid);
        return made.sp != nullptr;
    });
    const auto pf = parameters(kParameters);
    const Search search(grid.grid);
    walk("velorix_search_from_pf",
         [&] { return velorix_search_from_pf(search.sp, pf.get()) == 0; });
    EXPECT_EQ(search->nstation_weights, 2);
    walk("velorix_show_search", [&] {
        char* text = velorix_show_search(search.sp, nullptr);
        const bool made = text != nullptr;
        free(text);
        return made;
    });
}

TEST(EngineMemory, PickLines) {
    const auto pf = parameters("arrivals = ['S00 BHZ P 1e9 5', 'S01 BHZ S 1000000003 5']");
    Picks picks;
    walk("velorix_fill_plist", [&] {
        freetbl(picks.list, free);
        return velorix_fill_plist(pf.get(), &picks.list, 0) == 0;
    });
    EXPECT_EQ(picks.size(), 2);
    walk("velorix_fill_staobs", [&] {
        velorix_free_staobs_arr(picks.map);
        picks.map = nullptr;
        return velorix_fill_staobs_tbl(picks.list, &picks.map, 0, 0) == 0;
    });
    EXPECT_EQ(maxarr(picks.map), 2);
}

TEST(EngineMemory, ScanAndResult) {
    TinyGrid grid(ring_of_stations(8), {.depths = {5.0, 15.0}});
    Picks picks;
    for (const Station& station : std::span(grid.grid.stations, 8)) {
        const double delta = flat_distance(0.2, 0.3, station.lat, station.lon);
        picks.add(station.sta, "BHZ", "P", 1e9 + ray_time(delta, 5.0, 6.0));
        picks.add(station.sta, "BHN", "S", 1e9 + ray_time(delta, 5.0, 3.5));
    }
    const auto pf = parameters(kParameters);
    Arr* grids = newarr(nullptr);
    GridResults* result = nullptr;
    double score = 0.0;
    walk("", [&] {  // said by whichever part of it failed
        // A scan's scratch stays with its parameters: each try starts without.
        const Search search(grid.grid);
        velorix_free_staobs_arr(picks.map);
        picks.map = nullptr;
        const bool ready = search.sp && velorix_search_from_pf(search.sp, pf.get()) == 0 &&
                           velorix_setup_search(search.sp) == 0;
        if (!ready || picks.set_up(*search.sp) != 8) return false;
        const Scan found(*search.sp, picks.stao_tbl);
        if (found.result != 0) return false;
        score = found.ncluster;
        if (setarr(grids, "tiny", search.sp) != 0) {
            elog_log(0, "velorix: setarr\n");
            return false;
        }
        velorix_free_result(result);
        result = nullptr;
        return velorix_make_result(grids, "tiny", picks.stao_tbl, picks.list, found.std,
                                   found.stduw, found.ncluster, found.ix, found.iy, found.id,
                                   found.time, found.lat, found.lon, found.depth, &result) == 0;
    });
    EXPECT_GT(score, 8.0);  // P and S of the four defining stations
    ASSERT_NE(result, nullptr);
    velorix_free_result(result);
    freearr(grids, nullptr);
}

}  // namespace
}  // namespace velorix_test
