// Which picks belong to a place and time, and why the others do not.
#include <gmock/gmock.h>

#include <deque>

#include "events/association.h"
#include "synthetic_picks.h"

namespace velorix::assoc {
namespace {

constexpr double kOrigin = 1e9;

class Association : public testing::Test {
  protected:
    Association() {
        tiny_.grid.ttsize = tiny_.grid.nn * tiny_.grid.ns * 4;
        EXPECT_TRUE(grids_.add(&tiny_.grid, Parameters(), 1));
        at_.spot = {8.0, 7.0, 2.0};
        at_.time = kOrigin;
    }
    SearchGrid& grid() { return grids_.search_grids()[0]; }
    Times times(int station) { return grid().times.times(at_.spot, station); }

    /// A pick at a station, so long behind the origin.
    Waiting* pick(int station, double travel, bool p, bool s, const char* label = "") {
        Waiting& waiting = picks_.emplace_back();
        waiting.pick.time = kOrigin + travel;
        waiting.pick.station = network()[static_cast<size_t>(station)].sta;
        waiting.pick.phase = label;
        waiting.roles = {{.station = p || s ? station : -1, .place = station, .p = p, .s = s}};
        return &waiting;
    }
    std::vector<Waiting*> by_time() {
        std::vector<Waiting*> out;
        for (Waiting& waiting : picks_) out.push_back(&waiting);
        std::ranges::sort(out, {}, [](const Waiting* w) { return w->pick.time; });
        return out;
    }
    std::vector<Member> members(const Limits& limits = {}) {
        return associate(grid(), 0, by_time(), at_, limits);
    }

    velorix_test::TinyGrid tiny_{
        network(), {.nx = 19, .ny = 19, .depths = {1, 5, 9, 13, 17}, .spacing = 0.05}};
    GridSet grids_;
    Solution at_;
    std::deque<Waiting> picks_;
};

TEST_F(Association, OfOnePickWithItsLimits) {
    grid().station_rules[0] = {1.0, 1.0, 1.0, 2.0, 1.5, 3.0};
    const Limits plain, wide{.widen = 1.5}, join{.join = true};
    const struct {
        const char* name;
        bool p, s, sifted;
        Times times;
        double travel;
        Limits limits;
        char phase;
        Reason reason;
        double residual, limit;
    } cases[] = {
        {"P", true, true, false, {10, 17}, 10.5, plain, 'P', Reason::accepted, 0.5, 1.0},
        {"at the limit", true, true, false, {10, 17}, 9.0, plain, 'P', Reason::accepted, -1.0, 1.0},
        {"beyond",
         true,
         false,
         false,
         {10, 17},
         11.01,
         plain,
         'P',
         Reason::beyond_limit,
         1.01,
         1.0},
        {"widened", true, false, false, {10, 17}, 11.5, wide, 'P', Reason::accepted, 1.5, 1.5},
        {"joining", true, false, false, {10, 17}, 11.5, join, 'P', Reason::accepted, 1.5, 1.5},
        {"S", true, true, false, {10, 17}, 18.9, plain, 'S', Reason::accepted, 1.9, 2.0},
        {"joining S", true, true, false, {10, 17}, 14.0, join, 'S', Reason::accepted, -3.0, 3.0},
        {"S by share", true, true, false, {10, 13}, 11.5, plain, 'S', Reason::accepted, -1.5, 2.0},
        {"a tie is P", true, true, false, {10, 13}, 11.0, plain, 'P', Reason::accepted, 1.0, 1.0},
        {"called P", true, false, false, {10, 17}, 17.0, plain, 'S', Reason::label, 0.0, 2.0},
        {"called S", false, true, false, {10, 17}, 10.1, plain, 'P', Reason::label, 0.1, 1.0},
        {"sifted", true, false, true, {10, 17}, 17.0, plain, 'S', Reason::sifted, 0.0, 2.0},
        {"what it may be, as long as near",
         true,
         false,
         false,
         {10, 13},
         13.0,
         plain,
         'P',
         Reason::beyond_limit,
         3.0,
         1.0},
        {"and not farther",
         true,
         false,
         false,
         {10, 13},
         13.01,
         plain,
         'S',
         Reason::label,
         0.01,
         2.0},
        {"no P times", true, true, false, {-1, 17}, 17.5, plain, 'S', Reason::accepted, 0.5, 2.0},
        {"no S times", true, true, false, {10, -1}, 10.5, plain, 'P', Reason::accepted, 0.5, 1.0},
        {"no times", true, true, false, {-1, -1}, 10.5, plain, 'P', Reason::no_time, 0.0, 0.0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Role role{.station = 0, .place = 0, .p = c.p, .s = c.s, .sifted = c.sifted};
        const Fit fit = fit_of(grid(), role, c.times, c.travel, c.limits);
        EXPECT_EQ(fit.phase, c.phase);
        EXPECT_EQ(fit.reason, c.reason) << reason_name(fit.reason);
        EXPECT_NEAR(fit.residual, c.residual, 1e-9);
        EXPECT_DOUBLE_EQ(fit.limit, c.limit);
    }
    grid().station_rules[0].p_limit = grid().station_rules[0].s_limit = 0.0;
    const Role role{.station = 0, .place = 0, .p = true, .s = true};
    EXPECT_EQ(fit_of(grid(), role, {10, 17}, 10.0, plain).reason, Reason::beyond_limit)
        << "a station without limits takes nothing";
}

TEST_F(Association, SweepLimitsWidenAStationsOwn) {
    Parameters parameters;
    ASSERT_TRUE(
        parameters.parse("[grids.tiny]\np_max_resid = 1\np_max_resid_sweep = 1.5\n"
                         "s_max_resid = 2\ns_max_resid_sweep = 1\n"
                         "station_weights = ['100 1 1 0.2 4', '101 1 1 5 0.5']\n",
                         "test"));
    GridSet grids;
    ASSERT_TRUE(grids.add(&tiny_.grid, parameters, 1));
    const auto& rules = grids.search_grids()[0].station_rules;
    EXPECT_DOUBLE_EQ(rules[0].join_limit('P'), 0.3) << "in proportion";
    EXPECT_DOUBLE_EQ(rules[1].join_limit('P'), 5.0) << "not beyond the general one, but its own";
    EXPECT_DOUBLE_EQ(rules[2].join_limit('P'), 1.5);
    EXPECT_DOUBLE_EQ(rules[0].join_limit('S'), 4.0);
    EXPECT_DOUBLE_EQ(rules[2].join_limit('S'), 2.0) << "never narrower";
}

TEST_F(Association, TakesTheBestPAndSOfAStationInTheWindow) {
    const double p = times(3).p, s = times(3).s;
    pick(3, p + 0.3, true, false);
    pick(3, p - 0.2, true, false);
    pick(3, s + 0.1, false, true);
    pick(3, s - 0.4, false, true);
    auto found = members();
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].phase, 'P');
    EXPECT_NEAR(found[0].residual, -0.2, 1e-6);
    EXPECT_EQ(found[1].phase, 'S');
    EXPECT_NEAR(found[1].residual, 0.1, 1e-6);
    EXPECT_EQ(found[1].station, 3);
    EXPECT_TRUE(found[0].defining);
    // The window ends where it says; nothing comes before the origin.
    grid().rules.window = picks_[2].pick.time - kOrigin;
    EXPECT_EQ(members().size(), 2u) << "exactly the window";
    grid().rules.window -= 1e-6;
    EXPECT_NEAR(members()[1].residual, -0.4, 1e-6);
    at_.time = picks_[1].pick.time;
    grid().station_rules[3].p_limit = p;
    EXPECT_EQ(members()[0].waiting, &picks_[0]) << "the nearer one";
    at_.time += 1e-6;
    grid().station_rules[3].p_limit = 2.0 * p;
    EXPECT_EQ(members()[0].waiting, &picks_[0]) << "the other lies before the origin";
}

TEST_F(Association, SlowerTravelTimesAndWeightsOfStations) {
    at_.slowing = 0.02;
    const double p = 1.02 * times(5).p;
    pick(5, p + 0.25, true, false);
    ASSERT_EQ(members().size(), 1u);
    EXPECT_NEAR(members()[0].residual, 0.25, 1e-6);
    grid().station_rules[5].p_weight = 0.0;
    EXPECT_FALSE(members()[0].defining);
    // Weights against distance: half at 0.1 degrees, none from 0.2 on.
    weights_ curve[] = {{0.0, 1.0, -5.0}, {0.2, 0.0, 0.0}};
    SearchParams& sp = *grid().search;
    sp.p_weights = curve;
    sp.use_dwt = 2;
    const Station& sta = grid().station(0);
    const Position place = grid().times.position(at_.spot);
    const double distance = path_between(place, sta.lat, sta.lon).delta;
    EXPECT_DOUBLE_EQ(station_weight(grid(), 0, 'P', at_.spot),
                     distance < 0.2 ? 1.0 - 5.0 * distance : 0.0);
    EXPECT_DOUBLE_EQ(station_weight(grid(), 0, 'S', at_.spot), 1.0) << "S has no curve";
    sp.use_dwt = 0;
    sp.p_weights = nullptr;
}

TEST_F(Association, SaysWhyPicksAreLeftOut) {
    const double p = times(3).p, s = times(3).s, limit = grid().station_rules[3].join_limit('P');
    Waiting* own = pick(3, p, true, false, "P");
    pick(3, p + 0.1, true, false, "P");
    pick(3, s, true, false, "P");
    pick(4, times(4).p + 1.2 * limit, true, false, "P");
    pick(4, times(4).p - 3.001 * limit, true, false, "P");
    pick(5, times(5).p, true, false, "P")->event = 7;
    pick(6, times(6).p - 0.1, false, false, "S");
    pick(7, times(7).p, false, false, "P")->roles[0].sifted = true;
    at_.members = {{own, 3, 'P', 0.0, 1.0, true}};
    const auto left = left_out_of(grid(), 0, at_, by_time());
    std::map<std::string, Reason> reasons;
    for (const LeftOut& l : left) {
        reasons.emplace(l.pick.station + l.phase, l.reason);
        if (l.pick.station == "104") {
            EXPECT_DOUBLE_EQ(l.limit, limit);
            EXPECT_NEAR(l.residual, 1.2 * limit, 1e-6);
            EXPECT_EQ(reason_text(l),
                      "residual beyond " + std::to_string(limit).substr(0, 4) + " s");
        }
    }
    EXPECT_EQ(left.size(), 6u) << "one is too far off to be a question";
    EXPECT_EQ(reasons.at("103P"), Reason::better_pick);
    EXPECT_EQ(reasons.at("103S"), Reason::label);
    EXPECT_EQ(reasons.at("104P"), Reason::beyond_limit);
    EXPECT_EQ(reasons.at("105P"), Reason::other_event);
    EXPECT_EQ(reasons.at("106P"), Reason::label);
    EXPECT_EQ(reasons.at("107P"), Reason::sifted);
}

// Near a station the limits span the time between P and S.
TEST_F(Association, SComesAfterP) {
    const double between = times(0).s - times(0).p;
    grid().station_rules[0] = {1.0, 1.0, between, between, between, between};
    Waiting* late_p = pick(0, times(0).p + 0.7 * between, true, false);
    Waiting* early_s = pick(0, times(0).s - 0.4 * between, false, true);
    ASSERT_LT(early_s->pick.time, late_p->pick.time);
    auto found = members();
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].phase, 'S') << "it fits better";
    at_.members = found;
    const auto left = left_out_of(grid(), 0, at_, by_time());
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(left[0].reason, Reason::out_of_order);
    // P fits better when its limit is the wider one.
    grid().station_rules[0].p_limit = 4.0 * between;
    found = members();
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].phase, 'P');
    early_s->pick.time = late_p->pick.time + 1e-3;
    EXPECT_EQ(members().size(), 2u);
}

}  // namespace
}  // namespace velorix::assoc
