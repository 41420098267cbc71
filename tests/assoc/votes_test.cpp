// Votes for origin times, counted at once and pick by pick, against counting by definition.
#include <gtest/gtest.h>

#include <deque>
#include <map>

#include "events/timeline.h"
#include "events/vote_book.h"
#include "synthetic_picks.h"

namespace velorix::assoc {
namespace {

class Votes : public testing::Test {
  protected:
    void use(const std::string& toml) {
        tiny_.grid.ttsize = tiny_.grid.nn * tiny_.grid.ns * 4;
        Parameters parameters;
        ASSERT_TRUE(parameters.parse(toml, "test"));
        ASSERT_TRUE(grids_.add(&tiny_.grid, parameters, 1));
    }
    const SearchGrid& grid() const { return grids_.search_grids()[0]; }

    /// Random picks, each station's far enough apart to be no repetition.
    std::vector<Pick> random_picks(int count, unsigned seed) const {
        std::mt19937 random(seed);
        std::vector<Pick> out;
        std::map<std::string, double> last;
        for (double time = 1e9; static_cast<int>(out.size()) < count;
             time += 0.01 * static_cast<double>(random() % 60)) {
            const Station station = network()[random() % 16];
            const std::string key = station.sta;
            if (last.count(key) && time - last[key] < 8.0) continue;
            last[key] = time;
            out.push_back(pick_of(station, random() % 2 ? "P" : "S", time));
        }
        return out;
    }

    /// Largest count over the nodes of picks that go back to a bin or the next, by definition.
    int votes_at(const Screen& screen, const std::vector<const Waiting*>& picks,
                 int64_t bin) const {
        int best = 0;
        for (size_t node = 0; node < screen.nodes(); ++node) {
            int all = 0, p = 0;
            for (const Waiting* w : picks) {
                const Role& role = w->roles[0];
                const auto goes_to = [&](float travel, int64_t from, int64_t to) {
                    const int64_t at = screen.bin_of(w->pick.time - travel);
                    return travel >= 0.0f && at >= from && at <= to;
                };
                const float tp = screen.p_time(node, role.station);
                const float ts = screen.s_time(node, role.station);
                all += role.p && goes_to(tp, bin, bin + 1);
                all += role.search_s && goes_to(ts, bin, bin + 1);
                p += role.p && goes_to(tp, bin - 1, bin + 1);
            }
            if (p >= grid().rules.min_p) best = std::max(best, all);
        }
        return best;
    }

    velorix_test::TinyGrid tiny_{network(),
                                 {.nx = 9, .ny = 9, .depths = {2, 9, 16}, .spacing = 0.1}};
    GridSet grids_;
};

TEST_F(Votes, OfScreeningAreThoseOfTheDefinition) {
    use("");
    const Screen screen(grid());
    EXPECT_GE(screen.width(), 0.6 * grid().search->cluster_twin);
    EXPECT_LE(screen.nodes(), 600u);
    for (const Labels labels : {Labels::p_first, Labels::trust}) {
        std::deque<Waiting> waiting;
        std::vector<const Waiting*> all;
        std::vector<ScreenPick> picks;
        for (const Pick& pick : random_picks(80, 1)) {
            waiting.emplace_back().pick = pick;
            assign_roles(waiting.back(), grids_.search_grids(), labels);
            all.push_back(&waiting.back());
            const Role& role = waiting.back().roles[0];
            picks.push_back({pick.time, role.station, role.p, role.search_s});
        }
        int most = 0;
        // Also from the middle of the crowd on: P picks count a bin before the first.
        for (const double start : {-20.0, -3.0, 2.0, 4.0, 6.0, 8.0, 10.0}) {
            const int64_t first = screen.bin_of(1e9 + start);
            std::vector<float> votes(20, -1.0f);
            screen.vote(picks, first, votes);
            for (size_t i = 0; i < votes.size(); ++i) {
                const int expected = votes_at(screen, all, first + static_cast<int64_t>(i));
                EXPECT_EQ(votes[i], static_cast<float>(expected)) << start << ' ' << i;
                most = std::max(most, expected);
            }
        }
        EXPECT_GT(most, 5);
    }
}

TEST_F(Votes, OfAStationCountOnceAPhaseInABin) {
    use("[events.tiny]\nmin_p = 1\n");
    const Screen screen(grid());
    std::vector<ScreenPick> picks;
    // Ten triggers of one station within a hundredth of a bin, in the middle of one at node 0.
    const double travel = screen.p_time(0, 3);
    const double middle = screen.start_of(screen.bin_of(1e9)) + 0.5 * screen.width();
    for (int i = 0; i < 10; ++i) {
        picks.push_back({middle + travel + 0.001 * screen.width() * i, 3, true, false});
    }
    std::vector<float> votes(3);
    screen.vote(picks, screen.bin_of(1e9) - 1, votes);
    EXPECT_LE(*std::ranges::max_element(votes), 2.0f) << "in two neighbouring bins at most";
    EXPECT_GE(votes[1], 1.0f);
}

TEST_F(Votes, CountedPickByPickAgreeWithAllAtOnce) {
    use("[events.tiny]\nmin_picks = 5\nmin_stations = 3\n");
    const Screen screen(grid());
    VoteBook book(grid(), 0, 60.0);
    std::deque<Waiting> waiting;
    std::vector<const Waiting*> voted;
    std::mt19937 random(3);
    int high = 0;
    const int enough = least_votes(grid().rules);
    for (const Pick& pick : random_picks(150, 2)) {
        Waiting& w = waiting.emplace_back();
        w.pick = pick;
        w.voted.assign(1, 0);
        assign_roles(w, grids_.search_grids(), Labels::trust);
        book.advance(pick.time);
        const Peak peak = book.add(w);
        voted.push_back(&w);
        if (peak.votes > 0) {
            ++high;
            EXPECT_GE(peak.votes, enough);
            EXPECT_LE(peak.votes, votes_at(screen, voted, peak.bin));
            book.note_tried(peak);
        }
        if (random() % 4 == 0) {
            auto& out = waiting[random() % waiting.size()];
            book.remove(out);
            std::erase(voted, &out);
        }
        const double at = pick.time - 3.0 - static_cast<double>(random() % 20);
        int around = 0;
        for (int64_t bin = screen.bin_of(at) - 2; bin <= screen.bin_of(at) + 1; ++bin)
            around = std::max(around, votes_at(screen, voted, bin));
        EXPECT_EQ(book.enough_at(at), around >= enough) << pick.time - 1e9;
    }
    EXPECT_GT(high, 5);
}

TEST_F(Votes, APeakThatWasTriedIsTriedAgainWhenItHasGrown) {
    use("[events.tiny]\nmin_picks = 4\nmin_stations = 4\nmin_p = 1\n");
    VoteBook book(grid(), 0, 60.0);
    std::deque<Waiting> waiting;
    std::vector<int> votes;
    auto picks = picks_of({{1e9 + 10.0, 0.4, 0.4, 9.0}}, 0, 1);
    for (size_t i = 0; i < 7; ++i) {
        Waiting& w = waiting.emplace_back();
        w.pick = picks[i];
        w.voted.assign(1, 0);
        assign_roles(w, grids_.search_grids(), Labels::trust);
        book.advance(w.pick.time);
        const Peak peak = book.add(w);
        votes.push_back(peak.votes);
        if (peak.votes > 0) book.note_tried(peak);
    }
    EXPECT_EQ(votes, (std::vector<int>{0, 0, 0, 4, 5, 6, 7}));
    book.remove(waiting.back());
    EXPECT_EQ(book.add(waiting.back()).votes, 0) << "seven were tried";
}

class Candidates : public Votes {
  protected:
    std::vector<Candidate> collect() const {
        std::vector<Candidate> out;
        timeline_->collect(out);
        return out;
    }
    void SetUp() override {
        use("");
        timeline_.emplace(grid(), 0);
        for (Pick& pick :
             picks_of({{1e9 + 50.0, 0.4, 0.4, 9.0}, {1e9 + 120.0, 0.3, 0.6, 5.0}}, 0, 4)) {
            Waiting* w = store_.insert(std::move(pick));
            assign_roles(*w, grids_.search_grids(), Labels::trust);
        }
        timeline_->reset(1e9);
    }
    // Votes of nodes far from the source reach this far, s.
    static constexpr double kSpread = 15.0;
    static float most(const std::vector<Candidate>& candidates) {
        float votes = 0.0f;
        for (const Candidate& c : candidates) votes = std::max(votes, c.votes);
        return votes;
    }
    std::optional<Timeline> timeline_;
    PickStore store_;
};

TEST_F(Candidates, AreTheCrowdedTimesUpToWhereVotesReach) {
    timeline_->extend(1e9 + 30.0, store_);
    EXPECT_TRUE(collect().empty());
    timeline_->extend(1e9 + 60.0, store_);
    for (const Candidate& c : collect()) EXPECT_NEAR(c.time, 1e9 + 50.0, kSpread);
    EXPECT_GE(most(collect()), 25.0f);
    std::vector<const Waiting*> all;
    for (const auto& w : store_) all.push_back(w.get());
    const Screen screen(grid());
    for (const Candidate& c : collect()) EXPECT_EQ(c.votes, votes_at(screen, all, c.bin));
    timeline_->extend(1e9 + 140.0, store_);
    const size_t both = collect().size();
    timeline_->trim(1e9 + 100.0);
    EXPECT_LT(collect().size(), both);
    for (const Candidate& c : collect()) {
        EXPECT_NEAR(c.time, 1e9 + 120.0, kSpread);
        EXPECT_EQ(c.grid, 0u);
        EXPECT_GE(c.votes, 6.0f) << "three quarters of eight";
    }
}

TEST_F(Candidates, ARefusedOneClosesItsNeighboursThatAreNoStronger) {
    timeline_->extend(1e9 + 140.0, store_);
    auto open = collect();
    const Candidate best = *std::ranges::max_element(open, {}, &Candidate::votes);
    timeline_->close(best);
    for (const Candidate& c : collect()) EXPECT_GT(std::abs(c.bin - best.bin), 1);
    Candidate weak = collect().front();
    weak.votes = 0.0f;
    timeline_->close(weak);
    EXPECT_EQ(collect().front().bin, weak.bin) << "stronger than what was refused";
}

TEST_F(Candidates, AreCountedAgainWithoutThePicksThatWereTaken) {
    timeline_->extend(1e9 + 140.0, store_);
    for (const auto& w : store_) {
        if (w->pick.time < 1e9 + 90.0) w->event = 1;
    }
    timeline_->renew(1e9 + 40.0, 1e9 + 60.0, store_);
    ASSERT_FALSE(collect().empty());
    for (const Candidate& c : collect()) EXPECT_NEAR(c.time, 1e9 + 120.0, kSpread);
}

}  // namespace
}  // namespace velorix::assoc
