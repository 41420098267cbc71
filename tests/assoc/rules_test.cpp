// Rules that follow from a grid, and those of parameter files.
#include <gmock/gmock.h>

#include "events/search_grid.h"
#include "support/log_capture.h"
#include "synthetic_picks.h"

namespace velorix::assoc {
namespace {

using testing::HasSubstr;
using velorix_test::TinyGrid;

// Stations far to the east of a mesh at the surface, along its rows: a column nearer is 0.1 degrees
// less, whatever the node, and times are distances over 6 and 3.5 km/s.
TEST(DefaultRules, FollowFromTimesAndSpacing) {
    std::vector<Station> east;
    for (int i = 0; i < 5; ++i) {
        east.push_back(velorix_test::make_station(std::to_string(i), 0.0, 20.0 + i));
    }
    TinyGrid tiny(east, {.nx = 12, .ny = 1, .depths = {0}, .spacing = 0.1});
    tiny.grid.ttsize = tiny.grid.nn * tiny.grid.ns * 4;
    GridSet grids;
    ASSERT_TRUE(grids.add(&tiny.grid, Parameters(), 1));
    const SearchGrid& grid = grids.search_grids()[0];
    const SearchParams& sp = *grid.search;
    const double degree = velorix_test::kKmPerDegree;
    const double spacing = 0.1 * kKmPerDegree;  // of the sphere; the times are of nearly it
    EXPECT_NEAR(grid.times.spacing_km(), spacing, 1e-6);
    const double longest_p = 24.0 * degree / 6.0, longest_s = 24.0 * degree / 3.5;
    const double p_cell = 0.5 * std::sqrt(2.0) * spacing / 6.0;
    const double s_cell = 0.5 * std::sqrt(2.0) * spacing / 3.5;
    const double p_model = 0.4 + 0.003 * longest_p, s_model = 0.6 + 0.004 * longest_s;
    constexpr double kNear = 2e-3;
    EXPECT_NEAR(sp.cluster_twin, p_model + p_cell + s_cell, kNear);
    EXPECT_NEAR(sp.p_max_resid, p_model + 0.5 * p_cell, kNear);
    EXPECT_NEAR(sp.s_max_resid, s_model + 0.5 * s_cell, kNear);
    EXPECT_DOUBLE_EQ(sp.p_max_resid_sweep, 1.5 * sp.p_max_resid);
    EXPECT_DOUBLE_EQ(sp.s_max_resid_sweep, 1.5 * sp.s_max_resid);
    EXPECT_DOUBLE_EQ(sp.p_deltim, 0.25 * sp.p_max_resid);
    EXPECT_DOUBLE_EQ(sp.s_deltim, 0.25 * sp.s_max_resid);
    EXPECT_EQ(sp.cluster_prewin, 0.0);
    EXPECT_TRUE(sp.try_S && sp.associate_S);
    const GridRules& rules = grid.rules;
    EXPECT_NEAR(rules.window, longest_s + 2.0 * sp.cluster_twin, 0.01);
    EXPECT_EQ(rules.step, rules.window);
    EXPECT_DOUBLE_EQ(rules.max_scatter, 0.75 * sp.s_max_resid);
    EXPECT_DOUBLE_EQ(rules.separation_time, 3.0 * sp.cluster_twin);
    EXPECT_NEAR(rules.separation_km, 6.0 * spacing, 1e-6);
    EXPECT_EQ(rules.min_p, 3);
    EXPECT_EQ(rules.min_s, 0);
    EXPECT_EQ(rules.min_picks, 8);
    EXPECT_EQ(rules.min_stations, 4);
    EXPECT_EQ(rules.min_coverage, 0.4);
    EXPECT_EQ(rules.s_doubt, 0.6);
    EXPECT_EQ(rules.screen_stations, 40);
    EXPECT_EQ(rules.velocity_sigma, 0.0);
    EXPECT_EQ(rules.refine, 1);
}

TEST(DefaultRules, HaveLeastValuesAndLeaveSOutWithoutSTimes) {
    TinyGrid tiny(network(), {.nx = 41, .ny = 41, .spacing = 0.002, .s_times = false});
    tiny.grid.ttsize = tiny.grid.nn * tiny.grid.ns * 4;
    GridSet grids;
    ASSERT_TRUE(grids.add(&tiny.grid, Parameters(), 1));
    const SearchGrid& grid = grids.search_grids()[0];
    EXPECT_EQ(grid.search->cluster_twin, 0.5);
    EXPECT_FALSE(grid.search->try_S || grid.search->associate_S);
    EXPECT_DOUBLE_EQ(grid.rules.max_scatter, 0.75 * grid.search->p_max_resid);
    EXPECT_EQ(grid.rules.separation_time, 3.0);
    EXPECT_EQ(grid.rules.separation_km, 15.0);
}

// A dense network around its mesh: the window ends at the fortieth station.
TEST(DefaultRules, OfADenseNetworkReachToTheFortiethStation) {
    std::vector<Station> dense;
    for (int i = 0; i < 144; ++i) {
        const int row = i / 12;
        const int column = i % 12;
        dense.push_back(velorix_test::make_station(std::to_string(i), 0.25 * row, 0.25 * column));
    }
    const auto window = [&](size_t count, const std::string& toml = "") {
        const std::vector<Station> some(dense.begin(), dense.begin() + static_cast<long>(count));
        TinyGrid tiny(some, {.nx = 12, .ny = 12, .depths = {5}, .spacing = 0.25});
        tiny.grid.ttsize = tiny.grid.nn * tiny.grid.ns * 4;
        GridSet grids;
        Parameters parameters;
        EXPECT_TRUE(parameters.parse(toml, "test"));
        EXPECT_TRUE(grids.add(&tiny.grid, parameters, 1));
        const GridRules& rules = grids.search_grids()[0].rules;
        return rules.window - 2.0 * grids.search_grids()[0].search->cluster_twin;
    };
    const double corner = std::hypot(2.75, 2.75) * velorix_test::kKmPerDegree / 3.5;
    EXPECT_NEAR(
        window(79),
        std::hypot(1.5, 2.75) * velorix_test::kKmPerDegree / 3.5 +
            (std::hypot(2.75, 2.75) - std::hypot(1.5, 2.75)) * velorix_test::kKmPerDegree / 3.5,
        2.0)
        << "few stations: all of them";
    // Forty stations 0.25 degrees apart fill a disk of 0.89 degrees; from an edge more.
    EXPECT_GT(window(144), 0.89 * velorix_test::kKmPerDegree / 3.5);
    EXPECT_LT(window(144), 0.55 * corner);
}

TEST(StreamRules, AreReadShownAndRefused) {
    const struct {
        const char* toml;
        const char* complaint;  // empty: taken
    } cases[] = {{"", ""},
                 {"phase_labels = 'trust'", ""},
                 {"phase_labels = 'P'", "phase_labels 'P' is none of auto, trust, p_first, ignore"},
                 {"stations_at_work = 'all'", ""},
                 {"stations_at_work = 'some'", "stations_at_work 'some' is none of learn, all"},
                 {"history = 600", ""},
                 {"history = 599.9", "history: must be 600.0 to 2592000.0 s"},
                 {"history = 2592000", ""},
                 {"history = 2592001", "history: must be"},
                 {"lateness = 0", ""},
                 {"lateness = -0.1", "lateness: must be 0.0 to"},
                 {"lateness = nan", "lateness: must be"},
                 {"reuse_picks = 3", "reuse_picks"}};
    for (const auto& c : cases) {
        velorix_test::LogCapture log;
        Parameters parameters, again;
        StreamRules rules, shown;
        ASSERT_TRUE(parameters.parse(c.toml, "test")) << c.toml;
        EXPECT_EQ(read_stream_rules(parameters, rules), *c.complaint == '\0') << c.toml;
        EXPECT_THAT(log.text(), HasSubstr(c.complaint));
        if (*c.complaint) continue;
        ASSERT_TRUE(again.parse(show_stream_rules(rules), "shown"));
        ASSERT_TRUE(read_stream_rules(again, shown));
        EXPECT_EQ(show_stream_rules(shown), show_stream_rules(rules));
        if (*c.toml) {
            const std::string key = std::string(c.toml).substr(0, std::string(c.toml).find(' '));
            EXPECT_THAT(show_stream_rules(rules), HasSubstr(key + " = "));
        }
    }
}

TEST(GridRules, AreCheckedAndWhatHasNoEffectIsNamed) {
    TinyGrid tiny(network());
    tiny.grid.ttsize = tiny.grid.nn * tiny.grid.ns * 4;
    const struct {
        const char* toml;
        bool good;
        const char* said;
    } cases[] = {
        {"[events.tiny]\nmin_p = -1", false, "events.tiny.min_p: must not be negative"},
        {"[events.tiny]\nmin_p = 0\nvelocity_sigma = 0.0", true, ""},
        {"[events.tiny]\nmax_scatter = inf", false,
         "events.tiny.max_scatter: must be a number, 0 or"},
        {"[events.tiny]\nwindow = 86400", true, ""},
        {"[events.tiny]\nwindow = 86401", false,
         "events.tiny.window: must be above 0, at most 86400"},
        {"[events.tiny]\nstep = 0", false, "events.tiny.step: must be above 0"},
        {"[events.tiny]\nmin_coverage = 1.0", true, ""},
        {"[events.tiny]\nmin_coverage = 1.01", false,
         "events.tiny.min_coverage: must be at most 1"},
        {"[events.tiny]\nscreen_stations = 0", false,
         "events.tiny.screen_stations: must be 1 or more"},
        {"[events.tiny]\nmin_picks = 'many'", false, "min_picks"},
        {"[grids.tiny]\np_max_resid = -1", false, "grids.tiny.p_max_resid: must not be negative"},
        {"[grids.tiny]\np_max_resid = 0\ns_max_resid = 0", true, ""},
        {"[grids.tiny]\nno_output = true", true, "grids.tiny.no_output: has no effect here"},
        {"[grids.tiny]\nnumber_threads = 3", true, "grids.tiny.number_threads: has no effect here"},
        {"[grids.tiny]\nsta_defining_arr = ['100']", true, ""},
        {"[grids.tiny]\ndrop_if_in_grid = ['x']", true, "grids.tiny.drop_if_in_grid: no grid 'x'"},
        {"[events.tiny]\nmin_pick = 1", true, "did you mean 'min_picks'?"},
        {"[event.tiny]\nmin_picks = 1", true, "did you mean 'events'?"},
        {"min_pick = 1", true, "did you mean 'events.tiny.min_picks'?"},
        {"latenes = 1", true, "did you mean 'lateness'?"}};
    for (const auto& c : cases) {
        velorix_test::LogCapture log;
        Parameters parameters;
        GridSet grids;
        ASSERT_TRUE(parameters.parse(c.toml, "test"));
        EXPECT_EQ(grids.add(&tiny.grid, parameters, 1), c.good) << c.toml;
        if (c.good) grids.complain_unknown(parameters);
        EXPECT_THAT(log.text(), HasSubstr(c.said)) << c.toml;
        if (!*c.said) {
            EXPECT_EQ(log.text(), "") << c.toml;
        }
        if (c.good && std::string(c.toml).starts_with("[")) {
            Parameters again;
            GridSet same;
            ASSERT_TRUE(again.parse(grids.show(), "shown"));
            ASSERT_TRUE(same.add(&tiny.grid, again, 1));
            EXPECT_EQ(same.show(), grids.show());
        }
    }
}

TEST(GridSets, RefuseGridsThatCannotBeSearched) {
    TinyGrid tiny(network()), no_p(network(), {.p_times = false, .name = "no_p"});
    for (TinyGrid* t : {&tiny, &no_p}) t->grid.ttsize = t->grid.nn * t->grid.ns * 4;
    velorix_test::LogCapture log;
    GridSet grids;
    ASSERT_TRUE(grids.add(&tiny.grid, Parameters(), 1));
    EXPECT_FALSE(grids.add(&tiny.grid, Parameters(), 1));
    EXPECT_THAT(log.text(), HasSubstr("two grids are called 'tiny'"));
    EXPECT_FALSE(grids.add(&no_p.grid, Parameters(), 1));
    EXPECT_THAT(log.text(), HasSubstr("grid 'no_p' has no stations, no nodes or no P times"));
    EXPECT_EQ(grids.size(), 1u);
    EXPECT_EQ(grids.names(), std::vector<std::string>{"tiny"});
    GridSet damaged;
    const_cast<float*>(tiny.grid.P_times)[7] = -3.0f;
    EXPECT_FALSE(damaged.add(&tiny.grid, Parameters(), 1));
    EXPECT_THAT(log.text(), HasSubstr("velorix_check_times: Grid tiny"));
}

TEST(Stations, AreFoundByNetworkAndCode) {
    std::vector<Station> named;
    for (const char* code : {"AAA", "XX_BBB", "YY.CCC"}) {
        named.push_back(velorix_test::make_station(code, 0.1, 0.1));
    }
    TinyGrid tiny(named);
    tiny.grid.ttsize = tiny.grid.nn * tiny.grid.ns * 4;
    GridSet grids;
    ASSERT_TRUE(grids.add(&tiny.grid, Parameters(), 1));
    const struct {
        const char *network, *station;
        int number;
    } cases[] = {{"", "AAA", 0},  {"ZZ", "AAA", 0},  {"XX", "BBB", 1}, {"", "XX_BBB", 1},
                 {"", "BBB", -1}, {"ZZ", "BBB", -1}, {"YY", "CCC", 2}, {"XX", "CCC", -1}};
    for (const auto& c : cases) {
        Pick pick;
        pick.network = c.network;
        pick.station = c.station;
        EXPECT_EQ(grids.search_grids()[0].station_of(pick), c.number) << c.network << c.station;
    }
}

}  // namespace
}  // namespace velorix::assoc
