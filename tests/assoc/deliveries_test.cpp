// Final events are the same however the picks are delivered, and wherever a stream begins.
#include <numeric>

#include "synthetic_picks.h"

namespace velorix::assoc {
namespace {

class Deliveries : public testing::Test {
  protected:
    Deliveries() {
        tiny_.grid.ttsize = tiny_.grid.nn * tiny_.grid.ns * 4;
        rules_.lateness = 20.0;
        rules_.history = 600.0;
    }

    /// Some of them seconds apart, so that their picks mingle.
    std::vector<Pick> stream(int events, double apart, unsigned seed) const {
        std::mt19937 random(seed);
        std::uniform_real_distribution<double> part(0.0, 1.0);
        std::vector<Quake> quakes;
        double time = 1e9 + 50.0;
        for (int i = 0; i < events; ++i) {
            quakes.push_back({time, 0.2 + 0.5 * part(random), 0.2 + 0.5 * part(random),
                              2.0 + 13.0 * part(random)});
            time += i % 4 == 3 ? 4.0 : apart * (0.5 + part(random));
        }
        auto picks = picks_of(quakes, 0, seed);
        for (double t = 1e9; t < time + 100.0; t += 4.0 * part(random)) {
            picks.push_back(pick_of(network()[random() % 16], random() % 2 ? "P" : "S", t));
        }
        std::ranges::sort(picks, {}, &Pick::time);
        return picks;
    }

    struct Delivery {
        double when;
        size_t pick;
    };
    /// Each pick some time late, less than the lateness.
    std::vector<Delivery> delays(const std::vector<Pick>& picks, std::mt19937& random) const {
        std::uniform_real_distribution<double> late(
            0.0, std::uniform_real_distribution<double>(0.0, rules_.lateness)(random));
        std::vector<Delivery> out;
        for (size_t i = 0; i < picks.size(); ++i) out.push_back({picks[i].time + late(random), i});
        std::ranges::sort(out, {}, &Delivery::when);
        return out;
    }

    /// Documents of the final events without their tracks, one a line.
    static std::string documents(const Told& told) {
        std::string out;
        for (Report report : told.reports) {
            if (report.kind != Kind::final) continue;
            report.track.clear();
            out += event_document(report, "") + "\n";
        }
        return out;
    }

    std::string deliver(const std::vector<Pick>& picks, unsigned seed) {
        std::mt19937 random(seed);
        GridSet grids;
        EXPECT_TRUE(grids.add(&tiny_.grid, Parameters(), 1 + static_cast<int>(seed % 4)));
        Told told;
        Listener listener;
        listener.on_report = [&](const Report& report) { told.reports.push_back(report); };
        Associator associator(grids, rules_, listener, seed % 3 == 0);
        for (const Delivery& delivery : delays(picks, random)) {
            if (random() % 8 == 0) {
                EXPECT_TRUE(associator.advance_clock(delivery.when));
            }
            EXPECT_EQ(associator.add(picks[delivery.pick]), Added::taken);
            if (random() % 16 == 0) {
                EXPECT_EQ(associator.add(picks[delivery.pick]), Added::duplicate);
            }
        }
        EXPECT_TRUE(associator.finish());
        EXPECT_EQ(associator.fates().taken_in, associator.fates().done());
        EXPECT_EQ(associator.fates().waiting, 0);
        return documents(told);
    }

    velorix_test::TinyGrid tiny_{
        network(), {.nx = 19, .ny = 19, .depths = {1, 5, 9, 13, 17}, .spacing = 0.05}};
    StreamRules rules_;
};

TEST_F(Deliveries, ChunksDelaysDisorderThreadsAndAnnouncementsChangeNoFinalEvent) {
    const auto picks = stream(14, 40.0, 11);
    GridSet grids;
    ASSERT_TRUE(grids.add(&tiny_.grid, Parameters(), 1));
    const std::string whole = documents(associate_all(grids, rules_, picks));
    ASSERT_GE(std::ranges::count(whole, '\n'), 12);
    for (unsigned seed = 0; seed < 20; ++seed) EXPECT_EQ(deliver(picks, seed), whole) << seed;
}

TEST_F(Deliveries, ARunThatStartsAHistoryBeforeAnEventGivesItUnchanged) {
    const auto picks = stream(60, 60.0, 12);
    GridSet grids;
    ASSERT_TRUE(grids.add(&tiny_.grid, Parameters(), 1));
    const Told whole = associate_all(grids, rules_, picks);
    std::mt19937 random(13);
    for (int i = 0; i < 6; ++i) {
        const size_t first = random() % (picks.size() / 2);
        const double start = picks[first].time + rules_.history + 2.0 * grids.longest_window();
        const auto later = [&](Told told) {
            std::erase_if(told.reports, [&](const Report& r) { return r.event.time < start; });
            return documents(told);
        };
        GridSet again;
        ASSERT_TRUE(again.add(&tiny_.grid, Parameters(), 1));
        const std::vector<Pick> rest(picks.begin() + static_cast<std::ptrdiff_t>(first),
                                     picks.end());
        const std::string expected = later(whole);
        EXPECT_GE(std::ranges::count(expected, '\n'), 10);
        EXPECT_EQ(later(associate_all(again, rules_, rest)), expected) << first;
    }
}

TEST_F(Deliveries, PicksBehindTheLatenessAreLeftOutAndSaid) {
    GridSet grids;
    ASSERT_TRUE(grids.add(&tiny_.grid, Parameters(), 1));
    Associator associator(grids, rules_, {});
    const Station station = network()[0];
    EXPECT_EQ(associator.add(pick_of(station, "P", 1e9)), Added::taken);
    EXPECT_EQ(associator.add(pick_of(station, "P", 1e9 - 30.0)), Added::late);
    EXPECT_EQ(associator.add(pick_of(station, "P", 1e9 - 20.0)), Added::taken) << "exactly it";
    EXPECT_TRUE(associator.advance_clock(1e9 + 20.0));
    EXPECT_EQ(associator.add(pick_of(station, "P", 1e9 - 0.1)), Added::late);
    EXPECT_EQ(associator.add(pick_of(station, "P", NAN)), Added::late);
    Pick stranger = pick_of(station, "P", 1e9 + 1.0);
    stranger.station = "NONE";
    EXPECT_EQ(associator.add(stranger), Added::taken);
    ASSERT_TRUE(associator.finish());
    EXPECT_EQ(associator.fates().late, 3);
    EXPECT_EQ(associator.fates().unknown, 1);
    EXPECT_EQ(associator.fates().in_no_event, 2);
    EXPECT_EQ(associator.strangers().at("XX.NONE"), 1);
}

}  // namespace
}  // namespace velorix::assoc
