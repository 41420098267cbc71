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
)";

class EngineMemory : public testing::Test {
  protected:
    EngineMemory() : grid_(ring_of_stations(8), {.depths = {5.0, 15.0}}) {
        for (const Station& station : std::span(grid_.grid.stations, 8)) {
            const double delta = flat_distance(0.2, 0.3, station.lat, station.lon);
            picks_.add(station.sta, "BHZ", "P", 1e9 + ray_time(delta, 5.0, 6.0));
            picks_.add(station.sta, "BHN", "S", 1e9 + ray_time(delta, 5.0, 3.5));
        }
    }

    TinyGrid grid_;
    Picks picks_;
};

TEST_F(EngineMemory, SearchParameters) {
    walk("velorix_new_search", [&] {
        const Search made(grid_.grid);
        return made.sp != nullptr;
    });
    const auto pf = parameters(kParameters);
    const Search search(grid_.grid);
    walk("velorix_search_from_pf",
         [&] { return velorix_search_from_pf(search.sp, pf.get()) == 0; });
    EXPECT_EQ(search->nstation_weights, 2);
    walk("velorix_setup_search", [&] {
        const Search fresh(grid_.grid);
        if (!fresh.sp) {
            elog_log(0, "velorix_setup_search: no parameters\n");
            return false;
        }
        return velorix_setup_search(fresh.sp) == 0;
    });
}

TEST_F(EngineMemory, PickLines) {
    const auto pf = parameters("arrivals = ['S00 BHZ P 1e9 5', 'S01 BHZ S 1000000003 5']");
    Tbl* picks = nullptr;
    walk("velorix_fill_plist", [&] {
        freetbl(picks, free);
        picks = nullptr;
        return velorix_fill_plist(pf.get(), &picks, 0) == 0;
    });
    EXPECT_EQ(maxtbl(picks), 2);
    freetbl(picks, free);
}

TEST_F(EngineMemory, StationMaps) {
    Arr* map = nullptr;
    walk("velorix_fill_staobs", [&] {
        velorix_free_staobs_arr(map);
        map = nullptr;
        return velorix_fill_staobs_tbl(picks_.list, &map, 0, 0) == 0;
    });
    EXPECT_EQ(maxarr(map), 8);
    const Search search(grid_.grid);
    const auto pf = parameters(kParameters);
    ASSERT_EQ(velorix_search_from_pf(search.sp, pf.get()), 0);
    ASSERT_EQ(velorix_setup_search(search.sp), 0);
    Tbl* stations = nullptr;
    walk("", [&] {  // said by whichever part of it failed
        freetbl(stations, nullptr);
        stations = nullptr;
        return velorix_setup_staobs(map, search.sp, &stations) == 8;
    });
    freetbl(stations, nullptr);
    velorix_free_staobs_arr(map);
}

TEST_F(EngineMemory, ScanAndResult) {
    Arr* grids = newarr(nullptr);
    GridResults* result = nullptr;
    double score = 0.0;
    walk("", [&] {
        // A scan's scratch stays with its parameters: each try starts without.
        const Search search(grid_.grid);
        velorix_free_staobs_arr(picks_.map);
        picks_.map = nullptr;
        const bool ready = search.sp && velorix_setup_search(search.sp) == 0;
        if (!ready || picks_.set_up(*search.sp) != 8) return false;
        const Scan found(*search.sp, picks_.stao_tbl);
        if (found.result != 0) return false;
        score = found.ncluster;
        if (setarr(grids, "tiny", search.sp) != 0) {
            elog_log(0, "velorix: setarr\n");
            return false;
        }
        velorix_free_result(result);
        result = nullptr;
        return velorix_make_result(grids, "tiny", picks_.stao_tbl, picks_.list, found.std,
                                   found.stduw, found.ncluster, found.ix, found.iy, found.id,
                                   found.time, found.lat, found.lon, found.depth, &result) == 0;
    });
    EXPECT_GT(score, 16.0);
    ASSERT_NE(result, nullptr);
    velorix_free_result(result);
    freearr(grids, nullptr);
}

}  // namespace
}  // namespace velorix_test
