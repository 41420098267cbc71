// The slowness grid: rings of nodes where the slowness mesh says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "laid_out_grid.h"
#include "platform/ttcalc/ttcalc.h"
#include "slow2d.h"
#include "support/log_capture.h"
#include "velorix_pvt.h"

namespace {

using namespace velorix_test;
using Keys = std::map<std::string, std::string>;

std::string text(const Keys& changes = {}) {
    Keys keys{{"latr", "0.0"},
              {"lonr", "0.0"},
              {"nx", "3"},
              {"ny", "3"},
              {"xmin", "-0.05"},
              {"xmax", "0.05"},
              {"ymin", "-0.05"},
              {"ymax", "0.05"},
              {"depth", "10.0"},
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

GridPtr two_stations() { return grid_with_stations({{"A", 1.0, 2.0, 0.5}, {"B", -30.0, 140.0}}); }

int set_up(Velorix& grid, const Keys& changes = {}) {
    const PfPtr pf = parameters(text(changes));
    return velorix_setup_slowness_grid(&grid, "ring", pf.get());
}

struct Place {
    double distance;
    double azimuth;  // degrees clockwise from north
};

Place seen_from(double lat, double lon, const Source& node) {
    double east = 0.0;
    double north = 0.0;
    latlon2xydel(lat, lon, node.lat, node.lon, &east, &north);
    return {std::hypot(east, north), std::atan2(east, north) * 57.29577951308232};
}

// Azimuth is the mesh's angle from its x axis: x leads north, y leads east.
TEST(SlownessGrid, PlacesNodesByTheAngleOfTheMeshPoint) {
    const GridPtr grid = two_stations();
    ASSERT_EQ(set_up(*grid), 0);
    ASSERT_EQ(grid->nn, 9);
    const double azimuths[] = {-135.0, -90.0, -45.0, 180.0, 0.0, 0.0, 135.0, 90.0, 45.0};
    for (int k = 0; k < 9; ++k) {
        const Place place = seen_from(0.0, 0.0, grid->sources[k]);
        EXPECT_EQ(grid->sources[k].depth, 10.0);
        if (k == 4) {
            EXPECT_NEAR(place.distance, 180.0, 0.01) << "slowness 0";
        } else {
            EXPECT_NEAR(std::remainder(place.azimuth - azimuths[k], 360.0), 0.0, 1e-6) << k;
        }
    }
}

TEST(SlownessGrid, NodesLieWhereTheFirstPHasTheSlownessOfTheMeshPoint) {
    const GridPtr grid = grid_with_stations({{"REF", 64.0, 179.5}});
    ASSERT_EQ(set_up(*grid, {{"refsta", "\"REF\""},
                             {"nx", "21"},
                             {"ny", "16"},
                             {"minslow", "0.042"},
                             {"maxslow", "0.075"}}),
              0);
    ASSERT_GT(grid->nn, 100);
    double d[] = {180.0, 0.0};
    Tbl* slows = nullptr;
    Hook* state = nullptr;
    for (int k = 0; k < grid->nn; ++k) {
        const Source& node = grid->sources[k];
        ASSERT_TRUE(node.lon > -180.0 && node.lon <= 180.0);
        const Place place = seen_from(64.0, 179.5, node);
        const TTGeometry geometry{{0.0, 0.0, 10.0, 0.0, ""}, {0.0, place.distance, 0.0, 0.0, ""}};
        ASSERT_GT(ucalc("tttaup", "iasp91", "P", 0, &geometry, &slows, &state), 0);
        const double first = static_cast<const TTSlow*>(gettbl(slows, 0))->ux;
        EXPECT_TRUE(first > 0.0418 && first < 0.0752) << first << " at " << place.distance;
        d[0] = std::min(d[0], place.distance);
        d[1] = std::max(d[1], place.distance);
    }
    freehook(&state);
    EXPECT_TRUE(d[0] > 20.0 && d[1] < 100.0) << d[0] << " to " << d[1];
}

TEST(SlownessGrid, FillsTheRecord) {
    const GridPtr grid = two_stations();
    ASSERT_EQ(set_up(*grid, {{"compute_distances", "true"}, {"nx", "1"}, {"ny", "2"}}), 0);
    EXPECT_EQ(grid->mode, VELORIX_MODE_GENERAL);
    EXPECT_EQ(grid->type, VELORIX_TYPE_3D);
    EXPECT_EQ(grid->nx, 0);
    EXPECT_EQ(grid->ny, 0);
    EXPECT_EQ(grid->nd, 1);
    EXPECT_EQ(grid->nn, 2);
    EXPECT_EQ(grid->nh, 2);
    EXPECT_EQ(grid->depths[0], 10.0);
    EXPECT_EQ(grid->dpsize, 8);
    EXPECT_EQ(grid->srsize, 48);
    EXPECT_EQ(grid->ttsize, 2 * 2 * 4);
    EXPECT_EQ(grid->dssize, grid->ttsize);
    EXPECT_EQ(grid->xmin, -0.05);
    EXPECT_EQ(grid->ymax, 0.05);
    EXPECT_EQ(grid->strike, -999.0);
    EXPECT_TRUE(grid->P_times && !grid->S_times && grid->distances && !grid->ttoffsets);
    EXPECT_STREQ(grid->name, "ring");
    EXPECT_STREQ(grid->model, "iasp91");
    const Place first = seen_from(0.0, 0.0, grid->sources[0]);
    EXPECT_NEAR(first.azimuth, -135.0, 1e-6) << "a single column stands at xmin";
    Heap heap;
    compute(*grid, heap);
    EXPECT_GT(grid->P_times[0], 100.0f);
    EXPECT_NEAR(grid->distances[1], seen_from(-30.0, 140.0, grid->sources[0]).distance, 1e-4);
}

TEST(SlownessGrid, KeepsBothBoundsAndDropsWhatHasNoDistance) {
    const struct {
        const char* name;
        Keys keys;
        int nodes;
    } cases[] = {
        {"both bounds", {{"minslow", "0.05"}, {"maxslow", "0.05"}}, 4},
        {"the middle", {{"maxslow", "0.01"}}, 1},
        {"a gap is dropped", {{"nx", "2"}, {"xmin", "0.03"}, {"ny", "1"}, {"ymin", "0"}}, 1}};
    for (const auto& c : cases) {
        const GridPtr grid = two_stations();
        ASSERT_EQ(set_up(*grid, c.keys), 0) << c.name;
        EXPECT_EQ(grid->nn, c.nodes) << c.name;
    }
}

// Later grids of a run are converted with the table of the first, at their own depth.
TEST(SlownessGrid, LaterGridsShareTheConversion) {
    const GridPtr first = two_stations();
    const GridPtr second = two_stations();
    ASSERT_EQ(set_up(*first), 0);
    ASSERT_EQ(set_up(*second, {{"model", "\"prem\""}, {"depth", "300"}}), 0);
    ASSERT_EQ(first->nn, second->nn);
    for (int k = 0; k < first->nn; ++k) {
        EXPECT_EQ(first->sources[k].lat, second->sources[k].lat);
        EXPECT_EQ(second->sources[k].depth, 300.0);
    }
    EXPECT_STREQ(second->model, "prem");
}

struct Refusal {
    const char* name;
    Keys keys;
    std::string message;  // the last line logged
};

class SlownessRefusals : public testing::TestWithParam<Refusal> {};

TEST_P(SlownessRefusals, LogTheirReason) {
    const GridPtr grid = two_stations();
    const LogCapture log;
    EXPECT_EQ(set_up(*grid, GetParam().keys), -1);
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log.lines().back().message, GetParam().message + "\n");
    EXPECT_EQ(log.lines().back().flag, 0);
    EXPECT_EQ(grid->sources, nullptr);
}

constexpr const char* kNoNodes = "velorix_setup_slowness_grid: No grid nodes to process.";
constexpr const char* kBadParam = "velorix_setup_slowness_grid: parse_param() error.";

INSTANTIATE_TEST_SUITE_P(
    Keys, SlownessRefusals,
    testing::Values(
        Refusal{"unknown_refsta",
                {{"refsta", "\"X\""}, {"nx", ""}},
                "velorix_setup_slowness_grid: Cannot find coordinates for X."},
        Refusal{"latr", {{"latr", ""}}, "velorix_setup_slowness_grid: parse_param(latr) error."},
        Refusal{"lonr", {{"lonr", ""}}, "velorix_setup_slowness_grid: parse_param(lonr) error."},
        Refusal{"nx", {{"nx", ""}, {"xmin", ""}}, kBadParam},
        Refusal{"ymin", {{"ymin", ""}}, "velorix_setup_slowness_grid: parse_param(ymin) error."},
        Refusal{"depth", {{"depth", ""}}, kBadParam}, Refusal{"model", {{"model", ""}}, kBadParam},
        Refusal{"maxslow", {{"maxslow", "\"x\""}}, kBadParam},
        Refusal{"P", {{"compute_P", "\"x\""}}, kBadParam},
        Refusal{"distances", {{"compute_distances", "\"x\""}}, kBadParam},
        Refusal{"no_columns", {{"nx", "0"}}, kNoNodes},
        Refusal{"negative", {{"nx", "-5"}, {"ny", "-5"}}, kNoNodes},
        Refusal{"crossed_bounds", {{"minslow", "0.07"}, {"maxslow", "0.05"}}, kNoNodes},
        Refusal{"nothing_that_slow", {{"xmin", "5"}, {"xmax", "6"}, {"compute_P", ""}}, kNoNodes},
        Refusal{"neither",
                {{"compute_P", ""}},
                "velorix_setup_slowness_grid: Must compute P or S times."},
        Refusal{
            "nan", {{"xmax", "nan"}}, "velorix_setup_slowness_grid: xmax must be finite (nan)."},
        Refusal{"latitude",
                {{"latr", "-91"}},
                "velorix_setup_slowness_grid: latr must be between -90 and 90 (-91)."},
        Refusal{"mesh",
                {{"nx", "2147483647"}, {"ny", "2147483647"}},
                "velorix_setup_slowness_grid: 2147483647 x 2147483647 mesh points exceed the limit "
                "of 89478485."}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(SlownessGrid, PassesOnThatTheConversionFailed) {
    const GridPtr grid = two_stations();
    const LogCapture log;
    velorix::reset_slowness_table();
    EXPECT_EQ(set_up(*grid, {{"model", "\"nowhere\""}}), -1);
    EXPECT_EQ(log.messages().back(), "parse_pf: slow2d() error.\n");
}

}  // namespace
