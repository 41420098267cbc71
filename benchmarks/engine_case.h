#ifndef VELORIX_BENCHMARKS_ENGINE_CASE_H
#define VELORIX_BENCHMARKS_ENGINE_CASE_H
// An event that holds two fifths of the picks, two P to one S, with 0.2 s of scatter; the other
// picks lie anywhere within five minutes. S is tried, window and pre-window are the defaults.
#include <algorithm>
#include <random>

#include "tests/support/tiny_grid.h"

namespace velorix_benchmark {

/// A mesh of 81 x 81 nodes and one depth over one degree.
inline velorix_test::TinyGridOptions mesh(int type) {
    velorix_test::TinyGridOptions options;
    options.type = type;
    options.nx = options.ny = 81;
    options.spacing = 0.0125;
    options.depths = {10.0};
    return options;
}

class EngineCase {
  public:
    EngineCase(const velorix_test::TinyGridOptions& options, int nstations, int npicks,
               int threads = 1)
        : grid_(velorix_test::ring_of_stations(nstations), options), search(grid_.grid) {
        std::mt19937 random(1);
        std::normal_distribution<double> scatter(0, 0.2);
        std::uniform_real_distribution<double> anywhere(-150, 150);
        const double origin = 1515146668.0;
        for (int i = 0; i < npicks; ++i) {
            const int is = i % nstations;
            double time = origin + anywhere(random);
            if (5 * i < 2 * npicks) time = origin + travel_time(i % 3 == 2, is) + scatter(random);
            picks.add(grid_.grid.stations[is].sta, "BHZ", "P", time);
        }
        search->number_threads = threads;
        velorix_setup_search(search.sp);
        picks.set_up(*search);
    }

    const Velorix& grid() const { return grid_.grid; }
    int nodes() const { return grid_.grid.nh; }
    /// Column and row of a node, as the queries take them.
    int ix(int node) const { return general() ? node : node % grid().nx; }
    int iy(int node) const { return general() ? node : node / grid().nx; }

  private:
    bool general() const { return grid().mode == VELORIX_MODE_GENERAL; }

    double travel_time(bool s, int is) const {
        const int node = nodes() / 2 - 23;
        double p_time = 0, s_time = 0;
        velorix_get_ttimes(&grid(), is, ix(node), iy(node), 0, &p_time, &s_time);
        return s ? s_time : p_time;
    }

    velorix_test::TinyGrid grid_;

  public:
    velorix_test::Search search;
    velorix_test::Picks picks;
};

}  // namespace velorix_benchmark
#endif
