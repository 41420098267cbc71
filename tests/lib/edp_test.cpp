// The projected grid: its mesh, its tables, its station window, and what it refuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <vector>

#include "laid_out_grid.h"
#include "support/allocations.h"
#include "support/log_capture.h"

namespace {

using namespace velorix_test;
using Keys = std::map<std::string, std::string>;

// A 3 x 3 mesh of one degree about (0, 0), with some keys replaced or, by "", left out.
std::string text(const Keys& changes = {}) {
    Keys keys{{"latr", "0.0"},
              {"lonr", "0.0"},
              {"nx", "3"},
              {"ny", "3"},
              {"xmin", "-1.0"},
              {"xmax", "1.0"},
              {"ymin", "-1.0"},
              {"ymax", "1.0"},
              {"depths", "[5, 10.5]"},
              {"method", "\"tttaup\""},
              {"model", "\"iasp91\""},
              {"compute_P", "true"}};
    for (const auto& [key, value] : changes) keys[key] = value;
    std::string all;
    for (const auto& [key, value] : keys) {
        if (!value.empty()) all += key + " = " + value + "\n";
    }
    return all;
}

GridPtr four_stations() {
    return grid_with_stations(
        {{"A", 0.0, 0.0, 0.5}, {"B", 0.0, 1.5}, {"C", -1.0, -1.0}, {"D", 40.0, 60.0}});
}

int set_up(Velorix& grid, const Keys& changes = {}) {
    const PfPtr pf = parameters(text(changes));
    return velorix_setup_edp_grid(&grid, "grid", pf.get());
}

TEST(EdpGrid, LaysOutTheMeshWithXFastest) {
    const GridPtr grid = four_stations();
    ASSERT_EQ(set_up(*grid), 0);
    const struct {
        int k;
        double lat, lon;
    } cases[] = {{4, 0.0, 0.0}, {5, 0.0, 1.0}, {3, 0.0, -1.0}, {7, 1.0, 0.0}, {1, -1.0, 0.0}};
    for (const auto& c : cases) {
        EXPECT_NEAR(grid->sources[c.k].lat, c.lat, 1e-12) << c.k;
        EXPECT_NEAR(grid->sources[c.k].lon, c.lon, 1e-12) << c.k;
        EXPECT_EQ(grid->sources[c.k].depth, 5.0);
    }
    EXPECT_TRUE(grid->sources[0].lat < -0.9 && grid->sources[0].lon < -0.9);
    EXPECT_TRUE(grid->sources[8].lat > 0.9 && grid->sources[8].lon > 0.9);
}

TEST(EdpGrid, StrikeTurnsTheXAxis) {
    const struct {
        const char* name;
        const char* strike;
        double lat, lon;      // of the end of the middle row
        double lat_y, lon_y;  // of the end of the middle column
    } cases[] = {{"north", "0", 1.0, 0.0, 0.0, -1.0},
                 {"east", "90.0", 0.0, 1.0, 1.0, 0.0},
                 {"south", "180", -1.0, 0.0, 0.0, 1.0},
                 {"west", "-90", 0.0, -1.0, -1.0, 0.0}};
    for (const auto& c : cases) {
        const GridPtr grid = four_stations();
        ASSERT_EQ(set_up(*grid, {{"strike", c.strike}}), 0);
        EXPECT_NEAR(grid->sources[5].lat, c.lat, 1e-12) << c.name;
        EXPECT_NEAR(grid->sources[5].lon, c.lon, 1e-12) << c.name;
        EXPECT_NEAR(grid->sources[7].lat, c.lat_y, 1e-12) << c.name;
        EXPECT_NEAR(grid->sources[7].lon, c.lon_y, 1e-12) << c.name;
    }
}

TEST(EdpGrid, ASingleColumnOrRowSitsAtItsMinimum) {
    const GridPtr grid = four_stations();
    ASSERT_EQ(set_up(*grid, {{"nx", "1"}, {"ny", "1"}, {"ymin", "0"}}), 0);
    EXPECT_EQ(grid->nh, 1);
    EXPECT_NEAR(grid->sources[0].lon, -1.0, 1e-12);
    EXPECT_NEAR(grid->sources[0].lat, 0.0, 1e-12);
}

TEST(EdpGrid, FillsTheRecordOfAPairTable) {
    const GridPtr grid = four_stations();
    const Keys keys{{"compute_S", "true"}, {"compute_distances", "true"}, {"type", "\"3d\""}};
    ASSERT_EQ(set_up(*grid, keys), 0);
    EXPECT_EQ(grid->mode, VELORIX_MODE_REGULAR);
    EXPECT_EQ(grid->type, VELORIX_TYPE_3D);
    EXPECT_EQ(grid->nn, 18);
    EXPECT_EQ(grid->nh, 9);
    EXPECT_EQ(grid->nd, 2);
    EXPECT_EQ(grid->ndist, 0);
    EXPECT_EQ(grid->ttsize, 18 * 4 * 4);
    EXPECT_EQ(grid->dssize, grid->ttsize);
    EXPECT_EQ(grid->ttosize, 0);
    EXPECT_EQ(grid->srsize, 9 * 24);
    EXPECT_EQ(grid->dpsize, 16);
    EXPECT_EQ(grid->strike, 90.0);
    EXPECT_EQ(grid->xmin, -1.0);
    EXPECT_EQ(grid->ymax, 1.0);
    EXPECT_EQ(grid->depths[1], 10.5);
    EXPECT_TRUE(grid->P_times && grid->S_times && grid->distances && !grid->ttoffsets);
    EXPECT_STREQ(grid->name, "grid");
    EXPECT_STREQ(grid->method, "tttaup");
    EXPECT_STREQ(grid->model, "iasp91");
}

TEST(EdpGrid, FillsTheRecordOfADistanceTable) {
    const GridPtr grid = four_stations();
    ASSERT_EQ(set_up(*grid, {{"type", "\"1d\""}, {"ndist", "65536"}}), 0);
    EXPECT_EQ(grid->type, VELORIX_TYPE_1D);
    EXPECT_EQ(grid->ndist, 65536);
    EXPECT_EQ(grid->ttsize, 65536 * 2 * 4);
    EXPECT_EQ(grid->dssize, 65536 * 4);
    EXPECT_EQ(grid->ttosize, 4 * 9 * 2);
    EXPECT_TRUE(grid->P_times && !grid->S_times && grid->distances && grid->ttoffsets);
}

TEST(EdpGrid, TakesItsReferencePointFromAStation) {
    const GridPtr grid = four_stations();
    ASSERT_EQ(set_up(*grid, {{"refsta", "\"D\""}, {"latr", ""}, {"lonr", "\"unread\""}}), 0);
    EXPECT_EQ(grid->latr, 40.0);
    EXPECT_EQ(grid->lonr, 60.0);
    EXPECT_NEAR(grid->sources[4].lat, 40.0, 1e-12);
}

TEST(EdpGrid, ReadsTextThatIsNoDepthAsZero) {
    const GridPtr grid = four_stations();
    const char* depths = R"([" 7.5km", "surface", "+3", "-1.5", "+-2", "0x10", "1e-400"])";
    ASSERT_EQ(set_up(*grid, {{"depths", depths}}), 0);
    EXPECT_THAT(std::vector<double>(grid->depths, grid->depths + grid->nd),
                testing::ElementsAre(7.5, 0.0, 3.0, -1.5, 0.0, 16.0, 0.0));
    EXPECT_EQ(grid->sources[0].depth, 7.5);
}

struct Refusal {
    const char* name;
    Keys keys;
    std::string message;  // the last line logged
};

class EdpRefusals : public testing::TestWithParam<Refusal> {};

TEST_P(EdpRefusals, LogTheirReason) {
    const GridPtr grid = four_stations();
    const LogCapture log;
    EXPECT_EQ(set_up(*grid, GetParam().keys), -1);
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log.lines().back().message, "velorix_setup_edp_grid: " + GetParam().message + "\n");
    EXPECT_EQ(log.lines().back().flag, 0);
    EXPECT_EQ(grid->ns, 4);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, EdpRefusals,
    testing::Values(
        Refusal{"strike", {{"strike", "[1]"}, {"latr", ""}}, "parse_param(strike) error."},
        Refusal{"refsta", {{"refsta", "[1]"}}, "parse_param(refsta) error."},
        Refusal{"unknown_refsta", {{"refsta", "\"X\""}}, "Cannot find coordinates for X."},
        Refusal{"latr", {{"latr", ""}, {"lonr", ""}}, "parse_param(latr) error."},
        Refusal{"lonr", {{"lonr", "\"east\""}}, "parse_param(lonr) error."},
        Refusal{"type", {{"type", "[]"}}, "parse_param(type) error."},
        Refusal{"other_type", {{"type", "\"3D\""}}, "Unrecognized 'type' parameter (3D)."},
        Refusal{"distances", {{"compute_distances", "\"maybe\""}}, "parse_param() error."},
        Refusal{"no_ndist", {{"type", "\"1d\""}, {"nx", ""}}, "parse_param(ndist) error."},
        Refusal{"nx", {{"nx", ""}, {"ny", ""}}, "parse_param(nx) error."},
        Refusal{"ny", {{"ny", "1.5"}}, "parse_param(ny) error."},
        Refusal{"ymax", {{"ymax", ""}}, "parse_param(ymax) error."},
        Refusal{"no_depth_key", {{"depths", ""}}, "parse_param(depths) error."},
        Refusal{"method", {{"method", ""}, {"model", ""}}, "parse_param(method) error."},
        Refusal{"model", {{"model", ""}}, "parse_param(model) error."},
        Refusal{"P", {{"compute_P", "7"}}, "parse_param() error."},
        Refusal{"neither", {{"compute_P", "false"}}, "Must compute P or S times."},
        Refusal{"window", {{"pystamin", "\"low\""}}, "parse_param(pystamin) error."},
        Refusal{"zero_nx", {{"nx", "0"}}, "nx must be between 1 and 2147483647 (0)."},
        Refusal{"negative_ny", {{"ny", "-3"}}, "ny must be between 1 and 2147483647 (-3)."},
        Refusal{"no_depths", {{"depths", "[]"}}, "depths must hold at least one depth (0)."},
        Refusal{"ndist_0",
                {{"type", "\"1d\""}, {"ndist", "0"}},
                "ndist must be between 1 and 65536 (0)."},
        Refusal{"ndist_65537",
                {{"type", "\"1d\""}, {"ndist", "65537"}},
                "ndist must be between 1 and 65536 (65537)."},
        Refusal{"nan_xmin", {{"xmin", "nan"}}, "xmin must be finite (nan)."},
        Refusal{"inf_latr", {{"latr", "inf"}}, "latr must be finite (inf)."},
        Refusal{"inf_strike", {{"strike", "-inf"}}, "strike must be finite (-inf)."},
        Refusal{"nan_depth", {{"depths", "[5, nan]"}}, "depths must be finite (nan)."},
        Refusal{"nan_window", {{"pxstamax", "nan"}}, "pxstamax must be finite (nan)."},
        Refusal{"far_latr", {{"latr", "90.5"}}, "latr must be between -90 and 90 (90.5)."},
        Refusal{"far_xmax", {{"xmax", "1e200"}}, "xmax must be between -360 and 360 (1e+200)."},
        Refusal{"nodes",
                {{"nx", "50000"}, {"ny", "50000"}},
                "50000 x 50000 x 2 nodes exceed the limit of 2147483647."},
        Refusal{"huge",
                {{"nx", "2147483647"}, {"ny", "2147483647"}},
                "2147483647 x 2147483647 x 2 nodes exceed the limit of 2147483647."},
        Refusal{"positions",
                {{"nx", "10000"}, {"ny", "10000"}},
                "the position array of 2400000000 bytes exceeds the limit of 2147483647 bytes."},
        Refusal{"pairs",
                {{"nx", "10000"}, {"ny", "8000"}},
                "a travel-time table of 2560000000 bytes exceeds the limit of 2147483647 bytes."}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(EdpGrid, NeedsStationsForAReferenceStation) {
    const GridPtr grid(velorix_new());
    const LogCapture log;
    EXPECT_EQ(set_up(*grid, {{"refsta", "\"A\""}}), -1);
    EXPECT_EQ(log.text(), "velorix_setup_edp_grid: Must setup stations first.\n");
}

TEST(EdpGrid, WarnsOfKeysThatNobodyReads) {
    const GridPtr grid = four_stations();
    const LogCapture log;
    EXPECT_EQ(set_up(*grid, {{"compute_p", "true"}, {"mode", "\"edp\""}, {"time", "\"all\""}}), 0);
    ASSERT_EQ(log.count(), 1u);
    EXPECT_THAT(log.text(),
                testing::HasSubstr("'compute_p' in grid grid, did you mean 'compute_P'"));
}

std::string codes(const Velorix& grid) {
    std::string all;
    for (int i = 0; i < grid.ns; ++i) all += grid.stations[i].sta;
    return all;
}

// A stands at x = y = 50 percent of the mesh, B at x 125 y 50, C next to x 0 y 0, D far away.
TEST(StationWindow, KeepsTheStationsWithinItsBounds) {
    const struct {
        const char* name;
        Keys keys;
        const char* stay;
    } cases[] = {
        {"no keys", {}, "ABCD"},
        {"defaults by hand", {{"pxstamin", "-1e10"}, {"pystamax", "1e10"}}, "ABCD"},
        {"one bound", {{"pxstamax", "150"}}, "ABC"},
        {"both axes", {{"pxstamin", "10"}, {"pxstamax", "110"}, {"pystamin", "10"}}, "A"},
        {"only beyond", {{"pxstamin", "120"}}, "BD"},
        {"on the bound, one row", {{"ny", "1"}, {"pystamin", "0"}, {"pystamax", "0"}}, "ABCD"},
        {"nobody", {{"pxstamin", "60"}, {"pxstamax", "61"}}, ""},
        {"one column, zero excluded", {{"nx", "1"}, {"pxstamin", "1"}}, ""},
        {"one row, zero excluded", {{"ny", "1"}, {"pystamax", "-1"}}, ""},
    };
    for (const auto& c : cases) {
        const GridPtr grid = four_stations();
        const LogCapture log;
        ASSERT_EQ(set_up(*grid, c.keys), 0) << c.name;
        EXPECT_EQ(codes(*grid), c.stay) << c.name;
        EXPECT_TRUE(log.empty()) << log.text();
        EXPECT_EQ(grid->stsize, grid->ns * 48) << c.name;
        EXPECT_EQ(grid->ttsize, grid->nn * grid->ns * 4) << c.name;
        EXPECT_EQ(maxarr(grid->sta_arr), grid->ns) << c.name;
        for (int i = 0; i < grid->ns; ++i) {
            EXPECT_EQ(grid->stations[i].index, i) << c.name;
            EXPECT_EQ(getarr(grid->sta_arr, grid->stations[i].sta), &grid->stations[i]);
        }
    }
}

TEST(StationWindow, ResizesEveryTableThatCountsStations) {
    const Keys window{{"pxstamax", "150"}, {"compute_distances", "true"}};
    const GridPtr pairs = four_stations();
    ASSERT_EQ(set_up(*pairs, window), 0);
    EXPECT_EQ(pairs->dssize, 18 * 3 * 4);
    const GridPtr table = four_stations();
    ASSERT_EQ(set_up(*table, {{"pxstamax", "150"}, {"type", "\"1d\""}, {"ndist", "5"}}), 0);
    EXPECT_EQ(table->ttosize, 3 * 9 * 2);
    EXPECT_EQ(table->ttsize, 5 * 2 * 4);
}

TEST(StationWindow, AGridWithoutStationsCanBeComputedAndAsked) {
    for (const char* type : {"\"3d\"", "\"1d\""}) {
        const GridPtr grid = four_stations();
        ASSERT_EQ(set_up(*grid, {{"type", type}, {"ndist", "3"}, {"pxstamin", "1e9"}}), 0);
        Heap heap;
        compute(*grid, heap);
        EXPECT_EQ(grid->ns, 0);
        double low = 7.0;
        double high = 8.0;
        EXPECT_EQ(velorix_get_minmax_distance(grid.get(), &low, &high), 0);
        EXPECT_EQ(low, 7.0);
        EXPECT_EQ(high, 8.0);
    }
}

// The last log line, kept without allocation.
void keep_line(int, int, const char* message, void* user) {
    std::snprintf(static_cast<char*>(user), 200, "%s", message);
}

TEST(StationWindow, EveryAllocationThatFailsIsSaidAndLeavesNothingHalfMade) {
    const PfPtr pf = parameters(text({{"pxstamax", "150"}}));
    for (long n = 1;; ++n) {
        ASSERT_LT(n, 10000);
        const GridPtr grid = four_stations();
        char line[200] = "";
        elog_set_hook(keep_line, line);
        int result = 0;
        {
            const FailingAllocations failing(n);
            result = velorix_setup_edp_grid(grid.get(), "grid", pf.get());
        }
        elog_set_hook(nullptr, nullptr);
        EXPECT_EQ(maxarr(grid->sta_arr), grid->ns) << n;
        EXPECT_EQ(getarr(grid->sta_arr, "B"), &grid->stations[1]) << n;
        if (result == 0) {
            EXPECT_EQ(codes(*grid), "ABC");
            EXPECT_GT(n, 10);
            return;
        }
        EXPECT_THAT(line, testing::StartsWith("velorix_setup_edp_grid: ")) << n;
        EXPECT_EQ(grid->ns, 4) << n;
    }
}

// The distance table stands for the times themselves to within half a sample.
TEST(DistanceTable, DiffersFromPairTimesByLessThanHalfASample) {
    Keys keys{
        {"latr", "42.0"},     {"lonr", "13.0"}, {"nx", "9"},    {"ny", "8"},
        {"xmin", "-2"},       {"xmax", "2.5"},  {"ymin", "-1"}, {"depths", "[0, 12, 33, 80, 300]"},
        {"compute_S", "true"}};
    const auto stations = {TestStation{"AA", 42.3, 13.4}, TestStation{"BB", 40.1, 15.0},
                           TestStation{"CC", 44.0, 10.5}, TestStation{"DD", 30.0, -20.0},
                           TestStation{"EE", -33.0, 151.0}};
    const GridPtr pairs = grid_with_stations(stations);
    keys["compute_distances"] = "true";
    ASSERT_EQ(set_up(*pairs, keys), 0);
    Heap pair_heap;
    compute(*pairs, pair_heap);
    const GridPtr table = grid_with_stations(stations);
    keys.erase("compute_distances");
    keys["type"] = "\"1d\"";
    keys["ndist"] = "2000";
    ASSERT_EQ(set_up(*table, keys), 0);
    Heap table_heap;
    compute(*table, table_heap);

    double mind = 0.0;
    double maxd = 0.0;
    velorix_get_minmax_distance(pairs.get(), &mind, &maxd);
    EXPECT_FLOAT_EQ(table->distances[0], static_cast<float>(mind));
    EXPECT_FLOAT_EQ(table->distances[1999], static_cast<float>(maxd));
    const double half_sample = 0.5 * (maxd - mind) / 1999.0;
    for (int id = 0; id < pairs->nd; ++id) {
        for (int k = 0; k < pairs->nh; ++k) {
            for (int is = 0; is < pairs->ns; ++is) {
                const int ix = k % 9;
                const int iy = k / 9;
                double P[2];
                double S[2];
                velorix_get_ttimes(pairs.get(), is, ix, iy, id, &P[0], &S[0]);
                velorix_get_ttimes(table.get(), is, ix, iy, id, &P[1], &S[1]);
                const int sample = table->ttoffsets[k * pairs->ns + is];
                ASSERT_LT(sample, 2000);
                const double distance = pairs->distances[(id * pairs->nh + k) * pairs->ns + is];
                ASSERT_LE(std::fabs(distance - table->distances[sample]), half_sample + 1e-5);
                // The steepest slowness between the samples beside the one used; times are floats.
                const auto steepest = [&](const float* times) {
                    const int entry = id * 2000 + sample;
                    const double before = sample > 0 ? times[entry] - times[entry - 1] : 0.0;
                    const double after = sample < 1999 ? times[entry + 1] - times[entry] : 0.0;
                    return std::max(std::fabs(before), std::fabs(after));
                };
                // Half a sample of distance times the slowness is half a step of the table.
                EXPECT_LE(std::fabs(P[0] - P[1]), 0.5 * steepest(table->P_times) * 1.02 + 2e-3)
                    << distance << " degrees, depth " << pairs->depths[id];
                EXPECT_LE(std::fabs(S[0] - S[1]), 0.5 * steepest(table->S_times) * 1.02 + 4e-3)
                    << distance << " degrees, depth " << pairs->depths[id];
            }
        }
    }
}

TEST(DistanceTable, OneSampleStandsForEveryDistance) {
    const GridPtr grid = four_stations();
    ASSERT_EQ(set_up(*grid, {{"type", "\"1d\""}, {"ndist", "1"}}), 0);
    Heap heap;
    compute(*grid, heap);
    for (int k = 0; k < grid->nh * grid->ns; ++k) EXPECT_EQ(grid->ttoffsets[k], 0);
    EXPECT_NEAR(grid->distances[0], 0.0, 1e-6);
}

}  // namespace
