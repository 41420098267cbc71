// A table that was damaged reads back as a whole one; its values tell.
#include <gmock/gmock.h>

#include <cmath>
#include <functional>

#include "laid_out_grid.h"

namespace {

using namespace velorix_test;

/// A computed grid of 9 positions, 2 depths and 2 stations.
class Computed {
  public:
    explicit Computed(const Keys& changes)
        : grid(grid_with_stations({{"AAA", 0.0, 0.0, 0.5}, {"BBB", 0.0, 40.0}})) {
        const PfPtr pf = changed(mesh_keys("1", {"depths", "[5, 10.5]"}), changes);
        if (velorix_setup_edp_grid(grid.get(), "mesh", pf.get()) < 0)
            throw std::runtime_error("no grid");
        compute(*grid, heap_);
    }
    GridPtr grid;

  private:
    Heap heap_;
};

const Keys kPairs{{"compute_S", "true"}, {"compute_distances", "true"}};
const Keys kTable{{"compute_S", "true"}, {"type", "'1d'"}, {"ndist", "5"}};

TEST(CheckTimes, AcceptsWhatThePassHasComputed) {
    for (const Keys& changes : {kPairs, kTable, Keys{}, Keys{{"lonr", "170"}}}) {
        const LogCapture log;  // also of the mesh far from its stations
        const Computed computed(changes);
        EXPECT_EQ(velorix_check_times(computed.grid.get()), 0) << log.text();
    }
    EXPECT_EQ(velorix_check_times(new_grid().get()), 0) << "nothing is wrong with no tables";
}

TEST(Extremes, OfTimesWhereverTheyStand) {
    const Computed computed(kPairs);
    Velorix& grid = *computed.grid;
    for (const int at : {0, 1, 35}) {
        std::fill_n(grid.P_times, 36, 10.0F);
        std::fill_n(grid.S_times, 36, 20.0F);
        grid.P_times[at] = 1.0F;
        grid.S_times[at] = 40.0F;
        double low = 0.0, high = 0.0, s_low = 0.0, s_high = 0.0;
        EXPECT_EQ(velorix_get_minmax_ttimes(&grid, &low, &high, &s_low, &s_high), 0);
        EXPECT_TRUE(low == 1.0 && high == 10.0 && s_low == 20.0 && s_high == 40.0) << at;
    }
}

TEST(CheckTimes, NamesGridNodeAndStationOfWhatNoPassComputes) {
    const struct {
        const Keys& changes;
        std::function<float*(Velorix&)> entry;
        float value;
        const char* message;
    } cases[] = {
        {kPairs, [](Velorix& g) { return g.P_times; }, NAN,
         "the P time of node 0 (-1.000 -1.000, 5 km) to station AAA is nan s, expected 0 to 3600."},
        {kPairs, [](Velorix& g) { return g.P_times + 35; }, HUGE_VALF,
         "the P time of node 17 (1.000 1.000, 10.5 km) to station BBB is inf s, expected 0 to "
         "3600."},
        {kPairs, [](Velorix& g) { return g.S_times + 13; }, -1.5f,
         "the S time of node 6 (1.000 -1.000, 5 km) to station BBB is -1.5 s, expected 0 to 3600."},
        {kPairs, [](Velorix& g) { return g.S_times; }, 3601.0f,
         "the S time of node 0 (-1.000 -1.000, 5 km) to station AAA is 3601 s, expected 0 to "
         "3600."},
        {kPairs, [](Velorix& g) { return g.distances + 1; }, 181.0f,
         "the distance of node 0 (-1.000 -1.000, 5 km) to station BBB is 181 degrees, expected 0 "
         "to "
         "180.01."},
        {kTable, [](Velorix& g) { return g.P_times + 5 + 4; }, NAN,
         "the P time at 41.010 degrees and 10.5 km of node 9 (-1.000 -1.000, 10.5 km) to station "
         "BBB is "
         "nan s, expected 0 to 3600."},
        {kTable, [](Velorix& g) { return g.S_times + 2; }, NAN,
         "the S time at 20.505 degrees and 5 km is nan s, expected 0 to 3600."},
        {kTable, [](Velorix& g) { return g.distances; }, -0.5f,
         "the distance at -0.500 degrees and 5 km of node 0"},
    };
    for (const auto& c : cases) {
        const Computed computed(c.changes);
        *c.entry(*computed.grid) = c.value;
        const LogCapture log;
        EXPECT_EQ(velorix_check_times(computed.grid.get()), -1) << c.message;
        ASSERT_EQ(log.count(), 1u);
        EXPECT_THAT(log.text(), testing::StartsWith(
                                    std::string("velorix_check_times: Grid mesh: ") + c.message));
    }
}

}  // namespace
