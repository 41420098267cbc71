#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/parameters.h"
#include "support/tiny_grid.h"

namespace velorix_test {
namespace {

TEST(SearchParameters, BadOnesAreNamed) {
    const struct {
        const char* who;
        std::vector<const char*> faults;
    } rows[] = {{"velorix_setup_search: ",
                 {"cluster_twin = 0", "nxd = 8", "nyd = 0", "number_threads = 0",
                  "number_threads = 4097", "closest_stations = -1", "try_S = true"}},
                {"velorix_search_from_pf: ",
                 {"station_weights = ['A.* 1 2 3']", "p_weights = ['2 1', '1 1']",
                  "s_weights = ['0 1x']", "nsta_thresh = ['1 1.5']"}},
                {"velorix_search_from_pf: parse_param(",
                 {"cluster_twin = 'wide'", "sta_defining_arr = true"}}};
    TinyGrid grid(ring_of_stations(3), {.s_times = false});
    for (const auto& row : rows) {
        for (const char* toml : row.faults) {
            const Search search(grid.grid);
            const std::string key(toml, std::string(toml).find(' '));
            const LogCapture log;
            EXPECT_FALSE(velorix_search_from_pf(search.sp, parameters(toml).get()) == 0 &&
                         velorix_setup_search(search.sp) == 0)
                << toml;
            EXPECT_NE(std::string::npos, log.text().find(row.who + key)) << toml << log.text();
            EXPECT_EQ(nullptr, search->threads_tbl);
        }
    }
}

TEST(SetupSearch, NumbersHaveToBeFinite) {
    TinyGrid grid(ring_of_stations(3));
    const Search search(grid.grid);
    station_weights_ pattern{"A", 1, 1, 3, HUGE_VAL, 3, 3, nullptr};
    search->cluster_prewin = std::nan("");
    search->station_weights = &pattern;
    search->nstation_weights = 1;
    const LogCapture log;
    EXPECT_EQ(-1, velorix_setup_search(search.sp));
    ASSERT_EQ(2u, log.count());
    EXPECT_EQ(0u, log.messages()[0].find("velorix_setup_search: cluster_prewin "));
    EXPECT_EQ(0u, log.messages()[1].find("velorix_setup_search: station_weights "));
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
    TinyGrid grid(ring_of_stations(3), {.p_times = false, .distances = false});
    const Search search(grid.grid);
    search->closest_stations = 2;
    const LogCapture log;
    EXPECT_EQ(0, velorix_setup_search(search.sp));
    EXPECT_EQ(2u, log.count());
    EXPECT_EQ(ELOG_COMPLAIN, log.lines()[0].severity);
}

TEST(SearchFromPf, FillsFieldsByNameAndComplainsOfUnknownKeys) {
    TinyGrid grid(ring_of_stations(3));
    const Search search(grid.grid);
    const PfPtr pf = parameters(R"(
        cluster_win = 3
        cluster_twin = 1.5
        closest_stations = 20
        try_S = false
        phase_sifter = "P|S"
        station_weights = ["IU_.* 2 1 3 4", "A.* 1 0.5 2 3 5 6"]
        p_weights = ["0 1", "10 0.5"]
        sta_defining_arr = ["S00", "S01"]
        nsta_thresh = ["1.0 4"]
    )");
    const LogCapture log;
    ASSERT_EQ(0, velorix_search_from_pf(search.sp, pf.get())) << log.text();
    ASSERT_EQ(0, velorix_setup_search(search.sp));
    EXPECT_EQ(1.5, search->cluster_twin);
    EXPECT_EQ(20, search->closest_stations);
    EXPECT_EQ(0, search->try_S);
    EXPECT_STREQ("P|S", search->phase_sifter);
    ASSERT_EQ(2, search->nstation_weights);
    EXPECT_STREQ("A.*", search->station_weights[1].sta_expr);
    EXPECT_EQ(3, search->station_weights[0].p_max_resid_sweep) << "as p_max_resid when absent";
    EXPECT_EQ(6, search->station_weights[1].s_max_resid_sweep);
    ASSERT_EQ(2, search->use_dwt);
    EXPECT_DOUBLE_EQ(-0.05, search->p_weights[0].slope);
    EXPECT_NE(nullptr, getarr(search->sta_defining_arr, "S01"));
    EXPECT_EQ(4, search->nsta_thresh[0].thresh);
    EXPECT_EQ(1u, log.count());
    EXPECT_NE(std::string::npos, log.text().find("cluster_win"));
}

TEST(SearchFromPf, ReadingAgainReplacesListsAndPatterns) {
    TinyGrid grid(ring_of_stations(3));
    const Search search(grid.grid);
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

}  // namespace
}  // namespace velorix_test
