// Events as they form: when they are announced, revised, made final and withdrawn.
#include <gmock/gmock.h>

#include "synthetic_picks.h"

namespace velorix::assoc {
namespace {

class Tracks : public testing::Test {
  protected:
    Tracks() {
        tiny_.grid.ttsize = tiny_.grid.nn * tiny_.grid.ns * 4;
        rules_.at_work = AtWork::all;
        rules_.lateness = 5.0;
        EXPECT_TRUE(grids_.add(&tiny_.grid, Parameters(), 1));
        Listener listener;
        listener.on_report = [this](const Report& report) {
            reports_.push_back(report);
            when_.push_back(now_);
        };
        associator_.emplace(grids_, rules_, listener, true);
    }

    void deliver(const std::vector<Pick>& picks) {
        for (const Pick& pick : picks) {
            now_ = std::max(now_, pick.time);
            ASSERT_EQ(associator_->add(pick), Added::taken);
        }
    }
    /// The clock runs on without picks.
    void wait(double seconds) {
        for (double end = now_ + seconds; now_ < end; now_ += 1.0) {
            ASSERT_TRUE(associator_->advance_clock(now_));
        }
    }
    std::string kinds() const {
        std::string out;
        for (const Report& report : reports_) {
            const std::string kind = kind_name(report.kind);
            if (kind != "revised" || !out.ends_with("revised ")) out += kind + " ";
        }
        return out;
    }

    velorix_test::TinyGrid tiny_{
        network(), {.nx = 19, .ny = 19, .depths = {1, 5, 9, 13, 17}, .spacing = 0.05}};
    StreamRules rules_;
    GridSet grids_;
    std::optional<Associator> associator_;
    double now_ = 0.0;
    std::vector<Report> reports_;
    std::vector<double> when_;
    const Quake quake_{1e9 + 100.3, 0.42, 0.37, 7.0};
};

TEST_F(Tracks, AnEventIsAnnouncedWithThePickThatCompletesItAndKeepsItsTrack) {
    const auto picks = picks_of({quake_}, 0, 1);
    deliver(picks);
    ASSERT_FALSE(reports_.empty());
    EXPECT_EQ(reports_[0].kind, Kind::announced);
    EXPECT_EQ(when_[0], picks[7].time) << "eight picks make an event";
    EXPECT_EQ(reports_[0].event.defining, 8);
    EXPECT_EQ(reports_[0].event.coverage, 1.0) << "other waves are under way";
    EXPECT_NEAR(reports_[0].event.lat, quake_.lat, 0.1);
    EXPECT_EQ(reports_[0].event.id, "");
    wait(400.0);
    EXPECT_EQ(kinds(), "new revised final ") << "without another pick";
    for (size_t i = 0; i < reports_.size(); ++i) {
        EXPECT_EQ(reports_[i].track, reports_[0].track);
        EXPECT_EQ(reports_[i].version,
                  i + 1 == reports_.size() ? kFinalVersion : static_cast<int>(i) + 1);
    }
    // Of 2001-09-09 01:48:20, give or take the first place's error.
    EXPECT_THAT(reports_[0].track, testing::MatchesRegex("t20010909T0148[12][0-9]-[0-9a-f]+"));
    EXPECT_NE(reports_.back().event.id, "");
    EXPECT_EQ(reports_.back().event.picks.size(), 32u);
}

TEST_F(Tracks, TwoEventsAtOnceHaveTwoTracks) {
    deliver(picks_of({{1e9 + 100.0, 0.61, 0.22, 11.0}, {1e9 + 104.0, 0.23, 0.68, 4.0}}, 0, 2));
    wait(400.0);
    std::set<std::string> tracks;
    int finals = 0;
    for (const Report& report : reports_) {
        tracks.insert(report.track);
        finals += report.kind == Kind::final;
        EXPECT_NE(report.kind, Kind::withdrawn);
    }
    EXPECT_EQ(finals, 2);
    EXPECT_EQ(tracks.size(), 2u);
}

// The four nearest stations make an event, as far as can be told; then the farther half of the
// stations joins it, and those between, which are at work, have nothing.
TEST_F(Tracks, AnEventThatDoesNotHoldIsWithdrawn) {
    GridSet strict;
    Parameters parameters;
    ASSERT_TRUE(parameters.parse("[events.tiny]\nmin_coverage = 0.8\nmin_stations = 5\n", "test"));
    ASSERT_TRUE(strict.add(&tiny_.grid, parameters, 1));
    Listener listener;
    listener.on_report = [this](const Report& report) { reports_.push_back(report); };
    associator_.emplace(strict, rules_, listener, true);
    auto all = network();
    std::ranges::sort(all, {}, [&](const Station& s) {
        return flat_distance(quake_.lat, quake_.lon, s.lat, s.lon);
    });
    auto picks = picks_of({quake_}, 0, 3);
    std::erase_if(picks, [&](const Pick& pick) {
        const auto at =
            std::ranges::find_if(all, [&](const Station& s) { return pick.station == s.sta; });
        return at - all.begin() >= 5 && at - all.begin() < 11;
    });
    deliver(picks);
    EXPECT_EQ(kinds().substr(0, 4), "new ");
    wait(400.0);
    EXPECT_EQ(kinds(), "new withdrawn ");
    EXPECT_EQ(reports_.back().verdict.lack, Lack::coverage);
    EXPECT_GT(reports_.back().verdict.need, reports_.back().verdict.have);
}

TEST_F(Tracks, NoiseIsNotAnnounced) {
    deliver(picks_of({}, 250, 6));
    wait(400.0);
    EXPECT_EQ(kinds(), "");
}

}  // namespace
}  // namespace velorix::assoc
