// The embedded global source set: its shape, its place on the geodesic mesh, where it is dense.
#include "telegrid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <map>
#include <numbers>
#include <set>
#include <span>
#include <stdexcept>
#include <tuple>
#include <vector>

#include "cells.h"
#include "geodesic_mesh.h"
#include "laid_out_grid.h"
#include "platform/geodesy/geodesy.h"
#include "selection.h"
#include "table_file.h"

namespace {

using telegrid::Position;

const std::span<const Source> kRecords(telegrid_20km_sources, telegrid_20km_n);

Position position(const Source& record) {
    return {static_cast<int32_t>(std::lround(record.lat * 1e5)),
            static_cast<int32_t>(std::lround(record.lon * 1e5))};
}

// Depths of every position.
const std::map<Position, std::set<int>>& subsets() {
    static const auto result = [] {
        std::map<Position, std::set<int>> map;
        for (const Source& r : kRecords) map[position(r)].insert(static_cast<int>(r.depth));
        return map;
    }();
    return result;
}

// Vertex numbers of the fine mesh by position.
const std::map<Position, int32_t>& vertices() {
    static const auto result = [] {
        std::map<Position, int32_t> map;
        int32_t number = 0;
        for (const auto& v : telegrid::geodesic_mesh(telegrid::kFineSplits).vertices) {
            map.emplace(telegrid::rounded_position(v), number++);
        }
        return map;
    }();
    return result;
}

double distance_deg(const Source& a, double lat, double lon) {
    constexpr double radian = std::numbers::pi / 180.0;
    double delta = 0.0;
    dist(a.lat * radian, a.lon * radian, lat * radian, lon * radian, &delta, nullptr);
    return delta / radian;
}

long records_near(double lat, double lon, double within_deg, double depth) {
    return std::count_if(kRecords.begin(), kRecords.end(), [&](const Source& r) {
        return r.depth == depth && distance_deg(r, lat, lon) <= within_deg;
    });
}

TEST(Telegrid, EachDepthHasItsNumberOfRecords) {
    const std::map<double, int> wanted{{15.0, 112150}, {50.0, 23859}, {100.0, 16751},
                                       {200.0, 9383},  {300.0, 4463}, {600.0, 4293}};
    std::map<double, int> counts;
    for (const Source& r : kRecords) ++counts[r.depth];
    EXPECT_EQ(counts, wanted);
}

TEST(Telegrid, RecordsRiseWithFiveDecimalsAndOneNameForEachPlace) {
    const Source* before = nullptr;
    for (const Source& r : kRecords) {
        ASSERT_TRUE(r.lat == position(r).lat / 1e5 && r.lon == position(r).lon / 1e5);
        ASSERT_TRUE(std::fabs(r.lat) <= 90.0 && r.lon > -180.0 && r.lon <= 180.0);
        ASSERT_FALSE((r.lat == 0.0 && std::signbit(r.lat)) ||
                     (r.lon == 0.0 && std::signbit(r.lon)));
        ASSERT_TRUE(!before || std::tie(before->lat, before->lon, before->depth) <
                                   std::tie(r.lat, r.lon, r.depth))
            << r.lat << ' ' << r.lon;
        before = &r;
    }
    EXPECT_EQ(position(kRecords.front()), (Position{-9000000, 0}));
    EXPECT_EQ(position(kRecords.back()), (Position{9000000, 0}));
    EXPECT_TRUE(subsets().contains({0, 18000000}));
}

TEST(Telegrid, PositionsAreDistinctMeshVertices) {
    EXPECT_EQ(subsets().size(), 116519u);
    EXPECT_EQ(vertices().size(), 655362u) << "vertices that round alike";
    for (const auto& [place, depths] : subsets()) {
        ASSERT_TRUE(vertices().contains(place)) << place.lat << ' ' << place.lon;
    }
}

TEST(Telegrid, ShallowLayerHoldsTheCoarseMeshWithoutAHoleWiderThanOneVertex) {
    std::set<int32_t> shallow;
    for (const auto& [place, depths] : subsets()) {
        if (depths.contains(15)) shallow.insert(vertices().at(place));
    }
    EXPECT_EQ(std::distance(shallow.begin(), shallow.lower_bound(telegrid::kCoarseVertices)),
              40684);
    const auto near = telegrid::neighbours(telegrid::geodesic_mesh(telegrid::kCoarseSplits));
    for (int32_t i = 0; i < telegrid::kCoarseVertices; ++i) {
        if (shallow.contains(i)) continue;
        for (const int32_t next : near[static_cast<size_t>(i)]) {
            ASSERT_TRUE(next < 0 || shallow.contains(next)) << i << " and " << next;
        }
    }
}

TEST(Telegrid, CommonestSubsetsOfDepthsComeInOrder) {
    std::map<std::set<int>, int> counts;
    for (const auto& [place, depths] : subsets()) ++counts[depths];
    std::multimap<int, std::set<int>, std::greater<>> order;
    for (const auto& [depths, count] : counts) order.emplace(count, depths);
    auto next = order.begin();
    for (const std::set<int>& depths : {std::set{15}, std::set{15, 50}, std::set{15, 50, 100}})
        EXPECT_EQ(next++->second, depths);
}

// Places whose seismicity any atlas shows.
TEST(Telegrid, DeepLayersLieWhereSlabsAre) {
    EXPECT_GT(records_near(-20.0, -178.5, 2.0, 600.0), 100) << "Tonga";
    EXPECT_GT(records_near(-9.5, -71.2, 2.0, 600.0), 50) << "western Brazil";
    EXPECT_GT(records_near(36.5, 70.7, 1.0, 200.0), 30) << "Hindu Kush";
    EXPECT_GT(records_near(45.7, 26.6, 1.0, 100.0), 5) << "Vrancea";
    EXPECT_EQ(records_near(36.5, 70.7, 3.0, 600.0), 0) << "Hindu Kush";
    for (const double depth : {50.0, 100.0, 200.0, 300.0, 600.0}) {
        EXPECT_EQ(records_near(58.0, -100.0, 8.0, depth), 0) << "central Canada, " << depth;
    }
    // Refined along a ridge, the coarse mesh alone within a craton.
    EXPECT_GT(records_near(0.0, -25.0, 1.0, 15.0), 20) << "equatorial Mid-Atlantic ridge";
    EXPECT_LT(records_near(58.0, -100.0, 1.0, 15.0), 6) << "central Canada";
}

TEST(Telegrid, IsWhatAGridIsBuiltFrom) {
    const auto pf = velorix_test::parameters("method='tttaup'\nmodel='ak135'\ncompute_P=true\n");
    const auto grid = velorix_test::grid_with_stations({{"A", 1.0, 2.0}});
    ASSERT_EQ(velorix_setup_fromsourcearray_grid(grid.get(), "global", telegrid_20km_n,
                                                 telegrid_20km_sources, pf.get()),
              0);
    ASSERT_EQ(grid->nn, 170899);
    // Bytes are what a reader of the file sees.
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison)
    EXPECT_EQ(std::memcmp(grid->sources, telegrid_20km_sources, kRecords.size_bytes()), 0);
}

TEST(TelegridMesh, MatchesItsGeometry) {
    const auto mesh = telegrid::geodesic_mesh(telegrid::kCoarseSplits);
    ASSERT_EQ(mesh.vertices.size(), 40962u);
    std::vector<Position> places;
    for (const auto& vertex : mesh.vertices) places.push_back(telegrid::rounded_position(vertex));
    std::set<Position> wanted{{-9000000, 0}, {9000000, 0}};
    for (const int lon : {-162, -90, -18, 54, 126}) wanted.insert({-2656505, lon * 100000});
    for (const int lon : {-126, -54, 18, 90, 162}) wanted.insert({2656505, lon * 100000});
    EXPECT_EQ(std::set<Position>(places.begin(), places.begin() + 12), wanted);
    std::sort(places.begin(), places.end());
    EXPECT_NEAR((places.end() - 2)->lat, 9000000 - 99117, 1) << "next to the pole";
}

TEST(TelegridTable, IsWhatTheGeneratorMakesOfTheCells) {
    const std::string root = VELORIX_SOURCE_DIR;
    const auto cells =
        telegrid::cells_from_text(telegrid::read_file(root + "/tools/telegrid/data/cells.txt"));
    const auto table = telegrid::read_file(root + "/bin/rt/velorix/telegrid/telegrid.dat");
    const auto layers = telegrid::select_layers(cells);
    EXPECT_TRUE(telegrid::encode(layers) == table);
    EXPECT_TRUE(telegrid::decode(table) == layers);
}

TEST(TelegridTable, RefusesFaultyData) {
    using namespace std::string_literals;
    const std::string head = "velorix global source set 1\n";
    // Other first lines, numbers cut short, no layer, a seventh one, and numbers beyond the last.
    for (const std::string& bytes :
         {""s, "velorix global source set 2\n"s, head + "\x80", head + "\x01", head + "\x01\0"s,
          head + "\x01\x40", head + "\xF4\xFF\x7F", head + "\xFF\xFF\xFF\xFF"})
        EXPECT_THROW(telegrid::decode(bytes), std::runtime_error) << testing::PrintToString(bytes);
    EXPECT_NO_THROW(telegrid::decode(head + "\x00\x01\x3F"s));
}

}  // namespace
