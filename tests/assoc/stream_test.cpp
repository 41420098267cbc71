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
        const double lat = 0.13 + 0.2 * row + 0.03 * (i % 3), lon = 0.11 + 0.2 * (i % 4);
        out.push_back(velorix_test::make_station(std::to_string(100 + i), lat, lon));
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
            for (const auto& [phase, velocity] : {std::pair{"P", 6.0}, std::pair{"S", 3.5}}) {
                const double travel = ray_time(delta, q.depth, velocity);
                picks.push_back(pick_of(s, phase, q.time + travel + error(random)));
            }
        }
    }
    std::uniform_real_distribution<double> when(0.0, 1000.0);
    for (int i = 0; i < noise; ++i) {
        picks.push_back(pick_of(stations[random() % 16], i % 2 ? "P" : "S", 1e9 + when(random)));
    }
    std::ranges::sort(picks, {}, &Pick::time);
    return picks;
}

class Associating : public testing::Test {
  protected:
    // The records made by hand lack the byte size from which the extreme times are found.
    Associating() { tiny_.grid.ttsize = tiny_.grid.nn * tiny_.grid.ns * 4; }
    std::vector<Event> run(const std::vector<Pick>& picks, int threads = 1, double from = 0.0) {
        GridSet grids;
        EXPECT_TRUE(grids.add(&tiny_.grid, file_, threads));
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

    velorix_test::TinyGrid tiny_{
        network(), {.nx = 19, .ny = 19, .depths = {1, 5, 9, 13, 17}, .spacing = 0.05}};
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

TEST_F(Associating, ReusedPicksCostNoEvent) {
    const auto picks = picks_of(quakes_, 150, 1);
    rules_.reuse_picks = true;
    EXPECT_EQ(run(picks).size(), quakes_.size());
}

// Station 105 has one P and one S.
TEST_F(Associating, ParametersOfTheGridSayWhichPicksJoin) {
    const auto picks = picks_of({quakes_[0]}, 0, 8);
    const struct {
        const char* toml;
        int p, s;
        const char* of_105;  // phases; small where they do not define the event
    } cases[] = {{"", 16, 16, "PS"},
                 {"associate_S = false", 16, 0, "P"},
                 {"try_S = false", 16, 16, "PS"},
                 {"station_weights = ['105 0 1 9 9', '.* 1 1 9 9']", 16, 16, "pS"},
                 {"station_weights = ['105 1 1 0 0', '.* 1 1 9 9']", 15, 15, ""},
                 {"p_weights = ['0 0', '1 0']", 0, 0, ""}};
    for (const auto& c : cases) {
        ParameterFile file;
        ASSERT_EQ(pfparse((std::string("[grids.tiny]\n") + c.toml).c_str(), "test", &file.root), 0);
        std::swap(file_.root, file.root);
        const auto events = run(picks);
        std::swap(file_.root, file.root);
        if (c.p == 0) {
            EXPECT_TRUE(events.empty()) << "no P defines one";
            continue;
        }
        ASSERT_EQ(events.size(), 1u) << c.toml;
        EXPECT_EQ(events[0].p, c.p) << c.toml;
        EXPECT_EQ(events[0].s, c.s) << c.toml;
        std::string phases;
        for (const EventPick& pick : events[0].picks) {
            if (pick.pick.station == "105")
                phases += static_cast<char>(pick.defining ? pick.phase : std::tolower(pick.phase));
        }
        EXPECT_EQ(phases, c.of_105) << c.toml;
    }
}

// Near a station the limits span the time between P and S.
TEST_F(Associating, SComesAfterP) {
    GridSet grids;
    ASSERT_TRUE(grids.add(&tiny_.grid, file_, 1));
    SearchGrid& grid = grids.grids()[0];
    const Spot spot{2.0, 3.0, 2.0};
    const Times times = grid.times.times(spot, 0);
    const double between = times.s - times.p;
    grid.stations[0].p_limit = grid.stations[0].s_limit = between;
    Waiting late_p, early_s;
    late_p.pick.time = 1e9 + times.p + 0.7 * between;
    early_s.pick.time = 1e9 + times.s - 0.4 * between;
    for (Waiting* w : {&late_p, &early_s}) w->roles = {{.station = 0, .place = 0}};
    late_p.roles[0].p = early_s.roles[0].s = true;
    ASSERT_LT(early_s.pick.time, late_p.pick.time);
    Waiting* const picks[] = {&early_s, &late_p};
    Solution at;
    at.spot = spot;
    at.time = 1e9;
    const auto members = Locator(grid, 0).associate(picks, at, 1.0);
    ASSERT_EQ(members.size(), 1u);
    EXPECT_EQ(members[0].phase, 'S') << "it fits better";
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
        if (pick.station == "105" && pick.phase == "P") pick.time += 1.2;
    }
    std::ranges::sort(picks, {}, &Pick::time);
    const auto events = run(picks);
    ASSERT_EQ(events.size(), 1u);
    ASSERT_EQ(events[0].left_out.size(), 1u);
    EXPECT_EQ(events[0].left_out[0].pick.station, "105");
    EXPECT_THAT(events[0].left_out[0].reason, testing::HasSubstr("residual beyond"));
}

TEST_F(Associating, ParametersReadBackAsTheyAreShown) {
    GridSet first, second;
    ASSERT_TRUE(pfparse("[events.tiny]\nmin_picks = 11\n[grids.tiny]\ncluster_twin = "
                        "0.7\nnsta_thresh = [\"1.5 4\"]\n",
                        "test", &file_.root) == 0);
    ASSERT_TRUE(first.add(&tiny_.grid, file_, 1));
    const std::string shown =
        show_grid_rules("tiny", *first.grids()[0].search, first.grids()[0].rules);
    EXPECT_THAT(shown, testing::HasSubstr("min_picks = 11\n"));
    EXPECT_THAT(shown, testing::HasSubstr("cluster_twin = 0.7\n"));
    ParameterFile again;
    ASSERT_EQ(pfparse(shown.c_str(), "shown", &again.root), 0);
    ASSERT_TRUE(second.add(&tiny_.grid, again, 1));
    EXPECT_EQ(show_grid_rules("tiny", *second.grids()[0].search, second.grids()[0].rules), shown);
}

}  // namespace
}  // namespace velorix::assoc
