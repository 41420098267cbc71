// The projected grid: its mesh, its tables, its station window, and what it refuses.
#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <tuple>
#include <vector>

#include "laid_out_grid.h"

namespace {

using namespace velorix_test;

GridPtr four_stations() {
    return grid_with_stations(
        {{"A", 0.0, 0.0, 0.5}, {"B", 0.0, 1.5}, {"C", -1.0, -1.0}, {"D", 40.0, 60.0}});
}

// A 3 x 3 mesh of one degree about (0, 0), with some keys changed.
int set_up(Velorix& grid, const Keys& changes = {}) {
    const PfPtr pf = changed(mesh_keys("1", {"depths", "[5, 10.5]"}), changes);
    return velorix_setup_edp_grid(&grid, "grid", pf.get());
}

TEST(EdpGrid, StrikeTurnsTheXAxisOfAMeshWithXFastest) {
    const struct {
        const char* strike;
        double lat, lon;      // of the end of the middle row
        double lat_y, lon_y;  // of the end of the middle column
    } cases[] = {{"0", 1.0, 0.0, 0.0, -1.0},
                 {"", 0.0, 1.0, 1.0, 0.0},
                 {"180", -1.0, 0.0, 0.0, 1.0},
                 {"-90", 0.0, -1.0, -1.0, 0.0}};
    for (const auto& c : cases) {
        const GridPtr grid = four_stations();
        ASSERT_EQ(set_up(*grid, {{"strike", c.strike}}), 0);
        EXPECT_NEAR(grid->sources[4].lat, 0.0, 1e-12) << c.strike;
        EXPECT_NEAR(grid->sources[4].lon, 0.0, 1e-12) << c.strike;
        EXPECT_NEAR(grid->sources[5].lat, c.lat, 1e-12) << c.strike;
        EXPECT_NEAR(grid->sources[5].lon, c.lon, 1e-12) << c.strike;
        EXPECT_NEAR(grid->sources[7].lat, c.lat_y, 1e-12) << c.strike;
        EXPECT_NEAR(grid->sources[7].lon, c.lon_y, 1e-12) << c.strike;
    }
}

TEST(EdpGrid, ASingleColumnOrRowSitsAtItsMinimum) {
    const GridPtr grid = four_stations();
    ASSERT_EQ(set_up(*grid, {{"nx", "1"}, {"ny", "1"}, {"ymin", "0"}}), 0);
    EXPECT_EQ(grid->nh, 1);
    EXPECT_NEAR(grid->sources[0].lon, -1.0, 1e-12);
    EXPECT_NEAR(grid->sources[0].lat, 0.0, 1e-12);
}

TEST(EdpGrid, HasTheTablesAskedForOrThoseOfItsType) {
    const GridPtr pairs = four_stations();
    const Keys all{{"compute_S", "true"}, {"compute_distances", "true"}, {"type", "'3d'"}};
    ASSERT_EQ(set_up(*pairs, all), 0);
    EXPECT_EQ(pairs->ttsize, 18 * 4 * 4);
    EXPECT_TRUE(pairs->P_times && pairs->S_times && pairs->distances && !pairs->ttoffsets);
    const GridPtr table = four_stations();
    ASSERT_EQ(set_up(*table, {{"type", "'1d'"}, {"ndist", "65536"}}), 0);
    EXPECT_EQ(table->ttsize, 65536 * 2 * 4);
    EXPECT_TRUE(table->P_times && !table->S_times && table->distances && table->ttoffsets);
}

TEST(EdpGrid, TakesItsReferencePointFromAStation) {
    const GridPtr grid = four_stations();
    ASSERT_EQ(set_up(*grid, {{"refsta", "'D'"}, {"latr", ""}, {"lonr", "'unread'"}}), 0);
    EXPECT_NEAR(grid->sources[4].lat, 40.0, 1e-12);
    EXPECT_NEAR(grid->sources[4].lon, 60.0, 1e-12);
}

TEST(EdpGrid, NamesTheStationsThatABareReferenceCodeCouldBe) {
    const GridPtr grid = grid_with_stations({{"IU_ANMO", 1.0, 1.0}, {"US_ANMO", 2.0, 2.0}});
    const LogCapture log;
    EXPECT_EQ(set_up(*grid, {{"refsta", "'ANMO'"}}), -1);
    EXPECT_THAT(log.text(), testing::HasSubstr("Station ANMO stands for several, name one of: "
                                               "IU_ANMO, US_ANMO.\n"));
}

TEST(EdpGrid, ReadsTextThatIsNoDepthAsZeroAndSaysSo) {
    const GridPtr grid = four_stations();
    const char* depths = R"([" 7.5km", "surface", "+3 ", "-1.5", "+-2", "0x10", "1e-400", 2])";
    const LogCapture log;
    ASSERT_EQ(set_up(*grid, {{"depths", depths}}), 0);
    const std::string before = "velorix_setup_edp_grid: depths: '";
    EXPECT_THAT(log.messages(),
                testing::ElementsAre(before + " 7.5km' is not one number, 7.5 km is taken.\n",
                                     before + "surface' is not one number, 0 km is taken.\n",
                                     before + "+-2' is not one number, 0 km is taken.\n"));
    EXPECT_THAT(std::vector<double>(grid->depths, grid->depths + grid->nd),
                testing::ElementsAre(7.5, 0.0, 3.0, -1.5, 0.0, 16.0, 0.0, 2.0));
    EXPECT_EQ(grid->sources[0].depth, 7.5);
}

TEST(EdpGrid, TakesOneDepthForAListAndWarnsOfAListThatIsOneText) {
    for (const auto& [depths, depth, complaints] :
         {std::tuple("10", 10.0, 0u), {"2.5", 2.5, 0u}, {"'0, 3, 6, 9'", 0.0, 1u}}) {
        const GridPtr grid = four_stations();
        const LogCapture log;
        ASSERT_EQ(set_up(*grid, {{"depths", depths}}), 0);
        EXPECT_EQ(grid->nd, 1);
        EXPECT_EQ(grid->depths[0], depth);
        EXPECT_EQ(log.count(), complaints) << log.text();
    }
}

TEST(EdpGrid, WarnsWithItsCornersOfAMeshThatIsHardlyMeantSo) {
    const struct {
        const char* name;
        Keys changes;
        std::vector<const char*> words;
    } cases[] = {
        {"as it should be", {}, {}},
        {"a wide mesh over a wide network", {{"xmin", "-150"}, {"xmax", "150"}}, {}},
        {"backwards",
         {{"xmin", "1"}, {"xmax", "-1"}, {"ymin", "2"}, {"ymax", "-1"}},
         {"Grid grid: xmin 1 is above xmax -1; ymin 2 is above ymax -1; its corners are at",
          "(2.000 1.000) (2.000 -1.000) (-1.000 1.000) (-1.000 -1.000)."}},
        {"coordinates of the area",
         {{"latr", "42.7"},
          {"lonr", "13.2"},
          {"xmin", "12.5"},
          {"xmax", "14"},
          {"ymin", "42"},
          {"ymax", "43.5"}},
         {"extents are offsets from the reference point (42.7 13.2), not coordinates"}},
        {"kilometres",
         {{"xmin", "-50"}, {"xmax", "50"}, {"stations", "['A', 'B', 'C']"}},
         {"extents are degrees, not km: they reach 50 degrees from the reference point, the "
          "farthest station is at 1.50"}},
        {"latitude and longitude swapped",
         {{"latr", "-33"}, {"lonr", "70"}},
         {"its nodes are far from every station: B, the nearest, is 71 degrees away",
          "(-33.994 68.794)"}},
    };
    for (const auto& c : cases) {
        const bool near_alone = c.changes.count("stations") > 0;
        const GridPtr grid =
            near_alone ? grid_with_stations({{"A", 0.0, 0.0}, {"B", 0.0, 1.5}, {"C", -1.0, -1.0}})
                       : four_stations();
        const LogCapture log;
        ASSERT_EQ(set_up(*grid, c.changes), 0) << c.name;
        EXPECT_EQ(log.count(), c.words.empty() ? 0u : 1u) << c.name << log.text();
        for (const char* words : c.words)
            EXPECT_THAT(log.text(), testing::HasSubstr(words)) << c.name;
    }
}

TEST(EdpGrid, SaysThatALongNameIsCut) {
    const GridPtr grid = four_stations();
    const LogCapture log;
    const std::string fits(64, 'm'), longer(65, 'm');
    ASSERT_EQ(set_up(*grid, {{"method", "'" + fits + "'"}, {"model", "'" + longer + "'"}}), 0);
    EXPECT_EQ(log.text(),
              "velorix_setup_edp_grid: model '" + longer + "' is cut to its first 64 bytes.\n");
    EXPECT_EQ(std::string(grid->model, 64), fits);
}

// Keys that are missing or of another kind are refused in the cases of the tool.
TEST(EdpGrid, RefusesWhatCannotBeLaidOut) {
    expect_refused(
        "velorix_setup_edp_grid: ", set_up,
        {{{{"ny", "-3"}}, "ny must be between 1 and 2147483647 (-3)."},
         {{{"xmin", "nan"}}, "xmin must be finite (nan)."},
         {{{"latr", "inf"}}, "latr must be finite (inf)."},
         {{{"strike", "-inf"}}, "strike must be finite (-inf)."},
         {{{"depths", "[5, nan]"}}, "depths must be finite (nan)."},
         {{{"pxstamax", "nan"}}, "pxstamax must be a number (nan)."},
         {{{"latr", "90.5"}}, "latr must be between -90 and 90 (90.5)."},
         {{{"xmax", "1e200"}}, "xmax must be between -360 and 360 (1e+200)."},
         {{{"nx", "2147483647"}, {"ny", "2147483647"}},
          "2147483647 x 2147483647 x 2 nodes exceed the limit of 2147483647."},
         {{{"nx", "10000"}, {"ny", "10000"}},
          "the position array of 2400000000 bytes exceeds the limit of 2147483647 bytes."},
         {{{"nx", "10000"}, {"ny", "8000"}, {"depths", "[1, 2, 3, 4, 5, 6, 7, 8]"}},
          "a travel-time table of 2560000000 bytes exceeds the limit of 2147483647 bytes."}});
}

TEST(EdpGrid, WarnsOfKeysThatNobodyReads) {
    const GridPtr grid = four_stations();
    const LogCapture log;
    EXPECT_EQ(set_up(*grid, {{"compute_p", "true"}, {"mode", "'edp'"}, {"time", "'all'"}}), 0);
    ASSERT_EQ(log.count(), 1u);
    EXPECT_THAT(log.text(), testing::HasSubstr("unknown key 'compute_p' in grid grid"));
}

// Tables of a first layout as a distance table are not to be found in the next one.
TEST(EdpGrid, ARecordCanBeLaidOutAgain) {
    const Source points[] = {{1.0, 2.0, 3.0}};
    const auto pairs = [](Velorix* grid) { return set_up(*grid); };
    const auto list = [&](Velorix* grid) {
        const PfPtr pf = parameters("method='tttaup'\nmodel='iasp91'\ncompute_P=true");
        return velorix_setup_fromsourcearray_grid(grid, "g", 1, points, pf.get());
    };
    const auto rings = [](Velorix* grid) {
        const PfPtr pf = changed(mesh_keys("0.05", {"depth", "10"}), {});
        return velorix_setup_slowness_grid(grid, "g", pf.get());
    };
    for (const std::function<int(Velorix*)>& again :
         std::initializer_list<std::function<int(Velorix*)>>{pairs, list, rings}) {
        const GridPtr grid = four_stations();
        ASSERT_EQ(set_up(*grid, {{"type", "'1d'"}, {"ndist", "5"}}), 0);
        ASSERT_EQ(again(grid.get()), 0);
        Heap heap;
        compute(*grid, heap);
        expect_readable(heap);
    }
}

TEST(StationWindow, MayBeOpenToInfinity) {
    const GridPtr grid = four_stations();
    ASSERT_EQ(set_up(*grid, {{"pxstamin", "-inf"}, {"pxstamax", "100"}, {"pystamax", "inf"}}), 0);
    EXPECT_EQ(grid->ns, 2) << "A and C; B and D lie east of the mesh";
    EXPECT_STREQ(grid->stations[1].sta, "C");
}

TEST(StationWindow, LetsAMeshBeThatIsTooLargeForAllStations) {
    std::string depths = "[1";
    for (int i = 1; i < 20000; ++i) depths += ", 1";
    const GridPtr grid = four_stations();
    ASSERT_EQ(set_up(*grid, {{"nx", "100"},
                             {"ny", "100"},
                             {"depths", depths + "]"},
                             {"pxstamin", "10"},
                             {"pxstamax", "110"}}),
              0);
    EXPECT_EQ(grid->ttsize, 800000000);
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
        {"one bound", {{"pxstamax", "150"}, {"compute_distances", "true"}}, "ABC"},
        {"distance table", {{"pxstamax", "150"}, {"type", "'1d'"}, {"ndist", "5"}}, "ABC"},
        {"both axes", {{"pxstamin", "10"}, {"pxstamax", "110"}, {"pystamin", "10"}}, "A"},
        {"only beyond", {{"pxstamin", "120"}}, "BD"},
        {"on the bound, one row", {{"ny", "1"}, {"pystamin", "0"}, {"pystamax", "0"}}, "ABCD"},
        {"nobody", {{"pxstamin", "60"}, {"pxstamax", "61"}}, ""},
        {"nobody, distance table", {{"pxstamin", "1e9"}, {"type", "'1d'"}, {"ndist", "3"}}, ""},
        {"one column, zero excluded", {{"nx", "1"}, {"pxstamin", "1"}}, ""},
        {"one row, zero excluded", {{"ny", "1"}, {"pystamax", "-1"}}, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const GridPtr grid = four_stations();
        const LogCapture log;
        ASSERT_EQ(set_up(*grid, c.keys), 0);
        EXPECT_TRUE(log.empty()) << log.text();
        std::string stay;
        for (int i = 0; i < grid->ns; ++i) {
            stay += grid->stations[i].sta;
            EXPECT_EQ(getarr(grid->sta_arr, grid->stations[i].sta), &grid->stations[i]);
        }
        EXPECT_EQ(stay, c.stay);
        EXPECT_EQ(maxarr(grid->sta_arr), grid->ns);
        Heap heap;
        compute(*grid, heap);
        expect_readable(heap);
    }
}

// The distance table stands for the times themselves to within half a sample.
TEST(DistanceTable, DiffersFromPairTimesByLessThanHalfASample) {
    Keys keys{{"latr", "42"},
              {"lonr", "13"},
              {"nx", "9"},
              {"ny", "8"},
              {"xmin", "-2"},
              {"xmax", "2.5"},
              {"depths", "[0, 12, 33, 80, 300]"},
              {"compute_S", "true"},
              {"compute_distances", "true"},
              {"ndist", "2000"}};
    const auto stations = {TestStation{"AA", 42.3, 13.4}, TestStation{"BB", 40.1, 15.0},
                           TestStation{"CC", 44.0, 10.5}, TestStation{"DD", 30.0, -20.0},
                           TestStation{"EE", -33.0, 151.0}};
    const GridPtr pairs = grid_with_stations(stations);
    ASSERT_EQ(set_up(*pairs, keys), 0);
    Heap pair_heap;
    compute(*pairs, pair_heap);
    const GridPtr table = grid_with_stations(stations);
    keys["type"] = "'1d'";
    ASSERT_EQ(set_up(*table, keys), 0);
    Heap table_heap;
    compute(*table, table_heap);

    double mind = 0.0;
    double maxd = 0.0;
    velorix_get_minmax_distance(pairs.get(), &mind, &maxd);
    EXPECT_FLOAT_EQ(table->distances[0], static_cast<float>(mind));
    EXPECT_FLOAT_EQ(table->distances[1999], static_cast<float>(maxd));
    const double half_sample = 0.5 * (maxd - mind) / 1999.0;
    const int layer = pairs->nh * pairs->ns;
    for (int entry = 0; entry < pairs->nd * layer; ++entry) {
        const int sample = table->ttoffsets[entry % layer];
        ASSERT_LT(sample, 2000);
        const double distance = pairs->distances[entry];
        ASSERT_LE(std::fabs(distance - table->distances[sample]), half_sample + 1e-5);
        const int at = entry / layer * 2000 + sample;
        // Half a sample of distance times the steepest slowness beside it is half a step of the
        // table; times are floats.
        const auto half_step = [&](const float* times) {
            const double before = sample > 0 ? times[at] - times[at - 1] : 0.0;
            const double after = sample < 1999 ? times[at + 1] - times[at] : 0.0;
            return 0.5 * std::max(std::fabs(before), std::fabs(after)) * 1.02;
        };
        SCOPED_TRACE(testing::Message() << distance << " degrees, entry " << entry);
        EXPECT_NEAR(pairs->P_times[entry], table->P_times[at], half_step(table->P_times) + 2e-3);
        EXPECT_NEAR(pairs->S_times[entry], table->S_times[at], half_step(table->S_times) + 4e-3);
    }
}

}  // namespace
