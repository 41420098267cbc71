// A scan leaves out the nodes that cannot win. These tests hold it against one that scores every
// node: whatever the options, both must agree to the last bit.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "support/log_capture.h"
#include "support/tiny_grid.h"

namespace velorix_test {
namespace {

constexpr double kOrigin = 1515146668.25;

class Random {
  public:
    explicit Random(unsigned seed) : engine_(seed) {}
    int number(int from, int to) { return std::uniform_int_distribution(from, to)(engine_); }
    double real(double from, double to) {
        return std::uniform_real_distribution(from, to)(engine_);
    }
    bool chance(double share) { return real(0, 1) < share; }
    template <class T>
    T one_of(std::initializer_list<T> values) {
        return *(values.begin() + number(0, static_cast<int>(values.size()) - 1));
    }

  private:
    std::mt19937 engine_;
};

/// A grid, picks and options drawn from a seed.
class Problem {
  public:
    explicit Problem(unsigned seed)
        : random_(seed),
          grid_(ring_of_stations(random_.number(1, 25)), mesh()),
          search(grid_.grid) {
        coarsen_times();
        break_times();
        set_options();
        add_picks();
        picks.set_up(*search);
        set_weights();
    }
    ~Problem() {
        search->bugrid_filename = nullptr;
        freearr(search->sta_defining_arr, nullptr);
        search->sta_defining_arr = nullptr;
    }
    Problem(const Problem&) = delete;
    Problem& operator=(const Problem&) = delete;

    Velorix& grid() { return grid_.grid; }

  private:
    TinyGridOptions mesh() {
        TinyGridOptions options;
        options.mode = random_.one_of({VELORIX_MODE_REGULAR, VELORIX_MODE_GENERAL});
        options.type = random_.one_of({VELORIX_TYPE_3D, VELORIX_TYPE_1D});
        options.nx = random_.number(1, 16);
        options.ny = random_.number(1, 12);
        options.spacing = random_.one_of({0.02, 0.05, 0.1});
        options.depths = {2.0, 10.0, 25.0};
        const bool one_depth =
            options.mode == VELORIX_MODE_GENERAL && options.type == VELORIX_TYPE_1D;
        options.depths.resize(one_depth ? 1 : static_cast<size_t>(random_.number(1, 3)));
        options.s_times = random_.chance(0.9);
        options.distances = random_.chance(0.9);
        return options;
    }

    int64_t table_size() {
        const Velorix& g = grid_.grid;
        return g.type == VELORIX_TYPE_3D ? int64_t{g.nn} * g.ns : int64_t{g.nd} * g.ndist;
    }

    template <class Change>
    void change_times(Change change) {
        for (float* table : {grid_.grid.P_times, grid_.grid.S_times}) {
            for (int64_t i = 0; table && i < table_size(); ++i) change(table[i]);
        }
    }

    // Whole seconds make origin times, scores and nodes tie.
    void coarsen_times() {
        coarse_ = random_.chance(0.3);
        if (coarse_) change_times([](float& time) { time = std::floor(time); });
    }

    void break_times() {
        if (!random_.chance(0.1)) return;
        const float broken = random_.one_of({std::numeric_limits<float>::quiet_NaN(),
                                             std::numeric_limits<float>::infinity(), 1e9F});
        change_times([&](float& time) {
            if (random_.chance(0.01)) time = broken;
        });
    }

    void set_options() {
        SearchParams& sp = *search;
        sp.cluster_twin = random_.one_of({0.1, 0.5, 2.0, 7.0});
        if (random_.chance(0.1)) {
            origin_ = 1e15;  // such times come in steps of 1/8 s
            sp.cluster_twin = 0.13;
        }
        sp.cluster_prewin = random_.one_of({0.0, 0.5, 2.0, 30.0});
        sp.try_S = grid().S_times ? random_.number(0, 1) : 0;
        sp.closest_stations = random_.chance(0.2) ? random_.number(1, 12) : 0;
        sp.nxd = std::max(1, random_.number(1, std::max(grid().nx, 1)));
        sp.nyd = std::max(1, random_.number(1, std::max(grid().ny, 1)));
        sp.number_threads = random_.one_of({1, 1, 2, 3, 8});
        if (random_.chance(0.3)) set_curves(sp);
        if (random_.chance(0.2)) sp.bugrid_filename = plot_;
        ASSERT_EQ(0, velorix_setup_search(search.sp));
        if (random_.chance(0.1)) define_stations(sp);
    }

    void set_curves(SearchParams& sp) {
        const double reach = random_.one_of({0.3, 0.6, 2.0});
        const double end = random_.one_of({0.0, 0.25});
        const double sign = random_.chance(0.1) ? -1 : 1;
        curve_ = {{0.1, sign, sign * (end - 1) / (reach - 0.1)}, {reach, sign * end, 0}};
        if (random_.chance(0.8)) sp.use_dwt = 2;
        if (random_.chance(0.8)) sp.use_dwts = 2;
        sp.p_weights = sp.s_weights = curve_.data();
    }

    void define_stations(SearchParams& sp) {
        sp.sta_defining_arr = newarr(nullptr);
        for (int i = 0; i < grid().ns; i += 2)
            setarr(sp.sta_defining_arr, grid().stations[i].sta, this);
    }

    double pick_time(double time) { return coarse_ ? std::floor(time) : time; }

    void add_picks() {
        const Velorix& g = grid();
        const int ix = random_.number(0, (g.mode == VELORIX_MODE_GENERAL ? g.nn : g.nx) - 1);
        const int iy = g.mode == VELORIX_MODE_GENERAL ? ix : random_.number(0, g.ny - 1);
        const int id = g.mode == VELORIX_MODE_GENERAL ? ix : random_.number(0, g.nd - 1);
        const double scatter = random_.one_of({0.0, 0.1, 1.0});
        const double share = random_.real(0, 1);
        for (int is = 0; is < g.ns; ++is) {
            double p = 0, s = 0;
            velorix_get_ttimes(&g, is, ix, iy, id, &p, &s);
            for (const double travel : {p, s}) {
                if (!random_.chance(share) || !std::isfinite(travel)) continue;
                add_pick(is, origin_ + travel + random_.real(-scatter, scatter));
            }
        }
        const double span = random_.one_of({10.0, 100.0, 1e4, 1e8});
        const int noise = random_.number(g.ns > 3 ? 0 : 1, 60);
        for (int i = 0; i < noise; ++i) {
            add_pick(random_.number(0, g.ns - 1), origin_ + random_.real(-span, span));
        }
    }

    void add_pick(int is, double time) {
        const char* phase = random_.one_of({"P", "S", "P", "S", "P"});
        picks.add(grid().stations[is].sta, "BHZ", phase, pick_time(time));
    }

    void set_weights() {
        const bool uniform = random_.chance(0.5);
        for (int i = 0; !uniform && i < maxtbl(picks.stao_tbl); ++i) {
            StationObs& station = picks.listed(i);
            station.p_weight_initial = random_.one_of({1.0, 0.5, 0.0, -1.0, random_.real(0, 3)});
            station.s_weight_initial = random_.one_of({1.0, 0.5, 0.0, -1.0, random_.real(0, 3)});
        }
    }

    Random random_;
    double origin_ = kOrigin;
    bool coarse_ = false;
    char plot_[5] = "plot";
    std::vector<weights_> curve_;
    TinyGrid grid_;

  public:
    Search search;
    Picks picks;
};

struct Best {
    double score = -1e20;
    int ix = 0, iy = 0, id = 0;
};

/// Scores every node by itself.
class ExhaustiveScan {
  public:
    explicit ExhaustiveScan(Problem& problem)
        : grid_(problem.grid()), sp_(*problem.search), table_(problem.picks.stao_tbl) {
        if (grid_.mode == VELORIX_MODE_GENERAL) {
            for (int i = 0; i < grid_.nn; ++i) look(best, i, i, i);
            return;
        }
        pass(0, best);
        Best centre = best;
        for (int depth = 1; depth < grid_.nd; ++depth) centre = block(depth, centre);
        if (best.id != 0) pass(best.id, best);
    }

    Best best;
    std::vector<float> plot;

  private:
    void pass(int depth, Best& out) {
        out = {};
        plot.clear();
        for (int iy = 0; iy < grid_.ny; ++iy) {
            for (int ix = 0; ix < grid_.nx; ++ix) {
                plot.push_back(static_cast<float>(look(out, ix, iy, depth)));
            }
        }
    }

    Best block(int depth, const Best& centre) {
        const int y0 = std::min(std::max(0, centre.iy - sp_.nyd / 2), grid_.ny - sp_.nyd);
        const int x0 = std::min(std::max(0, centre.ix - sp_.nxd / 2), grid_.nx - sp_.nxd);
        Best of_depth;
        for (int iy = y0; iy < y0 + sp_.nyd; ++iy) {
            for (int ix = x0; ix < x0 + sp_.nxd; ++ix) look(of_depth, ix, iy, depth);
        }
        if (of_depth.score > best.score) best = of_depth;
        return of_depth;
    }

    double look(Best& so_far, int ix, int iy, int id) {
        double etime = 0, width = 0, score = 0, variance = 0;
        EXPECT_EQ(0, velorix_node_backproj(&sp_, 0, ix, iy, id, table_, &etime, &width, &score,
                                           &variance));
        if (score > so_far.score) so_far = {score, ix, iy, id};
        return score;
    }

    const Velorix& grid_;
    SearchParams& sp_;
    Tbl* table_;
};

/// What a scan leaves behind: the solution's values, and marks, residuals and order of the picks.
std::vector<double> traces(const Problem& problem) {
    std::vector<double> values;
    for (int i = 0; i < maxtbl(problem.picks.stao_tbl); ++i) {
        const StationObs& station = problem.picks.listed(i);
        values.insert(values.end(),
                      {double(station.is), station.distance, station.p_weight, station.s_weight});
        for (int k = 0; k < station.nobs; ++k) {
            values.insert(values.end(), {double(station.obs[k]->used), station.obs[k]->resid});
        }
    }
    return values;
}

/// The solution at a node, computed as at the end of every scan.
std::vector<double> evaluate(Problem& problem, const Best& best) {
    double etime = 0, width = 0, score = 0, variance = 0, std = 0, stduw = 0;
    SearchParams* sp = problem.search.sp;
    Tbl* table = problem.picks.stao_tbl;
    velorix_node_backproj(sp, 0, best.ix, best.iy, best.id, table, &etime, &width, &score,
                          &variance);
    velorix_node_residual(sp->velorix, best.ix, best.iy, best.id, table, &etime, &std, &stduw, 0);
    velorix_node_residual(sp->velorix, best.ix, best.iy, best.id, table, &etime, &std, nullptr, 1);
    return {best.score, etime, std, stduw};
}

void expect_equal(const std::vector<double>& a, const std::vector<double>& b) {
    ASSERT_EQ(a.size(), b.size());
    for (size_t i = 0; i < a.size(); ++i) {
        if (std::isnan(a[i]) && std::isnan(b[i])) continue;
        EXPECT_EQ(a[i], b[i]) << "value " << i;
    }
}

TEST(ScanSkip, AgreesWithScoringEveryNode) {
    constexpr unsigned kProblems = VELORIX_SANITIZED ? 300 : 3000;
    const LogCapture quiet;  // options that a grid has no tables for are complained of
    for (unsigned seed = 0; seed < kProblems && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Problem problem(seed);
        if (maxtbl(problem.picks.stao_tbl) == 0) continue;
        const ExhaustiveScan every_node(problem);
        const std::vector<double> expected = evaluate(problem, every_node.best);
        const std::vector<double> expected_traces = traces(problem);

        const Scan scan(*problem.search, problem.picks.stao_tbl);
        ASSERT_EQ(0, scan.result);
        const bool general = problem.grid().mode == VELORIX_MODE_GENERAL;
        EXPECT_EQ(every_node.best.ix, scan.ix);
        EXPECT_EQ(general ? -1 : every_node.best.iy, scan.iy);
        EXPECT_EQ(general ? -1 : every_node.best.id, scan.id);
        expect_equal(expected, {scan.f, scan.time, scan.std, scan.stduw});
        expect_equal(expected_traces, traces(problem));
        for (size_t i = 0; problem.search->plot_buffer && i < every_node.plot.size(); ++i) {
            ASSERT_EQ(every_node.plot[i], problem.search->plot_buffer[i]) << "node " << i;
        }
    }
}

}  // namespace
}  // namespace velorix_test
