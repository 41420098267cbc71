// Synthetic earthquakes under a small network: found once each, where and when they were, whatever
// the number of threads and wherever the stream begins.
#include <gmock/gmock.h>

#include <memory>
#include <random>

#include "associator.h"
#include "support/parameters.h"
#include "support/tiny_grid.h"

namespace velorix::assoc {
namespace {

using velorix_test::flat_distance;
using velorix_test::ray_time;

std::vector<Station> network() {
    std::vector<Station> out;
    for (int i = 0; i < 16; ++i) {
        const int row = i / 4;
        Station station{0.13 + 0.2 * row + 0.03 * (i % 3), 0.11 + 0.2 * (i % 4), 0.0, {}, i, 0};
        snprintf(station.sta, sizeof station.sta, "S%02d", i);
        out.push_back(station);
    }
    return out;
}

struct Quake {
    double time, lat, lon, depth;
};

Pick pick_of(const Station& station, const char* phase, double time) {
    Pick pick;
    pick.time = time;
    pick.network = "XX";
    pick.station = station.sta;
    pick.phase = phase;
    return pick;
}

/// Picks of earthquakes off the nodes, with noise and unrelated picks.
std::vector<Pick> picks_of(const std::vector<Quake>& quakes, int noise, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<double> error(0.0, 0.03);
    std::vector<Pick> picks;
    const auto stations = network();
    for (const Quake& q : quakes) {
        for (const Station& s : stations) {
            const double delta = flat_distance(q.lat, q.lon, s.lat, s.lon);
            picks.push_back(
                pick_of(s, "P", q.time + ray_time(delta, q.depth, 6.0) + error(random)));
            picks.push_back(
                pick_of(s, "S", q.time + ray_time(delta, q.depth, 3.5) + error(random)));
        }
    }
    std::uniform_real_distribution<double> when(0.0, 1000.0);
    for (int i = 0; i < noise; ++i) {
        picks.push_back(pick_of(stations[random() % 16], i % 2 ? "P" : "S", 1e9 + when(random)));
    }
    std::sort(picks.begin(), picks.end(),
              [](const Pick& a, const Pick& b) { return a.time < b.time; });
    return picks;
}

// The records made by hand lack the byte size from which the extreme times are found.
void set_table_size(Velorix& grid) { grid.ttsize = grid.nn * grid.ns * 4; }

class Associating : public testing::Test {
  protected:
    Associating() {
        options_.nx = options_.ny = 19;
        options_.spacing = 0.05;
        options_.depths = {1, 5, 9, 13, 17};
    }
    std::vector<Event> run(const std::vector<Pick>& picks, int threads = 1, double from = 0.0) {
        velorix_test::TinyGrid tiny(network(), options_);
        set_table_size(tiny.grid);
        GridSet grids;
        EXPECT_TRUE(grids.add(&tiny.grid, file_, threads));
        for (SearchGrid& grid : grids.grids()) std::fill(grid.alive.begin(), grid.alive.end(), 1);
        Associator associator(grids, rules_);
        for (const Pick& pick : picks) {
            if (pick.time >= from) {
                EXPECT_TRUE(associator.add(pick));
            }
        }
        EXPECT_TRUE(associator.finish());
        most_waiting_ = associator.waiting();
        auto events = associator.events();
        name_events(events);
        return events;
    }

    velorix_test::TinyGridOptions options_;
    ParameterFile file_;
    ProgramRules rules_;
    long most_waiting_ = 0;
    // Two of them 4 s apart, so that their picks mingle.
    const std::vector<Quake> quakes_{{1e9 + 100.3, 0.42, 0.37, 7.0},
                                     {1e9 + 300.0, 0.61, 0.22, 11.0},
                                     {1e9 + 304.0, 0.23, 0.68, 4.0},
                                     {1e9 + 700.9, 0.33, 0.55, 14.0}};
};

TEST_F(Associating, FindsEveryEarthquakeOnceAndWhereItWas) {
    const auto events = run(picks_of(quakes_, 150, 1));
    ASSERT_EQ(events.size(), quakes_.size());
    for (size_t i = 0; i < events.size(); ++i) {
        EXPECT_NEAR(events[i].time, quakes_[i].time, 0.15) << i;
        EXPECT_NEAR(events[i].lat, quakes_[i].lat, 0.01) << i;
        EXPECT_NEAR(events[i].lon, quakes_[i].lon, 0.01) << i;
        EXPECT_NEAR(events[i].depth, quakes_[i].depth, 2.5) << i;
        EXPECT_GE(events[i].p + events[i].s, 28) << i;
        EXPECT_LT(events[i].error.major, 3.0) << i;
    }
}

TEST_F(Associating, DoesNotDependOnThreads) {
    const auto picks = picks_of(quakes_, 300, 2);
    const auto one = run(picks, 1), three = run(picks, 3);
    ASSERT_EQ(one.size(), three.size());
    for (size_t i = 0; i < one.size(); ++i) {
        EXPECT_EQ(one[i].time, three[i].time);
        EXPECT_EQ(one[i].lat, three[i].lat);
        EXPECT_EQ(one[i].picks.size(), three[i].picks.size());
    }
}

TEST_F(Associating, DoesNotDependOnWhereTheStreamBegins) {
    const auto picks = picks_of(quakes_, 300, 3);
    const auto all = run(picks);
    for (double shift : {3.3, 17.0, 41.7, 150.0, 201.1}) {
        const auto part = run(picks, 1, 1e9 + shift);
        // Events whose picks all lie behind the start are the same ones.
        std::vector<Event> expected;
        for (const Event& e : all) {
            if (e.time > 1e9 + shift + 60.0) expected.push_back(e);
        }
        ASSERT_GE(part.size(), expected.size()) << shift;
        const size_t first = part.size() - expected.size();
        for (size_t i = 0; i < expected.size(); ++i) {
            EXPECT_EQ(part[first + i].id, expected[i].id) << shift;
            EXPECT_EQ(part[first + i].picks.size(), expected[i].picks.size()) << shift;
        }
    }
}

TEST_F(Associating, NoiseAloneIsNoEvent) { EXPECT_TRUE(run(picks_of({}, 400, 4)).empty()); }

TEST_F(Associating, HoldsPicksOfAFewWindowsOnly) {
    std::vector<Quake> many;
    for (int i = 0; i < 60; ++i) many.push_back({1e9 + 100.0 + 120.0 * i, 0.42, 0.37, 7.0});
    const auto events = run(picks_of(many, 0, 5));
    EXPECT_EQ(events.size(), many.size());
    EXPECT_LT(most_waiting_, 300);  // of 1920
}

TEST_F(Associating, SPicksLabelledPAreRecognisedWhenLabelsAreNotTrusted) {
    auto picks = picks_of({quakes_[0]}, 0, 6);
    for (Pick& pick : picks) pick.phase = "P";
    rules_.labels = Labels::p_first;
    const auto events = run(picks);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_GE(events[0].s, 14);
    EXPECT_GE(events[0].p, 14);
}

TEST_F(Associating, SaysWhyAPickWasLeftOut) {
    auto picks = picks_of({quakes_[0]}, 0, 7);
    for (Pick& pick : picks) {
        if (pick.station == "S05" && pick.phase == "P") pick.time += 1.2;
    }
    std::sort(picks.begin(), picks.end(),
              [](const Pick& a, const Pick& b) { return a.time < b.time; });
    const auto events = run(picks);
    ASSERT_EQ(events.size(), 1u);
    ASSERT_EQ(events[0].left_out.size(), 1u);
    EXPECT_EQ(events[0].left_out[0].pick.station, "S05");
    EXPECT_THAT(events[0].left_out[0].reason, testing::HasSubstr("residual beyond"));
}

TEST_F(Associating, CountsStationsInNoGrid) {
    velorix_test::TinyGrid tiny(network(), options_);
    set_table_size(tiny.grid);
    GridSet grids;
    ASSERT_TRUE(grids.add(&tiny.grid, file_, 1));
    Associator associator(grids, rules_);
    Pick pick = pick_of(network()[0], "P", 1e9);
    pick.station = "ELSE";
    ASSERT_TRUE(associator.add(pick));
    ASSERT_TRUE(associator.finish());
    EXPECT_EQ(associator.unknown().at("XX.ELSE"), 1);
}

TEST_F(Associating, ParametersReadBackAsTheyAreShown) {
    velorix_test::TinyGrid tiny(network(), options_);
    set_table_size(tiny.grid);
    GridSet first, second;
    ASSERT_TRUE(pfparse("[events.tiny]\nmin_picks = 11\n[grids.tiny]\ncluster_twin = "
                        "0.7\nnsta_thresh = [\"1.5 4\"]\n",
                        "test", &file_.root) == 0);
    ASSERT_TRUE(first.add(&tiny.grid, file_, 1));
    const std::string shown =
        show_grid_rules("tiny", *first.grids()[0].search, first.grids()[0].rules);
    EXPECT_THAT(shown, testing::HasSubstr("min_picks = 11\n"));
    EXPECT_THAT(shown, testing::HasSubstr("cluster_twin = 0.7\n"));
    ParameterFile again;
    ASSERT_EQ(pfparse(shown.c_str(), "shown", &again.root), 0);
    ASSERT_TRUE(second.add(&tiny.grid, again, 1));
    EXPECT_EQ(show_grid_rules("tiny", *second.grids()[0].search, second.grids()[0].rules), shown);
}

}  // namespace
}  // namespace velorix::assoc
