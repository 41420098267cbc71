#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/parameters.h"
#include "support/tiny_grid.h"

namespace velorix_test {
namespace {

PfPtr arrivals(const std::string& line) { return parameters("arrivals = ['''" + line + "''']"); }

TEST(FillPlist, ReadsBothLayouts) {
    struct Row {
        const char* line;
        int64_t arid = -1;
    };
    const Row rows[] = {{"STA1 BHZ P 100.5 12.0"},
                        {"77 STA1 BHZ P 100.5 12.0", 77},
                        {"  STA1\tBHZ  P +1.005e2 12.0 and more"},
                        {"STA1 BHZ P 0x1.92p6 0x1.8p3"},
                        {"9000000000 STA1 BHZ P 100.5 12.0x", 9000000000}};
    for (const Row& row : rows) {
        Tbl* list = nullptr;
        ASSERT_EQ(0, velorix_fill_plist(arrivals(row.line).get(), &list, row.arid >= 0))
            << row.line;
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
        int read = 0;  // with an identifier
        const char* fields = nullptr;
    };
    const Row rows[] = {
        {"STA1 BHZ P 100.5"},
        {"ABCDEFGHIJKLMNOP BHZ P 1 2"},
        {"STA1 BHZ P nan 2"},
        {"7 STA1 BHZ P x 2", 4, "arid=7 sta='STA1' chan='BHZ' phase='P'"},
        {"STA1 BHZ P 1 2", 0, "arid=-1 sta='' chan='' phase=''"},
        {" ", -1, "arid=-1 sta='' chan='' phase=''"},
    };
    for (const Row& row : rows) {
        const std::string quoted = " on '" + std::string(row.line) + "'.\n";
        std::vector<std::string> expected = {"velorix_fill_plist: scan error" + quoted};
        if (row.fields) {
            expected = {"velorix_fill_plist: scan returns " + std::to_string(row.read) + quoted,
                        std::string(row.fields) + " time=0.000000 snr=0.000000"};
        }
        const LogCapture log;
        Arr* map = nullptr;
        EXPECT_EQ(-1, velorix_fill_staobs(arrivals(row.line).get(), &map, row.fields ? 1 : 0));
        expected.emplace_back("velorix_fill_staobs: velorix_fill_plist() error.\n");
        EXPECT_EQ(expected, log.messages());
        EXPECT_EQ(1, log.lines()[0].flag);
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
    StationObs* const stations[] = {&picks.station("A"), &picks.station("B")};
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

class SetupStaobs : public testing::Test {
  protected:
    SetupStaobs()
        : grid_({make_station("A", 0.2, 0.3), make_station("B", 0.1, 0.1)}), search_(grid_.grid) {
        velorix_setup_search(search_.sp);
    }
    void set(const char* toml) {
        ASSERT_EQ(0, velorix_search_from_pf(search_.sp, parameters(toml).get()));
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
    set("det_tmin = 2");
    for (const double time : {10.0, 11.0, 12.5, 13.0, 14.5, 10.0})
        picks_.add("A", "BHZ", "P", time);
    for (const double time : {-50.0, -1.0, 0.5, 1.0}) picks_.add("B", "BHZ", "P", time);
    EXPECT_EQ(2, picks_.set_up(*search_));
    EXPECT_EQ("P-P-P-", p_use("A"));
    EXPECT_EQ("PP-P", p_use("B")) << "times before 1970";
}

TEST_F(SetupStaobs, SiftsPhasesAndChannels) {
    set("phase_sifter = 'P|S'\np_channel_sifter = '.*Z'\ns_channel_sifter = '.*[NE]'");
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
    const LogCapture log;
    set("phase_sifter = '('");
    EXPECT_EQ(0, picks_.set_up(*search_));
    EXPECT_FALSE(log.empty());
}

TEST_F(SetupStaobs, FromPlistTakesAssociatedPicksAloneAndCopiesKeepThem) {
    picks_.add("A", "BHZ", "P", 1);
    picks_.add("A", "BHZ", "P", 2);
    picks_.add("B", "BHZ", "P", 3);
    picks_.set_up(*search_);
    picks_[1].associated = 1;
    picks_[2].associated = 2;
    Tbl* listed = nullptr;
    ASSERT_EQ(1, velorix_setup_staobs_from_plist(picks_.map, search_.sp, &listed));
    const StationObs& a = picks_.station("A");
    ASSERT_EQ(1, a.nobs);
    EXPECT_EQ(2.0, a.obs[0]->time);
    Tbl* copies = velorix_copy_stao_tbl(listed);
    auto& copy = *static_cast<StationObs*>(gettbl(copies, 0));
    EXPECT_EQ(copy.obs_orig + 1, copy.obs[0]);
    EXPECT_EQ(&picks_[1], copy.obs[0]->plist);
    copy.obs[0]->used = 2;
    EXPECT_EQ(0, a.obs[0]->used) << "a copy is deep";
    freetbl(copies, velorix_free_staobs);
    freetbl(listed, nullptr);
}

TEST_F(SetupStaobs, AFailureLeavesTheStationsListedBeforeIt) {
    set("station_weights = ['A 1 1 2 3', '( 1 1 2 3']");
    picks_.add("A", "BHZ", "P", 1);
    picks_.add("B", "BHZ", "P", 2);
    const LogCapture log;
    EXPECT_EQ(-1, picks_.set_up(*search_));
    EXPECT_THAT(
        log.messages(),
        testing::IsSupersetOf({"get_station_weight: strmatches(B,() error.\n",
                               "velorix_setup_staobs: velorix_get_station_weight() error.\n"}));
    ASSERT_EQ(1, maxtbl(picks_.stao_tbl));
    EXPECT_STREQ("A", picks_.listed(0).sta);
    Tbl* untouched = nullptr;
    EXPECT_EQ(0, velorix_setup_staobs(nullptr, search_.sp, &untouched));
    EXPECT_EQ(nullptr, untouched);
}

TEST_F(SetupStaobs, ReleasedPicksLeaveNullReferencesThatAreTolerated) {
    ASSERT_EQ(0, velorix_fill_staobs(arrivals("A BHZ P 100.5 12.0").get(), &picks_.map, 0));
    EXPECT_EQ(nullptr, picks_.station("A").obs_orig[0].plist);
    ASSERT_EQ(1, picks_.set_up(*search_));
    EXPECT_EQ(0, Scan(*search_, picks_.stao_tbl).result);
    EXPECT_EQ(0, velorix_setup_plist(picks_.stao_tbl, picks_.list, search_.sp, 0, 0, 0, 0, 0, 0));
    Tbl* listed = nullptr;
    EXPECT_EQ(0, velorix_setup_staobs_from_plist(picks_.map, search_.sp, &listed));
    freetbl(listed, nullptr);
}

}  // namespace
}  // namespace velorix_test
