#ifndef VELORIX_BENCHMARKS_ENGINE_CASE_H
#define VELORIX_BENCHMARKS_ENGINE_CASE_H
// An event in noise on a regular mesh: P at every station with 0.2 s of scatter, S at half of them,
// the other picks anywhere within five minutes. S is tried, window and pre-window are the defaults.
#include <algorithm>
#include <random>

#include "tests/support/tiny_grid.h"

namespace velorix_benchmark {

inline velorix_test::TinyGridOptions mesh(int type) {
    velorix_test::TinyGridOptions options;
    options.type = type;
    options.nx = options.ny = 41;
    options.spacing = 0.025;
    options.depths = {10.0};
    return options;
}

class EngineCase {
  public:
    EngineCase(int nstations, int npicks, int threads = 1, int type = VELORIX_TYPE_3D)
        : grid_(velorix_test::ring_of_stations(nstations), mesh(type)), search(grid_.grid) {
        std::mt19937 random(1);
        std::normal_distribution<double> scatter(0, 0.2);
        std::uniform_real_distribution<double> anywhere(-150, 150);
        for (int i = 0; i < npicks; ++i) {
            const int is = i % nstations;
            double p = 0, s = 0;
            velorix_get_ttimes(&grid_.grid, is, 17, 23, 0, &p, &s);
            const double origin = 1515146668.0;
            double time = origin + anywhere(random);
            if (i < nstations) {
                time = origin + p + scatter(random);
            } else if (i < nstations + nstations / 2) {
                time = origin + s + scatter(random);
            }
            picks.add(grid_.grid.stations[is].sta, "BHZ", "P", time);
        }
        search->number_threads = threads;
        velorix_setup_search(search.sp);
        picks.set_up(*search);
    }

    const Velorix& grid() const { return grid_.grid; }
    int nodes() const { return grid_.grid.nx * grid_.grid.ny; }

  private:
    velorix_test::TinyGrid grid_;

  public:
    velorix_test::Search search;
    velorix_test::Picks picks;
};

}  // namespace velorix_benchmark
#endif
