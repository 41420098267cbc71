#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

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

constexpr double kOrigin = 1515146668.25;

class Backproj : public testing::Test {
  protected:
    Backproj() : grid_(ring_of_stations(4)), search_(grid_.grid) {
        velorix_setup_search(search_.sp);
    }
    /// A P pick of an event at the first node.
    void add(int is, double origin = kOrigin) {
        double p = 0, s = 0;
        velorix_get_ttimes(&grid_.grid, is, 0, 0, 0, &p, &s);
        picks_.add(grid_.grid.stations[is].sta, "BHZ", "P", origin + p);
    }
    NodeResult residual() const {
        NodeResult out;
        out.result = velorix_node_residual(&grid_.grid, 0, 0, 0, picks_.stao_tbl, &out.etime,
                                           &out.width, &out.variance, 0);
        return out;
    }

    TinyGrid grid_;
    Search search_;
    Picks picks_;
};

TEST_F(Backproj, NearestStationsAloneTakePartAndSortTheTable) {
    search_->closest_stations = 2;
    for (int is = 0; is < 4; ++is) add(is);
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
    for (int is = 0; is < 4; ++is) add(is);
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
    for (int is = 0; is < 3; ++is) add(is, 0.0);
    picks_.set_up(*search_);
    EXPECT_NEAR(0.0, backproject(*search_, picks_.stao_tbl).etime, 1e-6);
    EXPECT_EQ(1, picks_.listed(1).obs[0]->used);
}

TEST_F(Backproj, AWarmCallDoesNotAllocate) {
    search_->closest_stations = 3;
    for (int is = 0; is < 4; ++is) add(is);
    picks_.set_up(*search_);
    for (int ix = 0; ix < 7; ++ix) backproject(*search_, picks_.stao_tbl, ix);
    const long before = allocation_count();
    for (int ix = 0; ix < 7; ++ix) backproject(*search_, picks_.stao_tbl, ix, 4);
    EXPECT_EQ(before, allocation_count());
}

// Marks are those of the members, origin time and variance their weighted mean and scatter.
void expect_solution(const LiteralCluster& cluster, const LiteralCandidates& c, Tbl* table,
                     const NodeResult& node) {
    EXPECT_EQ(cluster.score, node.score);
    EXPECT_EQ(cluster.variance, node.width);
    EXPECT_NEAR(cluster.variance, node.variance, 1e-6);
    int members = 0;
    double weights = 0, sum = 0;
    for (size_t k = 0; k < c.value.size(); ++k) {
        if (c.value[k] == 0) continue;
        EXPECT_EQ(c.phase[k] == 'P' ? 1 : 2, c.obs[k]->used);
        ++members;
        weights += c.weight[k];
        sum += c.weight[k] * (c.value[k] - cluster.first);
    }
    EXPECT_NEAR(cluster.first + (members > 0 ? sum / weights : 0), node.etime, 1e-6);
    for (int i = 0; i < maxtbl(table); ++i) {
        const auto& station = *static_cast<const StationObs*>(gettbl(table, i));
        for (int k = 0; k < station.nobs; ++k) members -= station.obs[k]->used ? 1 : 0;
    }
    EXPECT_EQ(0, members) << "marked without being one";
}

TEST(BackprojProperty, AgreesWithTheLiteralSearchOnEveryKindOfGrid) {
    std::mt19937 random(77);
    std::uniform_real_distribution<double> uniform(0, 1);
    for (int kind = 0; kind < 8; ++kind) {
        SCOPED_TRACE(kind);
        const TinyGridOptions options{
            .mode = kind & 1 ? VELORIX_MODE_GENERAL : VELORIX_MODE_REGULAR,
            .type = kind & 2 ? VELORIX_TYPE_3D : VELORIX_TYPE_1D,
            .depths = {5.0, 20.0}};
        TinyGrid grid(ring_of_stations(12), options);
        Search search(grid.grid);
        weights_ curve[] = {{0.0, 1.0, -1.0}, {0.4, 0.6, -2.0}, {1.0, -0.6, 0.0}};
        search->use_dwt = search->use_dwts = kind & 4 ? 3 : 0;
        search->p_weights = search->s_weights = curve;
        search->det_tmin = 2;  // some picks are S or nothing
        velorix_setup_search(search.sp);
        Picks picks;
        for (int i = 0; i < 60; ++i) {
            picks.add(grid.grid.stations[random() % 12].sta, "BHZ", "P",
                      kOrigin + 30 * uniform(random));
        }
        picks.set_up(*search);
        for (int ix = 0; ix < 7; ++ix) {
            // The first call sets the weights that the literal search takes, which clears marks.
            backproject(*search, picks.stao_tbl, ix, 0, ix % 2);
            LiteralCandidates c;
            literal_candidates(*search, ix, 0, ix % 2, picks.stao_tbl, c);
            const LiteralCluster slow = literal_find_cluster(
                static_cast<int>(c.value.size()), c.value.data(),
                c.weighted ? c.weight.data() : nullptr, c.group.data(), c.subgroup.data(),
                search->cluster_twin, search->cluster_prewin);
            const NodeResult fast = backproject(*search, picks.stao_tbl, ix, 0, ix % 2);
            expect_solution(slow, c, picks.stao_tbl, fast);
        }
    }
}

TEST_F(Backproj, ResidualsMatchHandWorkedDeviations) {
    for (int is = 0; is < 2; ++is) add(is, kOrigin + (is ? 1 : -1));
    picks_.set_up(*search_);
    sta_obs2 &first = *picks_.listed(0).obs[0], &second = *picks_.listed(1).obs[0];
    EXPECT_EQ(first.time, residual().etime) << "nothing used";
    EXPECT_EQ(0, residual().width + residual().variance);
    first.used = second.used = 1;
    NodeResult found = residual();
    EXPECT_NEAR(kOrigin, found.etime, 1e-6);
    EXPECT_NEAR(std::sqrt(2), found.width, 1e-6);
    EXPECT_NEAR(std::sqrt(2), found.variance, 1e-6);
    second.used = 0;
    velorix_node_residual(&grid_.grid, 0, 0, 0, picks_.stao_tbl, &found.etime, &found.width,
                          nullptr, 1);
    EXPECT_NEAR(std::sqrt(2), found.width, 1e-6) << "untouched";
    EXPECT_NEAR(1.0, second.resid, 1e-6) << "unused observations too";
    picks_.listed(0).p_weight_initial = 0;
    EXPECT_EQ(first.time, residual().etime) << "nothing with a weight";
    freetbl(picks_.stao_tbl, nullptr);
    picks_.stao_tbl = newtbl(0);
    EXPECT_EQ(0, residual().etime) << "no stations";
}

}  // namespace
}  // namespace velorix_test
