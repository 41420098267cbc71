#include <gtest/gtest.h>

#include "platform/netname/seednet.h"
#include "support/log_capture.h"
#include "support/temp_file.h"
#include "support/tiny_grid.h"

namespace velorix_test {
namespace {

struct Limits {
    int result = 0;
    double pw = -1, sw = -1, pmax = -1, smax = -1;
};

Limits weights_of(SearchParams& sp, const char* sta) {
    Limits l;
    l.result = velorix_get_station_weight(&sp, sta, &l.pw, &l.sw, &l.pmax, &l.smax);
    return l;
}

class StationWeight : public testing::Test {
  protected:
    StationWeight() : grid_(ring_of_stations(1)), search_(grid_.grid) {
        search_->station_weights = patterns_;
        search_->nstation_weights = 3;
        search_->station_weights_arr = newarr(nullptr);
    }
    ~StationWeight() override {
        for (station_weights_& pattern : patterns_) freehook(&pattern.match_hook);
        freearr(search_->station_weights_arr, nullptr);
        seednet_clear();
    }

    station_weights_ patterns_[3] = {{"IU_.*", 3, 4, 5, 6, 0, 0, nullptr},
                                     {"AN.*", 0.5, 0.25, 1, 1.5, 0, 0, nullptr},
                                     {"ANMO", 9, 9, 9, 9, 0, 0, nullptr}};
    TinyGrid grid_;
    Search search_;
};

TEST_F(StationWeight, FirstMatchingPatternWins) {
    const Limits l = weights_of(*search_, "ANMO");
    EXPECT_EQ(0.5, l.pw);
    EXPECT_EQ(0.25, l.sw);
    EXPECT_EQ(1, l.pmax);
    EXPECT_EQ(1.5, l.smax);
}

TEST_F(StationWeight, UnderscoreMatchesTheQualifiedName) {
    const TempFile table("IU ANTO\n");
    seednet_load(table.c_str());
    EXPECT_EQ(3, weights_of(*search_, "ANTO").pw);
    EXPECT_EQ(0.5, weights_of(*search_, "ANMO").pw);
}

TEST_F(StationWeight, NoMatchIsCachedAsDefaults) {
    EXPECT_EQ(1.0, weights_of(*search_, "COLA").pw);
    EXPECT_EQ(search_->p_max_resid, weights_of(*search_, "COLA").pmax);
    search_->station_weights = nullptr;  // the cache answers now
    EXPECT_EQ(1.0, weights_of(*search_, "COLA").sw);
    EXPECT_EQ(reinterpret_cast<void*>(1), getarr(search_->station_weights_arr, "COLA"));
}

TEST_F(StationWeight, WithoutACacheThePatternsAreOff) {
    Arr* cache = search_->station_weights_arr;
    search_->station_weights_arr = nullptr;
    EXPECT_EQ(1.0, weights_of(*search_, "ANMO").pw);
    search_->station_weights_arr = cache;
}

TEST_F(StationWeight, BadPatternIsNamed) {
    patterns_[1].sta_expr = "[";
    LogCapture log;
    EXPECT_EQ(-1, weights_of(*search_, "ANMO").result);
    EXPECT_EQ("get_station_weight: strmatches(ANMO,[) error.\n", log.messages().back());
}

TEST(DensityWeight, DividesByTheCountOfNeighbours) {
    // On the equator: A and B 0.5 degrees apart, C 1.5 from A; near 1, far 2, so 1.5 counts half
    // way.
    TinyGrid grid({make_station("A", 0, 0), make_station("B", 0, 0.5), make_station("C", 0, 1.5),
                   make_station("D", 0, 9)});
    Search search(grid.grid);
    search->use_swt = 1;
    search->swt_dist_near = 1.0;
    search->swt_dist_far = 2.0;
    search->swt_wt_near = 1.0;
    search->swt_wt_far = 0.0;
    Picks picks;
    for (const char* sta : {"A", "B", "C", "D"}) picks.add(sta, "BHZ", "P", 1);
    picks.set_up(*search);
    EXPECT_DOUBLE_EQ(1 / 2.5, picks.station("A").p_weight_initial);
    EXPECT_DOUBLE_EQ(1 / 3.0, picks.station("B").s_weight_initial) << "near includes its bound";
    EXPECT_DOUBLE_EQ(1 / 2.5, picks.station("C").p_weight_initial);
    EXPECT_DOUBLE_EQ(1.0, picks.station("D").p_weight_initial) << "itself alone";
}

TEST(DistanceCurve, FollowsStoredSlopes) {
    const weights_ curve[] = {{1, 5, -1}, {2, 3, 100}, {3, 2, 0}};
    const struct {
        double distance;
        double weight;
    } rows[] = {{0, 5}, {1, 5}, {1.5, 4.5}, {2, 4}, {2.5, 53}, {3, 103}, {3.5, 2}};
    for (const auto& row : rows) EXPECT_EQ(row.weight, get_weight(row.distance, 3, curve));
    EXPECT_EQ(5, get_weight(77, 1, curve + 0));
}

TEST(DistanceCurve, NegativeNodeWeightsAreZeroAndAbsentDistancesIgnored) {
    TinyGrid grid(ring_of_stations(1));
    Search search(grid.grid);
    weights_ curve[] = {{0, -2, 0}};
    search->use_dwt = 1;
    search->p_weights = curve;
    StationObs station{};
    station.p_weight_initial = 3;
    station.s_weight_initial = 4;
    EXPECT_EQ(0, getweights(search.sp, &station, 0));
    EXPECT_EQ(0, station.p_weight);
    EXPECT_EQ(4, station.s_weight);
    grid.grid.distances = nullptr;
    getweights(search.sp, &station, 0);
    EXPECT_EQ(3, station.p_weight);
}

TEST(MyDistCompare, OrdersByDistanceAlone) {
    StationObs a{}, b{};
    a.distance = 1;
    b.distance = 2;
    StationObs *pa = &a, *pb = &b;
    EXPECT_EQ(-1, mydistcompare(&pa, &pb, nullptr));
    EXPECT_EQ(1, mydistcompare(&pb, &pa, nullptr));
    b.distance = 1;
    b.is = 7;
    EXPECT_EQ(0, mydistcompare(&pa, &pb, nullptr));
}

}  // namespace
}  // namespace velorix_test
