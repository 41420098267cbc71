// The embedded global source set: its shape, its place on the geodesic mesh, where it is dense.
#include "telegrid.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <numbers>
#include <set>
#include <span>
#include <stdexcept>
#include <tuple>

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

std::set<int32_t> shallow_vertices() {
    std::set<int32_t> numbers;
    for (const auto& [place, depths] : subsets()) {
        if (depths.contains(15)) numbers.insert(vertices().at(place));
    }
    return numbers;
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
    std::map<double, int> counts;
    for (const Source& r : kRecords) ++counts[r.depth];
    EXPECT_EQ(counts, (std::map<double, int>{{15.0, 112150},
                                             {50.0, 23859},
                                             {100.0, 16751},
                                             {200.0, 9383},
                                             {300.0, 4463},
                                             {600.0, 4293}}));
}

TEST(Telegrid, RecordsRiseByLatitudeLongitudeAndDepth) {
    for (size_t i = 1; i < kRecords.size(); ++i) {
        const Source& a = kRecords[i - 1];
        const Source& b = kRecords[i];
        ASSERT_LT(std::tie(a.lat, a.lon, a.depth), std::tie(b.lat, b.lon, b.depth)) << i;
    }
}

TEST(Telegrid, CoordinatesCarryFiveDecimalsAndStayInRange) {
    for (const Source& r : kRecords) {
        ASSERT_EQ(r.lat, position(r).lat / 1e5);
        ASSERT_EQ(r.lon, position(r).lon / 1e5);
        ASSERT_LE(std::fabs(r.lat), 90.0);
        ASSERT_GT(r.lon, -180.0);
        ASSERT_LE(r.lon, 180.0);
        ASSERT_FALSE((r.lat == 0.0 && std::signbit(r.lat)) ||
                     (r.lon == 0.0 && std::signbit(r.lon)));
    }
}

TEST(Telegrid, PolesAndAntimeridianHaveOneNameEach) {
    EXPECT_EQ(kRecords.front().lat, -90.0);
    EXPECT_EQ(kRecords.front().lon, 0.0);
    EXPECT_EQ(kRecords.back().lat, 90.0);
    EXPECT_EQ(kRecords.back().lon, 0.0);
    EXPECT_TRUE(subsets().contains({0, 18000000}));
}

TEST(Telegrid, PositionsAreDistinctMeshVertices) {
    EXPECT_EQ(subsets().size(), 116519u);
    EXPECT_EQ(vertices().size(), 655362u) << "vertices that round alike";
    for (const auto& [place, depths] : subsets()) {
        ASSERT_TRUE(vertices().contains(place)) << place.lat << ' ' << place.lon;
    }
}

TEST(Telegrid, ShallowLayerHoldsItsShareOfTheCoarseMesh) {
    const std::set<int32_t> shallow = shallow_vertices();
    const auto coarse = std::distance(shallow.begin(), shallow.lower_bound(40962));
    EXPECT_EQ(coarse, 40684);
    EXPECT_EQ(static_cast<long>(shallow.size()) - coarse, 71466);
}

TEST(Telegrid, ShallowLayerHasNoHoleWiderThanOneCoarseVertex) {
    const std::set<int32_t> shallow = shallow_vertices();
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
    std::vector<std::pair<int, std::set<int>>> order;
    for (const auto& [depths, count] : counts) order.emplace_back(count, depths);
    std::sort(order.rbegin(), order.rend());
    EXPECT_EQ(order[0].second, (std::set<int>{15}));
    EXPECT_EQ(order[1].second, (std::set<int>{15, 50}));
    EXPECT_EQ(order[2].second, (std::set<int>{15, 50, 100}));
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
    EXPECT_EQ(grid->nn, 170899);
    EXPECT_EQ(grid->nh, 170899);
    EXPECT_EQ(grid->ttsize, 170899 * 4);
    velorix_test::Heap heap;
    ASSERT_GT(heap.pack(grid.get()), 0);
    const auto in_heap = static_cast<size_t>(384 + grid->stsize + grid->dpsize);
    // Bytes are what a reader of the file sees.
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison)
    EXPECT_EQ(std::memcmp(heap.bytes + in_heap, telegrid_20km_sources, kRecords.size_bytes()), 0);
}

TEST(TelegridMesh, MatchesItsGeometry) {
    const auto mesh = telegrid::geodesic_mesh(telegrid::kCoarseSplits);
    ASSERT_EQ(mesh.vertices.size(), 40962u);
    std::set<Position> first;
    double nearest_to_pole = 10.0;
    for (size_t i = 0; i < mesh.vertices.size(); ++i) {
        const auto& v = mesh.vertices[i];
        if (i < 12) first.insert(telegrid::rounded_position(v));
        if (v.z < 1.0)
            nearest_to_pole = std::min(nearest_to_pole, std::hypot(v.x, v.y) + 2 * (v.z < 0));
    }
    std::set<Position> wanted{{-9000000, 0}, {9000000, 0}};
    for (const int lon : {-162, -90, -18, 54, 126}) wanted.insert({-2656505, lon * 100000});
    for (const int lon : {-126, -54, 18, 90, 162}) wanted.insert({2656505, lon * 100000});
    EXPECT_EQ(first, wanted);
    EXPECT_NEAR(std::asin(nearest_to_pole) * 180.0 / std::numbers::pi, 0.99117, 5e-6);
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
    const std::string head = "velorix global source set 1\n";
    const struct {
        const char* name;
        std::string bytes;
    } cases[] = {
        {"empty", ""},
        {"other first line", "velorix global source set 2\n"},
        {"gap cut short", head + '\x80'},
        {"layers cut short", head + '\x01'},
        {"layers zero", head + '\x01' + '\0'},
        {"a seventh layer", head + "\x01\x40"},
        {"beyond the last vertex", head + "\xF4\xFF\x7F"},
        {"endless number", head + "\xFF\xFF\xFF\xFF"},
    };
    for (const auto& c : cases)
        EXPECT_THROW(telegrid::decode(c.bytes), std::runtime_error) << c.name;
    EXPECT_NO_THROW(telegrid::decode(head + std::string("\x00\x01\x3F", 3)));
}

TEST(TelegridCells, RefuseFaultyText) {
    for (const char* text : {"layer 15 weight 1 cells 2\n4", "layer 15 weight x cells 0",
                             "layer 15 weight 1 cells 1 655362", "layer 15 weight 1 cells 1 -1",
                             "15 weight 1 cells 0"}) {
        EXPECT_THROW(telegrid::cells_from_text(text), std::runtime_error) << text;
    }
    const auto groups = telegrid::cells_from_text("# note\nlayer 50 weight 0.25 cells 2\n3\n4\n");
    ASSERT_EQ(groups.size(), 1u);
    EXPECT_THAT(groups[0].vertices, testing::ElementsAre(3, 7));
}

}  // namespace
