#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/allocations.h"
#include "support/log_capture.h"
#include "support/parameters.h"
#include "support/tiny_grid.h"

namespace velorix_test {
namespace {

PfPtr arrivals(const std::string& line) { return parameters("arrivals = ['''" + line + "''']"); }

TEST(FillPlist, ReadsBothLayouts) {
    struct Row {
        const char* line;
        int dbloc2;
        int64_t arid;
    };
    const Row rows[] = {{"STA1 BHZ P 100.5 12.0", 0, -1},
                        {"77 STA1 BHZ P 100.5 12.0", 1, 77},
                        {"  STA1\tBHZ  P +1.005e2 12.0 and more", 0, -1},
                        {"STA1 BHZ P 0x1.92p6 0x1.8p3", 0, -1},
                        {"9000000000 STA1 BHZ P 100.5 12.0x", 1, 9000000000}};
    for (const Row& row : rows) {
        Tbl* list = nullptr;
        ASSERT_EQ(0, velorix_fill_plist(arrivals(row.line).get(), &list, row.dbloc2)) << row.line;
        ASSERT_EQ(1, maxtbl(list));
        const auto& pick = *static_cast<const PickList*>(gettbl(list, 0));
        EXPECT_STREQ("STA1", pick.sta);
        EXPECT_STREQ("BHZ", pick.chan);
        EXPECT_STREQ("P", pick.phase);
        EXPECT_EQ(100.5, pick.time);
        EXPECT_EQ(12.0, pick.snr);
        EXPECT_EQ(row.arid, pick.arid);
        freetbl(list, free);
    }
}

TEST(FillPlist, QuotesUnreadableLines) {
    struct Row {
        const char* line;
        int dbloc2;
        std::vector<std::string> messages;
    };
    const Row rows[] = {
        {"STA1 BHZ P 100.5", 0, {"velorix_fill_plist: scan error on 'STA1 BHZ P 100.5'.\n"}},
        {"ABCDEFGHIJKLMNOP BHZ P 1 2",
         0,
         {"velorix_fill_plist: scan error on 'ABCDEFGHIJKLMNOP BHZ P 1 2'.\n"}},
        {"STA1 BHZ P nan 2", 0, {"velorix_fill_plist: scan error on 'STA1 BHZ P nan 2'.\n"}},
        {"7 STA1 BHZ P x 2",
         1,
         {"velorix_fill_plist: scan returns 4 on '7 STA1 BHZ P x 2'.\n",
          "arid=7 sta='STA1' chan='BHZ' phase='P' time=0.000000 snr=0.000000"}},
        {"STA1 BHZ P 1 2",
         1,
         {"velorix_fill_plist: scan returns 0 on 'STA1 BHZ P 1 2'.\n",
          "arid=-1 sta='' chan='' phase='' time=0.000000 snr=0.000000"}},
        {" ",
         1,
         {"velorix_fill_plist: scan returns -1 on ' '.\n",
          "arid=-1 sta='' chan='' phase='' time=0.000000 snr=0.000000"}},
    };
    for (const Row& row : rows) {
        LogCapture log;
        Tbl* list = nullptr;
        EXPECT_EQ(-1, velorix_fill_plist(arrivals(row.line).get(), &list, row.dbloc2));
        EXPECT_EQ(row.messages, log.messages());
        EXPECT_EQ(1, log.lines()[0].flag);
        freetbl(list, free);
    }
}

TEST(FillPlist, NoLinesGiveNoListAndNoMap) {
    const PfPtr pf = parameters("arrivals = []");
    Tbl* list = nullptr;
    Arr* map = nullptr;
    EXPECT_EQ(0, velorix_fill_plist(pf.get(), &list, 0));
    EXPECT_EQ(nullptr, list);
    EXPECT_EQ(0, velorix_fill_staobs(pf.get(), &map, 0));
    EXPECT_EQ(nullptr, map);
    LogCapture log;
    const PfPtr none = parameters("");
    EXPECT_EQ(-1, velorix_fill_staobs(none.get(), &map, 0));
    EXPECT_EQ("velorix_fill_staobs: velorix_fill_plist() error.\n", log.messages().back());
}

TEST(FillStaobs, GroupsByStationInOrderAndExtendsAMap) {
    Picks picks;
    for (const double time : {3.0, 1.0, 2.0}) picks.add("A", "BHZ", "P", time);
    picks.add("B", "BHZ", "P", 4.0);
    ASSERT_EQ(0, velorix_fill_staobs_tbl(picks.list, &picks.map, 0, 0));
    const StationObs& a = picks.station("A");
    ASSERT_EQ(3, a.nobs_orig);
    EXPECT_EQ(1, picks.station("B").nobs_orig);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(&picks[i], a.obs_orig[i].plist);
    EXPECT_EQ(&a, picks[1].stao);
    Picks more;
    more.add("A", "BHZ", "P", 9.0);
    ASSERT_EQ(0, velorix_fill_staobs_tbl(more.list, &picks.map, 0, 0));
    EXPECT_EQ(4, a.nobs_orig);
    EXPECT_EQ(9.0, a.obs_orig[3].time);
    // No picks at all: the handle is emptied, the stations stay whose they are.
    StationObs* const stations[] = {static_cast<StationObs*>(getarr(picks.map, "A")),
                                    static_cast<StationObs*>(getarr(picks.map, "B"))};
    Tbl* none = newtbl(0);
    EXPECT_EQ(0, velorix_fill_staobs_tbl(none, &picks.map, 0, 0));
    EXPECT_EQ(nullptr, picks.map);
    freetbl(none, nullptr);
    for (StationObs* station : stations) velorix_free_staobs(station);
}

TEST(FillStaobs, LeavesOutPicksOfEarlierSolutions) {
    Picks picks;
    PickList& taken = picks.add("A", "BHZ", "P", 1.0);
    taken.used = 1;
    taken.associated = taken.defining = 1;
    ASSERT_EQ(0, velorix_fill_staobs_tbl(picks.list, &picks.map, 0, 1));
    EXPECT_EQ(nullptr, picks.map);
    EXPECT_EQ(1, taken.used_save);
    EXPECT_EQ(0, taken.associated + taken.defining);
    EXPECT_EQ(0, velorix_cleanup_plist(picks.list));
    EXPECT_EQ(1, taken.used);
}

TEST(FillStaobs, ReleasedPicksLeaveNullReferencesThatAreTolerated) {
    TinyGrid grid({make_station("A", 0.2, 0.3)});
    Search search(grid.grid);
    velorix_setup_search(search.sp);
    Picks holder;
    ASSERT_EQ(0, velorix_fill_staobs(arrivals("A BHZ P 100.5 12.0").get(), &holder.map, 0));
    EXPECT_EQ(nullptr, holder.station("A").obs_orig[0].plist);
    ASSERT_EQ(1, holder.set_up(*search));
    EXPECT_EQ(0, Scan(*search, holder.stao_tbl).result);
    EXPECT_EQ(0, velorix_setup_plist(holder.stao_tbl, holder.list, search.sp, 0, 0, 0, 0, 0, 0));
    Tbl* listed = nullptr;
    EXPECT_EQ(0, velorix_setup_staobs_from_plist(holder.map, search.sp, &listed));
    freetbl(listed, nullptr);
}

class SetupStaobs : public testing::Test {
  protected:
    SetupStaobs()
        : grid_({make_station("A", 0.2, 0.3), make_station("B", 0.1, 0.1)}), search_(grid_.grid) {
        velorix_setup_search(search_.sp);
    }
    std::string p_use(const char* sta) const {
        std::string uses;
        const StationObs& station = picks_.station(sta);
        for (int i = 0; i < station.nobs; ++i) uses += station.obs[i]->useforP ? 'P' : '-';
        return uses;
    }

    TinyGrid grid_;
    Search search_;
    Picks picks_;
};

TEST_F(SetupStaobs, ThinsP) {
    search_->det_tmin = 2;
    for (const double time : {10.0, 11.0, 12.5, 13.0, 14.5, 10.0})
        picks_.add("A", "BHZ", "P", time);
    for (const double time : {-50.0, -1.0, 0.5, 1.0}) picks_.add("B", "BHZ", "P", time);
    EXPECT_EQ(2, picks_.set_up(*search_));
    EXPECT_EQ("P-P-P-", p_use("A"));
    EXPECT_EQ("PP-P", p_use("B")) << "times before 1970";
}

TEST_F(SetupStaobs, SiftsPhasesAndChannels) {
    char phases[] = "P|S";
    char p_channels[] = ".*Z";
    char s_channels[] = ".*[NE]";
    search_->phase_sifter = phases;
    search_->p_channel_sifter = p_channels;
    search_->s_channel_sifter = s_channels;
    picks_.add("A", "BHZ", "Pn", 1);
    picks_.add("A", "BHZ", "P", 2);
    picks_.add("A", "BHN", "S", 3);
    picks_.add("B", "BHZ", "Lg", 4);
    picks_.add("ELSEWHERE", "BHZ", "P", 5);
    EXPECT_EQ(1, picks_.set_up(*search_));
    const StationObs& a = picks_.station("A");
    ASSERT_EQ(2, a.nobs);
    EXPECT_EQ(2.0, a.obs[0]->time);
    EXPECT_EQ("P-", p_use("A"));
    EXPECT_EQ(0, a.obs[0]->useforS);
    EXPECT_EQ(1, a.obs[1]->useforS);
    for (const char* left_out : {"B", "ELSEWHERE"}) {
        EXPECT_EQ(-1, picks_.station(left_out).is);
        EXPECT_EQ(0, picks_.station(left_out).p_weight_initial);
    }
    search_->phase_sifter = search_->p_channel_sifter = search_->s_channel_sifter = nullptr;
}

TEST_F(SetupStaobs, FromPlistTakesAssociatedPicksAlone) {
    picks_.add("A", "BHZ", "P", 1);
    picks_.add("A", "BHZ", "P", 2).snr = 3;
    picks_.add("B", "BHZ", "P", 3);
    picks_.set_up(*search_);
    picks_[1].associated = 1;
    picks_[2].associated = 2;
    Tbl* listed = nullptr;
    ASSERT_EQ(1, velorix_setup_staobs_from_plist(picks_.map, search_.sp, &listed));
    EXPECT_EQ(1, picks_.station("A").nobs);
    EXPECT_EQ(2.0, picks_.station("A").obs[0]->time);
    freetbl(listed, nullptr);
}

TEST_F(SetupStaobs, AFailureLeavesTheStationsListedBeforeIt) {
    station_weights_ patterns[2]{};
    patterns[0].sta_expr = "A";
    patterns[1].sta_expr = "(";
    search_->station_weights = patterns;
    search_->nstation_weights = 2;
    search_->station_weights_arr = newarr(nullptr);
    picks_.add("A", "BHZ", "P", 1);
    picks_.add("B", "BHZ", "P", 2);
    LogCapture log;
    EXPECT_EQ(-1, picks_.set_up(*search_));
    EXPECT_EQ("velorix_setup_staobs: velorix_get_station_weight() error.\n", log.messages().back());
    ASSERT_EQ(1, maxtbl(picks_.stao_tbl));
    EXPECT_STREQ("A", picks_.listed(0).sta);
    freearr(search_->station_weights_arr, nullptr);
    for (station_weights_& pattern : patterns) freehook(&pattern.match_hook);
    search_->station_weights = nullptr;
    search_->station_weights_arr = nullptr;
    search_->nstation_weights = 0;
}

// Running out of memory must not pass for a map without stations.
TEST_F(SetupStaobs, EveryAllocationThatFailsIsAFailure) {
    search_->use_swt = 1;
    picks_.add("A", "BHZ", "P", 1);
    picks_.add("B", "BHZ", "P", 2);
    ASSERT_EQ(2, picks_.set_up(*search_));
    Arr* searches = newarr(nullptr);
    setarr(searches, "tiny", search_.sp);
    const auto set_up_and_result = [&] {
        if (picks_.set_up(*search_) != 2) return false;
        GridResults* result = nullptr;
        const int made = velorix_make_result(searches, "tiny", picks_.stao_tbl, picks_.list, 0, 0,
                                             0, 0, 0, 0, 0, 0, 0, 0, &result);
        velorix_free_result(result);
        return made == 0;
    };
    bool said = false;  // a capture that allocates would fail too
    elog_set_hook([](int, int, const char*, void* user) { *static_cast<bool*>(user) = true; },
                  &said);
    for (long n = 1; n < 1000; ++n, said = false) {
        bool good = false;
        {
            const FailingAllocations failing(n);
            good = set_up_and_result();
        }
        EXPECT_NE(good, said) << n;
        if (!good) continue;
        EXPECT_GT(n, 10);
        break;
    }
    elog_set_hook(nullptr, nullptr);
    freearr(searches, nullptr);
}

TEST_F(SetupStaobs, BadSifterSelectsNothing) {
    char broken[] = "(";
    search_->phase_sifter = broken;
    picks_.add("A", "BHZ", "P", 1);
    LogCapture log;
    EXPECT_EQ(0, picks_.set_up(*search_));
    EXPECT_FALSE(log.empty());
    search_->phase_sifter = nullptr;
}

TEST_F(SetupStaobs, CopiesAreDeepAndKeepTheSelection) {
    char phases[] = "S";
    search_->phase_sifter = phases;
    picks_.add("A", "BHZ", "P", 1);
    picks_.add("A", "BHZ", "S", 2);
    picks_.set_up(*search_);
    search_->phase_sifter = nullptr;
    Tbl* copies = velorix_copy_stao_tbl(picks_.stao_tbl);
    auto& copy = *static_cast<StationObs*>(gettbl(copies, 0));
    EXPECT_EQ(copy.obs_orig + 1, copy.obs[0]);
    EXPECT_EQ(&picks_[1], copy.obs[0]->plist);
    copy.obs[0]->used = 2;
    EXPECT_EQ(0, picks_.station("A").obs[0]->used);
    freetbl(copies, velorix_free_staobs);
}

}  // namespace
}  // namespace velorix_test
