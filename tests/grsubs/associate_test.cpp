#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "support/log_capture.h"
#include "support/tiny_grid.h"

namespace velorix_test {
namespace {

constexpr double kOrigin = 1000.0;

// One node with exact times: P 10 s and S 20 s to station A, 30 s and 50 s to station B.
class Associate : public testing::Test {
  protected:
    Associate()
        : grid_({make_station("A", 0.2, 0.3), make_station("B", 0.4, 0.0)}, one_node()),
          search_(grid_.grid),
          arr_(newarr(nullptr)) {
        const float p[] = {10, 30}, s[] = {20, 50};
        std::memcpy(grid_.grid.P_times, p, sizeof p);
        std::memcpy(grid_.grid.S_times, s, sizeof s);
        search_->p_max_resid = search_->s_max_resid = 1;
        setarr(arr_, "tiny", search_.sp);
    }
    ~Associate() override {
        velorix_free_result(result_);
        freearr(arr_, nullptr);
    }
    static TinyGridOptions one_node() {
        TinyGridOptions options;
        options.nx = options.ny = 1;
        return options;
    }

    /// Adds a pick `offset` seconds after the phase's time at A (or B).
    PickList& add(const char* phase, double offset, const char* sta = "A") {
        const double travel = *sta == 'A' ? (*phase == 'P' ? 10 : 20) : (*phase == 'P' ? 30 : 50);
        return picks_.add(sta, "BHZ", phase, kOrigin + travel + offset);
    }
    /// Groups the picks; marks[i] is the solution's mark of pick i: '.', 'P' or 'S'.
    int associate(const std::string& marks) {
        picks_.set_up(*search_);
        int number_at[2] = {0, 0};
        for (int i = 0; i < picks_.size(); ++i) {
            StationObs& station = picks_.station(picks_[i].sta);
            sta_obs2& obs = station.obs_orig[number_at[picks_[i].sta[0] - 'A']++];
            obs.used = marks[size_t(i)] == 'P' ? 1 : marks[size_t(i)] == 'S' ? 2 : 0;
        }
        return velorix_setup_plist(picks_.stao_tbl, picks_.list, search_.sp, kOrigin, 0, 0, 0, 0,
                                   0);
    }
    /// Phase, and what became of it: d defining, a associated, t taken, - not taken.
    std::string outcome(int i) const {
        const PickList& pick = picks_[i];
        const char* state = pick.defining     ? "d"
                            : pick.associated ? "a"
                            : pick.used_save  ? "t"
                                              : "-";
        return pick.ophase + std::string(state);
    }
    std::string outcomes() const {
        std::string all;
        for (int i = 0; i < picks_.size(); ++i) all += outcome(i) + " ";
        return all;
    }
    int make_result(int ix = 0, int iy = 0) {
        return velorix_make_result(arr_, "tiny", picks_.stao_tbl, picks_.list, 0.1, 0.2, 3.9, ix,
                                   iy, 0, kOrigin, 0, 0, 5, &result_);
    }

    TinyGrid grid_;
    Search search_;
    Picks picks_;
    Arr* arr_;
    GridResults* result_ = nullptr;
};

TEST_F(Associate, MembersDefine) {
    add("P", 0.25);
    add("S", -0.5);
    add("P", 0.0, "B");
    EXPECT_EQ(1, associate("PSP"));
    EXPECT_EQ("Pd Sd Pd ", outcomes());
    EXPECT_EQ(0.25, picks_[0].resid);
    EXPECT_EQ(-0.5, picks_[1].resid);
    EXPECT_NEAR(0.36, picks_[0].delta, 0.01);
    EXPECT_NEAR(56.3, picks_[0].esaz, 0.1);
    EXPECT_NEAR(236.3, picks_[0].seaz, 0.1);
    EXPECT_NEAR(0.0, picks_[2].esaz, 1e-9) << "due north, below 360";
}

TEST_F(Associate, SmallerResidualKeepsTheStationsP) {
    add("P", 0.2);
    add("P", -0.4);
    associate(".P");
    EXPECT_EQ("Pd Pt ", outcomes()) << "the earlier pick is closer and becomes defining";
}

TEST_F(Associate, LargerResidualLosesTheStationsP) {
    add("P", 0.4);
    add("P", -0.2);
    associate(".P");
    EXPECT_EQ("Pt Pd ", outcomes());
}

TEST_F(Associate, BetterNonMemberSHolderBecomesDefiningAndCountsTwice) {
    add("S", 0.1);
    add("S", 0.5);
    EXPECT_EQ(2, associate(".S"));
    EXPECT_EQ("Sd St ", outcomes());
}

TEST_F(Associate, DisplacedSIsCountedOut) {
    add("S", 0.5);
    add("S", 0.1);
    EXPECT_EQ(1, associate(".S"));
    EXPECT_EQ("St Sd ", outcomes());
}

TEST_F(Associate, TieBetweenPhasesGoesToSOnlyWhenSMayAssociate) {
    search_->p_max_resid = search_->s_max_resid = 6;
    add("P", 5.0);  // 5 s after P, 5 s before S
    EXPECT_EQ(1, associate("."));
    EXPECT_EQ("Sa ", outcomes());
    search_->associate_S = 0;
    EXPECT_EQ(0, associate("."));
    EXPECT_EQ("Pa ", outcomes());
}

TEST_F(Associate, PMemberOutsideItsLimitFallsBackToS) {
    add("S", 0.5);
    EXPECT_EQ(1, associate("P"));
    EXPECT_EQ("Sa ", outcomes());
    search_->associate_S = 0;
    EXPECT_EQ(0, associate("P"));
    EXPECT_EQ("S- ", outcomes()) << "provisional phase";
}

TEST_F(Associate, PhaseSifterKeepsAMemberFromDefining) {
    char sifter[] = "P";
    picks_.add("A", "BHZ", "P", kOrigin + 10);
    associate("P");
    std::strcpy(picks_[0].phase, "Lg");
    search_->phase_sifter = sifter;
    velorix_setup_plist(picks_.stao_tbl, picks_.list, search_.sp, kOrigin, 0, 0, 0, 0, 0);
    EXPECT_EQ("Pt ", outcomes());
    search_->phase_sifter = nullptr;
}

TEST_F(Associate, PicksThatTakeNoPart) {
    add("P", 0);
    picks_.add("ELSEWHERE", "BHZ", "P", kOrigin + 10);
    picks_.set_up(*search_);
    picks_[0].used = 1;
    velorix_setup_plist(picks_.stao_tbl, picks_.list, search_.sp, kOrigin, 0, 0, 0, 0, 0);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(999.999, picks_[i].resid);
        EXPECT_STREQ("", picks_[i].ophase);
    }
    EXPECT_EQ(1, picks_[0].used_save);
}

TEST_F(Associate, WithoutPTimesOnlySIsLeft) {
    grid_.grid.P_times = nullptr;
    add("P", 0);
    add("S", 0.1);
    EXPECT_EQ(1, associate(".."));
    EXPECT_EQ("S- Sa ", outcomes());
}

TEST_F(Associate, BrokenPatternLeavesLimitsOfZero) {
    station_weights_ broken[] = {{"(", 1, 1, 9, 9, 0, 0, nullptr}};
    add("P", 0.25);
    picks_.set_up(*search_);
    search_->station_weights = broken;
    search_->nstation_weights = 1;
    search_->station_weights_arr = newarr(nullptr);
    LogCapture log;
    velorix_setup_plist(picks_.stao_tbl, picks_.list, search_.sp, kOrigin, 0, 0, 0, 0, 0);
    EXPECT_EQ("P- ", outcomes());
    EXPECT_EQ("velorix_setup_plist: velorix_get_station_weight() error.\n", log.messages().back());
    EXPECT_EQ(ELOG_COMPLAIN, log.lines().back().severity);
    freearr(search_->station_weights_arr, nullptr);
    search_->station_weights_arr = nullptr;
    freehook(&broken[0].match_hook);
}

TEST_F(Associate, ResultCountsStationsAndPicks) {
    add("P", 0);
    add("S", 0.25);
    add("P", 0.5, "B");
    add("P", 0.75, "B");
    associate("PSP.");
    ASSERT_EQ(0, make_result());
    EXPECT_STREQ("tiny", result_->grid_name);
    EXPECT_EQ(2, result_->nsta);
    EXPECT_EQ(2.0, result_->nsta_weighted);
    EXPECT_EQ(2, result_->nsta_ass);
    EXPECT_EQ(3, result_->ndef);
    EXPECT_EQ(3, result_->nass);
    EXPECT_EQ(1, result_->nsass);
    EXPECT_EQ(4, maxtbl(result_->pick_tbl)) << "taken, not only associated";
    EXPECT_NEAR(0.4, result_->dmax, 1e-9);
    EXPECT_EQ(1, result_->edge_fault);
    EXPECT_EQ(0, result_->priority_fault);
    EXPECT_STREQ("", result_->grade);
    GridResults* const same = result_;
    ASSERT_EQ(0, make_result()) << "refilled";
    EXPECT_EQ(same, result_);
    EXPECT_EQ(4, maxtbl(result_->pick_tbl));
}

TEST_F(Associate, GridOfHigherPriorityThatContainsTheEventIsAFault) {
    TinyGridOptions options;
    options.mode = VELORIX_MODE_GENERAL;  // contains every point
    TinyGrid other(ring_of_stations(1), options);
    Search other_search(other.grid);
    setarr(arr_, "other", other_search.sp);
    add("P", 0);
    associate("P");
    for (const int priority : {0, 1}) {
        other_search->priority = priority;
        ASSERT_EQ(0, make_result());
        EXPECT_EQ(priority, result_->priority_fault);
    }
}

TEST_F(Associate, UnknownGridIsAnErrorAndNamesFillWithoutTerminator) {
    add("P", 0);
    associate("P");
    LogCapture log;
    EXPECT_EQ(-1, velorix_make_result(arr_, "missing", picks_.stao_tbl, picks_.list, 0, 0, 0, 0, 0,
                                      0, 0, 0, 0, 0, &result_));
    EXPECT_EQ(nullptr, result_);
    EXPECT_NE(std::string::npos, log.text().find("missing"));
    std::memset(grid_.grid.name, 'n', sizeof grid_.grid.name);
    ASSERT_EQ(0, make_result());
    EXPECT_EQ(std::string(64, 'n'), result_->grid_name);
}

}  // namespace
}  // namespace velorix_test
