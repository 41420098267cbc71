// A whole scan of a mesh of one depth with one and two threads, with and without the score plot,
// which asks for every node's score; nodes/s count the full pass.
#include <benchmark/benchmark.h>

#include "benchmarks/engine_case.h"
#include "grsubs/search_scratch.h"

namespace {

using velorix_benchmark::EngineCase;

void run_scans(benchmark::State& state, EngineCase& event) {
    for (auto _ : state) {
        event.search->grid_type_string[0] = '\0';
        const velorix_test::Scan scan(*event.search, event.picks.stao_tbl);
        benchmark::DoNotOptimize(scan.f);
    }
    state.counters["nodes/s"] =
        benchmark::Counter(event.nodes(), benchmark::Counter::kIsIterationInvariantRate);
}

// Share of the nodes that were not looked at closely.
double share_skipped(const SearchParams& sp, double nodes) {
    double refused = 0;
    for (int i = 0; i < maxtbl(sp.threads_tbl); ++i) {
        const auto* thread = static_cast<const SearchThread*>(gettbl(sp.threads_tbl, i));
        if (thread->scratch) refused += static_cast<double>(thread->scratch->scores.refused);
    }
    return refused / nodes;
}

void scan_grid(benchmark::State& state) {
    EngineCase event(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)),
                     static_cast<int>(state.range(2)), static_cast<int>(state.range(3)));
    run_scans(state, event);
    const double nodes = static_cast<double>(state.iterations()) * event.nodes();
    state.counters["skipped"] = share_skipped(*event.search, nodes);
}

void scan_with_plot(benchmark::State& state) {
    EngineCase event(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)), 1,
                     VELORIX_TYPE_1D);
    char name[] = "scores";
    event.search->bugrid_filename = name;
    run_scans(state, event);
    event.search->bugrid_filename = nullptr;
}

void scan_sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"stations", "picks", "threads", "type"});
    for (const auto& [stations, picks] : {std::pair{20, 40}, {100, 150}, {500, 600}}) {
        benchmark->Args({stations, picks, 1, VELORIX_TYPE_3D});
        benchmark->Args({stations, picks, 1, VELORIX_TYPE_1D});
        benchmark->Args({stations, picks, 2, VELORIX_TYPE_3D});
    }
    benchmark->UseRealTime()->Unit(benchmark::kMillisecond);
}

void plot_sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"stations", "picks"})->Args({20, 40})->Args({100, 150})->Args({500, 600});
    benchmark->Unit(benchmark::kMillisecond);
}

BENCHMARK(scan_grid)->Apply(scan_sizes);
BENCHMARK(scan_with_plot)->Apply(plot_sizes);

}  // namespace
