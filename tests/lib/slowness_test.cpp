// The slowness grid: rings of nodes where the slowness mesh says.
#include <algorithm>
#include <cmath>

#include "laid_out_grid.h"
#include "platform/ttcalc/ttcalc.h"
#include "slow2d.h"
#include "velorix_pvt.h"

namespace {

using namespace velorix_test;
using velorix::reset_slowness_table;

GridPtr two_stations() { return grid_with_stations({{"A", 1.0, 2.0, 0.5}, {"B", -30.0, 140.0}}); }

int set_up(Velorix& grid, const Keys& changes = {}) {
    const PfPtr pf = changed(mesh_keys("0.05", {"depth", "10.0"}), changes);
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
    const Keys bounds{{"minslow", "0.042"},
                      {"maxslow", "0.075"},
                      {"nx", "21"},
                      {"ny", "16"},
                      {"refsta", "'REF'"}};
    ASSERT_EQ(set_up(*grid, bounds), 0);
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

TEST(SlownessGrid, IsComputedAndReadAsAGeneralMesh) {
    const GridPtr grid = two_stations();
    ASSERT_EQ(set_up(*grid, {{"compute_distances", "true"}, {"nx", "1"}, {"ny", "2"}}), 0);
    EXPECT_EQ(grid->mode, VELORIX_MODE_GENERAL);
    EXPECT_EQ(grid->depths[0], 10.0);
    EXPECT_EQ(grid->xmin, -0.05);
    EXPECT_EQ(grid->ymax, 0.05);
    EXPECT_TRUE(grid->P_times && !grid->S_times && grid->distances && !grid->ttoffsets);
    EXPECT_NEAR(seen_from(0.0, 0.0, grid->sources[0]).azimuth, -135.0, 1e-6)
        << "a single column stands at xmin";
    Heap heap;
    compute(*grid, heap);
    expect_readable(heap);
    EXPECT_GT(grid->P_times[0], 100.0f);
    EXPECT_NEAR(grid->distances[1], seen_from(-30.0, 140.0, grid->sources[0]).distance, 1e-4);
}

TEST(SlownessGrid, KeepsBothBoundsAndDropsWhatHasNoDistance) {
    const std::pair<Keys, int> cases[] = {
        {{{"minslow", "0.05"}, {"maxslow", "0.05"}}, 4},
        {{{"maxslow", "0.01"}}, 1},
        {{{"nx", "2"}, {"xmin", "0.03"}, {"ny", "1"}, {"ymin", "0"}}, 1}};  // the other in a gap
    for (const auto& [changes, nodes] : cases) {
        const GridPtr grid = two_stations();
        ASSERT_EQ(set_up(*grid, changes), 0) << nodes;
        EXPECT_EQ(grid->nn, nodes);
    }
}

TEST(SlownessGrid, TakesAnInfiniteBoundForNone) {
    const GridPtr grid = two_stations();
    ASSERT_EQ(set_up(*grid, {{"minslow", "-inf"}, {"maxslow", "inf"}}), 0);
    EXPECT_EQ(grid->nn, 9);
}

// All grids of a process are placed by the table of the first.
TEST(SlownessGrid, ComplainsOfATableOfAnotherModelOrDepth) {
    reset_slowness_table();
    const auto complaint_of = [](const Keys& changes) {
        const GridPtr grid = two_stations();
        const LogCapture log;
        EXPECT_EQ(set_up(*grid, changes), 0);
        return log.text();
    };
    EXPECT_EQ(complaint_of({}), "");
    EXPECT_EQ(complaint_of({}), "");
    for (const Keys& changes : {Keys{{"model", "'ak135'"}}, Keys{{"depth", "33"}}}) {
        const std::string text = complaint_of(changes);
        EXPECT_NE(text.find("is placed by the slownesses of model iasp91 at 10 km"), text.npos);
    }
}

// Keys that are missing or of another kind are refused in the cases of the tool.
TEST(SlownessGrid, RefusesWhatCannotBeLaidOut) {
    const auto leaves_no_nodes = [](Velorix& grid, const Keys& changes) {
        const int result = set_up(grid, changes);
        EXPECT_EQ(grid.sources, nullptr);
        return result;
    };
    expect_refused("velorix_setup_slowness_grid: ", leaves_no_nodes,
                   {{{{"nx", "0"}}, "No grid nodes to process."},
                    {{{"compute_P", "false"}}, "Must compute P or S times."},
                    {{{"nx", "-5"}, {"ny", "-5"}}, "No grid nodes to process."},
                    {{{"minslow", "0.07"}, {"maxslow", "0.05"}}, "No grid nodes to process."},
                    {{{"xmin", "5"}, {"xmax", "6"}}, "No grid nodes to process."},
                    {{{"xmax", "nan"}}, "xmax must be finite (nan)."},
                    {{{"maxslow", "nan"}}, "maxslow must be a number (nan)."},
                    {{{"depth", "inf"}}, "depth must be finite (inf)."},
                    {{{"latr", "-91"}}, "latr must be between -90 and 90 (-91)."},
                    {{{"nx", "2147483647"}, {"ny", "2147483647"}},
                     "2147483647 x 2147483647 mesh points exceed the limit of 89478485."}});
}

}  // namespace
