// Verdicts on proposals made by hand: every rule met exactly, and missed by a little.
#include <gmock/gmock.h>

#include <deque>

#include "events/defining.h"
#include "events/proposal.h"
#include "synthetic_picks.h"

namespace velorix::assoc {
namespace {

constexpr double kOrigin = 1e9;
constexpr double kForever = std::numeric_limits<double>::infinity();

/// One grid with rules, and proposals of an event at one of its nodes.
class Judge : public testing::Test {
  protected:
    Judge() { tiny_.grid.ttsize = tiny_.grid.nn * tiny_.grid.ns * 4; }

    /// Adds the grid, and others where the test wants them.
    void use(const std::string& toml, std::vector<velorix_test::TinyGrid*> others = {}) {
        Parameters parameters;
        ASSERT_TRUE(parameters.parse(toml, "test"));
        ASSERT_TRUE(grids_.add(&tiny_.grid, parameters, 1));
        for (velorix_test::TinyGrid* other : others) {
            other->grid.ttsize = other->grid.nn * other->grid.ns * 4;
            ASSERT_TRUE(grids_.add(&other->grid, parameters, 1));
        }
        past_.emplace(7200.0, std::vector<int>(1 + others.size(), tiny_.grid.ns));
        proposer_.emplace(grids_.search_grids(), rules_, *past_, 1.0);
        by_distance_.clear();
        for (int i = 0; i < tiny_.grid.ns; ++i) by_distance_.push_back(i);
        std::ranges::sort(by_distance_, {}, [&](int is) { return time_of(is, 'P'); });
    }
    const SearchGrid& grid() const { return grids_.search_grids()[0]; }
    double time_of(int station, char phase) const {
        const Times times = grids_.search_grids()[0].times.times(spot_, station);
        return phase == 'S' ? times.s : times.p;
    }

    /// A member at a station, the n-th nearest, with a residual.
    Member member(int n, char phase, double residual = 0.0) {
        const int station = by_distance_[static_cast<size_t>(n)];
        Waiting& waiting = waiting_.emplace_back();
        waiting.pick.time = kOrigin + time_of(station, phase) + residual;
        return {&waiting, station, phase, residual, 1.0, true};
    }
    /// P at the stations from first to last, S at those below `s`.
    Proposal proposal(int first, int last, int s = 0) {
        Proposal out;
        out.solution.spot = spot_;
        out.solution.time = kOrigin;
        for (int n = first; n < last; ++n) out.solution.members.push_back(member(n, 'P'));
        for (int n = first; n < s; ++n) out.solution.members.push_back(member(n, 'S'));
        return out;
    }
    Verdict verdict(Proposal p, std::vector<Kept> kept = {}, double now = kForever) {
        proposer_->judge(p, {kept, kOrigin, now});
        return p.verdict;
    }

    velorix_test::TinyGrid tiny_{
        network(), {.nx = 19, .ny = 19, .depths = {1, 5, 9, 13, 17}, .spacing = 0.05}};
    GridSet grids_;
    StreamRules rules_{.at_work = AtWork::all};
    std::optional<StreamPast> past_;
    std::optional<Proposer> proposer_;
    std::deque<Waiting> waiting_;
    std::vector<int> by_distance_;
    const Spot spot_{8.0, 7.0, 2.0};
};

TEST_F(Judge, CountsOfDefiningPicks) {
    use("[events.tiny]\nmin_p = 5\nmin_s = 3\nmin_picks = 9\nmin_stations = 5\n");
    const struct {
        int last, s;
        Lack lack;
    } cases[] = {{6, 3, Lack::nothing},
                 {5, 4, Lack::nothing},
                 {4, 4, Lack::p_picks},
                 {7, 2, Lack::s_picks},
                 {5, 3, Lack::picks}};
    for (const auto& c : cases) {
        EXPECT_EQ(verdict(proposal(0, c.last, c.s)).lack, c.lack) << c.last << " " << c.s;
    }
    Proposal few = proposal(0, 5, 4);
    few.solution.members.back().defining = false;
    EXPECT_EQ(verdict(few).lack, Lack::picks) << "associated only";
    EXPECT_EQ(verdict(few).have, 8.0);
    EXPECT_EQ(verdict(few).need, 9.0);
}

TEST_F(Judge, StationsCountOnceAndWithinTheirDistance) {
    use("[events.tiny]\nmin_stations = 5\n[grids.tiny]\nnsta_thresh = ['0.1 9', '0.35 5']\n");
    Proposal four = proposal(0, 4, 4);
    EXPECT_EQ(verdict(four).lack, Lack::stations);
    four.solution.members.push_back(member(4, 'P'));
    std::vector<double> distances;
    for (int n = 0; n < 5; ++n) {
        const Station& sta = grid().station(by_distance_[static_cast<size_t>(n)]);
        const Position at = grid().times.position(spot_);
        distances.push_back(path_between(at, sta.lat, sta.lon).delta);
    }
    const double fifth = *std::ranges::max_element(distances);
    grid().search->nsta_thresh[1].distance = fifth;
    EXPECT_TRUE(verdict(four).passes()) << "exactly at the distance";
    grid().search->nsta_thresh[1].distance = fifth - 1e-9;
    EXPECT_EQ(verdict(four).lack, Lack::stations_by_distance);
    grid().search->nsta_thresh[0] = {9.0, 5};
    EXPECT_TRUE(verdict(four).passes()) << "one entry is enough";
    grid().search->nsta_thresh[0] = {9.0, 6};
    EXPECT_EQ(verdict(four).lack, Lack::stations_by_distance);
}

TEST_F(Judge, ScatterByWeight) {
    use("");
    Proposal p = proposal(0, 8);
    const double residuals[] = {0.3, -0.2, 0.1, 0.4, -0.5, 0.0, 0.2, -0.1};
    double sum = 0.0, weights = 0.0, squares = 0.0;
    for (size_t i = 0; i < 8; ++i) {
        Member& m = p.solution.members[i];
        m.residual = residuals[i];
        m.weight = 1.0 + static_cast<double>(i);
        sum += m.weight * m.residual * m.residual;
        squares += m.residual * m.residual;
        weights += m.weight;
    }
    const double scatter = std::sqrt(sum / weights * 8.0 / 7.0);
    EXPECT_DOUBLE_EQ(Defining(p.solution).weighted_scatter(), scatter);
    EXPECT_DOUBLE_EQ(Defining(p.solution).scatter(), std::sqrt(squares / 7.0));
    auto& rules = grids_.search_grids()[0].rules;
    rules.max_scatter = Defining(p.solution).weighted_scatter();
    EXPECT_TRUE(verdict(p).passes()) << "exactly the most";
    rules.max_scatter *= 0.999;
    const Verdict found = verdict(p);
    EXPECT_EQ(found.lack, Lack::scatter);
    EXPECT_EQ(found.have, Defining(p.solution).weighted_scatter());
    EXPECT_EQ(found.need, rules.max_scatter);
    p.solution.members.resize(1);
    EXPECT_EQ(Defining(p.solution).scatter(), 0.0);
    EXPECT_EQ(Defining(p.solution).weighted_scatter(), 0.0);
}

// Eight of the sixteen stations: those of the median one's distance and nearer count.
TEST_F(Judge, CoverageOfTheStationsAtWorkNearerThanTheMedianOne) {
    use("");
    auto& rules = grids_.search_grids()[0].rules;
    // With stations 0, 2, 4 ... 14 the median is the fifth of them: 5 of the 9 nearest.
    Proposal half = proposal(0, 0);
    for (int n = 0; n < 16; n += 2) half.solution.members.push_back(member(n, 'P'));
    rules.min_coverage = 5.0 / 9.0;
    EXPECT_TRUE(verdict(half).passes()) << "exactly the least";
    rules.min_coverage = 5.0 / 9.0 + 1e-9;
    const Verdict found = verdict(half);
    EXPECT_EQ(found.lack, Lack::coverage);
    EXPECT_DOUBLE_EQ(found.have, 5.0 / 9.0);
    EXPECT_DOUBLE_EQ(found.need, rules.min_coverage);
    // Learned: a station without picks in the past is not at work.
    rules_.at_work = AtWork::learn;
    proposer_.emplace(grids_.search_grids(), rules_, *past_, 1.0);
    EXPECT_TRUE(verdict(half).passes());
    Waiting waiting;
    for (int n : {1, 3}) {
        waiting.roles = {{.place = by_distance_[static_cast<size_t>(n)]}};
        waiting.pick.time = kOrigin - 100.0 + n;
        past_->add(waiting);
    }
    rules.min_coverage = 5.0 / 7.0;
    EXPECT_TRUE(verdict(half).passes());
    rules.min_coverage = 5.0 / 7.0 + 1e-9;
    EXPECT_EQ(verdict(half).lack, Lack::coverage);
}

// While waves are under way: of all stations that they have reached.
TEST_F(Judge, CoverageWhileWavesAreUnderWay) {
    use("");
    auto& rules = grids_.search_grids()[0].rules;
    Proposal half = proposal(0, 0);
    for (int n = 0; n < 16; n += 2) half.solution.members.push_back(member(n, 'P'));
    const auto at = [&](int n) { return time_of(by_distance_[static_cast<size_t>(n)], 'P'); };
    const double limit = grid().station_rules[0].limit('P');
    const auto coverage = [&](double now) {
        Proposal p = half;
        proposer_->judge(p, {{}, now, now});
        return p.coverage;
    };
    rules.min_coverage = 0.0;
    EXPECT_DOUBLE_EQ(coverage(kOrigin), 1.0) << "nothing can have arrived at the others";
    EXPECT_DOUBLE_EQ(coverage(kOrigin + at(1) + limit), 8.0 / 9.0) << "now it can, at one";
    EXPECT_DOUBLE_EQ(coverage(kOrigin + at(1) + limit - 1e-6), 1.0);
    EXPECT_DOUBLE_EQ(coverage(kOrigin + at(13) + limit), 8.0 / 15.0);
    const double passed = proposer_->passed(0, half.solution);
    EXPECT_DOUBLE_EQ(passed, kOrigin + 2.0 * at(14));
    EXPECT_DOUBLE_EQ(coverage(passed - 1e-6), 8.0 / 15.0);
    EXPECT_DOUBLE_EQ(coverage(passed), 5.0 / 9.0) << "of the nearer half again";
}

TEST_F(Judge, PlacesThatAnotherGridHas) {
    velorix_test::TinyGrid inner(network(), {.nx = 9, .ny = 9, .spacing = 0.05, .name = "inner"});
    use("[grids.tiny]\ndrop_if_in_grid = ['inner', 'none']\n", {&inner});
    const Verdict inside = verdict(proposal(0, 8));
    EXPECT_EQ(inside.lack, Lack::other_grid);
    EXPECT_EQ(inside.other_grid, "inner");
    EXPECT_EQ(verdict_text(inside), "inside a grid of drop_if_in_grid: inner");
    Proposal outside = proposal(0, 8);
    outside.solution.spot.x = 10.0;  // 0.5 degrees; the inner mesh ends at 0.4
    EXPECT_TRUE(verdict(outside).passes());
    Proposal second = proposal(0, 8);
    second.scan.priority = true;
    EXPECT_EQ(verdict(second).lack, Lack::priority);
}

TEST_F(Judge, EdgesWhereTheyAreDropped) {
    use("[grids.tiny]\ndrop_if_on_edge = true\n");
    Proposal p = proposal(0, 8);
    EXPECT_TRUE(verdict(p).passes());
    p.solution.on_edge = true;
    EXPECT_EQ(verdict(p).lack, Lack::edge);
    p.solution.on_edge = false;
    p.scan.edge = true;
    EXPECT_EQ(verdict(p).lack, Lack::edge);
    grid().search->drop_if_on_edge = 0;
    EXPECT_TRUE(verdict(p).passes());
}

TEST_F(Judge, TwinsAreNearInTimeAndPlace) {
    use("[events.tiny]\nseparation_time = 3.0\nseparation_km = 20.0\nmin_coverage = 0\n");
    const struct {
        double later, east;  // s, columns
        bool twin;
    } cases[] = {{0.0, 0.0, true}, {3.0, 0.0, true},  {-3.0, 0.0, true}, {3.001, 0.0, false},
                 {0.0, 3.0, true}, {0.0, 4.0, false}, {3.0, 3.0, true}};
    for (const auto& c : cases) {
        Proposal first = proposal(0, 8);
        first.solution.time = kOrigin + c.later;
        first.solution.spot.x += c.east;  // 5.56 km each
        const std::vector<Kept> kept{Kept(1, grid(), 0, first.solution)};
        // Of another size and at other stations, so that neither is the other's echo.
        const Verdict found = verdict(proposal(8, 16), kept);
        EXPECT_EQ(found.lack == Lack::twin, c.twin) << c.later << " " << c.east;
        if (c.twin) {
            EXPECT_EQ(found.other_time, kOrigin + c.later);
        }
    }
}

// A large event at all stations, P and S, 32 picks; and small ones at some of them.
class Echo : public Judge {
  protected:
    void SetUp() override {
        use("[events.tiny]\nmin_picks = 4\nmin_p = 1\nmin_coverage = 0\nmax_scatter = 99\n"
            "separation_time = 1.0\n");
        large_ = proposal(0, 16, 16);
        large_.solution.time = kOrigin;
    }
    /// A later event elsewhere whose picks lie so far from the large one's times for the phases.
    Proposal small(const std::vector<double>& offsets, char phase = 'P', double later = 5.0) {
        Proposal p;
        p.solution.spot = {2.0, 15.0, 1.0};
        p.solution.time = kOrigin + later;
        for (size_t n = 0; n < offsets.size(); ++n) {
            Member m = member(static_cast<int>(n), phase, offsets[n]);
            p.solution.members.push_back(m);
        }
        return p;
    }
    Lack lack(const Proposal& p) { return verdict(p, {Kept(1, grid(), 0, large_.solution)}).lack; }

    Proposal large_;
    double limit() const { return grid().search->p_max_resid; }
};

TEST_F(Echo, PicksNearTheLargerEventsTimesMakeNoEventOfTheirOwn) {
    // Before P nothing can be taken for the station's S.
    const double near = 3.0 * limit(), far = -3.001 * limit();
    EXPECT_EQ(lack(small(std::vector<double>(10, near - 1e-6))), Lack::echo);
    EXPECT_EQ(lack(small(std::vector<double>(10, -near + 1e-6))), Lack::echo);
    EXPECT_EQ(lack(small(std::vector<double>(10, far))), Lack::nothing);
    std::vector<double> mixed(10, near - 1e-6);
    mixed[0] = mixed[1] = mixed[2] = far;
    EXPECT_EQ(lack(small(mixed)), Lack::echo) << "seven of ten are its own";
    mixed[3] = far;
    EXPECT_EQ(lack(small(mixed)), Lack::nothing) << "six are not enough";
}

TEST_F(Echo, APickAtTheTimeOfTheOtherPhaseIsAccountedForWithinOneLimit) {
    Proposal p = small(std::vector<double>(10, 0.0));
    const double s_limit = grid().search->s_max_resid;
    for (const auto& [part, expected] : {std::pair{0.99, Lack::echo}, {1.01, Lack::nothing}}) {
        for (size_t n = 0; n < 10; ++n) {
            Member& m = p.solution.members[n];
            m.waiting->pick.time = kOrigin + time_of(m.station, 'S') + part * s_limit;
        }
        EXPECT_EQ(lack(p), expected) << part;
    }
}

TEST_F(Echo, OnlyOfAnEventTwiceAsLargeWithinAWindow) {
    const std::vector<double> on_time(10, 0.0);
    EXPECT_EQ(lack(small(on_time)), Lack::echo);
    Proposal twenty = small(on_time);
    large_.solution.members.resize(20);
    EXPECT_EQ(lack(twenty), Lack::echo) << "exactly twice";
    large_.solution.members.resize(19);
    EXPECT_EQ(lack(twenty), Lack::nothing);
    large_ = proposal(0, 16, 16);
    const double window = grid().rules.window;
    EXPECT_EQ(lack(small(on_time, 'P', window)), Lack::echo);
    EXPECT_EQ(lack(small(on_time, 'P', window + 0.001)), Lack::nothing);
    // Stations that the large one does not have.
    large_ = proposal(0, 5, 5);
    std::ranges::copy(proposal(11, 16, 16).solution.members,
                      std::back_inserter(large_.solution.members));
    EXPECT_EQ(large_.solution.members.size(), 20u);
    EXPECT_EQ(lack(small(on_time)), Lack::nothing) << "five of ten";
}

TEST(VerdictText, SaysWhatIsThereAndWhatIsNeeded) {
    const struct {
        Verdict verdict;
        const char* text;
    } cases[] = {
        {{.lack = Lack::picks_in_window, .have = 4, .need = 8},
         "too few picks: 4 of 8 in the window"},
        {{.lack = Lack::cluster}, "too few picks: none go back to one time at any node"},
        {{.lack = Lack::p_picks, .have = 2, .need = 3}, "too few P picks: 2 of 3"},
        {{.lack = Lack::stations, .have = 3, .need = 4}, "too few stations: 3 of 4"},
        {{.lack = Lack::scatter, .have = 0.514, .need = 0.4}, "too much scatter: 0.51 of 0.40 s"},
        {{.lack = Lack::coverage, .have = 0.25, .need = 0.4},
         "near stations without picks: coverage 0.25 of 0.40"},
        {{.lack = Lack::echo, .other_time = 1476403209.07},
         "an echo of a larger event: 2016-10-14T00:00:09.07Z"},
        {{.lack = Lack::edge}, "on the edge of the grid"}};
    for (const auto& c : cases) EXPECT_EQ(verdict_text(c.verdict), c.text);
    EXPECT_STREQ(lack_name(Lack::gone), "gone");
    EXPECT_STREQ(reason_name(Reason::out_of_order), "out_of_order");
    EXPECT_STREQ(kind_name(Kind::announced), "new");
}

}  // namespace
}  // namespace velorix::assoc
