// Synthetic earthquakes under a small network: found once each, where and when they were, whatever
// the number of threads and wherever the stream begins.
#include <gmock/gmock.h>

#include "events/location.h"
#include "synthetic_picks.h"

namespace velorix::assoc {
namespace {

class Associating : public testing::Test {
  protected:
    // The records made by hand lack the byte size from which the extreme times are found.
    Associating() { tiny_.grid.ttsize = tiny_.grid.nn * tiny_.grid.ns * 4; }
    std::vector<Event> run(const std::vector<Pick>& picks, int threads = 1, double from = 0.0) {
        GridSet grids;
        EXPECT_TRUE(grids.add(&tiny_.grid, parameters_, threads));
        std::vector<Pick> later;
        std::ranges::copy_if(picks, std::back_inserter(later),
                             [&](const Pick& pick) { return pick.time >= from; });
        told_ = associate_all(grids, rules_, later);
        return told_.events();
    }

    velorix_test::TinyGrid tiny_{
        network(), {.nx = 19, .ny = 19, .depths = {1, 5, 9, 13, 17}, .spacing = 0.05}};
    Parameters parameters_;
    StreamRules rules_;
    Told told_;
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

TEST_F(Associating, SaysWhereTheGridFixesTheDepth) {
    const auto picks = picks_of({{1e9 + 100.3, 0.42, 0.37, 7.0}}, 0, 1);
    EXPECT_FALSE(run(picks).at(0).fixed_depth);
    velorix_test::TinyGrid flat(network(), {.nx = 19, .ny = 19, .depths = {7}, .spacing = 0.05});
    flat.grid.ttsize = flat.grid.nn * flat.grid.ns * 4;
    GridSet grids;
    ASSERT_TRUE(grids.add(&flat.grid, parameters_, 1));
    const auto events = associate_all(grids, rules_, picks).events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_TRUE(events[0].fixed_depth);
    EXPECT_EQ(events[0].depth, 7.0);
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
        ASSERT_TRUE(parameters_.parse(std::string("[grids.tiny]\n") + c.toml, "test"));
        const auto events = run(picks);
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

TEST_F(Associating, NoiseAloneIsNoEvent) { EXPECT_TRUE(run(picks_of({}, 400, 4)).empty()); }

TEST_F(Associating, HoldsPicksOfAFewWindowsOnly) {
    std::vector<Quake> many;
    for (int i = 0; i < 60; ++i) many.push_back({1e9 + 100.0 + 120.0 * i, 0.42, 0.37, 7.0});
    const auto events = run(picks_of(many, 0, 5));
    EXPECT_EQ(events.size(), many.size());
    EXPECT_LT(told_.most_waiting, 400);  // of 1920
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
    EXPECT_EQ(events[0].left_out[0].reason, Reason::beyond_limit);
    EXPECT_THAT(reason_text(events[0].left_out[0]), testing::HasSubstr("residual beyond"));
}

// A station that picks only a while after the event is at work as well as one that picked before.
TEST_F(Associating, StationsThatPickSoonAfterwardsCountAsAtWork) {
    auto picks = picks_of({quakes_[0]}, 0, 9);
    std::erase_if(picks, [](const Pick& pick) { return pick.station == "106"; });
    rules_.at_work = AtWork::learn;
    const auto without = run(picks);
    picks.push_back(pick_of(network()[6], "P", quakes_[0].time + 25.0));
    const auto with = run(picks);
    rules_.at_work = AtWork::all;
    const auto all = run(picks);
    ASSERT_TRUE(without.size() == 1 && with.size() == 1 && all.size() == 1);
    EXPECT_EQ(without[0].coverage, 1.0);
    EXPECT_LT(with[0].coverage, 1.0);
    EXPECT_EQ(with[0].coverage, all[0].coverage);
}

// Of the nearest station, right behind the origin.
TEST_F(Associating, SaysWhyAnEarlyPickWasLeftOut) {
    auto picks = picks_of({{1e9 + 100.3, 0.36, 0.31, 1.0}}, 0, 7);
    picks[0].time = 1e9 + 100.32;
    const std::string nearest = picks[0].station;
    ASSERT_TRUE(
        parameters_.parse("[grids.tiny]\np_max_resid = 0.2\np_max_resid_sweep = 0.2\n"
                          "cluster_twin = 0.4\n",
                          "test"));
    const auto events = run(picks);
    ASSERT_EQ(events.size(), 1u);
    ASSERT_EQ(events[0].left_out.size(), 1u);
    EXPECT_EQ(events[0].left_out[0].pick.station, nearest);
}

TEST_F(Associating, ParametersReadBackAsTheyAreShown) {
    GridSet first, second;
    ASSERT_TRUE(
        parameters_.parse("history = 900\nphase_labels = 'ignore'\n[events.tiny]\n"
                          "min_picks = 11\n[grids.tiny]\ncluster_twin = 0.7\n"
                          "nsta_thresh = [\"1.5 4\"]\n",
                          "test"));
    ASSERT_TRUE(read_stream_rules(parameters_, rules_));
    ASSERT_TRUE(first.add(&tiny_.grid, parameters_, 1));
    const std::string shown = show_stream_rules(rules_) + first.show();
    for (const char* line : {"min_picks = 11\n", "cluster_twin = 0.7\n", "history = 900.0\n",
                             "phase_labels = \"ignore\"\n"}) {
        EXPECT_THAT(shown, testing::HasSubstr(line));
    }
    Parameters again;
    StreamRules rules;
    ASSERT_TRUE(again.parse(shown, "shown"));
    ASSERT_TRUE(read_stream_rules(again, rules));
    ASSERT_TRUE(second.add(&tiny_.grid, again, 1));
    EXPECT_EQ(show_stream_rules(rules) + second.show(), shown);
    EXPECT_EQ(rules_digest(second, rules), rules_digest(first, rules_));
    rules.lateness += 1.0;
    EXPECT_NE(rules_digest(second, rules), rules_digest(first, rules_));
}

}  // namespace
}  // namespace velorix::assoc
