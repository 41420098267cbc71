#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>

#include "support/log_capture.h"
#include "support/parameters.h"
#include "support/tiny_grid.h"

namespace velorix_test {
namespace {

TEST(SetupSearch, RefusesBadParametersByName) {
    station_weights_ pattern{"A", 1, 1, 3, HUGE_VAL, 3, 3, nullptr};
    const struct {
        const char* key;
        std::function<void(SearchParams&)> spoil;
    } rows[] = {{"cluster_twin", [](SearchParams& sp) { sp.cluster_twin = 0; }},
                {"station_weights",
                 [&](SearchParams& sp) {
                     sp.station_weights = &pattern;
                     sp.nstation_weights = 1;
                 }},
                {"cluster_prewin", [](SearchParams& sp) { sp.cluster_prewin = std::nan(""); }},
                {"nxd", [](SearchParams& sp) { sp.nxd = 8; }},
                {"nyd", [](SearchParams& sp) { sp.nyd = 0; }},
                {"number_threads", [](SearchParams& sp) { sp.number_threads = 0; }},
                {"closest_stations", [](SearchParams& sp) { sp.closest_stations = -1; }},
                {"try_S", [](SearchParams& sp) { sp.velorix->S_times = nullptr; }}};
    for (const auto& row : rows) {
        TinyGrid grid(ring_of_stations(3));
        Search search(grid.grid);
        row.spoil(*search);
        LogCapture log;
        EXPECT_EQ(-1, velorix_setup_search(search.sp)) << row.key;
        ASSERT_FALSE(log.empty()) << row.key;
        EXPECT_EQ(0u, log.text().find("velorix_setup_search: " + std::string(row.key) + " "));
        EXPECT_EQ(nullptr, search->threads_tbl);
    }
}

TEST(SetupSearch, DefaultsAreAcceptedAndThreadsStay) {
    TinyGrid grid(ring_of_stations(3));
    Search search(grid.grid);
    search->number_threads = 2;
    LogCapture log;
    ASSERT_EQ(0, velorix_setup_search(search.sp));
    EXPECT_EQ(0, velorix_setup_search(search.sp));
    EXPECT_EQ(2, maxtbl(search->threads_tbl));
    EXPECT_TRUE(log.empty());
    search->number_threads = 3;
    EXPECT_EQ(-1, velorix_setup_search(search.sp));
}

TEST(SetupSearch, WarnsOfWhatTheGridCannotServe) {
    TinyGridOptions options;
    options.distances = options.p_times = false;
    TinyGrid grid(ring_of_stations(3), options);
    Search search(grid.grid);
    search->closest_stations = 2;
    LogCapture log;
    EXPECT_EQ(0, velorix_setup_search(search.sp));
    EXPECT_EQ(2u, log.count());
    EXPECT_EQ(ELOG_COMPLAIN, log.lines()[0].severity);
}

TEST(SearchFromPf, FillsFieldsByName) {
    TinyGrid grid(ring_of_stations(3));
    Search search(grid.grid);
    const PfPtr pf = parameters(R"(
        cluster_twin = 1.5
        number_threads = 2
        try_S = false
        phase_sifter = "P|S"
        closest_stations = 20
        station_weights = ["IU_.* 2 1 3 4", "A.* 1 0.5 2 3 5 6"]
        p_weights = ["0 1", "10 0.5"]
        sta_defining_arr = ["S00", "S01"]
        nsta_thresh = ["1.0 4"]
    )");
    LogCapture log;
    ASSERT_EQ(0, velorix_search_from_pf(search.sp, pf.get())) << log.text();
    ASSERT_EQ(0, velorix_setup_search(search.sp));
    EXPECT_EQ(1.5, search->cluster_twin);
    EXPECT_EQ(2, search->number_threads);
    EXPECT_EQ(0, search->try_S);
    EXPECT_STREQ("P|S", search->phase_sifter);
    ASSERT_EQ(2, search->nstation_weights);
    EXPECT_STREQ("A.*", search->station_weights[1].sta_expr);
    EXPECT_EQ(3, search->station_weights[0].p_max_resid_sweep) << "as p_max_resid when absent";
    EXPECT_EQ(6, search->station_weights[1].s_max_resid_sweep);
    ASSERT_EQ(2, search->use_dwt);
    EXPECT_DOUBLE_EQ(-0.05, search->p_weights[0].slope);
    EXPECT_NE(nullptr, getarr(search->sta_defining_arr, "S01"));
    EXPECT_NE(nullptr, search->station_weights_arr);
    EXPECT_EQ(4, search->nsta_thresh[0].thresh);
    EXPECT_TRUE(log.empty());
}

TEST(SearchFromPf, BadEntriesAreNamed) {
    TinyGrid grid(ring_of_stations(3));
    for (const char* toml :
         {"cluster_twin = 'wide'", "station_weights = ['A.* 1 2 3']", "p_weights = ['2 1', '1 1']",
          "s_weights = ['0 1x']", "nsta_thresh = ['1 1.5']", "sta_defining_arr = 3.5"}) {
        Search search(grid.grid);
        const PfPtr pf = parameters(toml);
        const std::string key(toml, std::string(toml).find(' '));
        LogCapture log;
        const int result = velorix_search_from_pf(search.sp, pf.get());
        EXPECT_EQ(-1, result) << toml;
        EXPECT_NE(std::string::npos, log.text().find(key)) << log.text();
    }
}

TEST(SearchFromPf, ReadingAgainReplacesListsAndPatterns) {
    TinyGrid grid(ring_of_stations(3));
    Search search(grid.grid);
    const PfPtr first = parameters("station_weights = ['S.* 5 5 1 1']");
    const PfPtr second =
        parameters("station_weights = ['S.* 7 7 1 1']\nsta_defining_arr = ['S00']");
    double weight = 0;
    for (const PfPtr* pf : {&first, &second, &second}) {
        ASSERT_EQ(0, velorix_search_from_pf(search.sp, pf->get()));
        ASSERT_EQ(0, velorix_setup_search(search.sp));
        velorix_get_station_weight(search.sp, "S00", &weight, nullptr, nullptr, nullptr);
    }
    EXPECT_EQ(7, weight);
}

TEST(SearchFromPf, UnknownKeysAreComplainedOf) {
    TinyGrid grid(ring_of_stations(3));
    Search search(grid.grid);
    LogCapture log;
    EXPECT_EQ(0, velorix_search_from_pf(search.sp, parameters("cluster_win = 3").get()));
    EXPECT_NE(std::string::npos, log.text().find("cluster_win"));
}

}  // namespace
}  // namespace velorix_test
