#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "support/log_capture.h"
#include "support/parameters.h"
#include "support/tiny_grid.h"

namespace velorix_test {
namespace {

constexpr double kOrigin = 1000.0;

struct MarkedPick {
    const char* phase;
    double offset;  // s after the phase's time at the station
    char mark;      // the solution's: '.', 'P' or 'S'
    char sta = 'A';
};

// One node with exact times: P 10 s and S 20 s to station A, 30 s and 50 s to station B.
class Association {
  public:
    explicit Association(const std::vector<MarkedPick>& marked)
        : grid({make_station("A", 0.2, 0.3), make_station("B", 0.4, 0.0)}, {.nx = 1, .ny = 1}),
          search(grid.grid),
          searches(newarr(nullptr)) {
        const float p[] = {10, 30}, s[] = {20, 50};
        std::memcpy(grid.grid.P_times, p, sizeof p);
        std::memcpy(grid.grid.S_times, s, sizeof s);
        search->p_max_resid = search->s_max_resid = 6;
        velorix_setup_search(search.sp);
        setarr(searches, "tiny", search.sp);
        for (const MarkedPick& m : marked) {
            const double travel = (*m.phase == 'P' ? p : s)[m.sta - 'A'];
            picks.add(std::string(1, m.sta), "BHZ", m.phase, kOrigin + travel + m.offset);
        }
        picks.set_up(*search);
        int number_at[2] = {0, 0};
        for (const MarkedPick& m : marked) {
            StationObs& station = picks.station(m.sta == 'A' ? "A" : "B");
            station.obs_orig[number_at[m.sta - 'A']++].used =
                static_cast<int>(std::string_view(".PS").find(m.mark));
        }
    }
    ~Association() {
        velorix_free_result(result);
        freearr(searches, nullptr);
    }

    int associate(const char* toml = "") {
        EXPECT_EQ(0, velorix_search_from_pf(search.sp, parameters(toml).get()));
        return velorix_setup_plist(picks.stao_tbl, picks.list, search.sp, kOrigin, 0, 0, 0, 0, 0);
    }
    /// Phases, and what became of the picks: d defining, a associated, t taken, - not taken, each
    /// behind a ? when there is no residual.
    std::string outcomes() const {
        std::string all;
        for (int i = 0; i < picks.size(); ++i) {
            const PickList& pick = picks[i];
            all.append(pick.ophase).append(pick.resid == 999.999 ? "?" : "");
            all += pick.defining ? "d " : pick.associated ? "a " : pick.used_save ? "t " : "- ";
        }
        return all;
    }
    int make_result(const char* name = "tiny", int ix = 0, int iy = 0) {
        return velorix_make_result(searches, name, picks.stao_tbl, picks.list, 0.1, 0.2, 3.9, ix,
                                   iy, 0, kOrigin, 0, 0, 5, &result);
    }

    TinyGrid grid;
    Search search;
    Picks picks;
    Arr* searches;
    GridResults* result = nullptr;
};

TEST(Associate, MembersDefine) {
    Association a({{"P", 0.25, 'P'}, {"S", -0.5, 'S'}, {"P", 0.0, 'P', 'B'}});
    EXPECT_EQ(1, a.associate());
    EXPECT_EQ("Pd Sd Pd ", a.outcomes());
    EXPECT_EQ(0.25, a.picks[0].resid);
    EXPECT_EQ(-0.5, a.picks[1].resid);
    EXPECT_NEAR(0.36, a.picks[0].delta, 0.01);
    EXPECT_NEAR(56.3, a.picks[0].esaz, 0.1);
    EXPECT_NEAR(236.3, a.picks[0].seaz, 0.1);
    EXPECT_NEAR(0.0, a.picks[2].esaz, 1e-9) << "due north, below 360";
}

TEST(Associate, WhichPhaseAndWhichPickOfAStation) {
    const struct {
        const char* what;
        std::vector<MarkedPick> picks;
        int count;
        const char* outcomes;
        const char* toml = "";
        bool p_times = true;
    } rows[] = {
        {"a better P that is no member defines", {{"P", 0.2, '.'}, {"P", -0.4, 'P'}}, 0, "Pd Pt "},
        {"a worse one does not", {{"P", 0.4, '.'}, {"P", -0.2, 'P'}}, 0, "Pt Pd "},
        {"a better S does, and counts twice", {{"S", 0.1, '.'}, {"S", 0.5, 'S'}}, 2, "Sd St "},
        {"a displaced S is counted out", {{"S", 0.5, '.'}, {"S", 0.1, 'S'}}, 1, "St Sd "},
        {"a tie between the phases is S", {{"P", 5, '.'}}, 1, "Sa "},
        {"or P where S may not associate", {{"P", 5, '.'}}, 0, "Pa ", "associate_S = false"},
        {"a P member outside its limit becomes S", {{"S", 0.5, 'P'}}, 1, "Sa "},
        {"or nothing, its phase provisional", {{"S", 0.5, 'P'}}, 0, "S- ", "associate_S = false"},
        {"a sifted member does not define", {{"P", 0, 'P'}}, 0, "Pt ", "phase_sifter = 'S'"},
        {"S alone without P times", {{"P", 0, '.'}, {"S", 0.1, '.'}}, 1, "S- Sa ", "", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Association a(row.picks);
        if (!row.p_times) a.grid.grid.P_times = nullptr;
        EXPECT_EQ(row.count, a.associate(row.toml));
        EXPECT_EQ(row.outcomes, a.outcomes());
    }
}

TEST(Associate, AnSTimeBelowASecondIsATime) {
    Association a({{"S", 0.25, 'S'}});
    a.grid.grid.S_times[0] = 0.5F;
    a.picks[0].time = kOrigin + 0.75;
    a.associate();
    EXPECT_EQ("Sd ", a.outcomes());
    EXPECT_EQ(0.25, a.picks[0].resid);
}

TEST(Associate, PicksThatTakeNoPart) {
    Association a({{"P", 0, '.'}});
    a.picks[0].used = 1;
    a.picks.add("ELSEWHERE", "BHZ", "P", kOrigin + 10);
    a.associate();
    EXPECT_EQ("?t ?- ", a.outcomes());
}

TEST(Associate, BrokenPatternLeavesLimitsOfZero) {
    Association a({{"P", 0.25, '.'}});
    const LogCapture log;
    a.associate("station_weights = ['( 1 1 9 9']");
    EXPECT_EQ("P- ", a.outcomes());
    EXPECT_EQ("velorix_setup_plist: velorix_get_station_weight() error.\n", log.messages().back());
    EXPECT_EQ(ELOG_COMPLAIN, log.lines().back().severity);
}

TEST(MakeResult, CountsStationsAndPicks) {
    Association a({{"P", 0, 'P'}, {"S", 0.25, 'S'}, {"P", 0.5, 'P', 'B'}, {"P", 0.75, '.', 'B'}});
    for (const char* when : {"made", "refilled"}) {
        SCOPED_TRACE(when);
        const GridResults* const before = a.result;
        ASSERT_EQ(0, a.make_result());
        const GridResults& result = *a.result;
        EXPECT_TRUE(!before || before == &result);
        EXPECT_STREQ("tiny", result.grid_name);
        EXPECT_EQ(2, result.nsta);
        EXPECT_EQ(2.0, result.nsta_weighted);
        EXPECT_EQ(2, result.nsta_ass);
        EXPECT_EQ(3, result.ndef);
        EXPECT_EQ(3, result.nass);
        EXPECT_EQ(1, result.nsass);
        EXPECT_EQ(4, maxtbl(result.pick_tbl)) << "taken, not only associated";
        EXPECT_NEAR(0.4, result.dmax, 1e-9);
        EXPECT_EQ(0, result.priority_fault);
    }
}

TEST(MakeResult, ANodeOfTheOuterRingIsAnEdgeFault) {
    Association a({{"P", 0, 'P'}});
    TinyGrid mesh(ring_of_stations(1));  // 7 x 5 nodes
    Search search(mesh.grid);
    setarr(a.searches, "mesh", search.sp);
    for (const auto& [ix, iy, fault] :
         {std::tuple(0, 2, 1), {6, 2, 1}, {3, 0, 1}, {3, 4, 1}, {1, 1, 0}, {5, 3, 0}}) {
        ASSERT_EQ(0, a.make_result("mesh", ix, iy));
        EXPECT_EQ(fault, a.result->edge_fault) << ix << ' ' << iy;
    }
    mesh.grid.mode = VELORIX_MODE_GENERAL;
    ASSERT_EQ(0, a.make_result("mesh"));
    EXPECT_EQ(0, a.result->edge_fault);
}

TEST(MakeResult, GridOfHigherPriorityThatContainsTheEventIsAFault) {
    Association a({{"P", 0, 'P'}});
    // A general mesh contains every point.
    TinyGrid other(ring_of_stations(1), {.mode = VELORIX_MODE_GENERAL});
    Search other_search(other.grid);
    setarr(a.searches, "other", other_search.sp);
    for (const int priority : {0, 1}) {
        other_search->priority = priority;
        ASSERT_EQ(0, a.make_result());
        EXPECT_EQ(priority, a.result->priority_fault);
    }
}

TEST(MakeResult, UnknownGridIsAnErrorAndNamesFillWithoutTerminator) {
    Association a({{"P", 0, 'P'}});
    const LogCapture log;
    EXPECT_EQ(-1, a.make_result("missing"));
    EXPECT_EQ(nullptr, a.result);
    EXPECT_EQ("velorix_make_result: no parameters for grid missing.\n", log.text());
    std::memset(a.grid.grid.name, 'n', sizeof a.grid.grid.name);
    ASSERT_EQ(0, a.make_result());
    EXPECT_EQ(std::string(64, 'n'), a.result->grid_name);
}

}  // namespace
}  // namespace velorix_test
