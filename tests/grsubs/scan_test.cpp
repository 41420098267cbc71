// What a scan does beside finding the best node: that is for scan_skip_test.cpp, which holds scans
// of every kind and number of threads against one that scores every node.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <tuple>

#include "support/log_capture.h"
#include "support/tiny_grid.h"

namespace velorix_test {
namespace {

constexpr double kOrigin = 1515146668.25;

class ScanTest : public testing::Test {
  protected:
    ScanTest()
        : grid_(ring_of_stations(8), {.type = VELORIX_TYPE_1D, .depths = {2.0, 10.0, 25.0}}),
          search_(grid_.grid) {}
    /// P and S of an event at column 4, row 3 and a depth, with up to `noise` seconds of scatter.
    void add_event(int depth, Picks& picks, double noise = 0) const {
        std::mt19937 random(5);
        std::uniform_real_distribution<double> scatter(-noise, noise);
        for (int is = 0; is < 8; ++is) {
            double p = 0, s = 0;
            velorix_get_ttimes(&grid_.grid, is, 4, 3, depth, &p, &s);
            const char* code = grid_.grid.stations[is].sta;
            picks.add(code, "BHZ", "P", kOrigin + p + scatter(random));
            picks.add(code, "BHN", "S", kOrigin + s + scatter(random));
        }
    }
    void set_up(int depth, double noise = 0) {
        search_->cluster_twin = 0.2;
        search_->nxd = search_->nyd = 3;
        ASSERT_EQ(0, velorix_setup_search(search_.sp));
        add_event(depth, picks_, noise);
        ASSERT_EQ(8, picks_.set_up(*search_));
    }

    TinyGrid grid_;
    Search search_;
    Picks picks_;
};

TEST_F(ScanTest, FinalPassRunsOnlyBelowTheFirstDepth) {
    set_up(2);
    std::strcpy(search_->grid_type_string, "local");
    EXPECT_EQ(2, Scan(*search_, picks_.stao_tbl).id);
    EXPECT_STREQ("local final depth", search_->grid_type_string);
    Picks shallow;
    add_event(0, shallow);
    shallow.set_up(*search_);
    std::strcpy(search_->grid_type_string, "local");
    EXPECT_EQ(0, Scan(*search_, shallow.stao_tbl).id);
    EXPECT_STREQ("local", search_->grid_type_string);
}

TEST_F(ScanTest, AFullStepTextIsNotOverrun) {
    set_up(2);
    const LogCapture log;
    std::memset(search_->grid_type_string, 'x', 127);
    EXPECT_EQ(0, Scan(*search_, picks_.stao_tbl).result);
    EXPECT_EQ(std::string(127, 'x'), search_->grid_type_string);
    EXPECT_EQ(1u, log.count());
}

TEST_F(ScanTest, ScorePlotHoldsTheLastFullPass) {
    char name[] = "plot";
    search_->bugrid_filename = name;
    set_up(2);
    const Scan scan(*search_, picks_.stao_tbl);
    ASSERT_NE(nullptr, search_->plot_buffer);
    EXPECT_EQ(static_cast<float>(scan.f), search_->plot_buffer[3 * 7 + 4]);
    EXPECT_FLOAT_EQ(0.6F, search_->x_buffer[6]);
    EXPECT_FLOAT_EQ(0.4F, search_->y_buffer[4]);
}

TEST_F(ScanTest, APassOverEachDepthHoldsTheBestNode) {
    set_up(1, 0.05);
    const Scan scan(*search_, picks_.stao_tbl);
    EXPECT_EQ(std::make_tuple(4, 3, 1), std::tie(scan.ix, scan.iy, scan.id));
    EXPECT_NEAR(kOrigin, scan.time, 0.05);
    for (int32_t depth = 0; depth < 3; ++depth) {
        double f = 0, ncluster = 0, std = 0, time = 0, zmax = 0;
        int32_t ix = -9, iy = -9;
        ASSERT_EQ(0, velorix_scan_grid_comp(search_.sp, picks_.stao_tbl, depth, &f, &ncluster, &std,
                                            &time, &ix, &iy, &zmax));
        if (depth == 1) {
            EXPECT_EQ(std::tie(scan.f, scan.time, scan.ix, scan.iy), std::tie(f, time, ix, iy));
            EXPECT_EQ(scan.f, zmax);
        } else {
            EXPECT_LT(zmax, scan.f);
        }
    }
}

TEST_F(ScanTest, SingleAndThreadedScansTakeTurns) {
    search_->number_threads = 2;
    set_up(1);
    const auto results = [](const Scan& scan) {
        return std::tie(scan.f, scan.time, scan.std, scan.stduw, scan.ix, scan.iy, scan.id);
    };
    const Scan first(*search_, picks_.stao_tbl);
    for (const int threads : {1, 2, 1, 2}) {
        search_->number_threads = threads;
        EXPECT_EQ(results(first), results(Scan(*search_, picks_.stao_tbl)));
    }
}

TEST_F(ScanTest, WorkersThatDoNotCompleteFailTheScan) {
    search_->number_threads = 2;
    set_up(0);
    pmtcomp_free(search_->threads);
    void* threads[] = {gettbl(search_->threads_tbl, 0), gettbl(search_->threads_tbl, 1)};
    search_->threads = pmtcomp_new(
        2, [](int32_t offset, int32_t, void*) -> int64_t { return offset == 0 ? 0 : -1; }, threads,
        35);
    std::memset(grid_.grid.name, 'n', sizeof grid_.grid.name);
    const LogCapture log;
    EXPECT_EQ(-1, Scan(*search_, picks_.stao_tbl).result);
    std::string failure = "velorix_scan_grid_comp: pmtcomp_processthreads(ret=1) error for grid ";
    failure.append(64, 'n').append(".\n");
    EXPECT_EQ(failure, log.messages()[0]);
    EXPECT_EQ("velorix_scan_grid: velorix_scan_grid_comp() error.\n", log.messages()[1]);
}

TEST_F(ScanTest, WhatCannotBeScannedIsRefused) {
    set_up(0);
    const LogCapture log;
    EXPECT_EQ(-1, Scan(*search_, nullptr).result);
    search_->nxd = 8;
    EXPECT_EQ(-1, Scan(*search_, picks_.stao_tbl).result);
    search_->nxd = 3;
    search_->number_threads = 9;
    EXPECT_EQ(-1, Scan(*search_, picks_.stao_tbl).result);
    search_->number_threads = 1;
    grid_.grid.mode = 3;
    EXPECT_EQ(-1, Scan(*search_, picks_.stao_tbl).result);
    grid_.grid.mode = VELORIX_MODE_REGULAR;
    EXPECT_EQ(5u, log.count());
    EXPECT_EQ(0, Scan(*search_, picks_.stao_tbl).result);
}

TEST_F(ScanTest, NothingToScoreIsAScoreOfZero) {
    set_up(0);
    for (int i = 0; i < 8; ++i)
        picks_.listed(i).p_weight_initial = picks_.listed(i).s_weight_initial = 0;
    const Scan scan(*search_, picks_.stao_tbl);
    EXPECT_EQ(0, scan.result);
    EXPECT_EQ(0, scan.f);
    EXPECT_EQ(0, scan.ix + scan.iy + scan.id);
}

}  // namespace
}  // namespace velorix_test
