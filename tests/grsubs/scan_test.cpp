#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <tuple>

#include "support/log_capture.h"
#include "support/tiny_grid.h"

namespace velorix_test {
namespace {

constexpr double kOrigin = 1515146668.25;

struct Event {
    int ix = 4;  // node; general mesh: node number
    int iy = 3;
    int id = 0;
    bool with_s = true;
    double noise = 0;  // s
    int outliers = 0;
};

void add_event(const Velorix& grid, const Event& event, Picks& picks) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> uniform(-1, 1);
    for (int is = 0; is < grid.ns; ++is) {
        double p = 0, s = 0;
        velorix_get_ttimes(&grid, is, event.ix, event.iy, event.id, &p, &s);
        const char* code = grid.stations[is].sta;
        picks.add(code, "BHZ", "P", kOrigin + p + event.noise * uniform(random));
        if (event.with_s) picks.add(code, "BHN", "S", kOrigin + s + event.noise * uniform(random));
    }
    for (int i = 0; i < event.outliers; ++i) {
        picks.add(grid.stations[i % grid.ns].sta, "BHZ", "P", kOrigin + 200 * uniform(random));
    }
}

struct GridKind {
    const char* name;
    int mode;
    int type;
    bool s_times;
    int nd;
};

class ScanKinds : public testing::TestWithParam<GridKind> {};

void expect_same(const Scan& a, const Scan& b) {
    EXPECT_EQ(a.f, b.f);
    EXPECT_EQ(a.time, b.time);
    EXPECT_EQ(a.std, b.std);
    EXPECT_EQ(a.stduw, b.stduw);
    EXPECT_EQ(a.ix, b.ix);
    EXPECT_EQ(a.iy, b.iy);
    EXPECT_EQ(a.id, b.id);
}

TEST_P(ScanKinds, RecoversTheEventWithAnyNumberOfThreads) {
    const GridKind& kind = GetParam();
    TinyGridOptions options;
    options.mode = kind.mode;
    options.type = kind.type;
    options.s_times = kind.s_times;
    options.depths = {2.0, 10.0, 25.0};
    options.depths.resize(static_cast<size_t>(kind.nd));
    TinyGrid grid(ring_of_stations(15), options);
    const bool general = kind.mode == VELORIX_MODE_GENERAL;
    for (const double noise : {0.0, 0.05}) {
        Event event;
        event.ix = general ? 26 : 4;
        event.id = general ? 0 : kind.nd - 1;
        event.with_s = kind.s_times;
        event.noise = noise;
        event.outliers = noise > 0 ? 10 : 0;
        Picks single_picks;
        add_event(grid.grid, event, single_picks);
        Search single(grid.grid);
        single->cluster_twin = 0.2;
        single->nxd = single->nyd = 5;
        ASSERT_EQ(0, velorix_setup_search(single.sp));
        single_picks.set_up(*single);
        const Scan alone(*single, single_picks.stao_tbl);
        ASSERT_EQ(0, alone.result);
        EXPECT_EQ(event.ix, alone.ix);
        EXPECT_EQ(general ? -1 : event.iy, alone.iy);
        EXPECT_EQ(general ? -1 : event.id, alone.id);
        EXPECT_NEAR(kOrigin, alone.time, noise > 0 ? 0.03 : 2e-6);
        EXPECT_NEAR((kind.s_times ? 30 : 15) + 0.5, alone.f, 0.5);
        for (const int threads : {2, 3, 5}) {
            SCOPED_TRACE(testing::Message() << threads << " threads, noise " << noise);
            Picks picks;
            add_event(grid.grid, event, picks);
            Search search(grid.grid);
            search->cluster_twin = 0.2;
            search->nxd = search->nyd = 5;
            search->number_threads = threads;
            ASSERT_EQ(0, velorix_setup_search(search.sp));
            picks.set_up(*search);
            const Scan together(*search, picks.stao_tbl);
            ASSERT_EQ(0, together.result);
            expect_same(alone, together);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Grids, ScanKinds,
    testing::Values(GridKind{"general_times", VELORIX_MODE_GENERAL, VELORIX_TYPE_3D, true, 3},
                    GridKind{"general_table", VELORIX_MODE_GENERAL, VELORIX_TYPE_1D, true, 1},
                    GridKind{"regular_times", VELORIX_MODE_REGULAR, VELORIX_TYPE_3D, true, 3},
                    GridKind{"regular_p_only", VELORIX_MODE_REGULAR, VELORIX_TYPE_3D, false, 3},
                    GridKind{"regular_table", VELORIX_MODE_REGULAR, VELORIX_TYPE_1D, true, 3},
                    GridKind{"regular_flat", VELORIX_MODE_REGULAR, VELORIX_TYPE_3D, true, 1}),
    [](const auto& row) { return row.param.name; });

class ScanTest : public testing::Test {
  protected:
    ScanTest() : grid_(ring_of_stations(8), options()), search_(grid_.grid) {}
    static TinyGridOptions options() {
        TinyGridOptions options;
        options.type = VELORIX_TYPE_1D;
        options.depths = {2.0, 10.0, 25.0};
        return options;
    }
    void set_up(const Event& event) {
        search_->cluster_twin = 0.2;
        search_->nxd = search_->nyd = 3;
        ASSERT_EQ(0, velorix_setup_search(search_.sp));
        add_event(grid_.grid, event, picks_);
        ASSERT_EQ(8, picks_.set_up(*search_));
    }

    TinyGrid grid_;
    Search search_;
    Picks picks_;
};

TEST_F(ScanTest, FinalPassRunsOnlyBelowTheFirstDepth) {
    set_up({.id = 2});
    std::strcpy(search_->grid_type_string, "local");
    EXPECT_EQ(2, Scan(*search_, picks_.stao_tbl).id);
    EXPECT_STREQ("local final depth", search_->grid_type_string);
    Picks shallow;
    add_event(grid_.grid, {.id = 0}, shallow);
    shallow.set_up(*search_);
    std::strcpy(search_->grid_type_string, "local");
    EXPECT_EQ(0, Scan(*search_, shallow.stao_tbl).id);
    EXPECT_STREQ("local", search_->grid_type_string);
}

TEST_F(ScanTest, AFullStepTextIsNotOverrun) {
    set_up({.id = 2});
    LogCapture log;
    std::memset(search_->grid_type_string, 'x', 127);
    EXPECT_EQ(0, Scan(*search_, picks_.stao_tbl).result);
    EXPECT_EQ(std::string(127, 'x'), search_->grid_type_string);
    EXPECT_EQ(1u, log.count());
}

TEST_F(ScanTest, ScorePlotHoldsTheLastFullPass) {
    char name[] = "plot";
    search_->bugrid_filename = name;
    set_up({.ix = 4, .iy = 3, .id = 2});
    const Scan scan(*search_, picks_.stao_tbl);
    ASSERT_NE(nullptr, search_->plot_buffer);
    EXPECT_EQ(static_cast<float>(scan.f), search_->plot_buffer[3 * 7 + 4]);
    EXPECT_FLOAT_EQ(0.6F, search_->x_buffer[6]);
    EXPECT_FLOAT_EQ(0.4F, search_->y_buffer[4]);
    search_->bugrid_filename = nullptr;
}

TEST_F(ScanTest, APassOverEachDepthHoldsTheBestNode) {
    set_up({.ix = 4, .iy = 3, .id = 1, .noise = 0.05});
    const Scan scan(*search_, picks_.stao_tbl);
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
    set_up({.id = 1});
    const Scan threaded(*search_, picks_.stao_tbl);
    for (int i = 0; i < 3; ++i) {
        for (const int threads : {1, 2}) {
            search_->number_threads = threads;
            expect_same(threaded, Scan(*search_, picks_.stao_tbl));
        }
    }
}

TEST_F(ScanTest, WorkersThatDoNotCompleteFailTheScan) {
    search_->number_threads = 2;
    set_up({});
    pmtcomp_free(search_->threads);
    void* threads[] = {gettbl(search_->threads_tbl, 0), gettbl(search_->threads_tbl, 1)};
    search_->threads = pmtcomp_new(
        2, [](int32_t offset, int32_t, void*) -> int64_t { return offset == 0 ? 0 : -1; }, threads,
        35);
    std::memset(grid_.grid.name, 'n', sizeof grid_.grid.name);
    LogCapture log;
    EXPECT_EQ(-1, Scan(*search_, picks_.stao_tbl).result);
    std::string failure = "velorix_scan_grid_comp: pmtcomp_processthreads(ret=1) error for grid ";
    failure.append(64, 'n').append(".\n");
    EXPECT_EQ(failure, log.messages()[0]);
    EXPECT_EQ("velorix_scan_grid: velorix_scan_grid_comp() error.\n", log.messages()[1]);
}

TEST_F(ScanTest, WhatCannotBeScannedIsRefused) {
    set_up({});
    LogCapture log;
    Tbl* empty = newtbl(0);
    EXPECT_EQ(-1, Scan(*search_, empty).result);
    EXPECT_EQ(-1, Scan(*search_, nullptr).result);
    freetbl(empty, nullptr);
    search_->nxd = 8;
    EXPECT_EQ(-1, Scan(*search_, picks_.stao_tbl).result);
    search_->nxd = 3;
    search_->number_threads = 9;
    EXPECT_EQ(-1, Scan(*search_, picks_.stao_tbl).result);
    search_->number_threads = 1;
    grid_.grid.mode = 3;
    EXPECT_EQ(-1, Scan(*search_, picks_.stao_tbl).result);
    grid_.grid.mode = VELORIX_MODE_REGULAR;
    EXPECT_EQ(6u, log.count());
    EXPECT_EQ(0, Scan(*search_, picks_.stao_tbl).result);
}

TEST_F(ScanTest, NothingToScoreIsAScoreOfZero) {
    set_up({});
    for (int i = 0; i < 8; ++i) picks_.listed(i).p_weight_initial = 0;
    for (int i = 0; i < 8; ++i) picks_.listed(i).s_weight_initial = 0;
    const Scan scan(*search_, picks_.stao_tbl);
    EXPECT_EQ(0, scan.result);
    EXPECT_EQ(0, scan.f);
    EXPECT_EQ(0, scan.ix + scan.iy + scan.id);
}

// Every node sees the same picks when all stations stand at one place with one pick each far away.
TEST(ScanTies, GoToTheLowestNodeWithAnyNumberOfThreads) {
    TinyGridOptions options;
    TinyGrid grid({make_station("A", 0.2, 0.3)}, options);
    for (const int threads : {1, 2, 5}) {
        Search search(grid.grid);
        search->number_threads = threads;
        ASSERT_EQ(0, velorix_setup_search(search.sp));
        Picks picks;
        picks.add("A", "BHZ", "P", kOrigin);
        picks.set_up(*search);
        const Scan scan(*search, picks.stao_tbl);
        EXPECT_EQ(0, scan.ix);
        EXPECT_EQ(0, scan.iy);
    }
}

// Leaks show under the leak sanitizer.
TEST_F(ScanTest, AThousandScansLeaveNothingBehind) {
    search_->number_threads = 2;
    set_up({.id = 1});
    for (int i = 0; i < 1000; ++i) {
        search_->grid_type_string[0] = '\0';
        ASSERT_EQ(0, Scan(*search_, picks_.stao_tbl).result);
    }
}

}  // namespace
}  // namespace velorix_test
