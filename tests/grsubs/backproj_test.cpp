#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

#include "platform/elog/elog.h"
#include "support/allocations.h"
#include "support/literal_search.h"
#include "support/tiny_grid.h"

namespace velorix_test {
namespace {

struct NodeResult {
    int result = -1;
    double etime = 0, width = 0, score = 0, variance = 0;
};

NodeResult backproject(SearchParams& sp, Tbl* table, int ix = 0, int iy = 0, int id = 0) {
    NodeResult out;
    out.result = velorix_node_backproj(&sp, 0, ix, iy, id, table, &out.etime, &out.width,
                                       &out.score, &out.variance);
    return out;
}

/// Time of a phase from a node to a station, as the grid has it.
double travel(const Velorix& grid, int is, char phase, int ix, int iy = 0, int id = 0) {
    double p = 0, s = 0;
    velorix_get_ttimes(&grid, is, ix, iy, id, &p, &s);
    return phase == 'P' ? p : s;
}

constexpr double kOrigin = 1515146668.25;

class Backproj : public testing::Test {
  protected:
    explicit Backproj(int nstations = 4) : grid_(ring_of_stations(nstations)), search_(grid_.grid) {
        velorix_setup_search(search_.sp);
    }
    void add(int is, char phase, double offset = 0, int ix = 0) {
        const Station& station = grid_.grid.stations[is];
        picks_.add(station.sta, "BHZ", std::string(1, phase),
                   kOrigin + offset + travel(grid_.grid, is, phase, ix));
    }

    TinyGrid grid_;
    Search search_;
    Picks picks_;
};

TEST_F(Backproj, FindsTheOriginAndMarksPhases) {
    for (int is = 0; is < 4; ++is) add(is, is < 3 ? 'P' : 'S');
    add(0, 'S');
    ASSERT_EQ(4, picks_.set_up(*search_));
    const NodeResult node = backproject(*search_, picks_.stao_tbl);
    EXPECT_EQ(0, node.result);
    EXPECT_NEAR(5.9, node.score, 1e-6);
    EXPECT_NEAR(kOrigin, node.etime, 1e-6);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(i < 3 ? 1 : 2, picks_.listed(i).obs[0]->used);
        EXPECT_EQ(0, picks_.listed(i).used);
    }
    EXPECT_EQ(2, picks_.listed(0).obs[1]->used);
}

TEST_F(Backproj, VarianceEqualsTheClustersWhenWeightsAreOne) {
    search_->try_S = 0;
    const double offsets[] = {0.0, 0.3, 0.1, 0.5};
    for (int is = 0; is < 4; ++is) add(is, 'P', offsets[is]);
    picks_.set_up(*search_);
    const NodeResult node = backproject(*search_, picks_.stao_tbl);
    EXPECT_NEAR(kOrigin + 0.225, node.etime, 1e-6);
    EXPECT_NEAR(0.049166667, node.variance, 1e-6);  // of 0, 0.3, 0.1, 0.5 with n - 1
    EXPECT_NEAR(node.width, node.variance, 1e-6);
}

TEST_F(Backproj, NothingUsableScoresZero) {
    add(0, 'P');
    picks_.set_up(*search_);
    picks_.listed(0).obs[0]->useforP = 0;
    picks_.listed(0).obs[0]->useforS = 0;
    const NodeResult node = backproject(*search_, picks_.stao_tbl);
    EXPECT_EQ(0, node.result);
    EXPECT_EQ(0, node.score);
    EXPECT_EQ(0, node.etime);
    EXPECT_EQ(0, node.variance);
    EXPECT_EQ(0, picks_.listed(0).obs[0]->used);
}

TEST_F(Backproj, NearestStationsAloneTakePartAndSortTheTable) {
    search_->closest_stations = 2;
    for (int is = 0; is < 4; ++is) add(is, 'P');
    picks_.set_up(*search_);
    const NodeResult node = backproject(*search_, picks_.stao_tbl);
    EXPECT_NEAR(2.9, node.score, 1e-6);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(i < 2 ? 1 : 0, picks_.listed(i).obs[0]->used);
        EXPECT_EQ(0, picks_.listed(i).used);
        EXPECT_LE(picks_.listed(i > 0 ? i - 1 : 0).distance, picks_.listed(i).distance);
    }
}

TEST_F(Backproj, StationsPassedOverKeepNoWeightsOfAnEarlierNode) {
    weights_ curve[] = {{0.0, 2.0, 1.0}, {10.0, 12.0, 0.0}};
    search_->use_dwt = 2;
    search_->p_weights = curve;
    search_->sta_defining_arr = newarr(nullptr);
    for (int is = 0; is < 4; ++is) add(is, 'P');
    picks_.set_up(*search_);
    EXPECT_EQ(0, backproject(*search_, picks_.stao_tbl).score);
    for (int i = 0; i < 4; ++i) {
        const StationObs& station = picks_.listed(i);
        EXPECT_DOUBLE_EQ(2.0 + station.distance, station.p_weight);
        EXPECT_EQ(1.0, station.s_weight);
    }
    freearr(search_->sta_defining_arr, nullptr);
    search_->sta_defining_arr = nullptr;
}

TEST_F(Backproj, OriginAtEpochZeroIsFound) {
    search_->try_S = 0;
    for (int is = 0; is < 3; ++is) add(is, 'P', -kOrigin);
    picks_.set_up(*search_);
    EXPECT_NEAR(0.0, backproject(*search_, picks_.stao_tbl).etime, 1e-6);
    EXPECT_EQ(1, picks_.listed(1).obs[0]->used);
}

TEST_F(Backproj, AWarmCallDoesNotAllocate) {
    search_->closest_stations = 3;
    for (int is = 0; is < 4; ++is) add(is, 'P');
    picks_.set_up(*search_);
    for (int ix = 0; ix < 7; ++ix) backproject(*search_, picks_.stao_tbl, ix);
    const auto* thread = static_cast<SearchThread*>(gettbl(search_->threads_tbl, 0));
    const double* buffer = thread->backproj_buf;
    const long before = allocation_count();
    for (int ix = 0; ix < 7; ++ix) backproject(*search_, picks_.stao_tbl, ix, 4);
    EXPECT_EQ(before, allocation_count());
    EXPECT_EQ(buffer, thread->backproj_buf);
    EXPECT_EQ(nullptr, thread->cluster_buf);
}

TEST_F(Backproj, RunningOutOfMemoryIsAnErrorAndNotTheEnd) {
    for (int is = 0; is < 4; ++is) add(is, 'P');
    picks_.set_up(*search_);
    int failures = 0;
    // Counts lines without memory of its own.
    int lines = 0;
    elog_set_hook([](int, int, const char*, void* count) { ++*static_cast<int*>(count); }, &lines);
    for (long n = 1; n < 40; ++n) {
        velorix_free_search_thread(gettbl(search_->threads_tbl, 0));
        auto* thread = static_cast<SearchThread*>(calloc(1, sizeof(SearchThread)));
        settbl(search_->threads_tbl, 0, thread);
        const FailingAllocations failing(n);
        if (backproject(*search_, picks_.stao_tbl).result < 0) ++failures;
    }
    elog_set_hook(nullptr, nullptr);
    EXPECT_GT(failures, 5);
    EXPECT_LT(failures, 39);
    EXPECT_GE(lines, failures);
    EXPECT_NEAR(4.9, backproject(*search_, picks_.stao_tbl).score, 1e-6);
}

TEST(BackprojProperty, AgreesWithTheLiteralSearchOnEveryKindOfGrid) {
    std::mt19937 random(77);
    std::uniform_real_distribution<double> uniform(0, 1);
    for (const int mode : {VELORIX_MODE_GENERAL, VELORIX_MODE_REGULAR}) {
        for (const int type : {VELORIX_TYPE_3D, VELORIX_TYPE_1D}) {
            SCOPED_TRACE(testing::Message() << "mode " << mode << " type " << type);
            TinyGridOptions options;
            options.mode = mode;
            options.type = type;
            options.depths = {5.0, 20.0};
            TinyGrid grid(ring_of_stations(12), options);
            Search search(grid.grid);
            weights_ curve[] = {{0.0, 1.0, -1.0}, {0.4, 0.6, -2.0}, {1.0, -0.6, 0.0}};
            search->use_dwt = search->use_dwts = 3;
            search->p_weights = search->s_weights = curve;
            velorix_setup_search(search.sp);
            Picks picks;
            for (int i = 0; i < 60; ++i) {
                picks.add(grid.grid.stations[random() % 12].sta, "BHZ", "P",
                          kOrigin + 30 * uniform(random));
            }
            picks.set_up(*search);
            for (int ix = 0; ix < 7; ++ix) {
                const NodeResult fast = backproject(*search, picks.stao_tbl, ix, 0, ix % 2);
                LiteralCandidates c;
                literal_candidates(*search, ix, 0, ix % 2, picks.stao_tbl, c);
                const LiteralCluster slow = literal_find_cluster(
                    static_cast<int>(c.value.size()), c.value.data(),
                    c.weighted ? c.weight.data() : nullptr, c.group.data(), c.subgroup.data(),
                    search->cluster_twin, search->cluster_prewin);
                ASSERT_EQ(slow.score, fast.score);
                ASSERT_EQ(slow.variance, fast.width);
            }
        }
    }
}

TEST(NodeResidual, MatchesHandWorkedDeviations) {
    TinyGrid grid(ring_of_stations(2));
    Search search(grid.grid);
    velorix_setup_search(search.sp);
    Picks picks;
    for (int is = 0; is < 2; ++is) {
        picks.add(grid.grid.stations[is].sta, "BHZ", "P",
                  kOrigin + (is ? 1 : -1) + travel(grid.grid, is, 'P', 0));
    }
    picks.set_up(*search);
    picks.listed(0).obs[0]->used = picks.listed(1).obs[0]->used = 1;
    double etime = 0, std = 0, stduw = 0;
    velorix_node_residual(&grid.grid, 0, 0, 0, picks.stao_tbl, &etime, &std, &stduw, 0);
    EXPECT_NEAR(kOrigin, etime, 1e-6);
    EXPECT_NEAR(std::sqrt(2), std, 1e-6);
    EXPECT_NEAR(std::sqrt(2), stduw, 1e-6);
    picks.listed(1).obs[0]->used = 0;
    velorix_node_residual(&grid.grid, 0, 0, 0, picks.stao_tbl, &etime, &std, nullptr, 1);
    EXPECT_NEAR(std::sqrt(2), std, 1e-6) << "untouched";
    EXPECT_NEAR(1.0, picks.listed(1).obs[0]->resid, 1e-6) << "unused observations too";
}

TEST(NodeResidual, DegenerateTables) {
    TinyGrid grid(ring_of_stations(2));
    Search search(grid.grid);
    velorix_setup_search(search.sp);
    Picks picks;
    picks.add(grid.grid.stations[0].sta, "BHZ", "P", kOrigin);
    picks.set_up(*search);
    double etime = 0, std = 9, stduw = 9;
    velorix_node_residual(&grid.grid, 0, 0, 0, picks.stao_tbl, &etime, &std, &stduw, 0);
    EXPECT_EQ(kOrigin, etime) << "nothing used";
    EXPECT_EQ(0, std + stduw);
    picks.listed(0).obs[0]->used = 1;
    picks.listed(0).p_weight_initial = 0;
    velorix_node_residual(&grid.grid, 0, 0, 0, picks.stao_tbl, &etime, &std, &stduw, 0);
    EXPECT_EQ(kOrigin, etime) << "nothing with a weight";
    Tbl* empty = newtbl(0);
    velorix_node_residual(&grid.grid, 0, 0, 0, empty, &etime, &std, &stduw, 0);
    EXPECT_EQ(0, etime);
    freetbl(empty, nullptr);
}

}  // namespace
}  // namespace velorix_test
