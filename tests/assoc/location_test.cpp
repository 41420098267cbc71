// Places between and off the nodes, stations at work, and which of two grids has the say.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "events/location.h"
#include "events/stream_past.h"
#include "support/log_capture.h"
#include "synthetic_picks.h"

namespace velorix::assoc {
namespace {

using velorix_test::TinyGrid;

std::vector<Station> ring(double lat, double lon, double radius, int count) {
    std::vector<Station> out;
    for (int i = 0; i < count; ++i) {
        const double angle = 2.0 * kPi * i / count, r = radius * (0.4 + 0.6 * (i % 4) / 3.0);
        Station station{
            lat + r * std::cos(angle), lon + r * std::sin(angle), 0.2 * (i % 3), {}, i, 0};
        snprintf(station.sta, sizeof station.sta, "S%02d", i);
        out.push_back(station);
    }
    return out;
}

/// A coarse general mesh whose times come from the calculator.
struct CoarseMesh : TinyGrid {
    /// @param east  by how much it is moved, degrees
    explicit CoarseMesh(double east = 0.0)
        : TinyGrid(ring(4.0, 4.0 + east, 6.0, 14), {.mode = VELORIX_MODE_GENERAL,
                                                    .nx = 9,
                                                    .ny = 9,
                                                    .depths = {15, 60, 200},
                                                    .spacing = 1.0}) {
        snprintf(grid.method, sizeof grid.method, "tttaup");
        snprintf(grid.model, sizeof grid.model, "ak135");
        grid.ttsize = grid.nn * grid.ns * 4;
        for (int i = 0; i < grid.nn; ++i) grid.sources[i].lon += east;
        EXPECT_EQ(velorix_compute_travel_times(&grid, nullptr), 0);
    }
};

class Moved : public testing::TestWithParam<double> {};
INSTANTIATE_TEST_SUITE_P(OffTheNodes, Moved, testing::Values(0.0, 175.43));  // to the date line

TEST_P(Moved, AnEventIsLocatedBetweenTheNodesOfAGeneralMesh) {
    CoarseMesh mesh(GetParam());
    GridSet grids;
    ASSERT_TRUE(grids.add(&mesh.grid, Parameters(), 1));
    const SearchGrid& grid = grids.search_grids()[0];
    const Position truth{3.42, 4.57 + GetParam(), 104.0};
    const RayTimes rays(mesh.grid);
    std::vector<Waiting> waiting(static_cast<size_t>(2 * mesh.grid.ns));
    Solution solution;
    for (int i = 0; i < mesh.grid.ns; ++i) {
        const Times times = rays.at(truth, i);
        for (int k = 0; k < 2; ++k) {
            Waiting& pick = waiting[static_cast<size_t>(2 * i + k)];
            pick.pick.time = 1e9 + (k ? times.s : times.p);
            solution.members.push_back({&pick, i, k ? 'S' : 'P', 0.0, 1.0, true});
        }
    }
    Locator(grid).locate(solution);
    const Position found = grid.times.position(solution.spot);
    EXPECT_LT(path_between(truth, found.lat, found.lon).delta, 0.1);
    EXPECT_NEAR(found.depth, truth.depth, 15.0);
    EXPECT_NEAR(solution.time, 1e9, 1.0);
    EXPECT_LT(Locator(grid).uncertainty(solution).major, 20.0);
}

TEST(OffTheNodes, AGridThatTheCalculatorDoesNotRepeatIsNotLeft) {
    CoarseMesh mesh;
    EXPECT_TRUE(GridTimes(&mesh.grid).movable());
    for (int64_t i = 0; i < int64_t{mesh.grid.nn} * mesh.grid.ns; ++i) {
        mesh.grid.S_times[i] += 0.5f;
    }
    const velorix_test::LogCapture log;
    const GridTimes times(&mesh.grid);
    EXPECT_FALSE(times.movable());
    ASSERT_EQ(1u, log.count());
    EXPECT_NE(std::string::npos, log.messages()[0].find("model ak135, as found here"));
    EXPECT_FALSE(times.shifted({7.0, 0.0, 0.0}, 0.5, 0.5, 0.0).free);
}

TEST(Paths, HaveTheAzimuthsOfBothEnds) {
    const struct {
        Position event;
        double lat, lon, delta, esaz, seaz;
    } cases[] = {{{0, 10, 0}, 0, 20, 10, 90, 270},
                 {{10, 20, 0}, -10, 20, 20, 180, 0},
                 {{0, 175, 0}, 0, -175, 10, 90, 270}};
    for (const auto& c : cases) {
        const Path path = path_between(c.event, c.lat, c.lon);
        EXPECT_NEAR(path.delta, c.delta, 0.1) << c.lon;
        EXPECT_NEAR(path.esaz, c.esaz, 1e-6) << c.lon;
        EXPECT_NEAR(path.seaz, c.seaz, 1e-6) << c.lon;
    }
}

TEST(OffTheNodes, SpotsStayOnTheEarth) {
    CoarseMesh mesh;
    const GridTimes times(&mesh.grid);
    const Position date_line = times.position(times.shifted({179.9, 10.0, 5.0, true}, 1, 0, -1));
    EXPECT_NEAR(date_line.lon, -179.1, 0.2);
    EXPECT_EQ(date_line.depth, 0.0);
    const Position pole = times.position(times.shifted({0.0, 89.8, 5.0, true}, 0, 50, 50));
    EXPECT_LE(pole.lat, 90.0);
    EXPECT_LE(pole.depth, 300.0);
}

TEST(StreamPast, TellsStationsAtWorkByTheirPicks) {
    StreamPast past(600.0, {2});
    Waiting waiting;
    waiting.roles = {{.station = 1, .place = 1}};
    for (double time : {-50.0, 1000.0, 1003.0, 2009.0}) {
        waiting.pick.time = time;
        past.add(waiting);
    }
    const struct {
        double origin, known;
        bool at_work;
    } cases[] = {{0.0, 10.0, true},      // the pick before it
                 {550.0, 560.0, true},   // exactly the history
                 {551.0, 560.0, false},  // a second more
                 {551.0, 1000.0, true},  // one that comes later and is known
                 {551.0, 999.9, false},   {1603.0, 1700.0, true},  // the last pick of a minute
                 {1603.5, 1700.0, false}, {1603.5, 2009.0, true}, {1603.5, 2008.9, false}};
    for (const auto& c : cases) {
        EXPECT_EQ(past.at_work(0, 1, c.origin, c.known), c.at_work) << c.origin << " " << c.known;
        EXPECT_FALSE(past.at_work(0, 0, c.origin, c.known));
    }
    past.forget(1700.0);
    EXPECT_TRUE(past.at_work(0, 1, 1700.0, 2100.0));
    EXPECT_FALSE(past.at_work(0, 1, 0.0, 10.0));
}

TEST(StreamPast, TakesLabelsForTrueUntilManyPAndNoS) {
    StreamPast past(3600.0, {});
    Waiting waiting;
    const auto add = [&](double time, const std::string& phase) {
        waiting.pick.time = time;
        waiting.pick.phase = phase;
        past.add(waiting);
        return past.labels();
    };
    for (int i = 0; i < 49; ++i) EXPECT_EQ(add(i, i % 7 ? "P" : "LR"), Labels::trust);
    for (int i = 0; i < 7; ++i) EXPECT_EQ(add(50 + i, "Pn"), Labels::trust);
    EXPECT_EQ(add(100.0, "P"), Labels::p_first) << "the fiftieth";
    EXPECT_EQ(add(200.0, "Sg"), Labels::trust);
    for (int i = 0; i < 60; ++i) add(3700.0 + i, "P");
    EXPECT_EQ(add(3799.0, "P"), Labels::trust) << "the S is in the hour";
    for (int i = 0; i < 60; ++i) add(3900.0 + i, "P");
    EXPECT_EQ(past.labels(), Labels::p_first) << "the S is forgotten";
}

/// Picks of one earthquake under a ring of stations.
std::vector<Pick> picks_under(const std::vector<Station>& stations, double lat, double lon) {
    std::vector<Pick> picks;
    for (const Station& s : stations) {
        const double delta = flat_distance(lat, lon, s.lat, s.lon);
        picks.push_back(pick_of(s, "P", 1e9 + ray_time(delta, 8.0, 6.0)));
        picks.push_back(pick_of(s, "S", 1e9 + ray_time(delta, 8.0, 3.5)));
    }
    std::ranges::sort(picks, {}, &Pick::time);
    return picks;
}

TEST(TwoGrids, TheFinerOnePlacesAnEventInsideItAndTheCoarserOneTheRest) {
    const auto stations = ring(0.45, 0.45, 0.5, 14);
    const std::vector<double> depths{4, 8, 12};
    TinyGrid wide(stations, {.nx = 10, .ny = 10, .depths = depths, .spacing = 0.2, .name = "wide"});
    TinyGrid fine(stations,
                  {.nx = 19, .ny = 19, .depths = depths, .spacing = 0.05, .name = "fine"});
    const struct {
        double lat, lon;
        const char* grid;
    } cases[] = {{0.43, 0.52, "fine"}, {0.43, 0.99, "wide"}, {1.31, 1.38, "wide"}};
    for (const auto& c : cases) {
        GridSet grids;
        for (Velorix* grid : {&wide.grid, &fine.grid}) {
            grid->ttsize = grid->nn * grid->ns * 4;
            ASSERT_TRUE(grids.add(grid, Parameters(), 1));
        }
        StreamRules rules;
        rules.at_work = AtWork::all;
        const auto events =
            associate_all(grids, rules, picks_under(stations, c.lat, c.lon)).events();
        ASSERT_EQ(events.size(), 1u) << c.grid;
        EXPECT_EQ(events[0].grid, c.grid);
        EXPECT_NEAR(events[0].lat, c.lat, 0.02);
        EXPECT_NEAR(events[0].lon, c.lon, 0.02);
    }
}

}  // namespace
}  // namespace velorix::assoc
