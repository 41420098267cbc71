#include <gtest/gtest.h>

#include "platform/netname/seednet.h"
#include "support/parameters.h"
#include "support/temp_file.h"
#include "support/tiny_grid.h"

namespace velorix_test {
namespace {

TEST(StationWeight, FirstMatchingPatternWins) {
    TinyGrid grid(ring_of_stations(1));
    const Search search(grid.grid);
    const auto pf =
        parameters("station_weights = ['IU_.* 3 4 5 6', 'AN.* 0.5 0.25 1 1.5', 'ANMO 9 9 9 9']");
    ASSERT_EQ(0, velorix_search_from_pf(search.sp, pf.get()));
    ASSERT_EQ(0, velorix_setup_search(search.sp));
    const TempFile table("IU ANTO\n");
    seednet_load(table.c_str());
    const struct {
        const char* sta;
        double weights[4];
    } rows[] = {
        {"ANMO", {0.5, 0.25, 1, 1.5}},
        {"ANTO", {3, 4, 5, 6}},  // an underscore matches the qualified name
        {"COLA", {1, 1, search->p_max_resid, search->s_max_resid}},
    };
    for (const char* from : {"patterns", "the cache"}) {
        for (const auto& row : rows) {
            double w[4];
            velorix_get_station_weight(search.sp, row.sta, &w[0], &w[1], &w[2], &w[3]);
            for (int i = 0; i < 4; ++i) EXPECT_EQ(row.weights[i], w[i]) << row.sta << from << i;
        }
        search->nstation_weights = 0;
    }
    seednet_clear();
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
    Picks picks;
    for (const char* sta : {"A", "B", "C", "D"}) picks.add(sta, "BHZ", "P", 1);
    picks.set_up(*search);
    EXPECT_DOUBLE_EQ(1 / 2.5, picks.station("A").p_weight_initial);
    EXPECT_DOUBLE_EQ(1 / 3.0, picks.station("B").s_weight_initial) << "near includes its bound";
    EXPECT_DOUBLE_EQ(1 / 2.5, picks.station("C").p_weight_initial);
    EXPECT_DOUBLE_EQ(1.0, picks.station("D").p_weight_initial) << "itself alone";
    EXPECT_EQ(0, velorix_setup_swt(picks.map, search.sp));
}

TEST(DistanceCurve, FollowsStoredSlopes) {
    const weights_ curve[] = {{1, 5, -1}, {2, 3, 100}, {3, 2, 0}};
    const double rows[][2] = {{0, 5}, {1, 5}, {1.5, 4.5}, {2, 4}, {2.5, 53}, {3, 103}, {3.5, 2}};
    for (const auto& [distance, weight] : rows) EXPECT_EQ(weight, get_weight(distance, 3, curve));
    EXPECT_EQ(5, get_weight(77, 1, curve));
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

}  // namespace
}  // namespace velorix_test
